// Functions of floats. Polynomials on reduced arguments, the same on all instruction sets.

#if defined(VANTRIX_RENDER_SIMD_MATH_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VANTRIX_RENDER_SIMD_MATH_INL_H_
#undef VANTRIX_RENDER_SIMD_MATH_INL_H_
#else
#define VANTRIX_RENDER_SIMD_MATH_INL_H_
#endif

#include <cmath>
#include <limits>

#include "render/simd/integers-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {

// The polynomial whose coefficients are given from the highest power down.
template <class... Coefficients>
HWY_INLINE F Polynomial(F x, float highest, Coefficients... coefficients) {
  F sum = Broadcast(highest);
  ((sum = Fma(sum, x, Broadcast(coefficients))), ...);
  return sum;
}

HWY_INLINE F WithSignOf(F magnitude, F sign) { return {hn::CopySign(magnitude.raw, sign.raw)}; }
HWY_INLINE F Nan() { return Broadcast(std::numeric_limits<float>::quiet_NaN()); }
HWY_INLINE F Infinity() { return Broadcast(std::numeric_limits<float>::infinity()); }

// Sine and cosine

// Beyond, the quarter turn that the argument lies in is no longer known to a float.
constexpr float kLargestAngle = 1e6f;

struct SineAndCosine {
  F sine;
  F cosine;
};

HWY_INLINE SineAndCosine SinCosOfSmall(F x) {
  const F quarters = Round(Mul(x, Broadcast(0.636619772f)));
  const U quadrant = BitsToUint(NearestInt(quarters));
  // A quarter turn in three parts.
  F rest = Fma(quarters, Broadcast(-1.57079637e+00f), x);
  rest = Fma(quarters, Broadcast(4.37113883e-08f), rest);
  rest = Fma(quarters, Broadcast(1.71512489e-15f), rest);
  const F square = Mul(rest, rest);
  const F s =
      Polynomial(square, 2.86567956e-06f, -1.98559923e-04f, 8.33338592e-03f, -1.66666672e-01f);
  const F sine = Fma(Mul(s, square), rest, rest);
  const F cosine =
      Polynomial(square, 2.44677067e-05f, -1.38877297e-03f, 4.16666567e-02f, -0.5f, 1.0f);
  const M odd = NotEqual(And(quadrant, Broadcast(1u)), Broadcast(0u));
  const U sine_sign = ShiftLeft(And(quadrant, Broadcast(2u)), 30);
  const U cosine_sign = ShiftLeft(And(Add(quadrant, Broadcast(1u)), Broadcast(2u)), 30);
  return {BitsToFloat(Xor(BitsToUint(Select(odd, cosine, sine)), sine_sign)),
          BitsToFloat(Xor(BitsToUint(Select(odd, sine, cosine)), cosine_sign))};
}

// Written this way, NaN is not large.
HWY_INLINE M IsLargeAngle(F x) { return Greater(Abs(x), Broadcast(kLargestAngle)); }

// `function` in double for the lanes that are too large; the others keep `result`.
template <class Function>
HWY_NOINLINE F OfLargeAngles(Function function, F x, F result) {
  return Select(
      IsLargeAngle(x),
      EachLane<float>(
          [&](float lane) HWY_ATTR { return static_cast<float>(function(double{lane})); }, x),
      result);
}

HWY_INLINE F Sin(F x) {
  const F result = SinCosOfSmall(x).sine;
  if (HWY_LIKELY(!Any(IsLargeAngle(x)))) return result;
  return OfLargeAngles([](double lane) { return std::sin(lane); }, x, result);
}
HWY_INLINE F Cos(F x) {
  const F result = SinCosOfSmall(x).cosine;
  if (HWY_LIKELY(!Any(IsLargeAngle(x)))) return result;
  return OfLargeAngles([](double lane) { return std::cos(lane); }, x, result);
}
HWY_INLINE F Tan(F x) {
  const SineAndCosine both = SinCosOfSmall(x);
  const F result = Div(both.sine, both.cosine);
  if (HWY_LIKELY(!Any(IsLargeAngle(x)))) return result;
  return OfLargeAngles([](double lane) { return std::tan(lane); }, x, result);
}

