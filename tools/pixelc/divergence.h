#pragma once

// What is the same for all pixels of a row, and what differs how.

#include <cstdint>
#include <set>
#include <vector>

#include "flow_regions.h"
#include "ir.h"

namespace Vantra::Pixelc {

// Later ones hold the earlier ones: a value is raised while the analysis goes on.
enum class Kind : std::uint8_t {
  kUnknown,
  kUniform,  // one value for the row
  kLinear,   // float: slope * X + offset, X the pixel's centre; slope and offset are uniform
  kColumn,   // integer: the pixel's column + offset, which is uniform
  kVarying,  // anything
};

class Divergence {
 public:
  // Of a normalized program.
  Divergence(const Program& program, const FlowRegions& flow);

  Kind KindOf(ValueId value) const { return kinds_[value]; }
  bool IsUniform(ValueId value) const { return kinds_[value] == Kind::kUniform; }
  // Whether all pixels of a row pass the block, or none, equally often.
  bool IsUniformBlock(BlockId block) const { return uniform_blocks_[block]; }
  // Whether pixels that entered a loop together may leave it apart.
  bool LeavesApart(LoopId loop) const { return leaves_apart_[loop]; }
  // Whether pixels may part between `node` of the region and a later one that it dominates, so
  // that only some of them come there.
  bool PartsBetween(LoopId region, BlockId node, BlockId later) const;
  // Whether an array is only used for the whole row.
  bool IsUniformArray(std::uint32_t array) const { return uniform_arrays_[array]; }
  // Whether an instruction reads a texture along the row, from a place for the whole row on.
  bool IsRowRead(const Instruction& instruction, BlockId block) const;

 private:
  bool ClassifyValues();
  Kind Classify(const Instruction& instruction, BlockId block) const;
  Kind ClassifyPhi(const Instruction& phi, BlockId block) const;
  Kind ClassifyNumber(const Instruction& instruction) const;
  bool FindDivergentFlow();
  void FindJoins(LoopId region, BlockId node);
  bool PartsAt(LoopId region, BlockId node) const;
  std::set<BlockId> AllDeciders(LoopId region, BlockId node, BlockId within) const;
  void UpdateArrays();

  const Program& program_;
  const FlowRegions& flow_;
  std::vector<BlockId> block_of_;
  std::vector<Kind> kinds_;
  std::vector<bool> uniform_blocks_;
  std::vector<bool> leaves_apart_;
  std::vector<bool> uniform_arrays_;
  // Blocks where pixels meet that parted.
  std::vector<bool> joins_;
};

}  // namespace Vantra::Pixelc
