#pragma once

#include <vector>

#include "ir.h"

namespace Vantra::Pixelc {

// Removes what cannot be reached, and brings the rest into reverse postorder with each loop's
// blocks together. Predecessors may name ways that are gone; they and the phis' operands are
// brought up to date.
void OrderBlocks(Program* program);

// The immediate dominator of each block, of blocks in reverse postorder; the entry's is itself.
std::vector<BlockId> Dominators(const Program& program);

bool Dominates(const std::vector<BlockId>& dominators, BlockId upper, BlockId lower);

}  // namespace Vantra::Pixelc
