// Vectors of 32-bit numbers, and the operations of programs on them and on single numbers. Scalar
// and lane functions of one name give the same bits, and so do all instruction sets, but for the
// sign of a zero that is the least or most of two, and for sums with products, `MulAdd` and its
// like.

#if defined(VANTRIX_RENDER_SIMD_LANES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VANTRIX_RENDER_SIMD_LANES_INL_H_
#undef VANTRIX_RENDER_SIMD_LANES_INL_H_
#else
#define VANTRIX_RENDER_SIMD_LANES_INL_H_
#endif

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "hwy/highway.h"

#if HWY_TARGET == HWY_SCALAR
#error "render/simd/targets.h comes first"
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

template <class T>
using Tag = hn::ScalableTag<T>;

// Types of their own, so that a call finds the functions here and not those of Highway.
template <class T>
struct Lanes {
  using Lane = T;
  hn::Vec<Tag<T>> raw;
};

using F = Lanes<float>;
using I = Lanes<std::int32_t>;
using U = Lanes<std::uint32_t>;

// Of lanes of any of the three types.
struct M {
  hn::Mask<Tag<float>> raw;
};

constexpr std::int32_t kLanes = static_cast<std::int32_t>(HWY_LANES(float));

template <class T>
HWY_INLINE M ToMask(hn::Mask<Tag<T>> mask) {
  return {hn::RebindMask(Tag<float>(), mask)};
}

template <class T>
HWY_INLINE hn::Mask<Tag<T>> MaskFor(M mask) {
  return hn::RebindMask(Tag<T>(), mask.raw);
}

// Loading, storing, making

template <class T>
HWY_INLINE Lanes<T> Load(const T* from) {
  return {hn::LoadU(Tag<T>(), from)};
}

template <class T>
HWY_INLINE void Store(Lanes<T> lanes, T* to) {
  hn::StoreU(lanes.raw, Tag<T>(), to);
}

HWY_INLINE F Broadcast(float x) { return {hn::Set(Tag<float>(), x)}; }
HWY_INLINE I Broadcast(std::int32_t x) { return {hn::Set(Tag<std::int32_t>(), x)}; }
HWY_INLINE U Broadcast(std::uint32_t x) { return {hn::Set(Tag<std::uint32_t>(), x)}; }
HWY_INLINE M Broadcast(bool x) {
  const Tag<std::int32_t> tag;
  return ToMask<std::int32_t>(hn::Ne(hn::Set(tag, static_cast<std::int32_t>(x)), hn::Zero(tag)));
}

alignas(64) inline constexpr std::int32_t kIota[16] = {0, 1, 2,  3,  4,  5,  6,  7,
                                                       8, 9, 10, 11, 12, 13, 14, 15};
static_assert(kLanes <= 16);

// x, x + 1, ...
HWY_INLINE I Iota(std::int32_t x) {
  const Tag<std::int32_t> tag;
  return {hn::Add(hn::Set(tag, x), hn::Load(tag, kIota))};
}

// The first `count` lanes.
HWY_INLINE M FirstLanes(std::int32_t count) {
  const Tag<std::int32_t> tag;
  return ToMask<std::int32_t>(hn::Lt(hn::Load(tag, kIota), hn::Set(tag, count)));
}

template <class T>
HWY_INLINE T FirstLane(Lanes<T> a) {
  return hn::GetLane(a.raw);
}

// The scalar form of a function that is written for lanes.
template <class Function, class... Scalars>
HWY_INLINE auto OfOne(Function function, Scalars... scalars) {
  return FirstLane(function(Broadcast(scalars)...));
}

// For what no instruction set has: computes lane by lane.
template <class R, class Function, class A>
HWY_INLINE Lanes<R> EachLane(Function function, Lanes<A> a) {
  HWY_ALIGN A in[kLanes];
  HWY_ALIGN R out[kLanes];
  Store(a, in);
  for (std::int32_t i = 0; i < kLanes; ++i) out[i] = function(in[i]);
  return Load(out);
}

