// Operations of programs on the bits of numbers, division of whole numbers, and 16-bit floats.

#if defined(VANTRIX_RENDER_SIMD_INTEGERS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VANTRIX_RENDER_SIMD_INTEGERS_INL_H_
#undef VANTRIX_RENDER_SIMD_INTEGERS_INL_H_
#else
#define VANTRIX_RENDER_SIMD_INTEGERS_INL_H_
#endif

#include <concepts>

#include "render/simd/lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {

template <class T>
HWY_INLINE Lanes<T> And(Lanes<T> a, Lanes<T> b) {
  return {hn::And(a.raw, b.raw)};
}
template <class T>
HWY_INLINE Lanes<T> Or(Lanes<T> a, Lanes<T> b) {
  return {hn::Or(a.raw, b.raw)};
}
template <class T>
HWY_INLINE Lanes<T> Xor(Lanes<T> a, Lanes<T> b) {
  return {hn::Xor(a.raw, b.raw)};
}
template <class T>
HWY_INLINE Lanes<T> Not(Lanes<T> a) {
  return {hn::Not(a.raw)};
}

#define VANTRIX_SCALAR_BITS(T)                 \
  HWY_INLINE T And(T a, T b) { return a & b; } \
  HWY_INLINE T Or(T a, T b) { return a | b; }  \
  HWY_INLINE T Xor(T a, T b) { return a ^ b; } \
  HWY_INLINE T Not(T a) { return ~a; }
VANTRIX_SCALAR_BITS(std::int32_t)
VANTRIX_SCALAR_BITS(std::uint32_t)
#undef VANTRIX_SCALAR_BITS

// Shifts. Only the lowest five bits of a count are looked at; a count may have either sign's type.

template <class T, class C>
HWY_INLINE Lanes<T> ShiftLeft(Lanes<T> a, Lanes<C> count) {
  const Tag<T> tag;
  const auto bits = hn::And(hn::BitCast(tag, count.raw), hn::Set(tag, T{31}));
#if HWY_TARGET == HWY_AVX3
  return {hn::Vec<Tag<T>>{_mm512_sllv_epi32(a.raw.raw, bits.raw)}};
#elif HWY_TARGET == HWY_AVX2
  return {hn::Vec<Tag<T>>{_mm256_sllv_epi32(a.raw.raw, bits.raw)}};
#else
  return {hn::Shl(a.raw, bits)};
#endif
}
template <class T, class C>
HWY_INLINE Lanes<T> ShiftRight(Lanes<T> a, Lanes<C> count) {
  const Tag<T> tag;
  const auto bits = hn::And(hn::BitCast(tag, count.raw), hn::Set(tag, T{31}));
#if HWY_TARGET == HWY_SSE4
  // It has no shifts by lanes.
  return EachLane<T>([](T x, T y) HWY_ATTR { return x >> y; }, a, Lanes<T>{bits});
#else
  return {hn::Shr(a.raw, bits)};
#endif
}

template <class C>
concept ScalarCount = std::same_as<C, std::int32_t> || std::same_as<C, std::uint32_t>;

template <class T, ScalarCount C>
HWY_INLINE Lanes<T> ShiftLeft(Lanes<T> a, C count) {
  return {hn::ShiftLeftSame(a.raw, static_cast<int>(count & 31))};
}
template <class T, ScalarCount C>
HWY_INLINE Lanes<T> ShiftRight(Lanes<T> a, C count) {
  return {hn::ShiftRightSame(a.raw, static_cast<int>(count & 31))};
}
template <ScalarCount C>
HWY_INLINE std::uint32_t ShiftLeft(std::uint32_t a, C count) {
  return a << (count & 31);
}
template <ScalarCount C>
HWY_INLINE std::int32_t ShiftLeft(std::int32_t a, C count) {
  return BitsToInt(BitsToUint(a) << (count & 31));
}
template <ScalarCount T, ScalarCount C>
HWY_INLINE T ShiftRight(T a, C count) {
  return a >> (count & 31);
}

// Bits

HWY_INLINE U BitCount(U a) { return {hn::PopulationCount(a.raw)}; }
HWY_INLINE I BitCount(I a) { return BitsToInt(BitCount(BitsToUint(a))); }
HWY_INLINE std::uint32_t BitCount(std::uint32_t a) {
  return static_cast<std::uint32_t>(std::popcount(a));
}
HWY_INLINE std::int32_t BitCount(std::int32_t a) { return std::popcount(BitsToUint(a)); }

// The rest is written once, for lanes and for one number.