// Exponentials

// x times 2 to the power of a whole number from -150 to 129.
HWY_INLINE F Scale(F x, F power) {
  const I exponent = NearestInt(power);
  const I half = ShiftRight(exponent, 1);
  const I bias = Broadcast(127);
  // Two steps, since a power itself may not be a float; only the second one rounds.
  x = Mul(x, BitsToFloat(ShiftLeft(Add(half, bias), 23)));
  return Mul(x, BitsToFloat(ShiftLeft(Add(Sub(exponent, half), bias), 23)));
}

// Within a half of 0.
HWY_INLINE F Exp2OfFraction(F x) {
  return Polynomial(x, 1.53533936e-04f, 1.33988744e-03f, 9.61843736e-03f, 5.55032715e-02f,
                    2.40226479e-01f, 6.93147182e-01f, 1.0f);
}

// Clamps, and keeps NaN.
HWY_INLINE F ClampExponent(F x, float least, float most) {
  return Select(IsNan(x), x, Min(Max(x, Broadcast(least)), Broadcast(most)));
}

HWY_INLINE F Exp2(F x) {
  x = ClampExponent(x, -151.0f, 128.0f);
  const F whole = Round(x);
  return Scale(Exp2OfFraction(Sub(x, whole)), whole);
}

HWY_INLINE F Exp(F x) {
  x = ClampExponent(x, -104.0f, 89.0f);
  const F whole = Round(Mul(x, Broadcast(1.44269504f)));
  // The logarithm of 2 in two parts.
  F rest = Fma(whole, Broadcast(-0.693147182f), x);
  rest = Fma(whole, Broadcast(1.90465421e-09f), rest);
  const F small = Polynomial(rest, 1.98412698e-04f, 1.38888889e-03f, 8.33333333e-03f,
                             4.16666667e-02f, 1.66666667e-01f, 0.5f);
  return Scale(Add(Fma(Mul(small, rest), rest, rest), Broadcast(1.0f)), whole);
}

// Logarithms

// x = 2 to `exponent`, times 1 + `fraction`, which lies between the roots of 1/2 and 2.
struct SplitNumber {
  F exponent;
  F fraction;
};

HWY_INLINE SplitNumber Split(F x) {
  const M tiny = Less(x, Broadcast(std::numeric_limits<float>::min()));
  const I bits = BitsToInt(Select(tiny, Mul(x, Broadcast(0x1p23f)), x));
  const I offset = Sub(bits, Broadcast(0x3F3504F3));
  const F exponent =
      IntToFloat(Sub(ShiftRight(offset, 23), Select(tiny, Broadcast(23), Broadcast(0))));
  const I mantissa = Add(And(offset, Broadcast(0x7FFFFF)), Broadcast(0x3F3504F3));
  return {exponent, Sub(BitsToFloat(mantissa), Broadcast(1.0f))};
}

// With `result`, the logarithm where x is a positive number.
HWY_INLINE F LogSpecials(F x, F result) {
  const F zero = Broadcast(0.0f);
  result = Select(Greater(x, zero), result, Select(Equal(x, zero), Neg(Infinity()), Nan()));
  return Select(Equal(x, Infinity()), x, result);
}

HWY_INLINE F Log2(F x) {
  const SplitNumber parts = Split(x);
  const F s = Div(parts.fraction, Add(parts.fraction, Broadcast(2.0f)));
  const F z = Mul(s, s);
  const F series = Polynomial(z, 0.4121986f, 0.577078f, 0.96179669f);
  const F fraction = Fma(Mul(series, z), s, Mul(s, Broadcast(2.88539008f)));
  return LogSpecials(x, Add(fraction, parts.exponent));
}