template <class R, class Function, class A, class B>
HWY_INLINE Lanes<R> EachLane(Function function, Lanes<A> a, Lanes<B> b) {
  HWY_ALIGN A in_a[kLanes];
  HWY_ALIGN B in_b[kLanes];
  HWY_ALIGN R out[kLanes];
  Store(a, in_a);
  Store(b, in_b);
  for (std::int32_t i = 0; i < kLanes; ++i) out[i] = function(in_a[i], in_b[i]);
  return Load(out);
}

// Masks and truth values

HWY_INLINE bool Any(M a) { return !hn::AllFalse(Tag<float>(), a.raw); }
HWY_INLINE bool All(M a) { return hn::AllTrue(Tag<float>(), a.raw); }
HWY_INLINE M And(M a, M b) { return {hn::And(a.raw, b.raw)}; }
HWY_INLINE M Or(M a, M b) { return {hn::Or(a.raw, b.raw)}; }
HWY_INLINE M Xor(M a, M b) { return {hn::Xor(a.raw, b.raw)}; }
HWY_INLINE M Not(M a) { return {hn::Not(a.raw)}; }
// b without a.
HWY_INLINE M AndNot(M a, M b) { return {hn::AndNot(a.raw, b.raw)}; }
HWY_INLINE M Equal(M a, M b) { return Not(Xor(a, b)); }
HWY_INLINE M NotEqual(M a, M b) { return Xor(a, b); }

HWY_INLINE bool Any(bool a) { return a; }
HWY_INLINE bool All(bool a) { return a; }
HWY_INLINE bool And(bool a, bool b) { return a && b; }
HWY_INLINE bool Or(bool a, bool b) { return a || b; }
HWY_INLINE bool Xor(bool a, bool b) { return a != b; }
HWY_INLINE bool Not(bool a) { return !a; }
HWY_INLINE bool AndNot(bool a, bool b) { return !a && b; }
HWY_INLINE bool Equal(bool a, bool b) { return a == b; }
HWY_INLINE bool NotEqual(bool a, bool b) { return a != b; }

template <class T>
HWY_INLINE Lanes<T> Select(M condition, Lanes<T> yes, Lanes<T> no) {
  return {hn::IfThenElse(MaskFor<T>(condition), yes.raw, no.raw)};
}
HWY_INLINE M Select(M condition, M yes, M no) {
  return Or(And(condition, yes), AndNot(condition, no));
}
template <class T>
HWY_INLINE Lanes<T> Select(bool condition, Lanes<T> yes, Lanes<T> no) {
  return condition ? yes : no;
}
HWY_INLINE M Select(bool condition, M yes, M no) { return condition ? yes : no; }
HWY_INLINE float Select(bool condition, float yes, float no) { return condition ? yes : no; }
HWY_INLINE std::int32_t Select(bool condition, std::int32_t yes, std::int32_t no) {
  return condition ? yes : no;
}
HWY_INLINE std::uint32_t Select(bool condition, std::uint32_t yes, std::uint32_t no) {
  return condition ? yes : no;
}
HWY_INLINE bool Select(bool condition, bool yes, bool no) { return condition ? yes : no; }

// The same bits of another type

template <class T>
HWY_INLINE F BitsToFloat(Lanes<T> a) {
  return {hn::BitCast(Tag<float>(), a.raw)};
}
template <class T>
HWY_INLINE I BitsToInt(Lanes<T> a) {
  return {hn::BitCast(Tag<std::int32_t>(), a.raw)};
}
template <class T>
HWY_INLINE U BitsToUint(Lanes<T> a) {
  return {hn::BitCast(Tag<std::uint32_t>(), a.raw)};
}
HWY_INLINE float BitsToFloat(float a) { return a; }
HWY_INLINE float BitsToFloat(std::int32_t a) { return std::bit_cast<float>(a); }
HWY_INLINE float BitsToFloat(std::uint32_t a) { return std::bit_cast<float>(a); }
HWY_INLINE std::int32_t BitsToInt(float a) { return std::bit_cast<std::int32_t>(a); }
HWY_INLINE std::int32_t BitsToInt(std::int32_t a) { return a; }
HWY_INLINE std::int32_t BitsToInt(std::uint32_t a) { return static_cast<std::int32_t>(a); }
HWY_INLINE std::uint32_t BitsToUint(float a) { return std::bit_cast<std::uint32_t>(a); }
HWY_INLINE std::uint32_t BitsToUint(std::int32_t a) { return static_cast<std::uint32_t>(a); }
HWY_INLINE std::uint32_t BitsToUint(std::uint32_t a) { return a; }