// Exchanges neighbouring groups of `kBits` bits.
template <std::uint32_t kBits, class V>
HWY_INLINE V SwapBits(V a, V lower) {
  return Or(And(ShiftRight(a, kBits), lower), ShiftLeft(And(a, lower), kBits));
}
template <class V>
HWY_INLINE V ReverseBits(V a, V ones, V twos, V fours, V eights) {
  a = SwapBits<1>(a, ones);
  a = SwapBits<2>(a, twos);
  a = SwapBits<4>(a, fours);
  a = SwapBits<8>(a, eights);
  return Or(ShiftRight(a, 16u), ShiftLeft(a, 16u));
}
HWY_INLINE U BitReverse(U a) {
  return ReverseBits(a, Broadcast(0x55555555u), Broadcast(0x33333333u), Broadcast(0x0F0F0F0Fu),
                     Broadcast(0x00FF00FFu));
}
HWY_INLINE I BitReverse(I a) { return BitsToInt(BitReverse(BitsToUint(a))); }
HWY_INLINE std::uint32_t BitReverse(std::uint32_t a) {
  return ReverseBits(a, 0x55555555u, 0x33333333u, 0x0F0F0F0Fu, 0x00FF00FFu);
}
HWY_INLINE std::int32_t BitReverse(std::int32_t a) { return BitsToInt(BitReverse(BitsToUint(a))); }

HWY_INLINE I FindLowestBit(U a) {
  const U zero = Broadcast(0u);
  // The bits below the lowest one; 32 of them for 0.
  const U below = Sub(And(a, Neg(a)), Broadcast(1u));
  return Select(Equal(a, zero), Broadcast(-1), BitsToInt(BitCount(below)));
}
HWY_INLINE I FindLowestBit(I a) { return FindLowestBit(BitsToUint(a)); }
HWY_INLINE std::int32_t FindLowestBit(std::uint32_t a) { return a == 0 ? -1 : std::countr_zero(a); }
HWY_INLINE std::int32_t FindLowestBit(std::int32_t a) { return FindLowestBit(BitsToUint(a)); }

HWY_INLINE I FindHighestBit(U a) {
  a = Or(a, ShiftRight(a, 1u));
  a = Or(a, ShiftRight(a, 2u));
  a = Or(a, ShiftRight(a, 4u));
  a = Or(a, ShiftRight(a, 8u));
  a = Or(a, ShiftRight(a, 16u));
  return Sub(BitsToInt(BitCount(a)), Broadcast(1));
}
HWY_INLINE I FindHighestBit(I a) { return FindHighestBit(BitsToUint(Xor(a, ShiftRight(a, 31)))); }
HWY_INLINE std::int32_t FindHighestBit(std::uint32_t a) { return 31 - std::countl_zero(a); }
HWY_INLINE std::int32_t FindHighestBit(std::int32_t a) {
  return FindHighestBit(BitsToUint(a ^ (a >> 31)));
}

// Multiplication and division of whole numbers

template <class T>
HWY_INLINE Lanes<T> MulHigh(Lanes<T> a, Lanes<T> b) {
  const Tag<T> tag;
  const hn::Repartition<std::uint64_t, Tag<T>> wide;
  const auto odd_lanes = [&](auto x) HWY_ATTR {
    return hn::BitCast(tag, hn::ShiftRight<32>(hn::BitCast(wide, x)));
  };
  const auto even = hn::BitCast(wide, hn::MulEven(a.raw, b.raw));
  const auto odd = hn::BitCast(tag, hn::MulEven(odd_lanes(a.raw), odd_lanes(b.raw)));
  return {hn::OddEven(odd, hn::BitCast(tag, hn::ShiftRight<32>(even)))};
}
HWY_INLINE std::uint32_t MulHigh(std::uint32_t a, std::uint32_t b) {
  return static_cast<std::uint32_t>(std::uint64_t{a} * b >> 32);
}
HWY_INLINE std::int32_t MulHigh(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(std::int64_t{a} * b >> 32);
}

