#include <cmath>
#include <numbers>
#include <optional>
#include <spirv/unified1/GLSL.std.450.h>

#include "lowering.h"

namespace Vantra::Pixelc {
namespace {

// Functions that are one operation for each component. Integers are signed by the function.
struct Direct {
  std::uint32_t function;
  Op op;
  Type type;
  std::size_t operands;
};

constexpr Direct kDirect[] = {
    {GLSLstd450Round, Op::kRound, Type::kFloat, 1},
    {GLSLstd450RoundEven, Op::kRound, Type::kFloat, 1},
    {GLSLstd450Trunc, Op::kTrunc, Type::kFloat, 1},
    {GLSLstd450FAbs, Op::kAbs, Type::kFloat, 1},
    {GLSLstd450SAbs, Op::kAbs, Type::kInt, 1},
    {GLSLstd450FSign, Op::kSign, Type::kFloat, 1},
    {GLSLstd450SSign, Op::kSign, Type::kInt, 1},
    {GLSLstd450Floor, Op::kFloor, Type::kFloat, 1},
    {GLSLstd450Ceil, Op::kCeil, Type::kFloat, 1},
    {GLSLstd450Fract, Op::kFract, Type::kFloat, 1},
    {GLSLstd450Sin, Op::kSin, Type::kFloat, 1},
    {GLSLstd450Cos, Op::kCos, Type::kFloat, 1},
    {GLSLstd450Tan, Op::kTan, Type::kFloat, 1},
    {GLSLstd450Asin, Op::kAsin, Type::kFloat, 1},
    {GLSLstd450Acos, Op::kAcos, Type::kFloat, 1},
    {GLSLstd450Atan, Op::kAtan, Type::kFloat, 1},
    {GLSLstd450Sinh, Op::kSinh, Type::kFloat, 1},
    {GLSLstd450Cosh, Op::kCosh, Type::kFloat, 1},
    {GLSLstd450Tanh, Op::kTanh, Type::kFloat, 1},
    {GLSLstd450Asinh, Op::kAsinh, Type::kFloat, 1},
    {GLSLstd450Acosh, Op::kAcosh, Type::kFloat, 1},
    {GLSLstd450Atanh, Op::kAtanh, Type::kFloat, 1},
    {GLSLstd450Atan2, Op::kAtan2, Type::kFloat, 2},
    {GLSLstd450Pow, Op::kPow, Type::kFloat, 2},
    {GLSLstd450Exp, Op::kExp, Type::kFloat, 1},
    {GLSLstd450Log, Op::kLog, Type::kFloat, 1},
    {GLSLstd450Exp2, Op::kExp2, Type::kFloat, 1},
    {GLSLstd450Log2, Op::kLog2, Type::kFloat, 1},
    {GLSLstd450Sqrt, Op::kSqrt, Type::kFloat, 1},
    {GLSLstd450InverseSqrt, Op::kInverseSqrt, Type::kFloat, 1},
    {GLSLstd450FMin, Op::kMin, Type::kFloat, 2},
    {GLSLstd450NMin, Op::kMin, Type::kFloat, 2},
    {GLSLstd450UMin, Op::kMin, Type::kUint, 2},
    {GLSLstd450SMin, Op::kMin, Type::kInt, 2},
    {GLSLstd450FMax, Op::kMax, Type::kFloat, 2},
    {GLSLstd450NMax, Op::kMax, Type::kFloat, 2},
    {GLSLstd450UMax, Op::kMax, Type::kUint, 2},
    {GLSLstd450SMax, Op::kMax, Type::kInt, 2},
    {GLSLstd450Fma, Op::kFma, Type::kFloat, 3},
    {GLSLstd450FindILsb, Op::kFindLowestBit, Type::kUint, 1},
    {GLSLstd450FindSMsb, Op::kFindHighestBit, Type::kInt, 1},
    {GLSLstd450FindUMsb, Op::kFindHighestBit, Type::kUint, 1},
};

}  // namespace

void Lowering::LowerFunction(const SpirvInstruction& instruction) {
  const std::uint32_t set = Operand(instruction, 0);
  const std::uint32_t function = Operand(instruction, 1);
  if (module_.IsIgnoredImport(set)) return;
  if (!module_.IsGlslImport(set)) Fail(instruction, "the set of its function is not known");
  std::vector<Values> arguments;
  for (std::size_t at = 2; at < instruction.operands.size(); ++at) {
    // Functions that give a second result take a pointer to it.
    const std::uint32_t id = instruction.operands[at];
    const bool is_pointer = pointers_.contains(id) || module_.FindVariable(id) != nullptr;
    arguments.push_back(is_pointer ? Values() : ValuesOf(instruction, id));
  }
  if (arguments.empty() || arguments[0].empty() ||
      !(LowerElementwiseFunction(instruction, function, arguments) ||
        LowerPacking(instruction, function, arguments) ||
        LowerSplitting(instruction, function, arguments) ||
        LowerGeometry(instruction, function, arguments))) {
    Fail(instruction, "function " + std::to_string(function) + " is not supported");
  }
}

bool Lowering::LowerElementwiseFunction(const SpirvInstruction& instruction, std::uint32_t function,
                                        const std::vector<Values>& arguments) {
  const std::size_t count = arguments[0].size();
  const auto need = [&](std::size_t operands) {
    bool fits = arguments.size() == operands;
    for (const Values& argument : arguments) fits = fits && argument.size() == count;
    if (!fits) Fail(instruction, "its operands do not fit each other");
  };
  const auto argument = [&](std::size_t index, std::size_t at, Type type) {
    return builder_.As(arguments[index][at], type);
  };
  Values values;
  for (const Direct& direct : kDirect) {
    if (direct.function != function) continue;
    need(direct.operands);
    for (std::size_t at = 0; at < count; ++at) {
      const ValueId first = argument(0, at, direct.type);
      if (direct.operands == 1) {
        values.push_back(builder_.Emit(direct.op, {first}));
      } else if (direct.operands == 2) {
        values.push_back(builder_.Emit(direct.op, {first, argument(1, at, direct.type)}));
      } else {
        values.push_back(builder_.Emit(
            direct.op, {first, argument(1, at, direct.type), argument(2, at, direct.type)}));
      }
    }
    SetResult(instruction, std::move(values));
    return true;
  }
  const auto each = [&](std::size_t operands, auto formula) {
    need(operands);
    for (std::size_t at = 0; at < count; ++at) values.push_back(formula(at));
    SetResult(instruction, std::move(values));
    return true;
  };
  const auto number = [&](std::size_t index, std::size_t at) {
    return argument(index, at, Type::kFloat);
  };
  const auto clamp = [&](Type type) {
    return each(3, [&](std::size_t at) {
      return builder_.Clamp(argument(0, at, type), argument(1, at, type), argument(2, at, type));
    });
  };
  const ValueId zero = builder_.Float(0);
  const ValueId one = builder_.Float(1);
  switch (function) {
    case GLSLstd450FClamp:
    case GLSLstd450NClamp:
      return clamp(Type::kFloat);
    case GLSLstd450UClamp:
      return clamp(Type::kUint);
    case GLSLstd450SClamp:
      return clamp(Type::kInt);
    case GLSLstd450Radians:
      return each(1, [&](std::size_t at) {
        return builder_.Mul(number(0, at), builder_.Float(std::numbers::pi_v<float> / 180));
      });
    case GLSLstd450Degrees:
      return each(1, [&](std::size_t at) {
        return builder_.Mul(number(0, at), builder_.Float(180 / std::numbers::pi_v<float>));
      });
    case GLSLstd450FMix:
      return each(3, [&](std::size_t at) {
        const ValueId share = number(2, at);
        return builder_.Add(builder_.Mul(number(0, at), builder_.Sub(one, share)),
                            builder_.Mul(number(1, at), share));
      });
    case GLSLstd450Step:
      return each(2, [&](std::size_t at) {
        return builder_.Select(builder_.Emit(Op::kLess, {number(1, at), number(0, at)}), zero, one);
      });
    case GLSLstd450SmoothStep:
      return each(3, [&](std::size_t at) {
        const ValueId low = number(0, at);
        const ValueId part = builder_.Emit(
            Op::kDiv, {builder_.Sub(number(2, at), low), builder_.Sub(number(1, at), low)});
        const ValueId t = builder_.Clamp(part, zero, one);
        return builder_.Mul(builder_.Mul(t, t),
                            builder_.Sub(builder_.Float(3), builder_.Mul(builder_.Float(2), t)));
      });
    case GLSLstd450Ldexp:
      return each(2, [&](std::size_t at) {
        return builder_.Emit(Op::kLdexp, {number(0, at), argument(1, at, Type::kInt)});
      });
    default:
      return false;
  }
}

bool Lowering::LowerPacking(const SpirvInstruction& instruction, std::uint32_t function,
                            const std::vector<Values>& arguments) {
  struct Packing {
    std::uint32_t count;
    float scale;  // 0 for 16-bit floats
    bool is_signed;
  };
  const auto packing = [&]() -> std::optional<Packing> {
    switch (function) {
      case GLSLstd450PackSnorm4x8:
      case GLSLstd450UnpackSnorm4x8:
        return Packing{4, 127, true};
      case GLSLstd450PackUnorm4x8:
      case GLSLstd450UnpackUnorm4x8:
        return Packing{4, 255, false};
      case GLSLstd450PackSnorm2x16:
      case GLSLstd450UnpackSnorm2x16:
        return Packing{2, 32767, true};
      case GLSLstd450PackUnorm2x16:
      case GLSLstd450UnpackUnorm2x16:
        return Packing{2, 65535, false};
      case GLSLstd450PackHalf2x16:
      case GLSLstd450UnpackHalf2x16:
        return Packing{2, 0, false};
      default:
        return std::nullopt;
    }
  }();
  if (!packing) return false;
  const std::uint32_t width = 32 / packing->count;
  const ValueId mask = builder_.Uint((1u << width) - 1);
  const ValueId low = builder_.Float(packing->is_signed ? -1.0f : 0.0f);
  const ValueId high = builder_.Float(1);
  const bool is_pack =
      module_.TypeOf(instruction.type).components == 1;  // the unpacked form has several
  if (arguments[0].size() != (is_pack ? packing->count : 1)) {
    Fail(instruction, "its operand does not fit");
  }
  if (is_pack) {
    ValueId word = kNone;
    for (std::uint32_t at = 0; at < packing->count; ++at) {
      const ValueId value = builder_.As(arguments[0][at], Type::kFloat);
      ValueId part = kNone;
      if (packing->scale == 0) {
        part = builder_.Emit(Op::kFloatToHalf, {value});
      } else {
        const ValueId scaled =
            builder_.Mul(builder_.Clamp(value, low, high), builder_.Float(packing->scale));
        const ValueId whole = builder_.Emit(Op::kFloatToInt, {builder_.Emit(Op::kRound, {scaled})});
        part = builder_.Emit(Op::kAnd, {builder_.As(whole, Type::kUint), mask});
      }
      const ValueId shifted =
          at == 0 ? part : builder_.Emit(Op::kShiftLeft, {part, builder_.Uint(at * width)});
      word = at == 0 ? shifted : builder_.Emit(Op::kOr, {word, shifted});
    }
    SetResult(instruction, {word});
    return true;
  }
  const ValueId word = builder_.As(arguments[0][0], Type::kUint);
  Values values;
  for (std::uint32_t at = 0; at < packing->count; ++at) {
    if (packing->is_signed) {
      const ValueId up =
          builder_.Emit(Op::kShiftLeft, {word, builder_.Uint(32 - (at + 1) * width)});
      const ValueId part = builder_.Emit(
          Op::kShiftRight,
          {builder_.As(up, Type::kInt), builder_.Int(static_cast<std::int32_t>(32 - width))});
      const ValueId value = builder_.Emit(
          Op::kDiv, {builder_.Emit(Op::kIntToFloat, {part}), builder_.Float(packing->scale)});
      values.push_back(builder_.Clamp(value, low, high));
      continue;
    }
    const ValueId part = builder_.Emit(
        Op::kAnd, {builder_.Emit(Op::kShiftRight, {word, builder_.Uint(at * width)}), mask});
    if (packing->scale == 0) {
      values.push_back(builder_.Emit(Op::kHalfToFloat, {part}));
    } else {
      values.push_back(builder_.Emit(
          Op::kDiv, {builder_.Emit(Op::kUintToFloat, {part}), builder_.Float(packing->scale)}));
    }
  }
  SetResult(instruction, std::move(values));
  return true;
}

// A number's whole and fractional part, or its mantissa and exponent.
bool Lowering::LowerSplitting(const SpirvInstruction& instruction, std::uint32_t function,
                              const std::vector<Values>& arguments) {
  const bool is_modf = function == GLSLstd450Modf || function == GLSLstd450ModfStruct;
  const bool is_frexp = function == GLSLstd450Frexp || function == GLSLstd450FrexpStruct;
  if (!is_modf && !is_frexp) return false;
  Values first;
  Values second;
  for (ValueId value : arguments[0]) {
    value = builder_.As(value, Type::kFloat);
    if (is_frexp) {
      first.push_back(builder_.Emit(Op::kMantissa, {value}));
      second.push_back(builder_.Emit(Op::kExponent, {value}));
    } else {
      second.push_back(builder_.Emit(Op::kTrunc, {value}));
      first.push_back(builder_.Sub(value, second.back()));
    }
  }
  if (function == GLSLstd450Modf || function == GLSLstd450Frexp) {
    Store(instruction, PointerOf(instruction, Operand(instruction, 3)), second);
  } else {
    first.insert(first.end(), second.begin(), second.end());
  }
  SetResult(instruction, std::move(first));
  return true;
}

}  // namespace Vantra::Pixelc