// Comparisons

template <class T>
HWY_INLINE M Equal(Lanes<T> a, Lanes<T> b) {
  return ToMask<T>(hn::Eq(a.raw, b.raw));
}
template <class T>
HWY_INLINE M NotEqual(Lanes<T> a, Lanes<T> b) {
  return Not(Equal(a, b));
}
// Highway's own is false for NaN on some instruction sets.
HWY_INLINE M NotEqual(F a, F b) {
#if HWY_TARGET == HWY_AVX3
  return {{_mm512_cmp_ps_mask(a.raw.raw, b.raw.raw, _CMP_NEQ_UQ)}};
#else
  return Not(Equal(a, b));
#endif
}
template <class T>
HWY_INLINE M Less(Lanes<T> a, Lanes<T> b) {
  return ToMask<T>(hn::Lt(a.raw, b.raw));
}
template <class T>
HWY_INLINE M Greater(Lanes<T> a, Lanes<T> b) {
  return ToMask<T>(hn::Gt(a.raw, b.raw));
}
HWY_INLINE M LessEqual(F a, F b) { return {hn::Le(a.raw, b.raw)}; }
HWY_INLINE M GreaterEqual(F a, F b) { return {hn::Ge(a.raw, b.raw)}; }
template <class T>
HWY_INLINE M LessEqual(Lanes<T> a, Lanes<T> b) {
  return Not(Greater(a, b));
}
template <class T>
HWY_INLINE M GreaterEqual(Lanes<T> a, Lanes<T> b) {
  return Not(Less(a, b));
}
HWY_INLINE M IsNan(F a) { return {hn::IsNaN(a.raw)}; }
HWY_INLINE M IsInf(F a) {
  return Equal({hn::Abs(a.raw)}, Broadcast(std::numeric_limits<float>::infinity()));
}

#define VANTRIX_SCALAR_COMPARISONS(T)                    \
  HWY_INLINE bool Equal(T a, T b) { return a == b; }     \
  HWY_INLINE bool NotEqual(T a, T b) { return a != b; }  \
  HWY_INLINE bool Less(T a, T b) { return a < b; }       \
  HWY_INLINE bool LessEqual(T a, T b) { return a <= b; } \
  HWY_INLINE bool Greater(T a, T b) { return a > b; }    \
  HWY_INLINE bool GreaterEqual(T a, T b) { return a >= b; }
VANTRIX_SCALAR_COMPARISONS(float)
VANTRIX_SCALAR_COMPARISONS(std::int32_t)
VANTRIX_SCALAR_COMPARISONS(std::uint32_t)
#undef VANTRIX_SCALAR_COMPARISONS
HWY_INLINE bool IsNan(float a) { return a != a; }
HWY_INLINE bool IsInf(float a) { return std::fabs(a) == std::numeric_limits<float>::infinity(); }

// Arithmetic

template <class T>
HWY_INLINE Lanes<T> Add(Lanes<T> a, Lanes<T> b) {
  return {hn::Add(a.raw, b.raw)};
}
template <class T>
HWY_INLINE Lanes<T> Sub(Lanes<T> a, Lanes<T> b) {
  return {hn::Sub(a.raw, b.raw)};
}
template <class T>
HWY_INLINE Lanes<T> Mul(Lanes<T> a, Lanes<T> b) {
  return {hn::Mul(a.raw, b.raw)};
}
HWY_INLINE F Div(F a, F b) { return {hn::Div(a.raw, b.raw)}; }
HWY_INLINE F Neg(F a) { return {hn::Neg(a.raw)}; }
HWY_INLINE I Neg(I a) { return {hn::Neg(a.raw)}; }
HWY_INLINE U Neg(U a) { return Sub(Broadcast(0u), a); }
HWY_INLINE F Abs(F a) { return {hn::Abs(a.raw)}; }
HWY_INLINE I Abs(I a) { return {hn::Abs(a.raw)}; }