// By 0, the results of a division by 1; the quotient of the smallest number and -1 wraps.
HWY_INLINE std::uint32_t Div(std::uint32_t a, std::uint32_t b) { return b == 0 ? a : a / b; }
HWY_INLINE std::uint32_t Rem(std::uint32_t a, std::uint32_t b) { return b == 0 ? 0 : a % b; }
HWY_INLINE std::uint32_t Mod(std::uint32_t a, std::uint32_t b) { return Rem(a, b); }
HWY_INLINE std::int32_t Div(std::int32_t a, std::int32_t b) {
  return b == 0 ? a : b == -1 ? Neg(a) : a / b;
}
HWY_INLINE std::int32_t Rem(std::int32_t a, std::int32_t b) {
  return b == 0 || b == -1 ? 0 : a % b;
}
HWY_INLINE std::int32_t Mod(std::int32_t a, std::int32_t b) {
  const std::int32_t rest = Rem(a, b);
  return rest != 0 && (rest ^ b) < 0 ? rest + b : rest;
}
template <class T>
HWY_INLINE Lanes<T> Div(Lanes<T> a, Lanes<T> b) {
  return EachLane<T>([](T x, T y) HWY_ATTR { return Div(x, y); }, a, b);
}
template <class T>
HWY_INLINE Lanes<T> Rem(Lanes<T> a, Lanes<T> b) {
  return EachLane<T>([](T x, T y) HWY_ATTR { return Rem(x, y); }, a, b);
}
template <class T>
HWY_INLINE Lanes<T> Mod(Lanes<T> a, Lanes<T> b) {
  return EachLane<T>([](T x, T y) HWY_ATTR { return Mod(x, y); }, a, b);
}

// 16-bit floats

#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX2
HWY_INLINE U FloatToHalf(F a) {
#if HWY_TARGET == HWY_AVX3
  const __m256i halves = _mm512_cvtps_ph(a.raw.raw, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
  return {hn::Vec<Tag<std::uint32_t>>{_mm512_cvtepu16_epi32(halves)}};
#else
  const __m128i halves = _mm256_cvtps_ph(a.raw.raw, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
  return {hn::Vec<Tag<std::uint32_t>>{_mm256_cvtepu16_epi32(halves)}};
#endif
}
HWY_INLINE F HalfToFloat(U a) {
#if HWY_TARGET == HWY_AVX3
  return {hn::Vec<Tag<float>>{_mm512_cvtph_ps(_mm512_cvtepi32_epi16(a.raw.raw))}};
#else
  const __m256i lower = _mm256_and_si256(a.raw.raw, _mm256_set1_epi32(0xFFFF));
  const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi32(lower, lower), 0x08);
  return {hn::Vec<Tag<float>>{_mm256_cvtph_ps(_mm256_castsi256_si128(packed))}};
#endif
}
#else
HWY_INLINE U FloatToHalf(F a) {
  const U bits = BitsToUint(a);
  const U magnitude = And(bits, Broadcast(0x7FFFFFFFu));
  const U sign = And(ShiftRight(bits, 16u), Broadcast(0x8000u));
  const U last = And(ShiftRight(magnitude, 13u), Broadcast(1u));
  const U normal = ShiftRight(Add(Add(magnitude, last), Broadcast(0xFFFu - (112u << 23))), 13u);
  // One half has steps of the smallest 16-bit float, so the addition rounds to those.
  const U small =
      Sub(BitsToUint(Add(BitsToFloat(magnitude), Broadcast(0.5f))), BitsToUint(Broadcast(0.5f)));
  const U nan = Or(And(ShiftRight(magnitude, 13u), Broadcast(0x3FFu)), Broadcast(0x7E00u));
  U half = Select(Less(magnitude, Broadcast(113u << 23)), small, normal);
  half = Select(Less(magnitude, Broadcast(143u << 23)), half, Broadcast(0x7C00u));
  half = Select(Greater(magnitude, Broadcast(255u << 23)), nan, half);
  return Or(half, sign);
}
HWY_INLINE F HalfToFloat(U a) {
  const U magnitude = And(a, Broadcast(0x7FFFu));
  const U sign = ShiftLeft(And(a, Broadcast(0x8000u)), 16u);
  const U normal = Add(ShiftLeft(magnitude, 13u), Broadcast(112u << 23));
  const F small = Mul(IntToFloat(BitsToInt(magnitude)), Broadcast(0x1p-24f));
  U result = Select(Less(magnitude, Broadcast(0x400u)), BitsToUint(small), normal);
  result = Select(Less(magnitude, Broadcast(0x7C00u)), result, Add(normal, Broadcast(112u << 23)));
  result = Or(result,
              Select(Greater(magnitude, Broadcast(0x7C00u)), Broadcast(0x400000u), Broadcast(0u)));
  return BitsToFloat(Or(result, sign));
}
#endif
HWY_INLINE std::uint32_t FloatToHalf(float a) { return FirstLane(FloatToHalf(Broadcast(a))); }
HWY_INLINE float HalfToFloat(std::uint32_t a) { return FirstLane(HalfToFloat(Broadcast(a))); }

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VANTRIX_RENDER_SIMD_INTEGERS_INL_H_
