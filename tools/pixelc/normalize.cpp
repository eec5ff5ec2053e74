#include "normalize.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

#include "flow_regions.h"

namespace Vantra::Pixelc {

bool IsLeaf(Op op) {
  switch (op) {
    case Op::kConstant:
    case Op::kUndefined:
    case Op::kPixelX:
    case Op::kPixelY:
    case Op::kOriginX:
    case Op::kOriginY:
    case Op::kPixelSizeX:
    case Op::kPixelSizeY:
    case Op::kInvocationX:
    case Op::kInvocationY:
    case Op::kTextureSize:
      return true;
    default:
      return false;
  }
}

namespace {

ValueId NewValue(Program& program, Type type) {
  program.types.push_back(type);
  return static_cast<ValueId>(program.types.size() - 1);
}

// Replaces values everywhere; a replacement may itself be replaced.
void Replace(Program& program, const std::map<ValueId, ValueId>& replacements) {
  if (replacements.empty()) return;
  const auto follow = [&](ValueId& value) {
    for (auto found = replacements.find(value); found != replacements.end();
         found = replacements.find(value)) {
      value = found->second;
    }
  };
  for (Block& block : program.blocks) {
    for (Instruction& instruction : block.instructions) {
      for (ValueId& operand : instruction.operands) follow(operand);
    }
    if (block.terminator.kind == Terminator::Kind::kBranchIf) follow(block.terminator.condition);
  }
}

// Takes away phis that have but one operand, or themselves, until there are none.
void RemoveTrivialPhis(Program& program) {
  for (bool changed = true; changed;) {
    changed = false;
    std::map<ValueId, ValueId> replacements;
    for (Block& block : program.blocks) {
      std::erase_if(block.instructions, [&](const Instruction& phi) {
        if (phi.op != Op::kPhi) return false;
        ValueId only = kNone;
        for (const ValueId operand : phi.operands) {
          if (operand == phi.results[0] || operand == only) continue;
          if (only != kNone) return false;
          only = operand;
        }
        if (only == kNone || replacements.count(only) != 0) return false;
        replacements[phi.results[0]] = only;
        return true;
      });
    }
    Replace(program, replacements);
    changed = !replacements.empty();
  }
}

void GatherLeaves(Program& program) {
  std::map<std::tuple<Op, Type, std::uint32_t, std::uint32_t>, std::vector<ValueId>> known;
  std::map<ValueId, ValueId> replacements;
  std::vector<Instruction> leaves;
  for (Block& block : program.blocks) {
    std::erase_if(block.instructions, [&](Instruction& instruction) {
      if (!IsLeaf(instruction.op)) return false;
      const auto [place, is_new] =
          known.try_emplace({instruction.op, instruction.type, instruction.bits, instruction.index},
                            instruction.results);
      if (is_new) {
        leaves.push_back(instruction);
        return true;
      }
      for (std::size_t i = 0; i < instruction.results.size(); ++i) {
        replacements[instruction.results[i]] = place->second[i];
      }
      return true;
    });
  }
  std::vector<Instruction>& entry = program.blocks[0].instructions;
  entry.insert(entry.begin(), leaves.begin(), leaves.end());
  Replace(program, replacements);
}

void UniteReturns(Program& program) {
  std::vector<BlockId> returning;
  for (BlockId block = 0; block < program.blocks.size(); ++block) {
    if (program.blocks[block].terminator.kind == Terminator::Kind::kReturn) {
      returning.push_back(block);
    }
  }
  if (returning.size() < 2) return;
  const BlockId end = static_cast<BlockId>(program.blocks.size());
  for (const BlockId block : returning) {
    program.blocks[block].terminator = {
        .kind = Terminator::Kind::kBranch, .condition = kNone, .targets = {end, kNone}};
  }
  program.blocks.push_back({.instructions = {}, .terminator = {}, .predecessors = returning});
}

// A two-way branch to one target is a plain one; its target has one predecessor less.
void SimplifyBranches(Program& program) {
  for (BlockId id = 0; id < program.blocks.size(); ++id) {
    Terminator& terminator = program.blocks[id].terminator;
    if (terminator.kind != Terminator::Kind::kBranchIf ||
        terminator.targets[0] != terminator.targets[1]) {
      continue;
    }
    Block& target = program.blocks[terminator.targets[0]];
    const auto places = [&](auto from) {
      return static_cast<std::size_t>(std::find(from, target.predecessors.end(), id) -
                                      target.predecessors.begin());
    };
    const std::size_t first = places(target.predecessors.begin());
    const std::size_t second =
        places(target.predecessors.begin() + static_cast<std::ptrdiff_t>(first) + 1);
    const ValueId condition = terminator.condition;
    for (Instruction& phi : target.instructions) {
      if (phi.op != Op::kPhi) continue;
      if (phi.operands[first] != phi.operands[second]) {
        const ValueId chosen = NewValue(program, phi.type);
        program.blocks[id].instructions.push_back(
            {.op = Op::kSelect,
             .type = phi.type,
             .results = {chosen},
             .operands = {condition, phi.operands[first], phi.operands[second]}});
        phi.operands[first] = chosen;
      }
      phi.operands.erase(phi.operands.begin() + static_cast<std::ptrdiff_t>(second));
    }
    target.predecessors.erase(target.predecessors.begin() + static_cast<std::ptrdiff_t>(second));
    terminator.kind = Terminator::Kind::kBranch;
    terminator.targets[1] = kNone;
  }
}

// Appends a block to the only one before it where that has no other target.
void JoinChains(Program& program) {
  for (BlockId id = 0; id < program.blocks.size(); ++id) {
    Block& block = program.blocks[id];
    for (;;) {
      if (block.terminator.kind != Terminator::Kind::kBranch) break;
      const BlockId next_id = block.terminator.targets[0];
      Block& next = program.blocks[next_id];
      const bool has_phis = !next.instructions.empty() && next.instructions.front().op == Op::kPhi;
      if (next_id == id || next.predecessors.size() != 1 || has_phis) break;
      block.instructions.insert(block.instructions.end(), next.instructions.begin(),
                                next.instructions.end());
      block.terminator = next.terminator;
      for (Block& other : program.blocks) {
        std::replace(other.predecessors.begin(), other.predecessors.end(), next_id, id);
      }
      next = {};
    }
  }
}

void SplitEdges(Program& program) {
  const std::size_t count = program.blocks.size();
  for (BlockId id = 0; id < count; ++id) {
    if (program.blocks[id].terminator.kind != Terminator::Kind::kBranchIf) continue;
    for (std::size_t way = 0; way < 2; ++way) {
      const BlockId target = program.blocks[id].terminator.targets[way];
      std::vector<BlockId>& predecessors = program.blocks[target].predecessors;
      if (predecessors.size() < 2) continue;
      const BlockId middle = static_cast<BlockId>(program.blocks.size());
      *std::find(predecessors.begin(), predecessors.end(), id) = middle;
      program.blocks[id].terminator.targets[way] = middle;
      program.blocks.push_back({.instructions = {},
                                .terminator = {.kind = Terminator::Kind::kBranch,
                                               .condition = kNone,
                                               .targets = {target, kNone}},
                                .predecessors = {id}});
    }
  }
}

void Reorder(Program& program) {
  const std::vector<BlockId> order = ReversePostorder(program);
  std::vector<BlockId> number(program.blocks.size(), kNone);
  for (std::size_t i = 0; i < order.size(); ++i) number[order[i]] = static_cast<BlockId>(i);
  std::vector<Block> blocks;
  for (const BlockId old : order) {
    Block block = std::move(program.blocks[old]);
    for (BlockId& target : block.terminator.targets) {
      if (target != kNone) target = number[target];
    }
    // What is not reached branches nowhere.
    for (std::size_t i = block.predecessors.size(); i-- > 0;) {
      block.predecessors[i] = number[block.predecessors[i]];
      if (block.predecessors[i] != kNone) continue;
      const auto at = static_cast<std::ptrdiff_t>(i);
      block.predecessors.erase(block.predecessors.begin() + at);
      for (Instruction& phi : block.instructions) {
        if (phi.op == Op::kPhi) phi.operands.erase(phi.operands.begin() + at);
      }
    }
    blocks.push_back(std::move(block));
  }
  program.blocks = std::move(blocks);
}

// Finds what a value of a loop is at places behind the loop.
class LoopValue {
 public:
  LoopValue(Program& program, const FlowRegions& flow, LoopId loop, ValueId value)
      : program_(program), flow_(flow), loop_(loop), value_(value) {}

