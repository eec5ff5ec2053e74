#include "lower.h"

#include <algorithm>
#include <fmt/format.h>

#include "lowering.h"
#include "tidy.h"

namespace Vantra::Pixelc {
namespace {

// Whatever a program needs lies far below; a damaged one must not take all memory.
constexpr std::size_t kMaximumInstructions = 1u << 21;

std::vector<std::uint32_t> SuccessorLabels(const SpirvModule& module,
                                           const SpirvInstruction& terminator) {
  std::vector<std::uint32_t> labels;
  const auto& operands = terminator.operands;
  switch (terminator.op) {
    case spv::Op::OpBranch:
      labels = {OperandOf(module, terminator, 0)};
      break;
    case spv::Op::OpBranchConditional:
      labels = {OperandOf(module, terminator, 1), OperandOf(module, terminator, 2)};
      break;
    case spv::Op::OpSwitch:
      labels = {OperandOf(module, terminator, 1)};
      for (std::size_t at = 3; at < operands.size(); at += 2) labels.push_back(operands[at]);
      break;
    default:
      break;
  }
  std::ranges::sort(labels);
  labels.erase(std::ranges::unique(labels).begin(), labels.end());
  return labels;
}

}  // namespace

Program Lower(const SpirvModule& module) {
  Program program;
  program.name = module.name();
  program.is_compute = module.is_compute();
  Lowering(module, program).Run();
  Tidy(&program);
  if (const std::string fault = FaultOf(program); !fault.empty()) module.Fail(fault);
  return program;
}

Lowering::Lowering(const SpirvModule& module, Program& program)
    : module_(module), program_(program), builder_(program) {}

void Lowering::Run() {
  OrderBlocks();
  for (const std::uint32_t label : order_) {
    states_[label].block = builder_.AddBlock();
    origins_.push_back(label);
  }
  builder_.Enter(0);
  SetUpVariables();
  for (const std::uint32_t label : order_) {
    StartBlock(label);
    LowerBlock(*states_[label].source);
    states_[label].cells = cells_;
    states_[label].is_done = true;
  }
  FinishPhis();
  builder_.Finish();
}

// Reverse postorder, in which only phis name values of later blocks.
void Lowering::OrderBlocks() {
  for (const SpirvBlock& block : module_.blocks()) states_[block.label].source = &block;
  struct Visit {
    std::uint32_t label;
    std::vector<std::uint32_t> successors;
  };
  std::unordered_map<std::uint32_t, bool> seen;
  std::vector<Visit> stack;
  const auto enter = [&](std::uint32_t label) {
    seen[label] = true;
    const SpirvInstruction& terminator = states_[label].source->instructions.back();
    stack.push_back({label, SuccessorLabels(module_, terminator)});
    for (const std::uint32_t successor : stack.back().successors) {
      if (!states_.contains(successor)) Fail(terminator, "it branches to where there is no block");
      states_[successor].predecessors.push_back(label);
    }
  };
  enter(module_.blocks()[0].label);
  while (!stack.empty()) {
    Visit& visit = stack.back();
    if (visit.successors.empty()) {
      order_.push_back(visit.label);
      stack.pop_back();
      continue;
    }
    const std::uint32_t next = visit.successors.back();
    visit.successors.pop_back();
    if (!seen[next]) enter(next);
  }
  std::ranges::reverse(order_);
  if (!states_[order_[0]].predecessors.empty()) module_.Fail("it branches to its entry");
}

void Lowering::StartBlock(std::uint32_t label) {
  label_ = label;
  const BlockState& state = states_[label];
  builder_.Enter(state.block);
  if (state.predecessors.empty()) return;
  const BlockState& first = states_[state.predecessors[0]];
  if (state.predecessors.size() == 1 && first.is_done) {
    cells_ = first.cells;
    return;
  }
  CellPhis phis{.label = label, .results = {}};
  for (const Type type : cell_types_) phis.results.push_back(builder_.Phi(type));
  cells_ = phis.results;
  cell_phis_.push_back(std::move(phis));
}

void Lowering::LowerBlock(const SpirvBlock& block) {
  for (const SpirvInstruction& instruction : block.instructions) {
    if (&instruction == &block.instructions.back()) {
      LowerTerminator(instruction);
    } else {
      LowerInstruction(instruction);
    }
    if (builder_.size() > kMaximumInstructions) Fail(instruction, "the program is too large");
  }
}

void Lowering::LowerInstruction(const SpirvInstruction& instruction) {
  builder_.SetPrecise(module_.DecorationsOf(instruction.result).no_contraction);
  switch (instruction.op) {
    case spv::Op::OpSelectionMerge:
    case spv::Op::OpLoopMerge:
      return;
    case spv::Op::OpPhi:
      return LowerPhi(instruction);
    case spv::Op::OpExtInst:
      return LowerFunction(instruction);
    default:
      break;
  }
  if (!LowerArithmetic(instruction) && !LowerComposite(instruction) && !LowerMemory(instruction) &&
      !LowerImage(instruction)) {
    Fail(instruction, "it is not supported");
  }
}

void Lowering::LowerPhi(const SpirvInstruction& instruction) {
  PendingPhi phi{.instruction = instruction, .block = builder_.block(), .results = {}};
  const auto& earlier = program_.blocks[phi.block].instructions;
  if (phi.block == 0 || (!earlier.empty() && earlier.back().op != Op::kPhi)) {
    Fail(instruction, "it does not head its block");
  }
  for (const Type type : module_.ComponentTypes(instruction.type)) {
    phi.results.push_back(builder_.Phi(type));
  }
  SetResult(instruction, phi.results);
  phis_.push_back(std::move(phi));
}

BlockId Lowering::BlockOf(const SpirvInstruction& at, std::uint32_t label) const {
  const auto found = states_.find(label);
  if (found == states_.end() || found->second.block == kNone) {
    Fail(at, "it branches to where there is no block");
  }
  return found->second.block;
}

void Lowering::LowerTerminator(const SpirvInstruction& instruction) {
  switch (instruction.op) {
    case spv::Op::OpBranch:
      builder_.Branch(BlockOf(instruction, Operand(instruction, 0)));
      break;
    case spv::Op::OpBranchConditional: {
      const ValueId condition = OperandValue(instruction, 0);
      if (builder_.TypeOf(condition) != Type::kBool) {
        Fail(instruction, "its condition is no truth value");
      }
      builder_.BranchIf(condition, BlockOf(instruction, Operand(instruction, 1)),
                        BlockOf(instruction, Operand(instruction, 2)));
      break;
    }
    case spv::Op::OpSwitch:
      LowerSwitch(instruction);
      break;
    case spv::Op::OpReturn:
    case spv::Op::OpUnreachable:
      LowerReturn();
      break;
    default:
      Fail(instruction, "it is not supported");
  }
}

// A chain of comparisons, one for each target but the default.
void Lowering::LowerSwitch(const SpirvInstruction& instruction) {
  const ValueId selector = OperandValue(instruction, 0);
  const std::uint32_t fallback = Operand(instruction, 1);
  if (builder_.TypeOf(selector) == Type::kFloat || builder_.TypeOf(selector) == Type::kBool ||
      instruction.operands.size() % 2 != 0) {
    Fail(instruction, "its selector or its cases do not fit");
  }
  struct Case {
    std::uint32_t target;
    ValueId condition;
  };
  std::vector<Case> cases;
  std::unordered_map<std::uint32_t, std::size_t> case_of;
  for (std::size_t at = 2; at < instruction.operands.size(); at += 2) {
    const std::uint32_t target = instruction.operands[at + 1];
    if (target == fallback) continue;
    const ValueId literal = builder_.Constant(builder_.TypeOf(selector), instruction.operands[at]);
    const ValueId is_equal = builder_.Emit(Op::kEqual, {selector, literal});
    const auto [found, is_new] = case_of.try_emplace(target, cases.size());
    if (is_new) {
      cases.push_back({target, is_equal});
    } else {
      Case& known = cases[found->second];
      known.condition = builder_.Emit(Op::kOr, {known.condition, is_equal});
    }
  }
  const BlockId default_block = BlockOf(instruction, fallback);
  if (cases.empty()) builder_.Branch(default_block);
  for (std::size_t index = 0; index < cases.size(); ++index) {
    BlockId next = default_block;
    if (index + 1 < cases.size()) {
      next = builder_.AddBlock();
      origins_.push_back(label_);
    }
    builder_.BranchIf(cases[index].condition, BlockOf(instruction, cases[index].target), next);
    builder_.Enter(next);
  }
}

void Lowering::LowerReturn() {
  if (result_variable_ != 0) {
    Pointer result;
    result.variable = result_variable_;
    result.type = module_.FindVariable(result_variable_)->type;
    const Values color = LoadLocal(result);
    builder_.Effect(Op::kResult, {color[0], color[1], color[2], color[3]});
  }
  builder_.Return();
}

void Lowering::FinishPhis() {
  LinkPredecessors(&program_);
  std::unordered_map<ValueId, Values> operands;
  for (const PendingPhi& phi : phis_) {
    std::unordered_map<std::uint32_t, std::uint32_t> value_of;
    for (std::size_t at = 0; at + 1 < phi.instruction.operands.size(); at += 2) {
      value_of[phi.instruction.operands[at + 1]] = phi.instruction.operands[at];
    }
    for (const BlockId predecessor : program_.blocks[phi.block].predecessors) {
      const auto found = value_of.find(origins_[predecessor]);
      if (found == value_of.end()) Fail(phi.instruction, "it lacks a value for a way to it");
      const Values values = ValuesOf(phi.instruction, found->second);
      if (values.size() != phi.results.size()) {
        Fail(phi.instruction, "its values are not of its type");
      }
      for (std::size_t index = 0; index < values.size(); ++index) {
        if (builder_.TypeOf(values[index]) != builder_.TypeOf(phi.results[index])) {
          Fail(phi.instruction, "its values are not of its type");
        }
        operands[phi.results[index]].push_back(values[index]);
      }
    }
  }
  for (const CellPhis& phis : cell_phis_) {
    for (const BlockId predecessor : program_.blocks[states_[phis.label].block].predecessors) {
      const Values& cells = states_[origins_[predecessor]].cells;
      for (std::size_t index = 0; index < cells.size(); ++index) {
        operands[phis.results[index]].push_back(cells[index]);
      }
    }
  }
  for (Block& block : program_.blocks) {
    for (Instruction& instruction : block.instructions) {
      if (instruction.op == Op::kPhi) {
        instruction.operands = std::move(operands[instruction.results[0]]);
      }
    }
  }
}

const Lowering::Values& Lowering::ValuesOf(const SpirvInstruction& at, std::uint32_t id) {
  if (const auto found = values_.find(id); found != values_.end()) return found->second;
  Values values;
  if (const SpirvConstant* constant = module_.FindConstant(id)) {
    const std::vector<Type> types = module_.ComponentTypes(constant->type);
    for (std::size_t index = 0; index < types.size(); ++index) {
      values.push_back(builder_.Constant(types[index], constant->bits[index]));
    }
    value_types_[id] = constant->type;
  } else if (module_.IsUndefined(id)) {
    for (const Type type : module_.ComponentTypes(module_.UndefinedType(id))) {
      values.push_back(builder_.Undefined(type));
    }
    value_types_[id] = module_.UndefinedType(id);
  }
  if (values.empty()) Fail(at, fmt::format("%{} is no value here", id));
  return values_[id] = std::move(values);
}

Lowering::Values Lowering::OperandValues(const SpirvInstruction& at, std::size_t index,
                                         std::size_t count) {
  const Values& values = ValuesOf(at, Operand(at, index));
  if (values.size() != count) Fail(at, "an operand has not the components that it takes");
  return values;
}

std::uint32_t Lowering::ValueType(const SpirvInstruction& at, std::uint32_t id) const {
  const auto found = value_types_.find(id);
  if (found == value_types_.end()) Fail(at, fmt::format("%{} is no value here", id));
  return found->second;
}

void Lowering::SetResult(const SpirvInstruction& instruction, Values values) {
  const std::vector<Type> types = module_.ComponentTypes(instruction.type);
  if (types.empty() || types.size() != values.size()) {
    Fail(instruction, "its result is not of its type");
  }
  for (std::size_t index = 0; index < values.size(); ++index) {
    const bool is_bool = builder_.TypeOf(values[index]) == Type::kBool;
    if (is_bool != (types[index] == Type::kBool)) {
      Fail(instruction, "its result is not of its type");
    }
    values[index] = builder_.As(values[index], types[index]);
  }
  value_types_[instruction.result] = instruction.type;
  values_[instruction.result] = std::move(values);
}

}  // namespace Vantra::Pixelc
