#include "builder.h"

#include <bit>
#include <iterator>

namespace Vantra::Pixelc {
namespace {

Type ResultType(Op op, Type operand) {
  switch (op) {
    case Op::kEqual:
    case Op::kNotEqual:
    case Op::kLess:
    case Op::kLessEqual:
    case Op::kGreater:
    case Op::kGreaterEqual:
    case Op::kIsNan:
    case Op::kIsInf:
      return Type::kBool;
    case Op::kFindLowestBit:
    case Op::kFindHighestBit:
    case Op::kFloatToInt:
    case Op::kBitsToInt:
    case Op::kExponent:
      return Type::kInt;
    case Op::kFloatToUint:
    case Op::kBitsToUint:
    case Op::kFloatToHalf:
      return Type::kUint;
    case Op::kIntToFloat:
    case Op::kUintToFloat:
    case Op::kBitsToFloat:
    case Op::kHalfToFloat:
      return Type::kFloat;
    default:
      return operand;
  }
}

}  // namespace

BlockId Builder::AddBlock() {
  program_.blocks.emplace_back();
  return static_cast<BlockId>(program_.blocks.size() - 1);
}

Instruction& Builder::Append(Instruction instruction, std::size_t results, Type type) {
  ++size_;
  instruction.type = type;
  for (std::size_t index = 0; index < results; ++index) {
    instruction.results.push_back(static_cast<ValueId>(program_.types.size()));
    program_.types.push_back(type);
  }
  return program_.blocks[block_].instructions.emplace_back(std::move(instruction));
}

ValueId Builder::Leaf(Op op, Type type, std::uint32_t bits) {
  const auto [found, is_new] = leaf_values_.try_emplace(
      std::tuple(op, type, bits), static_cast<ValueId>(program_.types.size()));
  if (is_new) {
    program_.types.push_back(type);
    leaves_.push_back({.op = op, .type = type, .results = {found->second}, .bits = bits});
  }
  return found->second;
}

ValueId Builder::Constant(Type type, std::uint32_t bits) { return Leaf(Op::kConstant, type, bits); }

ValueId Builder::Float(float value) {
  return Constant(Type::kFloat, std::bit_cast<std::uint32_t>(value));
}

ValueId Builder::Int(std::int32_t value) {
  return Constant(Type::kInt, static_cast<std::uint32_t>(value));
}

ValueId Builder::Emit(Op op, std::initializer_list<ValueId> operands) {
  const Type type = ResultType(op, TypeOf(*operands.begin()));
  return Append({.op = op, .operands = operands, .is_precise = is_precise_}, 1, type).results[0];
}

std::array<ValueId, 4> Builder::Read(Op op, ValueId x, ValueId y, std::uint32_t texture,
                                     std::uint32_t sampler) {
  const Instruction& read = Append(
      {.op = op, .operands = {x, y}, .index = texture, .second_index = sampler}, 4, Type::kFloat);
  return {read.results[0], read.results[1], read.results[2], read.results[3]};
}

std::array<ValueId, 2> Builder::TextureSize(std::uint32_t texture) {
  const Instruction& size = Append({.op = Op::kTextureSize, .index = texture}, 2, Type::kInt);
  return {size.results[0], size.results[1]};
}

ValueId Builder::Load(Op op, Type type, std::uint32_t index, ValueId at) {
  return Append({.op = op, .operands = {at}, .index = index}, 1, type).results[0];
}

void Builder::Effect(Op op, std::initializer_list<ValueId> operands, std::uint32_t index) {
  Append({.op = op, .operands = operands, .index = index}, 0, Type::kFloat);
}

ValueId Builder::Phi(Type type) { return Append({.op = Op::kPhi}, 1, type).results[0]; }

ValueId Builder::Select(ValueId condition, ValueId yes, ValueId no) {
  if (TypeOf(yes) == Type::kBool) {
    const ValueId otherwise = Emit(Op::kAnd, {Emit(Op::kNot, {condition}), no});
    return Emit(Op::kOr, {Emit(Op::kAnd, {condition, yes}), otherwise});
  }
  return Append({.op = Op::kSelect, .operands = {condition, yes, no}}, 1, TypeOf(yes)).results[0];
}

ValueId Builder::As(ValueId value, Type type) {
  if (TypeOf(value) == type || type == Type::kBool || TypeOf(value) == Type::kBool) return value;
  switch (type) {
    case Type::kInt:
      return Emit(Op::kBitsToInt, {value});
    case Type::kUint:
      return Emit(Op::kBitsToUint, {value});
    default:
      return Emit(Op::kBitsToFloat, {value});
  }
}

ValueId Builder::Dot(std::span<const ValueId> a, std::span<const ValueId> b) {
  ValueId sum = Mul(a[0], b[0]);
  for (std::size_t index = 1; index < a.size(); ++index) sum = Add(sum, Mul(a[index], b[index]));
  return sum;
}

void Builder::Branch(BlockId target) {
  program_.blocks[block_].terminator = {.kind = Terminator::Kind::kBranch,
                                        .targets = {target, kNone}};
}

void Builder::BranchIf(ValueId condition, BlockId yes, BlockId no) {
  program_.blocks[block_].terminator = {
      .kind = Terminator::Kind::kBranchIf, .condition = condition, .targets = {yes, no}};
}

void Builder::Return() { program_.blocks[block_].terminator = {}; }

void Builder::Finish() {
  auto& entry = program_.blocks[0].instructions;
  entry.insert(entry.begin(), std::make_move_iterator(leaves_.begin()),
               std::make_move_iterator(leaves_.end()));
}

}  // namespace Vantra::Pixelc
