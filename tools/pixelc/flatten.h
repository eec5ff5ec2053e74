#pragma once

// Makes programs shorter in ways that a vector of pixels gains from: it costs less to compute both
// sides of a small branch than to find out which of them some pixel needs.

#include "divergence.h"
#include "ir.h"

namespace Vantra::Pixelc {

// Takes what both ways of a branch compute in front of it, where that is cheap and can be computed
// for any pixel. The branch is left without work to choose, and both ways lead to the same block:
// the program is normalized again afterwards. True if something changed.
bool FlattenBranches(Program& program, const Divergence& divergence);

// Moves what is the same for a row, but stands where only some pixels come, to the closest place in
// front that is passed for the whole row, so that it is computed once.
bool RaiseUniforms(Program& program, const FlowRegions& flow, const Divergence& divergence);

// Makes quotients of what differs from pixel to pixel, and of a divisor that is the same for a row,
// products with a reciprocal that is computed once a row. They may be off by a unit of the last
// place more than a quotient, so that a number divided by itself can be less than 1, and a divisor
// below 2^-126, whose reciprocal is no number, gives infinities. The language allows both. Places
// on the row stay quotients, since much hangs on whole ones, and so does what is precise. True if
// something changed.
bool MultiplyByReciprocals(Program& program, const Divergence& divergence);

// Replaces selections among truth values by operations of them, and leaves out the clamp of results
// that are clamped when they are stored.
void SimplifyValues(Program& program);

}  // namespace Vantra::Pixelc
