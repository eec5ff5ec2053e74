#pragma once

// Brings a program into the form that is analysed and emitted:
// - leaves, which need no computation, stand in the entry, each once,
// - an edge leaves a block with one target or enters a block with one predecessor,
// - one block returns,
// - what a loop defines and a block behind it uses goes through a phi outside of the loop,
// - values and blocks are numbered without gaps, blocks in reverse postorder.

#include "ir.h"

namespace Vantra::Pixelc {

void Normalize(Program& program);

// Constants and what the arguments of a kernel hold: they can be named anywhere.
bool IsLeaf(Op op);

}  // namespace Vantra::Pixelc
