// Texels of four bytes side by side, and what lies between four of them. Gathers of instruction
// sets are slower than loads one by one, most of all where the CPU must not leak what it gathers.

#if defined(VANTRIX_RENDER_SIMD_TEXEL_PAIRS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VANTRIX_RENDER_SIMD_TEXEL_PAIRS_INL_H_
#undef VANTRIX_RENDER_SIMD_TEXEL_PAIRS_INL_H_
#else
#define VANTRIX_RENDER_SIMD_TEXEL_PAIRS_INL_H_
#endif

#include "render/simd/color-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {

// A texel and the next one for each lane. Of the four lanes in 16 bytes, `first` has the first two,
// `second` the others.
struct TexelPairs {
  U first;
  U second;
};

// The words of these indices, and those that follow them.
HWY_INLINE TexelPairs LoadPairs(const std::byte* base, I index) {
#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_SSE4
  HWY_ALIGN std::int32_t indices[kLanes];
  Store(index, indices);
  const auto two = [&](int lane) HWY_ATTR {
    const auto pair = [&](int i) HWY_ATTR {
      std::int64_t bits;
      std::memcpy(&bits, base + std::ptrdiff_t{indices[i]} * 4, sizeof(bits));
      return bits;
    };
    return _mm_set_epi64x(pair(lane + 1), pair(lane));
  };
  using Words = hn::Vec<Tag<std::uint32_t>>;
#if HWY_TARGET == HWY_AVX3
  const auto eight = [&](int lane) HWY_ATTR {
    const __m256i lower = _mm256_set_m128i(two(lane + 4), two(lane));
    const __m256i upper = _mm256_set_m128i(two(lane + 12), two(lane + 8));
    return Words{_mm512_inserti64x4(_mm512_castsi256_si512(lower), upper, 1)};
  };
  return {{eight(0)}, {eight(2)}};
#elif HWY_TARGET == HWY_AVX2
  return {{Words{_mm256_set_m128i(two(4), two(0))}}, {Words{_mm256_set_m128i(two(6), two(2))}}};
#else
  return {{Words{two(0)}}, {Words{two(2)}}};
#endif
#else
  const auto* const words = reinterpret_cast<const std::uint32_t*>(base);
  const Tag<std::uint32_t> tag;
  const auto left = hn::GatherIndex(tag, words, index.raw);
  const auto right = hn::GatherIndex(tag, words + 1, index.raw);
  return {{hn::InterleaveLower(tag, left, right)}, {hn::InterleaveUpper(tag, left, right)}};
#endif
}

// One texel of each pair.
template <bool kRight>
HWY_INLINE U OfPairs(const TexelPairs& pairs) {
  [[maybe_unused]] constexpr int kOrder = kRight ? 0xDD : 0x88;
  using Words = hn::Vec<Tag<std::uint32_t>>;
#if HWY_TARGET == HWY_AVX3
  return {Words{
      _mm512_castps_si512(_mm512_shuffle_ps(_mm512_castsi512_ps(pairs.first.raw.raw),
                                            _mm512_castsi512_ps(pairs.second.raw.raw), kOrder))}};
#elif HWY_TARGET == HWY_AVX2
  return {Words{
      _mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(pairs.first.raw.raw),
                                            _mm256_castsi256_ps(pairs.second.raw.raw), kOrder))}};
#elif HWY_TARGET == HWY_SSE4
  return {Words{_mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(pairs.first.raw.raw),
                                                _mm_castsi128_ps(pairs.second.raw.raw), kOrder))}};
#else
  const Tag<std::uint32_t> tag;
  return {kRight ? Words{hn::ConcatOdd(tag, pairs.second.raw, pairs.first.raw)}
                 : Words{hn::ConcatEven(tag, pairs.second.raw, pairs.first.raw)}};
#endif
}

// The words of these indices.
HWY_INLINE U LoadWords(const std::byte* base, I index) {
#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_SSE4
  HWY_ALIGN std::int32_t indices[kLanes];
  Store(index, indices);
  const auto four = [&](int lane) HWY_ATTR {
    const auto word = [&](int i) HWY_ATTR {
      std::int32_t bits;
      std::memcpy(&bits, base + std::ptrdiff_t{indices[lane + i]} * 4, sizeof(bits));
      return bits;
    };
    return _mm_setr_epi32(word(0), word(1), word(2), word(3));
  };
  using Words = hn::Vec<Tag<std::uint32_t>>;
#if HWY_TARGET == HWY_AVX3
  return {Words{_mm512_inserti64x4(_mm512_castsi256_si512(_mm256_set_m128i(four(4), four(0))),
                                   _mm256_set_m128i(four(12), four(8)), 1)}};
#elif HWY_TARGET == HWY_AVX2
  return {Words{_mm256_set_m128i(four(4), four(0))}};
#else
  return {Words{four(0)}};
#endif
#else
  return {hn::GatherIndex(Tag<std::uint32_t>(), reinterpret_cast<const std::uint32_t*>(base),
                          index.raw)};
#endif
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VANTRIX_RENDER_SIMD_TEXEL_PAIRS_INL_H_
