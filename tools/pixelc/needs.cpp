#include "needs.h"

#include <algorithm>

#include "normalize.h"

namespace Vantra::Pixelc {

Needs::Needs(const Program& program, const FlowRegions& flow, const Divergence& divergence)
    : program_(program),
      flow_(flow),
      divergence_(divergence),
      block_of_(program.types.size(), 0),
      index_of_(program.types.size(), 0),
      shapes_(program.types.size()),
      tape_values_(program.blocks.size()),
      tape_reads_(program.blocks.size()) {
  for (BlockId block = 0; block < program.blocks.size(); ++block) {
    const auto& instructions = program.blocks[block].instructions;
    for (std::size_t i = 0; i < instructions.size(); ++i) {
      for (const ValueId value : instructions[i].results) {
        block_of_[value] = block;
        index_of_[value] = i;
      }
    }
  }
  for (Marks& marks : marks_) {
    marks.values.assign(program.types.size(), false);
    marks.blocks.assign(program.blocks.size(), false);
    marks.branches.assign(program.blocks.size(), false);
    marks.loops.assign(flow.Loops().size(), false);
  }
  for (const Function function : {Function::kLanes, Function::kAnywhere, Function::kRow}) {
    MarkEffects(function);
  }
  // All functions walk the blocks that have records on the tape, which may need conditions that
  // are on the tape in turn.
  for (std::size_t before = 1, after = 0; before != after;) {
    const auto count = [&] {
      std::size_t records = 0;
      for (BlockId block = 0; block < program.blocks.size(); ++block) {
        records += tape_values_[block].size() + tape_reads_[block].size();
      }
      return records;
    };
    before = count();
    for (BlockId block = 0; block < program.blocks.size(); ++block) {
      if (tape_values_[block].empty() && tape_reads_[block].empty()) continue;
      for (const Function function : {Function::kLanes, Function::kAnywhere, Function::kRow}) {
        MarkBlock(function, block);
      }
    }
    after = count();
  }
  for (auto& values : tape_values_) std::sort(values.begin(), values.end());
  for (auto& reads : tape_reads_) std::sort(reads.begin(), reads.end());
}

bool Needs::IsLeafValue(ValueId value) const { return IsLeaf(Definition(value).op); }

bool Needs::IsRowValue(ValueId value) const {
  return divergence_.IsUniform(value) && divergence_.IsUniformBlock(block_of_[value]);
}

void Needs::PutOnTape(std::vector<std::vector<ValueId>>& tape, ValueId value) {
  std::vector<ValueId>& record = tape[block_of_[value]];
  if (std::find(record.begin(), record.end(), value) == record.end()) record.push_back(value);
}

void Needs::MarkEffects(Function function) {
  for (BlockId block = 0; block < program_.blocks.size(); ++block) {
    for (const Instruction& instruction : program_.blocks[block].instructions) {
      const bool is_store = instruction.op == Op::kStoreArray;
      const bool of_row = is_store && divergence_.IsUniformArray(instruction.index);
      const bool is_effect =
          is_store || instruction.op == Op::kResult || instruction.op == Op::kWriteWord;
      if (!is_effect || of_row != (function == Function::kRow)) continue;
      MarkBlock(function, block);
      for (const ValueId operand : instruction.operands) MarkValue(function, operand);
    }
  }
}

void Needs::MarkValue(Function function, ValueId value) {
  Marks& marks = Of(function);
  if (marks.values[value]) return;
  marks.values[value] = true;
  const Instruction& definition = Definition(value);
  if (IsLeaf(definition.op)) return;
  const BlockId block = block_of_[value];
  MarkBlock(function, block);
  if (function != Function::kRow) {
    if (IsRowValue(value)) {
      PutOnTape(tape_values_, value);
      MarkValue(Function::kRow, value);
      return;
    }
    if (function == Function::kLanes && divergence_.IsRowRead(definition, block)) {
      has_row_reads_ = true;
      PutOnTape(tape_reads_, definition.results[0]);
      MarkShape(definition.operands[0]);
      MarkValue(Function::kRow, definition.operands[1]);
      MarkBlock(Function::kRow, block);
      return;
    }
  }
  for (const ValueId operand : definition.operands) MarkValue(function, operand);
  if (definition.op == Op::kPhi) {
    for (const BlockId predecessor : program_.blocks[block].predecessors) {
      MarkBlock(function, predecessor);
    }
  }
}

void Needs::MarkShape(ValueId value) {
  if (divergence_.IsUniform(value)) {
    MarkValue(Function::kRow, value);
    return;
  }
  if (shapes_[value]) return;
  shapes_[value] = true;
  const Instruction& definition = Definition(value);
  if (IsLeaf(definition.op)) return;
  MarkBlock(Function::kRow, block_of_[value]);
  for (const ValueId operand : definition.operands) MarkShape(operand);
  if (definition.op == Op::kPhi) {
    for (const BlockId predecessor : program_.blocks[block_of_[value]].predecessors) {
      MarkBlock(Function::kRow, predecessor);
    }
  }
}

void Needs::MarkBlock(Function function, BlockId block) {
  Marks& marks = Of(function);
  if (marks.blocks[block]) return;
  marks.blocks[block] = true;
  MarkNode(function, flow_.InnermostLoop(block), block);
}

// Marks the branches that decide whether, and how often, a node is passed, and the blocks that have
// to say that they came there.
void Needs::MarkNode(Function function, LoopId region, BlockId node) {
  const BlockId parent = flow_.ParentNode(region, node);
  if (parent != kNone && !flow_.AlwaysReaches(region, parent, node)) {
    for (const BlockId predecessor : program_.blocks[node].predecessors) {
      MarkBlock(function, predecessor);
    }
  }
  for (const BlockId decider : flow_.Deciders(region, node)) {
    if (flow_.IsLoopNode(region, decider)) {
      MarkLoop(function, flow_.LoopAt(region, decider));
    } else {
      MarkBranch(function, decider);
    }
  }
  if (region != 0) MarkLoop(function, region);
}

// Marks a loop, whose exits decide how often it is passed.
void Needs::MarkLoop(Function function, LoopId loop) {
  if (Of(function).loops[loop]) return;
  Of(function).loops[loop] = true;
  for (const Edge& exit : flow_.Loops()[loop].exits) MarkBranch(function, exit.from);
  for (const BlockId predecessor : program_.blocks[flow_.Loops()[loop].header].predecessors) {
    if (flow_.Contains(loop, predecessor)) MarkBlock(function, predecessor);
  }
  MarkNode(function, flow_.Loops()[loop].parent, flow_.Loops()[loop].header);
}

void Needs::MarkBranch(Function function, BlockId block) {
  MarkBlock(function, block);
  const Terminator& terminator = program_.blocks[block].terminator;
  if (terminator.kind != Terminator::Kind::kBranchIf || Of(function).branches[block]) return;
  // The row function passes only what is uniform, and need not know how lanes part.
  if (function == Function::kRow && !divergence_.IsUniform(terminator.condition)) return;
  Of(function).branches[block] = true;
  MarkValue(function, terminator.condition);
}

}  // namespace Vantra::Pixelc