HWY_INLINE F Log(F x) {
  const SplitNumber parts = Split(x);
  const F s = Div(parts.fraction, Add(parts.fraction, Broadcast(2.0f)));
  const F z = Mul(s, s);
  const F series = Polynomial(z, 0.28571429f, 0.4f, 0.66666667f);
  const F fraction = Fma(Mul(series, z), s, Mul(s, Broadcast(2.0f)));
  const F low = Fma(parts.exponent, Broadcast(-1.90465421e-09f), fraction);
  return LogSpecials(x, Fma(parts.exponent, Broadcast(0.693147182f), low));
}

// Of a positive x. Neither is infinite.
HWY_INLINE F PowOfPositive(F x, F y) {
  // The logarithm as the sum of two floats, since the power magnifies its error.
  const SplitNumber parts = Split(x);
  const F f = parts.fraction;
  const F sum = Add(f, Broadcast(2.0f));
  const F sum_rest = Sub(f, Sub(sum, Broadcast(2.0f)));
  const F inverse = Div(Broadcast(1.0f), sum);
  const F s = Mul(f, inverse);
  const F s_rest = Mul(Sub(Fma(Neg(s), sum, f), Mul(s, sum_rest)), inverse);
  const F z = Mul(s, s);
  const F scale = Broadcast(2.88539008f);
  const F lead = Mul(s, scale);
  const F series = Polynomial(z, 0.32059890f, 0.41219859f, 0.57707802f, 0.96179669f);
  F rest = Fma(s, scale, Neg(lead));
  rest = Fma(s, Broadcast(3.8519987e-08f), rest);
  rest = Fma(s_rest, scale, rest);
  rest = Fma(Mul(series, z), s, rest);
  const F sum_of_leads = Add(parts.exponent, lead);
  const F rests = Add(Sub(lead, Sub(sum_of_leads, parts.exponent)), rest);
  // The upper part has to be the nearest float, for a power next to the largest to be told from one
  // beyond it.
  const F high = Add(sum_of_leads, rests);
  const F low = Sub(rests, Sub(high, sum_of_leads));

  const F power = Mul(y, high);
  const F power_rest = Fma(y, low, Fma(y, high, Neg(power)));
  const F clamped = Min(Max(power, Broadcast(-151.0f)), Broadcast(128.0f));
  const F whole = Round(clamped);
  const F fraction =
      Add(Sub(clamped, whole), Select(Equal(clamped, power), power_rest, Broadcast(0.0f)));
  return Scale(Exp2OfFraction(fraction), whole);
}

inline HWY_NOINLINE F PowOfAny(F x, F y) {
  const F zero = Broadcast(0.0f);
  const F one = Broadcast(1.0f);
  const F magnitude = Abs(x);
  const M is_zero = Equal(magnitude, zero);
  F result = PowOfPositive(magnitude, y);
  result = Select(Or(is_zero, IsInf(magnitude)),
                  Select(Equal(is_zero, Greater(y, zero)), zero, Infinity()), result);
  result = Select(Equal(magnitude, one), one, result);
  const M negative = Less(BitsToInt(x), Broadcast(0));
  const M odd = Equal(Fract(Mul(y, Broadcast(0.5f))), Broadcast(0.5f));
  result = Select(And(negative, odd), Neg(result), result);
  const M fails = And(And(Less(x, zero), Not(IsInf(x))), NotEqual(y, Floor(y)));
  result = Select(Or(fails, Or(IsNan(x), IsNan(y))), Nan(), result);
  return Select(Or(Equal(y, zero), Equal(x, one)), one, result);
}

HWY_INLINE F Pow(F x, F y) {
  const M plain =
      And(And(Greater(x, Broadcast(0.0f)), Less(x, Infinity())), Less(Abs(y), Infinity()));
  return HWY_LIKELY(All(plain)) ? PowOfPositive(x, y) : PowOfAny(x, y);
}

// The inverse functions of sine and tangent

