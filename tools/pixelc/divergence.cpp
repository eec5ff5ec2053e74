#include "divergence.h"

#include <algorithm>
#include <map>

#include "normalize.h"

namespace Vantra::Pixelc {

Divergence::Divergence(const Program& program, const FlowRegions& flow)
    : program_(program),
      flow_(flow),
      block_of_(program.types.size(), 0),
      kinds_(program.types.size(), Kind::kUnknown),
      uniform_blocks_(program.blocks.size(), true),
      leaves_apart_(flow.Loops().size(), false),
      uniform_arrays_(program.arrays.size(), true),
      joins_(program.blocks.size(), false) {
  for (BlockId block = 0; block < program.blocks.size(); ++block) {
    for (const Instruction& instruction : program.blocks[block].instructions) {
      for (const ValueId value : instruction.results) block_of_[value] = block;
    }
  }
  // Each step only makes more differ, so this ends.
  for (bool changed = true; changed;) {
    changed = ClassifyValues();
    changed |= FindDivergentFlow();
  }
}

bool Divergence::ClassifyValues() {
  bool any_change = false;
  for (bool changed = true; changed;) {
    changed = false;
    UpdateArrays();
    for (BlockId block = 0; block < program_.blocks.size(); ++block) {
      for (const Instruction& instruction : program_.blocks[block].instructions) {
        if (instruction.results.empty()) continue;
        const Kind kind = std::max(kinds_[instruction.results[0]], Classify(instruction, block));
        for (const ValueId value : instruction.results) {
          changed |= kinds_[value] != kind;
          kinds_[value] = kind;
        }
      }
    }
    any_change |= changed;
  }
  return any_change;
}

Kind Divergence::Classify(const Instruction& instruction, BlockId block) const {
  switch (instruction.op) {
    case Op::kPixelX:
      return Kind::kLinear;
    case Op::kInvocationX:
      return Kind::kColumn;
    case Op::kPhi:
      return ClassifyPhi(instruction, block);
    case Op::kLoadArray:
      return uniform_arrays_[instruction.index] ? Kind::kUniform : Kind::kVarying;
    default:
      break;
  }
  Kind highest = Kind::kUniform;
  for (const ValueId operand : instruction.operands) {
    if (kinds_[operand] == Kind::kUnknown) return Kind::kUnknown;
    highest = std::max(highest, kinds_[operand]);
  }
  if (highest == Kind::kUniform || highest == Kind::kVarying) return highest;
  // Where only some pixels come nothing is prepared for the row.
  return uniform_blocks_[block] ? ClassifyNumber(instruction) : Kind::kVarying;
}

Kind Divergence::ClassifyPhi(const Instruction& phi, BlockId block) const {
  if (joins_[block]) return Kind::kVarying;
  Kind kind = Kind::kUnknown;
  bool mixed = false;
  const std::vector<BlockId>& predecessors = program_.blocks[block].predecessors;
  for (std::size_t i = 0; i < phi.operands.size(); ++i) {
    const Kind operand = kinds_[phi.operands[i]];
    mixed |= operand != Kind::kUnknown && kind != Kind::kUnknown && operand != kind;
    kind = std::max(kind, operand);
    // Pixels that leave a loop at different times bring the values of different times.
    for (LoopId loop = flow_.InnermostLoop(predecessors[i]); !flow_.Contains(loop, block);
         loop = flow_.Loops()[loop].parent) {
      if (leaves_apart_[loop]) return Kind::kVarying;
    }
  }
  if (kind <= Kind::kUniform) return kind;
  if (!uniform_blocks_[block]) return Kind::kVarying;
  // A uniform float is linear with a slope of zero, but a uniform integer is no column.
  return kind == Kind::kColumn && mixed ? Kind::kVarying : kind;
}

// An instruction of which some operand is linear or a column and none is varying.
Kind Divergence::ClassifyNumber(const Instruction& instruction) const {
  const auto is_uniform = [&](std::size_t operand) {
    return IsUniform(instruction.operands[operand]);
  };
  const bool is_float = instruction.type == Type::kFloat;
  const Kind number = is_float ? Kind::kLinear : Kind::kColumn;
  const bool one_uniform = instruction.operands.size() == 2 && (is_uniform(0) || is_uniform(1));
  switch (instruction.op) {
    case Op::kNeg:
      return is_float ? Kind::kLinear : Kind::kVarying;
    case Op::kAdd:
      return is_float || one_uniform ? number : Kind::kVarying;
    case Op::kSub:
      return is_float || is_uniform(1) ? number : Kind::kVarying;
    case Op::kMul:
      return is_float && one_uniform ? Kind::kLinear : Kind::kVarying;
    case Op::kDiv:
      return is_float && is_uniform(1) ? Kind::kLinear : Kind::kVarying;
    case Op::kFma:
      return is_uniform(0) || is_uniform(1) ? Kind::kLinear : Kind::kVarying;
    case Op::kMin:
    case Op::kMax:
      // Of unsigned columns those left of the image are large.
      return one_uniform && instruction.type != Type::kUint ? number : Kind::kVarying;
    case Op::kSelect:
      if (!is_uniform(0)) return Kind::kVarying;
      return is_float || (!is_uniform(1) && !is_uniform(2)) ? number : Kind::kVarying;
    case Op::kFloor:
    case Op::kTrunc:
    case Op::kRound:
      return Kind::kLinear;
    case Op::kFloatToInt:
      return Kind::kColumn;
    case Op::kIntToFloat:
      return Kind::kLinear;
    case Op::kBitsToInt:
    case Op::kBitsToUint:
      return program_.types[instruction.operands[0]] == Type::kFloat ? Kind::kVarying
                                                                     : Kind::kColumn;
    default:
      return Kind::kVarying;
  }
}

bool Divergence::IsRowRead(const Instruction& instruction, BlockId block) const {
  if (instruction.op != Op::kSample && instruction.op != Op::kFetch) return false;
  const Kind along = kinds_[instruction.operands[0]];
  return uniform_blocks_[block] && (along == Kind::kLinear || along == Kind::kColumn) &&
         IsUniform(instruction.operands[1]);
}

void Divergence::UpdateArrays() {
  for (BlockId block = 0; block < program_.blocks.size(); ++block) {
    for (const Instruction& instruction : program_.blocks[block].instructions) {
      if (instruction.op != Op::kLoadArray && instruction.op != Op::kStoreArray) continue;
      const bool uniform =
          uniform_blocks_[block] &&
          std::all_of(instruction.operands.begin(), instruction.operands.end(),
                      [&](ValueId operand) { return kinds_[operand] <= Kind::kUniform; });
      if (!uniform) uniform_arrays_[instruction.index] = false;
    }
  }
}

bool Divergence::PartsAt(LoopId region, BlockId node) const {
  if (flow_.IsLoopNode(region, node)) {
    return leaves_apart_[flow_.LoopAt(region, node)] &&
           flow_.NodeSuccessors(region, node).size() > 1;
  }
  const Terminator& terminator = program_.blocks[node].terminator;
  return terminator.kind == Terminator::Kind::kBranchIf &&
         kinds_[terminator.condition] > Kind::kUniform;
}

std::set<BlockId> Divergence::AllDeciders(LoopId region, BlockId node, BlockId within) const {
  std::set<BlockId> deciders;
  std::vector<BlockId> pending = {node};
  while (!pending.empty()) {
    const BlockId current = pending.back();
    pending.pop_back();
    for (const BlockId decider : flow_.Deciders(region, current)) {
      if (flow_.Dominates(within, decider) && deciders.insert(decider).second) {
        pending.push_back(decider);
      }
    }
  }
  return deciders;
}

bool Divergence::PartsBetween(LoopId region, BlockId node, BlockId later) const {
  const std::set<BlockId> deciders = AllDeciders(region, later, node);
  return std::any_of(deciders.begin(), deciders.end(),
                     [&](BlockId decider) { return PartsAt(region, decider); });
}

// From inner loops outward which loops are left apart, then inward which blocks are uniform.
bool Divergence::FindDivergentFlow() {
  const std::vector<bool> blocks_before = uniform_blocks_;
  const std::vector<bool> apart_before = leaves_apart_;
  const std::vector<bool> joins_before = joins_;
  const auto& loops = flow_.Loops();
  for (LoopId loop = static_cast<LoopId>(loops.size()); loop-- > 0;) {
    for (const Edge& exit : loops[loop].exits) {
      const BlockId node = flow_.NodeOf(loop, exit.from);
      if (PartsAt(loop, node) || PartsBetween(loop, loops[loop].header, node)) {
        leaves_apart_[loop] = true;
      }
    }
    for (const BlockId node : loops[loop].nodes) {
      if (PartsAt(loop, node)) FindJoins(loop, node);
    }
  }
  for (LoopId loop = 0; loop < loops.size(); ++loop) {
    const BlockId header = loops[loop].header;
    const bool uniform_loop =
        loop == 0 || (uniform_blocks_[header] && !leaves_apart_[loop]);
    for (const BlockId node : loops[loop].nodes) {
      if (!uniform_loop || PartsBetween(loop, header, node)) uniform_blocks_[node] = false;
    }
  }
  return blocks_before != uniform_blocks_ || apart_before != leaves_apart_ ||
         joins_before != joins_;
}

// Follows each of the ways that part at `node`: where two of them meet is a join, and from there
// they go on as one.
void Divergence::FindJoins(LoopId region, BlockId node) {
  std::map<BlockId, BlockId> way;
  const auto arrive = [&](BlockId at, BlockId from) {
    if (at == FlowRegions::kEnd) return;
    const auto [known, is_new] = way.try_emplace(at, from);
    if (!is_new && known->second != from) {
      joins_[at] = true;
      known->second = at;
    }
  };
  for (const BlockId next : flow_.NodeSuccessors(region, node)) arrive(next, next);
  for (const BlockId current : flow_.Loops()[region].nodes) {
    const auto known = way.find(current);
    if (known == way.end()) continue;
    for (const BlockId next : flow_.NodeSuccessors(region, current)) arrive(next, known->second);
  }
}

}  // namespace Vantra::Pixelc
