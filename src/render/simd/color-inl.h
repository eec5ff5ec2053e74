// Colours of lanes, and their bytes in memory.

#if defined(VANTRIX_RENDER_SIMD_COLOR_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VANTRIX_RENDER_SIMD_COLOR_INL_H_
#undef VANTRIX_RENDER_SIMD_COLOR_INL_H_
#else
#define VANTRIX_RENDER_SIMD_COLOR_INL_H_
#endif

#include <bit>

#include "render/simd/integers-inl.h"
#include "render/simd/kernel.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {

struct Color {
  F r;
  F g;
  F b;
  F a;
};

struct UniformColor {
  float r = 0;
  float g = 0;
  float b = 0;
  float a = 0;
};

HWY_INLINE Color TransparentBlack() {
  const F zero = Broadcast(0.0f);
  return {zero, zero, zero, zero};
}

// The function's result for each channel.
template <class Function, class... Colors>
HWY_INLINE Color EachChannel(Function function, const Colors&... colors) {
  return {function(colors.r...), function(colors.g...), function(colors.b...),
          function(colors.a...)};
}

// One byte of each word, as a whole number.
template <int kByte>
HWY_INLINE F ByteOf(U words) {
  const Tag<std::uint32_t> tag;
  auto byte = words.raw;
  if constexpr (kByte != 0) byte = hn::ShiftRight<8 * kByte>(byte);
  if constexpr (kByte != 3) byte = hn::And(byte, hn::Set(tag, 0xFFu));
  return IntToFloat(BitsToInt(U{byte}));
}

// Pixels of four bytes, with channels from 0 to 255.
template <bool kBlueFirst>
HWY_INLINE Color BytesOf(U words) {
  return {ByteOf < kBlueFirst ? 2 : 0 > (words), ByteOf<1>(words),
          ByteOf < kBlueFirst ? 0 : 2 > (words), ByteOf<3>(words)};
}

HWY_INLINE Color FromBytes(const Color& bytes) {
  const F scale = Broadcast(1.0f / 255);
  return EachChannel([&](F channel) HWY_ATTR { return Mul(channel, scale); }, bytes);
}

// The same with channels from 0 to 1.
template <bool kBlueFirst>
HWY_INLINE Color ColorOf(U words) {
#if HWY_TARGET == HWY_AVX3
  // A byte becomes the lowest of a float from 2^23 on, and what that adds is taken away, and the
  // scale multiplied, in one step that rounds as the product alone would be.
  constexpr float kScale = 1.0f / 255;
  constexpr float kBase = 0x1p23f;
  const __m512i base = _mm512_set1_epi32(std::bit_cast<std::int32_t>(kBase));
  const auto channel = [&](std::int32_t byte) HWY_ATTR {
    const __m512i order =
        _mm512_add_epi32(_mm512_set_epi32(12, 8, 4, 0, 12, 8, 4, 0, 12, 8, 4, 0, 12, 8, 4, 0),
                         _mm512_set1_epi32(byte));
    const __m512i number = _mm512_mask_shuffle_epi8(base, 0x1111111111111111, words.raw.raw, order);
    return F{hn::Vec<Tag<float>>{_mm512_fmsub_ps(
        _mm512_castsi512_ps(number), _mm512_set1_ps(kScale), _mm512_set1_ps(kBase * kScale))}};
  };
  return {channel(kBlueFirst ? 2 : 0), channel(1), channel(kBlueFirst ? 0 : 2), channel(3)};
#else
  return FromBytes(BytesOf<kBlueFirst>(words));
#endif
}

// Four vectors of whole numbers as the bytes of words, the first one lowest. Numbers are clamped to
// 0 to 255.
HWY_INLINE U PackBytes(I byte0, I byte1, I byte2, I byte3) {
#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_SSE4
  const Tag<std::uint8_t> tag;
  alignas(16) static constexpr std::uint8_t kByPixel[16] = {0, 4, 8,  12, 1, 5, 9,  13,
                                                            2, 6, 10, 14, 3, 7, 11, 15};
  const auto order = hn::LoadDup128(tag, kByPixel);
#if HWY_TARGET == HWY_AVX3
  const __m512i planes = _mm512_packus_epi16(_mm512_packs_epi32(byte0.raw.raw, byte1.raw.raw),
                                             _mm512_packs_epi32(byte2.raw.raw, byte3.raw.raw));
  return {hn::Vec<Tag<std::uint32_t>>{_mm512_shuffle_epi8(planes, order.raw)}};
#elif HWY_TARGET == HWY_AVX2
  const __m256i planes = _mm256_packus_epi16(_mm256_packs_epi32(byte0.raw.raw, byte1.raw.raw),
                                             _mm256_packs_epi32(byte2.raw.raw, byte3.raw.raw));
  return {hn::Vec<Tag<std::uint32_t>>{_mm256_shuffle_epi8(planes, order.raw)}};
#else
  const __m128i planes = _mm_packus_epi16(_mm_packs_epi32(byte0.raw.raw, byte1.raw.raw),
                                          _mm_packs_epi32(byte2.raw.raw, byte3.raw.raw));
  return {hn::Vec<Tag<std::uint32_t>>{_mm_shuffle_epi8(planes, order.raw)}};
#endif
#else
  const auto clamped = [](I byte) HWY_ATTR {
    return BitsToUint(Max(Min(byte, Broadcast(255)), Broadcast(0)));
  };
  return Or(Or(clamped(byte0), ShiftLeft(clamped(byte1), 8)),
            Or(ShiftLeft(clamped(byte2), 16), ShiftLeft(clamped(byte3), 24)));
#endif
}

// The nearest of 255 steps, to be clamped from below: what is NaN or less than 0 is less than 0 or
// 0.
HWY_INLINE I ToSteps(F channel) {
  const F top = Broadcast(255.0f);
  const F steps = Mul(channel, top);
#if HWY_ARCH_X86
  // The instruction gives its second operand where one is NaN, and NaN becomes the smallest number.
  return NearestInt({hn::Min(top.raw, steps.raw)});
#else
  return NearestInt(Min(Max(steps, Broadcast(0.0f)), top));
#endif
}

template <bool kBlueFirst>
HWY_INLINE U ToWords(const Color& color) {
  const I r = ToSteps(color.r);
  const I b = ToSteps(color.b);
  return PackBytes(kBlueFirst ? b : r, ToSteps(color.g), kBlueFirst ? r : b, ToSteps(color.a));
}

// The colour as pixels whose alpha is that of `words`, the last byte.
HWY_INLINE U ToWordsWithAlpha(const Color& color, U words) {
  const I r = ToSteps(color.r);
  const U bytes = PackBytes(ToSteps(color.b), ToSteps(color.g), r, r);
#if HWY_TARGET == HWY_AVX3
  return {{_mm512_mask_blend_epi8(0x8888888888888888, bytes.raw.raw, words.raw.raw)}};
#elif HWY_TARGET == HWY_AVX2
  return {{_mm256_blendv_epi8(bytes.raw.raw, words.raw.raw,
                              _mm256_set1_epi32(static_cast<int>(0x80000000u)))}};
#else
  const U alpha = Broadcast(0xFF000000u);
  return Or(And(words, alpha), And(bytes, Not(alpha)));
#endif
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VANTRIX_RENDER_SIMD_COLOR_INL_H_