HWY_INLINE F Atan2(F y, F x) {
  const F width = Abs(x);
  const F height = Abs(y);
  const F longer = Max(width, height);
  const F shorter = Min(width, height);
  F ratio = Div(shorter, longer);
  ratio = Select(Equal(shorter, longer), Broadcast(1.0f), ratio);
  ratio = Select(Equal(longer, Broadcast(0.0f)), longer, ratio);
  const F z = Mul(ratio, ratio);
  const F series =
      Polynomial(z, 2.82363896e-03f, -1.59569028e-02f, 4.25049886e-02f, -7.48900890e-02f,
                 1.06347933e-01f, -1.42027363e-01f, 1.99926957e-01f, -3.33331018e-01f);
  F angle = Fma(Mul(series, z), ratio, ratio);
  angle = Select(Greater(height, width), Sub(Broadcast(1.57079633f), angle), angle);
  angle = Select(Less(BitsToInt(x), Broadcast(0)), Sub(Broadcast(3.14159265f), angle), angle);
  angle = Select(Or(IsNan(x), IsNan(y)), Nan(), angle);
  return WithSignOf(angle, y);
}
HWY_INLINE F Atan(F x) { return Atan2(x, Broadcast(1.0f)); }
// The other side of the right triangle with a hypotenuse of 1.
HWY_INLINE F OtherSide(F x) {
  const F one = Broadcast(1.0f);
  return Sqrt(Mul(Sub(one, x), Add(one, x)));
}
HWY_INLINE F Asin(F x) { return Atan2(x, OtherSide(x)); }
HWY_INLINE F Acos(F x) { return Atan2(OtherSide(x), x); }

// Hyperbolic functions

HWY_INLINE F Cosh(F x) {
  // The square of a root does not overflow too early.
  const F root = Exp(Mul(Abs(x), Broadcast(0.5f)));
  const F half = Mul(Broadcast(0.5f), root);
  return Fma(half, root, Div(Broadcast(0.5f), Mul(root, root)));
}
HWY_INLINE F Sinh(F x) {
  const F magnitude = Abs(x);
  const F z = Mul(x, x);
  const F series = Polynomial(z, 2.50521084e-08f, 2.75573192e-06f, 1.98412698e-04f, 8.33333333e-03f,
                              1.66666667e-01f);
  const F small = Fma(Mul(series, z), magnitude, magnitude);
  const F root = Exp(Mul(magnitude, Broadcast(0.5f)));
  const F half = Mul(Broadcast(0.5f), root);
  const F large = Fma(half, root, Div(Broadcast(-0.5f), Mul(root, root)));
  return WithSignOf(Select(Less(magnitude, Broadcast(1.0f)), small, large), x);
}
HWY_INLINE F Tanh(F x) {
  const F ratio = Div(Sinh(x), Cosh(x));
  // Beyond, it is nearer to 1 than the next float is.
  return Select(Greater(Abs(x), Broadcast(9.1f)), WithSignOf(Broadcast(1.0f), x), ratio);
}

