#include "evaluate.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace Vantra::Pixelc {
namespace {

std::uint32_t Bits(float value) { return std::bit_cast<std::uint32_t>(value); }
std::uint32_t Bits(double value) { return Bits(static_cast<float>(value)); }
std::uint32_t Bits(std::int32_t value) { return static_cast<std::uint32_t>(value); }
std::uint32_t Bits(bool value) { return value ? 1 : 0; }

template <class Number>
Number Saturated(float value) {
  if (std::isnan(value)) return 0;
  const double whole = std::trunc(static_cast<double>(value));
  return static_cast<Number>(std::clamp(whole,
                                        static_cast<double>(std::numeric_limits<Number>::min()),
                                        static_cast<double>(std::numeric_limits<Number>::max())));
}

template <class Number>
std::optional<std::uint32_t> EvaluateComparison(Op op, Number a, Number b) {
  switch (op) {
    case Op::kEqual:
      return Bits(a == b);
    case Op::kNotEqual:
      return Bits(a != b);
    case Op::kLess:
      return Bits(a < b);
    case Op::kLessEqual:
      return Bits(a <= b);
    case Op::kGreater:
      return Bits(a > b);
    case Op::kGreaterEqual:
      return Bits(a >= b);
    default:
      return std::nullopt;
  }
}

std::optional<std::uint32_t> EvaluateFloat(Op op, float a, float b, float c) {
  switch (op) {
    case Op::kNeg:
      return Bits(-a);
    case Op::kAdd:
      return Bits(a + b);
    case Op::kSub:
      return Bits(a - b);
    case Op::kMul:
      return Bits(a * b);
    case Op::kDiv:
      return Bits(a / b);
    case Op::kRem:
      return Bits(std::fmod(a, b));
    case Op::kMod:
      return Bits(a - b * std::floor(a / b));
    case Op::kMin:
      return Bits(std::fmin(a, b));
    case Op::kMax:
      return Bits(std::fmax(a, b));
    case Op::kAbs:
      return Bits(std::fabs(a));
    case Op::kSign:
      return Bits(a > 0 ? 1.0f : a < 0 ? -1.0f : 0.0f);
    case Op::kIsNan:
      return Bits(std::isnan(a));
    case Op::kIsInf:
      return Bits(std::isinf(a));
    case Op::kFloatToInt:
      return Bits(Saturated<std::int32_t>(a));
    case Op::kFloatToUint:
      return Saturated<std::uint32_t>(a);
    case Op::kFloatToHalf:
      return HalfOfFloat(a);
    case Op::kFloor:
      return Bits(std::floor(a));
    case Op::kCeil:
      return Bits(std::ceil(a));
    case Op::kTrunc:
      return Bits(std::trunc(a));
    case Op::kRound:
      return Bits(std::nearbyint(a));
    case Op::kFract:
      return Bits(a - std::floor(a));
    case Op::kSqrt:
      return Bits(std::sqrt(a));
    case Op::kInverseSqrt:
      return Bits(1.0 / std::sqrt(static_cast<double>(a)));
    case Op::kFma:
      return Bits(std::fma(a, b, c));
    case Op::kMantissa: {
      int exponent = 0;
      return Bits(std::frexp(a, &exponent));
    }
    case Op::kExponent: {
      int exponent = 0;
      std::frexp(a, &exponent);
      return Bits(exponent);
    }
    default:
      return EvaluateComparison(op, a, b);
  }
}

std::optional<std::uint32_t> EvaluateFunction(Op op, double a, double b) {
  switch (op) {
    case Op::kSin:
      return Bits(std::sin(a));
    case Op::kCos:
      return Bits(std::cos(a));
    case Op::kTan:
      return Bits(std::tan(a));
    case Op::kAsin:
      return Bits(std::asin(a));
    case Op::kAcos:
      return Bits(std::acos(a));
    case Op::kAtan:
      return Bits(std::atan(a));
    case Op::kAtan2:
      return Bits(std::atan2(a, b));
    case Op::kSinh:
      return Bits(std::sinh(a));
    case Op::kCosh:
      return Bits(std::cosh(a));
    case Op::kTanh:
      return Bits(std::tanh(a));
    case Op::kAsinh:
      return Bits(std::asinh(a));
    case Op::kAcosh:
      return Bits(std::acosh(a));
    case Op::kAtanh:
      return Bits(std::atanh(a));
    case Op::kExp:
      return Bits(std::exp(a));
    case Op::kLog:
      return Bits(std::log(a));
    case Op::kExp2:
      return Bits(std::exp2(a));
    case Op::kLog2:
      return Bits(std::log2(a));
    case Op::kPow:
      return Bits(std::pow(a, b));
    default:
      return std::nullopt;
  }
}

std::optional<std::uint32_t> EvaluateInt(Op op, std::int32_t a, std::int32_t b) {
  const std::int64_t wide_a = a;
  const std::int64_t wide_b = b;
  switch (op) {
    case Op::kDiv:
      return b == 0 ? 0 : static_cast<std::uint32_t>(wide_a / wide_b);
    case Op::kRem:
      return b == 0 ? 0 : static_cast<std::uint32_t>(wide_a % wide_b);
    case Op::kMod:
      return b == 0 ? 0 : static_cast<std::uint32_t>(((wide_a % wide_b) + wide_b) % wide_b);
    case Op::kMulHigh:
      return static_cast<std::uint32_t>((wide_a * wide_b) >> 32);
    case Op::kMin:
      return Bits(std::min(a, b));
    case Op::kMax:
      return Bits(std::max(a, b));
    case Op::kAbs:
      return a < 0 ? 0 - Bits(a) : Bits(a);
    case Op::kSign:
      return Bits((a > 0 ? 1 : 0) - (a < 0 ? 1 : 0));
    case Op::kShiftRight:
      return Bits(a >> (b & 31));
    case Op::kFindHighestBit:
      return Bits(31 - std::countl_zero(Bits(a < 0 ? ~a : a)));
    case Op::kIntToFloat:
      return Bits(static_cast<float>(a));
    default:
      return EvaluateComparison(op, a, b);
  }
}

// And what does not depend on the sign.
std::optional<std::uint32_t> EvaluateUint(Op op, std::uint32_t a, std::uint32_t b) {
  switch (op) {
    case Op::kNeg:
      return 0 - a;
    case Op::kAdd:
      return a + b;
    case Op::kSub:
      return a - b;
    case Op::kMul:
      return a * b;
    case Op::kDiv:
      return b == 0 ? 0 : a / b;
    case Op::kRem:
    case Op::kMod:
      return b == 0 ? 0 : a % b;
    case Op::kMulHigh:
      return static_cast<std::uint32_t>((static_cast<std::uint64_t>(a) * b) >> 32);
    case Op::kMin:
      return std::min(a, b);
    case Op::kMax:
      return std::max(a, b);
    case Op::kAnd:
      return a & b;
    case Op::kOr:
      return a | b;
    case Op::kXor:
      return a ^ b;
    case Op::kNot:
      return ~a;
    case Op::kShiftLeft:
      return a << (b & 31);
    case Op::kShiftRight:
      return a >> (b & 31);
    case Op::kBitCount:
      return Bits(std::popcount(a));
    case Op::kBitReverse: {
      std::uint32_t reversed = 0;
      for (unsigned bit = 0; bit < 32; ++bit) reversed |= ((a >> bit) & 1) << (31 - bit);
      return reversed;
    }
    case Op::kFindLowestBit:
      return Bits(a == 0 ? -1 : std::countr_zero(a));
    case Op::kFindHighestBit:
      return Bits(31 - std::countl_zero(a));
    case Op::kUintToFloat:
      return Bits(static_cast<float>(a));
    case Op::kHalfToFloat:
      return Bits(FloatOfHalf(a));
    default:
      return EvaluateComparison(op, a, b);
  }
}

}  // namespace