HWY_INLINE float Add(float a, float b) { return a + b; }
HWY_INLINE float Sub(float a, float b) { return a - b; }
HWY_INLINE float Mul(float a, float b) { return a * b; }
HWY_INLINE float Div(float a, float b) { return a / b; }
HWY_INLINE float Neg(float a) { return -a; }
HWY_INLINE float Abs(float a) { return std::fabs(a); }

// Unsigned numbers wrap.
HWY_INLINE std::uint32_t Add(std::uint32_t a, std::uint32_t b) { return a + b; }
HWY_INLINE std::uint32_t Sub(std::uint32_t a, std::uint32_t b) { return a - b; }
HWY_INLINE std::uint32_t Mul(std::uint32_t a, std::uint32_t b) { return a * b; }
HWY_INLINE std::uint32_t Neg(std::uint32_t a) { return 0u - a; }
HWY_INLINE std::int32_t Add(std::int32_t a, std::int32_t b) {
  return BitsToInt(BitsToUint(a) + BitsToUint(b));
}
HWY_INLINE std::int32_t Sub(std::int32_t a, std::int32_t b) {
  return BitsToInt(BitsToUint(a) - BitsToUint(b));
}
HWY_INLINE std::int32_t Mul(std::int32_t a, std::int32_t b) {
  return BitsToInt(BitsToUint(a) * BitsToUint(b));
}
HWY_INLINE std::int32_t Neg(std::int32_t a) { return BitsToInt(0u - BitsToUint(a)); }
HWY_INLINE std::int32_t Abs(std::int32_t a) { return a < 0 ? Neg(a) : a; }

// Of a number and NaN, the number; of two zeros, either. With a constant as the second they are one
// instruction on all of x86, since there a comparison of vectors in the compiler's own terms is
// known when it builds.
HWY_INLINE F Min(F a, F b) {
#if HWY_TARGET == HWY_AVX3
  return {{_mm512_range_ps(a.raw.raw, b.raw.raw, 4)}};
#elif HWY_ARCH_X86
  return {{b.raw.raw == b.raw.raw ? hn::Min(a.raw, b.raw).raw : a.raw.raw}};
#else
  return Select(Or(Less(a, b), IsNan(b)), a, b);
#endif
}
HWY_INLINE F Max(F a, F b) {
#if HWY_TARGET == HWY_AVX3
  return {{_mm512_range_ps(a.raw.raw, b.raw.raw, 5)}};
#elif HWY_ARCH_X86
  return {{b.raw.raw == b.raw.raw ? hn::Max(a.raw, b.raw).raw : a.raw.raw}};
#else
  return Select(Or(Greater(a, b), IsNan(b)), a, b);
#endif
}
template <class T>
HWY_INLINE Lanes<T> Min(Lanes<T> a, Lanes<T> b) {
  return {hn::Min(a.raw, b.raw)};
}
template <class T>
HWY_INLINE Lanes<T> Max(Lanes<T> a, Lanes<T> b) {
  return {hn::Max(a.raw, b.raw)};
}
HWY_INLINE float Min(float a, float b) { return a < b || b != b ? a : b; }
HWY_INLINE float Max(float a, float b) { return a > b || b != b ? a : b; }
HWY_INLINE std::int32_t Min(std::int32_t a, std::int32_t b) { return a < b ? a : b; }
HWY_INLINE std::int32_t Max(std::int32_t a, std::int32_t b) { return a > b ? a : b; }
HWY_INLINE std::uint32_t Min(std::uint32_t a, std::uint32_t b) { return a < b ? a : b; }
HWY_INLINE std::uint32_t Max(std::uint32_t a, std::uint32_t b) { return a > b ? a : b; }

HWY_INLINE F Sign(F a) {
  const F zero = Broadcast(0.0f);
  return Select(Greater(a, zero), Broadcast(1.0f), Select(Less(a, zero), Broadcast(-1.0f), zero));
}
HWY_INLINE I Sign(I a) { return Max(Min(a, Broadcast(1)), Broadcast(-1)); }
HWY_INLINE float Sign(float a) { return a > 0 ? 1.0f : a < 0 ? -1.0f : 0.0f; }
HWY_INLINE std::int32_t Sign(std::int32_t a) { return Max(Min(a, 1), -1); }