// The logarithm of 1 + x, for x of at least 0.
HWY_INLINE F LogOfOnePlus(F x) {
  const F one = Broadcast(1.0f);
  const F sum = Add(one, x);
  const F seen = Sub(sum, one);
  // What the sum has lost of x, in proportion.
  const F result = Mul(Log(sum), Div(x, seen));
  return Select(Equal(seen, Broadcast(0.0f)), x, Select(IsInf(sum), sum, result));
}
// Beyond, 1 is nothing beside the square.
constexpr float kLargeForSquares = 1e9f;
HWY_INLINE F Asinh(F x) {
  const F one = Broadcast(1.0f);
  const F magnitude = Abs(x);
  const F large = Add(Log(magnitude), Broadcast(0.693147182f));
  const F square = Mul(x, x);
  const F root = Sqrt(Add(square, one));
  const F small = LogOfOnePlus(Add(magnitude, Div(square, Add(one, root))));
  return WithSignOf(Select(Greater(magnitude, Broadcast(kLargeForSquares)), large, small), x);
}
HWY_INLINE F Acosh(F x) {
  const F large = Add(Log(x), Broadcast(0.693147182f));
  const F above = Sub(x, Broadcast(1.0f));
  const F small = LogOfOnePlus(Add(above, Sqrt(Mul(above, Add(x, Broadcast(1.0f))))));
  const F result = Select(Greater(x, Broadcast(kLargeForSquares)), large, small);
  return Select(Less(x, Broadcast(1.0f)), Nan(), result);
}
HWY_INLINE F Atanh(F x) {
  const F one = Broadcast(1.0f);
  const F magnitude = Abs(x);
  const F result =
      Mul(Broadcast(0.5f), LogOfOnePlus(Div(Add(magnitude, magnitude), Sub(one, magnitude))));
  return WithSignOf(Select(Greater(magnitude, one), Nan(), result), x);
}

// Parts of numbers

HWY_INLINE float LdexpOfOne(float x, std::int32_t exponent) { return std::ldexp(x, exponent); }
HWY_INLINE F Ldexp(F x, I exponent) {
  return EachLane<float>([](float a, std::int32_t b) HWY_ATTR { return LdexpOfOne(a, b); }, x,
                         exponent);
}
HWY_INLINE float Ldexp(float x, std::int32_t exponent) { return LdexpOfOne(x, exponent); }

HWY_INLINE float MantissaOfOne(float x) {
  int exponent = 0;
  return std::frexp(x, &exponent);
}
HWY_INLINE std::int32_t ExponentOfOne(float x) {
  int exponent = 0;
  if (std::isfinite(x)) std::frexp(x, &exponent);
  return exponent;
}
HWY_INLINE F Mantissa(F x) {
  return EachLane<float>([](float a) HWY_ATTR { return MantissaOfOne(a); }, x);
}
HWY_INLINE I Exponent(F x) {
  return EachLane<std::int32_t>([](float a) HWY_ATTR { return ExponentOfOne(a); }, x);
}
HWY_INLINE float Mantissa(float x) { return MantissaOfOne(x); }
HWY_INLINE std::int32_t Exponent(float x) { return ExponentOfOne(x); }

// Of single numbers. Calls, since programs use these once a row.

#define VANTRIX_SCALAR_FUNCTION(Name) \
  inline HWY_NOINLINE float Name(float x) { return FirstLane(Name(Broadcast(x))); }
VANTRIX_SCALAR_FUNCTION(Sin)
VANTRIX_SCALAR_FUNCTION(Cos)
VANTRIX_SCALAR_FUNCTION(Tan)
VANTRIX_SCALAR_FUNCTION(Asin)
VANTRIX_SCALAR_FUNCTION(Acos)
VANTRIX_SCALAR_FUNCTION(Atan)
VANTRIX_SCALAR_FUNCTION(Sinh)
VANTRIX_SCALAR_FUNCTION(Cosh)
VANTRIX_SCALAR_FUNCTION(Tanh)
VANTRIX_SCALAR_FUNCTION(Asinh)
VANTRIX_SCALAR_FUNCTION(Acosh)
VANTRIX_SCALAR_FUNCTION(Atanh)
VANTRIX_SCALAR_FUNCTION(Exp)
VANTRIX_SCALAR_FUNCTION(Log)
VANTRIX_SCALAR_FUNCTION(Exp2)
VANTRIX_SCALAR_FUNCTION(Log2)
#undef VANTRIX_SCALAR_FUNCTION
inline HWY_NOINLINE float Atan2(float y, float x) {
  return FirstLane(Atan2(Broadcast(y), Broadcast(x)));
}
inline HWY_NOINLINE float Pow(float x, float y) {
  return FirstLane(Pow(Broadcast(x), Broadcast(y)));
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VANTRIX_RENDER_SIMD_MATH_INL_H_