std::uint32_t HalfOfFloat(float value) {
  const std::uint32_t sign = (Bits(value) >> 16) & 0x8000;
  if (std::isnan(value)) return sign | 0x7E00;
  const float magnitude = std::fabs(value);
  constexpr float kBeyond = 65520.0f;  // halfway from the largest number to the next power of two
  constexpr float kSmallestNormal = 0x1p-14f;
  if (magnitude >= kBeyond) return sign | 0x7C00;
  if (magnitude < kSmallestNormal) {
    return sign | static_cast<std::uint32_t>(std::nearbyint(magnitude * 0x1p24f));
  }
  // Rounds away the 13 bits that a half lacks, to even; a carry moves on into the exponent.
  const std::uint32_t bits = Bits(magnitude);
  const std::uint32_t rounded = bits + 0xFFF + ((bits >> 13) & 1);
  return sign | ((rounded >> 13) - (112u << 10));
}

float FloatOfHalf(std::uint32_t bits) {
  const float sign = (bits & 0x8000) != 0 ? -1.0f : 1.0f;
  const std::uint32_t exponent = (bits >> 10) & 31;
  const auto mantissa = static_cast<float>(bits & 0x3FF);
  if (exponent == 0) return sign * mantissa * 0x1p-24f;
  if (exponent == 31) {
    return mantissa == 0 ? sign * std::numeric_limits<float>::infinity()
                         : std::numeric_limits<float>::quiet_NaN();
  }
  return sign * std::ldexp(1 + mantissa / 1024, static_cast<int>(exponent) - 15);
}