  ValueId AtEnd(BlockId block) { return flow_.Contains(loop_, block) ? value_ : AtStart(block); }

  ValueId AtStart(BlockId block) {
    const auto known = at_start_.find(block);
    if (known != at_start_.end()) return known->second;
    // Between blocks behind the loop nothing changes the value: loops there need no phi for it.
    const BlockId dominator = flow_.ImmediateDominator(block);
    if (!flow_.Contains(loop_, dominator)) return at_start_[block] = AtStart(dominator);
    const std::vector<BlockId> predecessors = program_.blocks[block].predecessors;
    const Type type = program_.types[value_];
    const ValueId phi = NewValue(program_, type);
    at_start_[block] = phi;
    std::vector<ValueId> operands;
    operands.reserve(predecessors.size());
    for (const BlockId predecessor : predecessors) operands.push_back(AtEnd(predecessor));
    std::vector<Instruction>& instructions = program_.blocks[block].instructions;
    instructions.insert(
        instructions.begin(),
        {.op = Op::kPhi, .type = type, .results = {phi}, .operands = std::move(operands)});
    return phi;
  }

 private:
  Program& program_;
  const FlowRegions& flow_;
  LoopId loop_;
  ValueId value_;
  std::map<BlockId, ValueId> at_start_;
};

void CloseLoop(Program& program, const FlowRegions& flow, LoopId loop) {
  std::map<ValueId, LoopValue> defined;
  for (BlockId id = 0; id < program.blocks.size(); ++id) {
    if (!flow.Contains(loop, id)) continue;
    for (const Instruction& instruction : program.blocks[id].instructions) {
      for (const ValueId value : instruction.results) {
        defined.emplace(value, LoopValue(program, flow, loop, value));
      }
    }
  }
  const auto outside = [&](ValueId value, BlockId block, bool at_end) {
    const auto found = defined.find(value);
    if (found == defined.end()) return value;
    return at_end ? found->second.AtEnd(block) : found->second.AtStart(block);
  };
  for (BlockId id = 0; id < program.blocks.size(); ++id) {
    if (flow.Contains(loop, id)) continue;
    // Phis are put in front while the instructions are walked, so they are walked from the end.
    for (std::size_t from_end = 1; from_end <= program.blocks[id].instructions.size(); ++from_end) {
      const auto current = [&]() -> Instruction& {
        std::vector<Instruction>& instructions = program.blocks[id].instructions;
        return instructions[instructions.size() - from_end];
      };
      for (std::size_t i = 0; i < current().operands.size(); ++i) {
        const bool is_phi = current().op == Op::kPhi;
        const BlockId block = is_phi ? program.blocks[id].predecessors[i] : id;
        const ValueId value = outside(current().operands[i], block, is_phi);
        current().operands[i] = value;
      }
    }
    Terminator& terminator = program.blocks[id].terminator;
    if (terminator.kind == Terminator::Kind::kBranchIf) {
      const ValueId condition = outside(terminator.condition, id, false);
      program.blocks[id].terminator.condition = condition;
    }
  }
}

// Closing a loop can add values to those around it and behind it, which are closed later.
void CloseLoopsWithin(Program& program, const FlowRegions& flow, LoopId parent) {
  for (LoopId loop = 1; loop < flow.Loops().size(); ++loop) {
    if (flow.Loops()[loop].parent != parent) continue;
    CloseLoopsWithin(program, flow, loop);
    CloseLoop(program, flow, loop);
  }
}

void Renumber(Program& program) {
  std::vector<ValueId> number(program.types.size(), kNone);
  std::vector<Type> types;
  for (const Block& block : program.blocks) {
    for (const Instruction& instruction : block.instructions) {
      for (const ValueId value : instruction.results) {
        number[value] = static_cast<ValueId>(types.size());
        types.push_back(program.types[value]);
      }
    }
  }
  for (Block& block : program.blocks) {
    for (Instruction& instruction : block.instructions) {
      for (ValueId& value : instruction.results) value = number[value];
      for (ValueId& value : instruction.operands) value = number[value];
    }
    if (block.terminator.kind == Terminator::Kind::kBranchIf) {
      block.terminator.condition = number[block.terminator.condition];
    }
  }
  program.types = std::move(types);
}

}  // namespace

void Normalize(Program& program) {
  SimplifyBranches(program);
  UniteReturns(program);
  RemoveTrivialPhis(program);
  GatherLeaves(program);
  JoinChains(program);
  Reorder(program);
  SplitEdges(program);
  Reorder(program);
  const FlowRegions flow(program);
  CloseLoopsWithin(program, flow, 0);
  Renumber(program);
}

}  // namespace Vantra::Pixelc