HWY_INLINE F Floor(F a) { return {hn::Floor(a.raw)}; }
HWY_INLINE F Ceil(F a) { return {hn::Ceil(a.raw)}; }
HWY_INLINE F Trunc(F a) { return {hn::Trunc(a.raw)}; }
HWY_INLINE F Round(F a) { return {hn::Round(a.raw)}; }
HWY_INLINE F Sqrt(F a) { return {hn::Sqrt(a.raw)}; }
HWY_INLINE float Floor(float a) { return std::floor(a); }
HWY_INLINE float Ceil(float a) { return std::ceil(a); }
HWY_INLINE float Trunc(float a) { return std::trunc(a); }
HWY_INLINE float Round(float a) { return std::nearbyint(a); }
HWY_INLINE float Sqrt(float a) { return std::sqrt(a); }

HWY_INLINE F Fract(F a) { return Sub(a, Floor(a)); }
HWY_INLINE F InverseSqrt(F a) { return Div(Broadcast(1.0f), Sqrt(a)); }
HWY_INLINE F Rem(F a, F b) { return Sub(a, Mul(b, Trunc(Div(a, b)))); }
HWY_INLINE F Mod(F a, F b) { return Sub(a, Mul(b, Floor(Div(a, b)))); }
HWY_INLINE float Fract(float a) { return a - Floor(a); }
HWY_INLINE float InverseSqrt(float a) { return Div(1.0f, Sqrt(a)); }
HWY_INLINE float Rem(float a, float b) { return a - b * Trunc(Div(a, b)); }
HWY_INLINE float Mod(float a, float b) { return a - b * Floor(Div(a, b)); }

// a b + c, a b - c and c - a b, rounded once where the instruction set can, else twice.
HWY_INLINE F MulAdd(F a, F b, F c) { return {hn::MulAdd(a.raw, b.raw, c.raw)}; }
HWY_INLINE F MulSub(F a, F b, F c) { return {hn::MulSub(a.raw, b.raw, c.raw)}; }
HWY_INLINE F NegMulAdd(F a, F b, F c) { return {hn::NegMulAdd(a.raw, b.raw, c.raw)}; }

// a b + c, rounded once.
HWY_INLINE F Fma(F a, F b, F c);
HWY_INLINE float Fma(float a, float b, float c);

// Conversions of numbers

// What does not fit becomes the smallest number.
HWY_INLINE I FloatToInt(F a) {
#if HWY_TARGET == HWY_AVX3
  return {hn::Vec<Tag<std::int32_t>>{_mm512_cvttps_epi32(a.raw.raw)}};
#elif HWY_TARGET == HWY_AVX2
  return {hn::Vec<Tag<std::int32_t>>{_mm256_cvttps_epi32(a.raw.raw)}};
#elif HWY_TARGET == HWY_SSE4
  return {hn::Vec<Tag<std::int32_t>>{_mm_cvttps_epi32(a.raw.raw)}};
#else
  return Select(Less(Abs(a), Broadcast(2147483648.0f)),
                I{hn::ConvertTo(Tag<std::int32_t>(), a.raw)},
                Broadcast(std::numeric_limits<std::int32_t>::min()));
#endif
}
HWY_INLINE std::int32_t FloatToInt(float a) {
  return std::fabs(a) < 2147483648.0f ? static_cast<std::int32_t>(a)
                                      : std::numeric_limits<std::int32_t>::min();
}

// The nearest, ties to even. What does not fit becomes the smallest number.
HWY_INLINE I NearestInt(F a) {
#if HWY_TARGET == HWY_AVX3
  return {hn::Vec<Tag<std::int32_t>>{_mm512_cvtps_epi32(a.raw.raw)}};
#elif HWY_TARGET == HWY_AVX2
  return {hn::Vec<Tag<std::int32_t>>{_mm256_cvtps_epi32(a.raw.raw)}};
#elif HWY_TARGET == HWY_SSE4
  return {hn::Vec<Tag<std::int32_t>>{_mm_cvtps_epi32(a.raw.raw)}};
#else
  return FloatToInt(Round(a));
#endif
}