std::optional<std::uint32_t> Evaluate(Op op, Type result, std::span<const TypedBits> operands) {
  if (operands.empty()) return std::nullopt;
  const auto bits = [&](std::size_t index) {
    return index < operands.size() ? operands[index].bits : 0;
  };
  const auto number = [&](std::size_t index) { return std::bit_cast<float>(bits(index)); };
  switch (op) {
    case Op::kSelect:
      return bits(0) != 0 ? bits(1) : bits(2);
    case Op::kBitsToFloat:
    case Op::kBitsToInt:
    case Op::kBitsToUint:
      return bits(0);
    case Op::kLdexp:
      return Bits(std::ldexp(number(0), static_cast<std::int32_t>(bits(1))));
    case Op::kPhi:
    case Op::kSample:
    case Op::kFetch:
    case Op::kTextureSize:
    case Op::kLoadConstant:
    case Op::kLoadArray:
    case Op::kStoreArray:
    case Op::kResult:
    case Op::kWriteWord:
      return std::nullopt;
    default:
      break;
  }
  switch (operands[0].type) {
    case Type::kFloat: {
      const auto value = EvaluateFloat(op, number(0), number(1), number(2));
      return value ? value : EvaluateFunction(op, number(0), number(1));
    }
    case Type::kInt: {
      const auto value =
          EvaluateInt(op, static_cast<std::int32_t>(bits(0)), static_cast<std::int32_t>(bits(1)));
      return value ? value : EvaluateUint(op, bits(0), bits(1));
    }
    case Type::kUint:
      return EvaluateUint(op, bits(0), bits(1));
    case Type::kBool: {
      const auto value = EvaluateUint(op, bits(0), bits(1));
      return value && result == Type::kBool ? *value & 1 : value;
    }
  }
  return std::nullopt;
}

bool IsExact(Op op, Type result, std::span<const TypedBits> operands) {
  const bool of_floats = !operands.empty() && operands[0].type == Type::kFloat;
  switch (op) {
    case Op::kDiv:
      return of_floats || operands[1].bits != 0;
    case Op::kRem:
    case Op::kMod:
      return !of_floats && operands[1].bits != 0;
    case Op::kFloatToInt:
    case Op::kFloatToUint: {
      const float value = std::bit_cast<float>(operands[0].bits);
      return result == Type::kInt ? value > -0x1p31f && value < 0x1p31f
                                  : value > -1.0f && value < 0x1p32f;
    }
    case Op::kInverseSqrt:
    case Op::kFma:
    case Op::kFract:
    case Op::kLdexp:
    case Op::kMantissa:
    case Op::kExponent:
    case Op::kFloatToHalf:
      return false;
    default:
      return op < Op::kSin || op > Op::kPow;
  }
}

}  // namespace Vantra::Pixelc
