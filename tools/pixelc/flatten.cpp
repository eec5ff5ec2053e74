#include "flatten.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <iterator>
#include <map>
#include <utility>
#include <vector>

#include "normalize.h"

namespace Vantra::Pixelc {

namespace {

// What a block of lanes costs that hardly any lane needs: a branch that is often foretold wrongly.
constexpr int kMostForSomeLanes = 40;
// A branch of all lanes is mostly foretold, and spares all that is behind it.
constexpr int kMostForAllLanes = 2;
constexpr int kMostOnceARow = 64;

constexpr int kNeverFlattened = 1000;

// Computed where it is not needed, about how long an instruction takes, in additions.
int CostOf(Op op) {
  switch (op) {
    case Op::kPhi:
    case Op::kSample:
    case Op::kFetch:
    case Op::kLoadConstant:
    case Op::kLoadArray:
    case Op::kStoreArray:
    case Op::kResult:
    case Op::kWriteWord:
      return kNeverFlattened;
    case Op::kSin:
    case Op::kCos:
    case Op::kTan:
    case Op::kAsin:
    case Op::kAcos:
    case Op::kAtan:
    case Op::kAtan2:
    case Op::kSinh:
    case Op::kCosh:
    case Op::kTanh:
    case Op::kAsinh:
    case Op::kAcosh:
    case Op::kAtanh:
    case Op::kExp:
    case Op::kLog:
    case Op::kExp2:
    case Op::kLog2:
    case Op::kPow:
      return 25;
    case Op::kDiv:
    case Op::kRem:
    case Op::kMod:
    case Op::kSqrt:
    case Op::kInverseSqrt:
      return 6;
    default:
      return 1;
  }
}

int CostOf(const Block& block, const Divergence& divergence, bool* is_uniform) {
  int cost = 0;
  for (const Instruction& instruction : block.instructions) {
    const bool uniform =
        !instruction.results.empty() && divergence.IsUniform(instruction.results[0]);
    *is_uniform &= uniform;
    cost += uniform && instruction.op == Op::kLoadConstant ? 1 : CostOf(instruction.op);
  }
  return cost;
}

bool HasPhis(const Block& block) {
  return !block.instructions.empty() && block.instructions.front().op == Op::kPhi;
}

// Whether a block only leads from `from` to another one.
bool IsSide(const Block& block, BlockId from) {
  return block.predecessors == std::vector<BlockId>{from} && !HasPhis(block) &&
         block.terminator.kind == Terminator::Kind::kBranch;
}

bool IsWorthFlattening(const Program& program, const Terminator& branch,
                       const Divergence& divergence) {
  bool once_a_row = divergence.IsUniform(branch.condition);
  const bool of_all_lanes = once_a_row;
  int cost = 0;
  for (const BlockId side : branch.targets) {
    cost += CostOf(program.blocks[side], divergence, &once_a_row);
  }
  const Block& meeting = program.blocks[program.blocks[branch.targets[0]].terminator.targets[0]];
  for (const Instruction& phi : meeting.instructions) {
    if (phi.op != Op::kPhi) break;
    if (of_all_lanes) {
      once_a_row &= divergence.IsUniform(phi.results[0]);
      ++cost;
    }
  }
  return cost <= (once_a_row ? kMostOnceARow : of_all_lanes ? kMostForAllLanes : kMostForSomeLanes);
}

}  // namespace

bool FlattenBranches(Program& program, const Divergence& divergence) {
  bool changed = false;
  // From the end, so that what is inside is flat before what is around it.
  for (BlockId id = static_cast<BlockId>(program.blocks.size()); id-- > 0;) {
    Block& block = program.blocks[id];
    const Terminator branch = block.terminator;
    if (branch.kind != Terminator::Kind::kBranchIf || branch.targets[0] == branch.targets[1] ||
        !IsSide(program.blocks[branch.targets[0]], id) ||
        !IsSide(program.blocks[branch.targets[1]], id)) {
      continue;
    }
    const BlockId meeting = program.blocks[branch.targets[0]].terminator.targets[0];
    if (meeting != program.blocks[branch.targets[1]].terminator.targets[0] || meeting <= id ||
        !IsWorthFlattening(program, branch, divergence)) {
      continue;
    }
    std::vector<std::size_t> ways;
    std::vector<BlockId>& predecessors = program.blocks[meeting].predecessors;
    for (const BlockId side : branch.targets) {
      std::vector<Instruction>& work = program.blocks[side].instructions;
      std::move(work.begin(), work.end(), std::back_inserter(block.instructions));
      const auto way = std::find(predecessors.begin(), predecessors.end(), side);
      ways.push_back(static_cast<std::size_t>(way - predecessors.begin()));
      *way = id;
      program.blocks[side] = {};
    }
    // Of two ways from one block the first is that of the true condition.
    if (ways[0] > ways[1]) {
      for (Instruction& phi : program.blocks[meeting].instructions) {
        if (phi.op == Op::kPhi) std::swap(phi.operands[ways[0]], phi.operands[ways[1]]);
      }
    }
    block.terminator.targets = {meeting, meeting};
    changed = true;
  }
  return changed;
}

bool RaiseUniforms(Program& program, const FlowRegions& flow, const Divergence& divergence) {
  std::vector<BlockId> block_of(program.types.size(), 0);
  for (BlockId id = 0; id < program.blocks.size(); ++id) {
    for (const Instruction& instruction : program.blocks[id].instructions) {
      for (const ValueId value : instruction.results) block_of[value] = id;
    }
  }
  bool changed = false;
  for (BlockId id = 1; id < program.blocks.size(); ++id) {
    if (divergence.IsUniformBlock(id)) continue;
    BlockId place = flow.ImmediateDominator(id);
    while (!divergence.IsUniformBlock(place)) place = flow.ImmediateDominator(place);
    std::vector<Instruction>& instructions = program.blocks[id].instructions;
    std::erase_if(instructions, [&](Instruction& instruction) {
      const bool is_cheap = CostOf(instruction.op) < kNeverFlattened ||
                            instruction.op == Op::kLoadConstant || instruction.op == Op::kFetch ||
                            instruction.op == Op::kSample;
      if (instruction.results.empty() || !is_cheap ||
          !divergence.IsUniform(instruction.results[0]) ||
          !std::all_of(instruction.operands.begin(), instruction.operands.end(),
                       [&](ValueId operand) { return flow.Dominates(block_of[operand], place); })) {
        return false;
      }
      for (const ValueId value : instruction.results) block_of[value] = place;
      program.blocks[place].instructions.push_back(std::move(instruction));
      changed = true;
      return true;
    });
  }
  return changed;
}

namespace {

class Simplifier {
 public:
  explicit Simplifier(Program& program) : program_(program) {}

