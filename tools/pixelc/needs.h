#pragma once

// Which of the generated functions computes what. What is uniform in uniform blocks is computed by
// the row function; what of it the lane functions read is on the tape, in the records of the blocks
// where it is computed.

#include <array>
#include <vector>

#include "divergence.h"
#include "flow_regions.h"
#include "ir.h"

namespace Vantra::Pixelc {

enum class Function {
  kRow,       // once a row
  kLanes,     // inside the interval, where row reads are plain loads
  kAnywhere,  // where all places are computed
};

class Needs {
 public:
  Needs(const Program& program, const FlowRegions& flow, const Divergence& divergence);

  bool Value(Function function, ValueId value) const { return Of(function).values[value]; }
  // Whether the function has to do with the block.
  bool Block(Function function, BlockId block) const { return Of(function).blocks[block]; }
  bool Branch(Function function, BlockId block) const { return Of(function).branches[block]; }
  bool Loop(Function function, LoopId loop) const { return Of(function).loops[loop]; }
  // Whether the row function knows a linear value's slope and offset, or a column's offset.
  bool Shape(ValueId value) const { return shapes_[value]; }
  // Values of a block that are on the tape, and reads (by their first results).
  const std::vector<ValueId>& TapeValues(BlockId block) const { return tape_values_[block]; }
  const std::vector<ValueId>& TapeReads(BlockId block) const { return tape_reads_[block]; }

  const Instruction& Definition(ValueId value) const {
    return program_.blocks[block_of_[value]].instructions[index_of_[value]];
  }
  BlockId BlockOf(ValueId value) const { return block_of_[value]; }
  bool IsLeafValue(ValueId value) const;
  // Whether the row function computes the value.
  bool IsRowValue(ValueId value) const;
  bool HasRowReads() const { return has_row_reads_; }

 private:
  struct Marks {
    std::vector<bool> values;
    std::vector<bool> blocks;
    std::vector<bool> branches;
    std::vector<bool> loops;
  };

  const Marks& Of(Function function) const { return marks_[static_cast<std::size_t>(function)]; }
  Marks& Of(Function function) { return marks_[static_cast<std::size_t>(function)]; }
  void MarkValue(Function function, ValueId value);
  void MarkShape(ValueId value);
  void MarkBlock(Function function, BlockId block);
  void MarkNode(Function function, LoopId region, BlockId node);
  void MarkLoop(Function function, LoopId loop);
  void MarkBranch(Function function, BlockId block);
  void MarkEffects(Function function);
  void PutOnTape(std::vector<std::vector<ValueId>>& tape, ValueId value);

  const Program& program_;
  const FlowRegions& flow_;
  const Divergence& divergence_;
  std::vector<BlockId> block_of_;
  std::vector<std::size_t> index_of_;
  std::array<Marks, 3> marks_;
  std::vector<bool> shapes_;
  std::vector<std::vector<ValueId>> tape_values_;
  std::vector<std::vector<ValueId>> tape_reads_;
  bool has_row_reads_ = false;
};

}  // namespace Vantra::Pixelc
