#include <optional>

#include "lowering.h"

namespace Vantra::Pixelc {
namespace {

// What SPIR-V takes operands for; its integers are signed by the operation, not by their type.
enum class Operands : std::uint8_t { kFloat, kInt, kUint, kBool, kResult, kOwn };

struct Elementwise {
  spv::Op spirv;
  Op op;
  Operands operands;
  bool is_negated = false;
};

using enum Operands;

constexpr Elementwise kElementwise[] = {
    {spv::Op::OpSNegate, Op::kNeg, kResult},
    {spv::Op::OpFNegate, Op::kNeg, kFloat},
    {spv::Op::OpIAdd, Op::kAdd, kResult},
    {spv::Op::OpFAdd, Op::kAdd, kFloat},
    {spv::Op::OpISub, Op::kSub, kResult},
    {spv::Op::OpFSub, Op::kSub, kFloat},
    {spv::Op::OpIMul, Op::kMul, kResult},
    {spv::Op::OpFMul, Op::kMul, kFloat},
    {spv::Op::OpUDiv, Op::kDiv, kUint},
    {spv::Op::OpSDiv, Op::kDiv, kInt},
    {spv::Op::OpFDiv, Op::kDiv, kFloat},
    {spv::Op::OpUMod, Op::kRem, kUint},
    {spv::Op::OpSRem, Op::kRem, kInt},
    {spv::Op::OpSMod, Op::kMod, kInt},
    {spv::Op::OpFRem, Op::kRem, kFloat},
    {spv::Op::OpFMod, Op::kMod, kFloat},
    {spv::Op::OpIsNan, Op::kIsNan, kFloat},
    {spv::Op::OpIsInf, Op::kIsInf, kFloat},
    {spv::Op::OpIEqual, Op::kEqual, kUint},
    {spv::Op::OpINotEqual, Op::kNotEqual, kUint},
    {spv::Op::OpUGreaterThan, Op::kGreater, kUint},
    {spv::Op::OpSGreaterThan, Op::kGreater, kInt},
    {spv::Op::OpUGreaterThanEqual, Op::kGreaterEqual, kUint},
    {spv::Op::OpSGreaterThanEqual, Op::kGreaterEqual, kInt},
    {spv::Op::OpULessThan, Op::kLess, kUint},
    {spv::Op::OpSLessThan, Op::kLess, kInt},
    {spv::Op::OpULessThanEqual, Op::kLessEqual, kUint},
    {spv::Op::OpSLessThanEqual, Op::kLessEqual, kInt},
    {spv::Op::OpFOrdEqual, Op::kEqual, kFloat},
    {spv::Op::OpFUnordNotEqual, Op::kNotEqual, kFloat},
    {spv::Op::OpFOrdLessThan, Op::kLess, kFloat},
    {spv::Op::OpFOrdGreaterThan, Op::kGreater, kFloat},
    {spv::Op::OpFOrdLessThanEqual, Op::kLessEqual, kFloat},
    {spv::Op::OpFOrdGreaterThanEqual, Op::kGreaterEqual, kFloat},
    // True with NaN, as the opposite is false.
    {spv::Op::OpFUnordLessThan, Op::kGreaterEqual, kFloat, true},
    {spv::Op::OpFUnordGreaterThan, Op::kLessEqual, kFloat, true},
    {spv::Op::OpFUnordLessThanEqual, Op::kGreater, kFloat, true},
    {spv::Op::OpFUnordGreaterThanEqual, Op::kLess, kFloat, true},
    {spv::Op::OpLogicalEqual, Op::kEqual, kBool},
    {spv::Op::OpLogicalNotEqual, Op::kNotEqual, kBool},
    {spv::Op::OpLogicalAnd, Op::kAnd, kBool},
    {spv::Op::OpLogicalOr, Op::kOr, kBool},
    {spv::Op::OpLogicalNot, Op::kNot, kBool},
    {spv::Op::OpBitwiseAnd, Op::kAnd, kResult},
    {spv::Op::OpBitwiseOr, Op::kOr, kResult},
    {spv::Op::OpBitwiseXor, Op::kXor, kResult},
    {spv::Op::OpNot, Op::kNot, kResult},
    {spv::Op::OpShiftLeftLogical, Op::kShiftLeft, kResult},
    {spv::Op::OpShiftRightLogical, Op::kShiftRight, kUint},
    {spv::Op::OpShiftRightArithmetic, Op::kShiftRight, kInt},
    {spv::Op::OpBitCount, Op::kBitCount, kUint},
    {spv::Op::OpBitReverse, Op::kBitReverse, kUint},
    {spv::Op::OpConvertFToS, Op::kFloatToInt, kFloat},
    {spv::Op::OpConvertFToU, Op::kFloatToUint, kFloat},
    {spv::Op::OpConvertSToF, Op::kIntToFloat, kInt},
    {spv::Op::OpConvertUToF, Op::kUintToFloat, kUint},
};

const Elementwise* Find(spv::Op op) {
  for (const Elementwise& row : kElementwise) {
    if (row.spirv == op) return &row;
  }
  return nullptr;
}

bool IsUnary(Op op) {
  switch (op) {
    case Op::kNeg:
    case Op::kNot:
    case Op::kIsNan:
    case Op::kIsInf:
    case Op::kBitCount:
    case Op::kBitReverse:
    case Op::kFloatToInt:
    case Op::kFloatToUint:
    case Op::kIntToFloat:
    case Op::kUintToFloat:
      return true;
    default:
      return false;
  }
}

bool IsInteger(Type type) { return type == Type::kInt || type == Type::kUint; }

}  // namespace

bool Lowering::LowerArithmetic(const SpirvInstruction& instruction) {
  const Elementwise* row = Find(instruction.op);
  if (row == nullptr) return LowerSpecialArithmetic(instruction) || LowerBitField(instruction);
  const std::vector<Type> results = module_.ComponentTypes(instruction.type);
  const auto operand = [&](std::size_t index) {
    Values values = OperandValues(instruction, index, results.size());
    for (std::size_t at = 0; at < values.size(); ++at) {
      const Type wanted = row->operands == kFloat  ? Type::kFloat
                          : row->operands == kInt  ? Type::kInt
                          : row->operands == kUint ? Type::kUint
                          : row->operands == kBool ? Type::kBool
                                                   : results[at];
      const Type given = builder_.TypeOf(values[at]);
      if (given != wanted && !(IsInteger(given) && IsInteger(wanted))) {
        Fail(instruction, "an operand is not of the type that it takes");
      }
      values[at] = builder_.As(values[at], wanted);
    }
    return values;
  };
  Values values = operand(0);
  const Values second = IsUnary(row->op) ? Values(values.size(), kNone) : operand(1);
  for (std::size_t at = 0; at < values.size(); ++at) {
    values[at] = second[at] == kNone ? builder_.Emit(row->op, {values[at]})
                                     : builder_.Emit(row->op, {values[at], second[at]});
    if (row->is_negated) values[at] = builder_.Emit(Op::kNot, {values[at]});
  }
  SetResult(instruction, std::move(values));
  return true;
}

bool Lowering::LowerSpecialArithmetic(const SpirvInstruction& instruction) {
  const auto all_of = [&](std::size_t index, Type type) {
    Values values = ValuesOf(instruction, Operand(instruction, index));
    for (ValueId& value : values) {
      const Type given = builder_.TypeOf(value);
      if (given != type && !(IsInteger(given) && IsInteger(type))) {
        Fail(instruction, "an operand is not of the type that it takes");
      }
      value = builder_.As(value, type);
    }
    return values;
  };
  const auto pair_of = [&](Type type) {
    std::pair<Values, Values> pair{all_of(0, type), all_of(1, type)};
    if (pair.first.size() != pair.second.size()) Fail(instruction, "its operands are of two sizes");
    return pair;
  };
  // Structures of two results: all components of the first, then all of the second.
  const auto set_pair = [&](Values first, const Values& second) {
    first.insert(first.end(), second.begin(), second.end());
    SetResult(instruction, std::move(first));
  };
  Values values;
  switch (instruction.op) {
    case spv::Op::OpFOrdNotEqual:
    case spv::Op::OpLessOrGreater:
    case spv::Op::OpFUnordEqual: {
      const auto [a, b] = pair_of(Type::kFloat);
      for (std::size_t at = 0; at < a.size(); ++at) {
        const ValueId differs =
            builder_.Emit(Op::kOr, {builder_.Emit(Op::kLess, {a[at], b[at]}),
                                    builder_.Emit(Op::kGreater, {a[at], b[at]})});
        values.push_back(instruction.op == spv::Op::OpFUnordEqual
                             ? builder_.Emit(Op::kNot, {differs})
                             : differs);
      }
      break;
    }
    case spv::Op::OpOrdered:
    case spv::Op::OpUnordered: {
      const auto [a, b] = pair_of(Type::kFloat);
      for (std::size_t at = 0; at < a.size(); ++at) {
        const ValueId is_nan = builder_.Emit(
            Op::kOr, {builder_.Emit(Op::kIsNan, {a[at]}), builder_.Emit(Op::kIsNan, {b[at]})});
        values.push_back(instruction.op == spv::Op::OpOrdered ? builder_.Emit(Op::kNot, {is_nan})
                                                              : is_nan);
      }
      break;
    }
    case spv::Op::OpAny:
    case spv::Op::OpAll: {
      const Values operand = all_of(0, Type::kBool);
      const Op op = instruction.op == spv::Op::OpAny ? Op::kOr : Op::kAnd;
      ValueId value = operand[0];
      for (std::size_t at = 1; at < operand.size(); ++at) {
        value = builder_.Emit(op, {value, operand[at]});
      }
      values = {value};
      break;
    }
    case spv::Op::OpDot: {
      const auto [a, b] = pair_of(Type::kFloat);
      values = {builder_.Dot(a, b)};
      break;
    }
    case spv::Op::OpSelect: {
      const Values condition = all_of(0, Type::kBool);
      const Values yes = ValuesOf(instruction, Operand(instruction, 1));
      const Values no = OperandValues(instruction, 2, yes.size());
      if (condition.size() != 1 && condition.size() != yes.size()) {
        Fail(instruction, "its condition does not fit");
      }
      for (std::size_t at = 0; at < yes.size(); ++at) {
        if (builder_.TypeOf(yes[at]) != builder_.TypeOf(no[at])) {
          Fail(instruction, "its values are of two types");
        }
        values.push_back(
            builder_.Select(condition[condition.size() == 1 ? 0 : at], yes[at], no[at]));
      }
      break;
    }
    case spv::Op::OpBitcast:
      values = ValuesOf(instruction, Operand(instruction, 0));
      break;
    case spv::Op::OpQuantizeToF16:
      for (const ValueId value : all_of(0, Type::kFloat)) {
        const ValueId half =
            builder_.Emit(Op::kHalfToFloat, {builder_.Emit(Op::kFloatToHalf, {value})});
        // What a half holds with fewer bits alone becomes a zero of its sign.
        const ValueId is_small =
            builder_.Emit(Op::kLess, {builder_.Emit(Op::kAbs, {value}), builder_.Float(0x1p-14f)});
        values.push_back(builder_.Select(is_small, builder_.Mul(value, builder_.Float(0)), half));
      }
      break;
    case spv::Op::OpIAddCarry:
    case spv::Op::OpISubBorrow: {
      const auto [a, b] = pair_of(Type::kUint);
      Values carries;
      for (std::size_t at = 0; at < a.size(); ++at) {
        const bool is_sum = instruction.op == spv::Op::OpIAddCarry;
        values.push_back(is_sum ? builder_.Add(a[at], b[at]) : builder_.Sub(a[at], b[at]));
        const ValueId has_carry = is_sum ? builder_.Emit(Op::kLess, {values[at], a[at]})
                                         : builder_.Emit(Op::kLess, {a[at], b[at]});
        carries.push_back(builder_.Select(has_carry, builder_.Uint(1), builder_.Uint(0)));
      }
      set_pair(values, carries);
      return true;
    }
    case spv::Op::OpUMulExtended:
    case spv::Op::OpSMulExtended: {
      const auto [a, b] =
          pair_of(instruction.op == spv::Op::OpUMulExtended ? Type::kUint : Type::kInt);
      Values high;
      for (std::size_t at = 0; at < a.size(); ++at) {
        values.push_back(builder_.Mul(a[at], b[at]));
        high.push_back(builder_.Emit(Op::kMulHigh, {a[at], b[at]}));
      }
      set_pair(values, high);
      return true;
    }
    default:
      return false;
  }
  SetResult(instruction, std::move(values));
  return true;
}

bool Lowering::LowerBitField(const SpirvInstruction& instruction) {
  const bool is_insert = instruction.op == spv::Op::OpBitFieldInsert;
  const bool is_signed = instruction.op == spv::Op::OpBitFieldSExtract;
  if (!is_insert && !is_signed && instruction.op != spv::Op::OpBitFieldUExtract) return false;
  const std::size_t place = is_insert ? 2 : 1;
  const ValueId offset = builder_.As(OperandValue(instruction, place), Type::kUint);
  const ValueId count = builder_.As(OperandValue(instruction, place + 1), Type::kUint);
  const ValueId all = builder_.Uint(32);
  const ValueId one = builder_.Uint(1);
  // A shift by 32 would be one by 0.
  const ValueId mask =
      builder_.Select(builder_.Emit(Op::kGreaterEqual, {count, all}), builder_.Uint(~0u),
                      builder_.Sub(builder_.Emit(Op::kShiftLeft, {one, count}), one));
  const Values base = ValuesOf(instruction, Operand(instruction, 0));
  const Values insert = is_insert ? OperandValues(instruction, 1, base.size()) : base;
  Values values;
  for (std::size_t at = 0; at < base.size(); ++at) {
    const ValueId bits = builder_.As(base[at], Type::kUint);
    if (is_insert) {
      const ValueId kept = builder_.Emit(
          Op::kAnd,
          {bits, builder_.Emit(Op::kNot, {builder_.Emit(Op::kShiftLeft, {mask, offset})})});
      const ValueId field = builder_.Emit(Op::kAnd, {builder_.As(insert[at], Type::kUint), mask});
      values.push_back(
          builder_.Emit(Op::kOr, {kept, builder_.Emit(Op::kShiftLeft, {field, offset})}));
    } else if (is_signed) {
      // Up to the sign, and down with it.
      const ValueId rest = builder_.Sub(all, count);
      const ValueId up = builder_.As(
          builder_.Emit(Op::kShiftLeft, {bits, builder_.Sub(rest, offset)}), Type::kInt);
      const ValueId down = builder_.Emit(Op::kShiftRight, {up, builder_.As(rest, Type::kInt)});
      const ValueId is_nothing = builder_.Emit(Op::kEqual, {count, builder_.Uint(0)});
      values.push_back(builder_.Select(is_nothing, builder_.Int(0), down));
    } else {
      values.push_back(
          builder_.Emit(Op::kAnd, {builder_.Emit(Op::kShiftRight, {bits, offset}), mask}));
    }
  }
  SetResult(instruction, std::move(values));
  return true;
}

}  // namespace Vantra::Pixelc
