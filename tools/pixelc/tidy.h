#pragma once

#include <string>

#include "ir.h"

namespace Vantra::Pixelc {

// Fills in the blocks' predecessors, in order of the blocks.
void LinkPredecessors(Program* program);

// Brings a program into the form that `Program` promises: folds what is constant, removes what
// cannot be reached or is not used, joins what is computed twice, and orders blocks and values.
void Tidy(Program* program);

// What a tidy program breaks of its promises, or nothing.
std::string FaultOf(const Program& program);

}  // namespace Vantra::Pixelc