HWY_INLINE U FloatToUint(F a) {
  const F half = Broadcast(2147483648.0f);
  const M upper = GreaterEqual(a, half);
  const U number = BitsToUint(FloatToInt(Select(upper, Sub(a, half), a)));
  return Select(upper, Add(number, Broadcast(0x80000000u)), number);
}
HWY_INLINE std::uint32_t FloatToUint(float a) {
  if (a >= 2147483648.0f) return BitsToUint(FloatToInt(a - 2147483648.0f)) + 0x80000000u;
  return BitsToUint(FloatToInt(a));
}

HWY_INLINE F IntToFloat(I a) { return {hn::ConvertTo(Tag<float>(), a.raw)}; }
HWY_INLINE float IntToFloat(std::int32_t a) { return static_cast<float>(a); }

HWY_INLINE F UintToFloat(U a) {
#if HWY_TARGET == HWY_AVX3
  return {hn::Vec<Tag<float>>{_mm512_cvtepu32_ps(a.raw.raw)}};
#else
  // Both halves and the product are exact, so that only the sum rounds.
  const F upper = IntToFloat(BitsToInt(U{hn::ShiftRight<16>(a.raw)}));
  const F lower = IntToFloat(BitsToInt(U{hn::And(a.raw, Broadcast(0xFFFFu).raw)}));
  return Add(Mul(upper, Broadcast(65536.0f)), lower);
#endif
}
HWY_INLINE float UintToFloat(std::uint32_t a) { return static_cast<float>(a); }

#if HWY_NATIVE_FMA
HWY_INLINE F Fma(F a, F b, F c) { return {hn::MulAdd(a.raw, b.raw, c.raw)}; }
#else
// The product is exact in double. A sum that is not exact is made odd in its last bit, so that
// rounding it to float once more is the same as rounding the exact sum.
template <class D>
HWY_INLINE hn::Vec<D> OddSum(D tag, hn::Vec<D> a, hn::Vec<D> b) {
  const hn::RebindToSigned<D> bits;
  const auto sum = hn::Add(a, b);
  const auto part = hn::Sub(sum, a);
  const auto error = hn::Add(hn::Sub(a, hn::Sub(sum, part)), hn::Sub(b, part));
  const auto even = hn::Eq(hn::And(hn::BitCast(bits, sum), hn::Set(bits, 1)), hn::Zero(bits));
  const auto inexact = hn::RebindMask(bits, hn::Gt(hn::Abs(error), hn::Zero(tag)));
  // Away from zero where the error has the sum's sign.
  const auto step =
      hn::Or(hn::BroadcastSignBit(hn::BitCast(bits, hn::Xor(error, sum))), hn::Set(bits, 1));
  const auto odd = hn::Add(hn::BitCast(bits, sum), step);
  return hn::BitCast(tag, hn::IfThenElse(hn::And(even, inexact), odd, hn::BitCast(bits, sum)));
}
HWY_INLINE F Fma(F a, F b, F c) {
  const Tag<double> tag;
  const hn::Half<Tag<float>> half;
  const auto fma = [&](auto x, auto y, auto z) HWY_ATTR {
    return hn::DemoteTo(half, OddSum(tag, hn::Mul(hn::PromoteTo(tag, x), hn::PromoteTo(tag, y)),
                                     hn::PromoteTo(tag, z)));
  };
  return {hn::Combine(
      Tag<float>(),
      fma(hn::UpperHalf(half, a.raw), hn::UpperHalf(half, b.raw), hn::UpperHalf(half, c.raw)),
      fma(hn::LowerHalf(half, a.raw), hn::LowerHalf(half, b.raw), hn::LowerHalf(half, c.raw)))};
}
#endif
HWY_INLINE float Fma(float a, float b, float c) {
  return FirstLane(Fma(Broadcast(a), Broadcast(b), Broadcast(c)));
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VANTRIX_RENDER_SIMD_LANES_INL_H_