  void Run() {
    FindDefinitions();
    for (Block& block : program_.blocks) SimplifySelections(block);
    FindDefinitions();
    for (Block& block : program_.blocks) {
      for (Instruction& instruction : block.instructions) {
        if (instruction.op != Op::kResult) continue;
        for (ValueId& channel : instruction.operands) channel = WithoutClamp(channel);
      }
    }
  }

 private:
  void FindDefinitions() {
    definitions_.assign(program_.types.size(), {.op = Op::kUndefined});
    for (const Block& block : program_.blocks) {
      for (const Instruction& instruction : block.instructions) {
        for (const ValueId value : instruction.results) definitions_[value] = instruction;
      }
    }
  }

  bool IsConstant(ValueId value, std::uint32_t bits) const {
    return definitions_[value].op == Op::kConstant && definitions_[value].bits == bits;
  }

  // Of truth values, where one of both is the condition or constant.
  void SimplifySelections(Block& block) {
    for (std::size_t i = 0; i < block.instructions.size(); ++i) {
      const Instruction select = block.instructions[i];
      if (select.op != Op::kSelect || select.type != Type::kBool) continue;
      const ValueId condition = select.operands[0], yes = select.operands[1],
                    no = select.operands[2];
      Instruction& result = block.instructions[i];
      if (yes == condition || IsConstant(yes, 1)) {
        result.op = Op::kOr;
        result.operands = {condition, no};
      } else if (no == condition || IsConstant(no, 0)) {
        result.op = Op::kAnd;
        result.operands = {condition, yes};
      } else if (IsConstant(yes, 0) || IsConstant(no, 1)) {
        const ValueId not_condition = static_cast<ValueId>(program_.types.size());
        program_.types.push_back(Type::kBool);
        definitions_.push_back({.op = Op::kNot});
        result.op = IsConstant(yes, 0) ? Op::kAnd : Op::kOr;
        result.operands = {not_condition, IsConstant(yes, 0) ? no : yes};
        block.instructions.insert(block.instructions.begin() + static_cast<std::ptrdiff_t>(i),
                                  {.op = Op::kNot,
                                   .type = Type::kBool,
                                   .results = {not_condition},
                                   .operands = {condition}});
        ++i;
      }
    }
  }

  ValueId WithoutClamp(ValueId channel) const {
    constexpr std::uint32_t kZero = 0, kOne = 0x3F800000;
    const Instruction& upper = definitions_[channel];
    if (upper.op != Op::kMin || !IsConstant(upper.operands[1], kOne)) return channel;
    const Instruction& lower = definitions_[upper.operands[0]];
    if (lower.op != Op::kMax || !IsConstant(lower.operands[1], kZero)) return channel;
    return lower.operands[0];
  }

  Program& program_;
  // By value.
  std::vector<Instruction> definitions_;
};

}  // namespace

bool MultiplyByReciprocals(Program& program, const Divergence& divergence) {
  bool changed = false;
  for (Block& block : program.blocks) {
    std::map<ValueId, ValueId> reciprocals;
    std::vector<Instruction> instructions;
    for (Instruction& instruction : block.instructions) {
      if (instruction.op == Op::kDiv && instruction.type == Type::kFloat &&
          !instruction.is_precise && divergence.KindOf(instruction.results[0]) == Kind::kVarying &&
          divergence.IsUniform(instruction.operands[1])) {
        const auto [found, is_new] = reciprocals.try_emplace(
            instruction.operands[1], static_cast<ValueId>(program.types.size()));
        if (is_new) {
          const ValueId one = found->second + 1;
          program.types.resize(program.types.size() + 2, Type::kFloat);
          instructions.push_back(
              {.op = Op::kConstant, .results = {one}, .bits = std::bit_cast<std::uint32_t>(1.0f)});
          instructions.push_back({.op = Op::kDiv,
                                  .results = {found->second},
                                  .operands = {one, instruction.operands[1]}});
        }
        instruction.op = Op::kMul;
        instruction.operands[1] = found->second;
        changed = true;
      }
      instructions.push_back(std::move(instruction));
    }
    block.instructions = std::move(instructions);
  }
  return changed;
}

void SimplifyValues(Program& program) { Simplifier(program).Run(); }

}  // namespace Vantra::Pixelc
