// The operations of numbers, a component at a time.

#include <algorithm>
#include <cmath>

#include "reference.h"

namespace Vantra::TranslatorFuzz {

Word Reference::OperateOnFloats(Op op, float a, float b, float c) {
  // What a function may be off: units in the last place, and beside that an absolute part.
  static constexpr double kUlps = 4;
  static constexpr double kAbsolute = 5e-7;
  const double x = a;
  const auto function = [&](double exact, double ulps = 4, double absolute = 0) {
    return ToWord(Noisy(exact, ulps, absolute));
  };
  switch (op) {
    case Op::kAdd:
      return ToWord(Noisy(x + b));
    case Op::kSub:
      return ToWord(Noisy(x - b));
    case Op::kMul:
    case Op::kMatrixCompMult:
      return ToWord(Noisy(x * b));
    case Op::kDiv:
      return ToWord(Noisy(x / b));
    case Op::kLess:
      return a < b;
    case Op::kLessEqual:
      return a <= b;
    case Op::kGreater:
      return a > b;
    case Op::kGreaterEqual:
      return a >= b;
    case Op::kEqual:
      return a == b;
    case Op::kNotEqual:
      return a != b;
    case Op::kNeg:
      return ToWord(-a);
    case Op::kAbs:
      return ToWord(std::fabs(a));
    case Op::kSign:
      return ToWord(a > 0 ? 1.0F : a < 0 ? -1.0F : 0.0F);
    case Op::kMin:
      return ToWord(b < a ? b : a);
    case Op::kMax:
      return ToWord(a < b ? b : a);
    case Op::kClamp:
      return ToWord(std::min(std::max(a, b), c));
    case Op::kFloor:
      return ToWord(std::floor(a));
    case Op::kCeil:
      return ToWord(std::ceil(a));
    case Op::kTrunc:
      return ToWord(std::trunc(a));
    case Op::kRoundEven:
      return ToWord(std::nearbyint(a));
    case Op::kFract:
      return ToWord(Noisy(x - std::floor(x)));
    case Op::kModf:
      return ToWord(a - std::trunc(a));
    case Op::kFloatMod: {
      const float whole = std::floor(Noisy(x / b));
      return ToWord(Noisy(x - Noisy(double{b} * whole)));
    }
    case Op::kStep:
      return ToWord(b < a ? 0.0F : 1.0F);
    case Op::kMix: {
      const float left = Noisy(x * Noisy(1 - double{c}));
      return ToWord(Noisy(double{left} + Noisy(double{b} * c)));
    }
    case Op::kSmoothstep: {
      const double width = Noisy(double{b} - a);
      const float t = std::clamp(Noisy(Noisy(double{c} - a) / width), 0.0F, 1.0F);
      return function(double{t} * t * (3 - 2 * double{t}));
    }
    case Op::kFma:
      return ToWord(Noisy(double{Noisy(x * b)} + c));
    case Op::kSqrt:
      return function(std::sqrt(x), 2);
    case Op::kInverseSqrt:
      return function(1 / std::sqrt(x));
    case Op::kSin:
      return function(std::sin(x), kUlps, 1e-7);
    case Op::kCos:
      return function(std::cos(x), kUlps, 1e-7);
    case Op::kTan:
      return function(std::tan(x), kUlps, kAbsolute);
    case Op::kAsin:
      return function(std::asin(x), kUlps, kAbsolute);
    case Op::kAcos:
      return function(std::acos(x), kUlps, kAbsolute);
    case Op::kAtan:
      return function(std::atan(x));
    case Op::kAtan2:
      return function(std::atan2(x, double{b}));
    case Op::kSinh:
      return function(std::sinh(x), kUlps, kAbsolute);
    case Op::kCosh:
      return function(std::cosh(x));
    case Op::kTanh:
      return function(std::tanh(x), kUlps, kAbsolute);
    case Op::kAsinh:
      return function(std::asinh(x), kUlps, kAbsolute);
    case Op::kAcosh:
      return function(std::acosh(x), kUlps, kAbsolute);
    case Op::kAtanh:
      return function(std::atanh(x), kUlps, kAbsolute);
    case Op::kExp:
      return function(std::exp(x));
    case Op::kLog:
      return function(std::log(x), kUlps, 1e-7);
    case Op::kExp2:
      return function(std::exp2(x));
    case Op::kLog2:
      return function(std::log2(x), kUlps, 1e-7);
    case Op::kPow:
      return function(std::pow(x, double{b}), 2 * kUlps);
    case Op::kRadians:
      return function(x * 0.017453292519943295, 2);
    case Op::kDegrees:
      return function(x * 57.29577951308232, 2);
    case Op::kIsNan:
      return std::isnan(a);
    case Op::kIsInf:
      return std::isinf(a);
    case Op::kFloatBitsToInt:
    case Op::kFloatBitsToUint:
      return ToWord(a);
    default:
      return 0;
  }
}

Word Reference::OperateOnIntegers(Op op, bool is_signed, Word a, Word b, Word c, Word d) {
  const std::int32_t x = ToInt(a);
  const std::int32_t y = ToInt(b);
  const bool less = is_signed ? x < y : a < b;
  switch (op) {
    case Op::kAdd:
    case Op::kAddCarry:
      return a + b;
    case Op::kSub:
    case Op::kSubBorrow:
      return a - b;
    case Op::kMul:
      return a * b;
    case Op::kDiv:
      return is_signed ? static_cast<Word>(x / y) : a / b;
    case Op::kMod: {
      if (!is_signed) return a % b;
      const std::int32_t rest = x % y;
      return static_cast<Word>(rest != 0 && (rest < 0) != (y < 0) ? rest + y : rest);
    }
    case Op::kAnd:
      return a & b;
    case Op::kOr:
      return a | b;
    case Op::kXor:
      return a ^ b;
    case Op::kShiftLeft:
      return a << (b & 31);
    case Op::kShiftRight:
      return is_signed ? static_cast<Word>(x >> (b & 31)) : a >> (b & 31);
    case Op::kLess:
      return less;
    case Op::kLessEqual:
      return less || a == b;
    case Op::kGreater:
      return !less && a != b;
    case Op::kGreaterEqual:
      return !less;
    case Op::kEqual:
      return a == b;
    case Op::kNotEqual:
      return a != b;
    case Op::kLogicalAnd:
      return a & b;
    case Op::kLogicalOr:
      return a | b;
    case Op::kLogicalXor:
      return a ^ b;
    case Op::kNeg:
      return 0 - a;
    case Op::kBitNot:
      return ~a;
    case Op::kLogicalNot:
    case Op::kNotVector:
      return a ^ 1;
    case Op::kAbs:
      return x < 0 ? 0 - a : a;
    case Op::kSign:
      return x > 0 ? 1 : x < 0 ? ~Word{0} : 0;
    case Op::kMin:
      return less ? a : b;
    case Op::kMax:
      return less ? b : a;
    case Op::kClamp:
      return is_signed ? static_cast<Word>(std::clamp(x, y, ToInt(c))) : std::clamp(a, b, c);
    case Op::kBitCount:
      return static_cast<Word>(std::popcount(a));
    case Op::kBitReverse: {
      Word reversed = 0;
      for (int i = 0; i < 32; ++i) reversed |= (a >> i & 1) << (31 - i);
      return reversed;
    }
    case Op::kFindLsb:
      return a == 0 ? ~Word{0} : static_cast<Word>(std::countr_zero(a));
    case Op::kFindMsb:
      return 31 - static_cast<Word>(std::countl_zero(is_signed && x < 0 ? ~a : a));
    case Op::kBitExtract: {
      if (c == 0) return 0;
      const Word at_top = a << (32 - b - c);
      return is_signed ? static_cast<Word>(ToInt(at_top) >> (32 - c)) : at_top >> (32 - c);
    }
    case Op::kBitInsert: {
      const Word mask = ((Word{1} << d) - 1) << c;
      return (a & ~mask) | (b << c & mask);
    }
    case Op::kBitsToFloat:
      return a;
    default:
      return 0;
  }
}

}  // namespace Vantra::TranslatorFuzz
