// Reads along a row of the target, whose columns are the own pixel's plus an offset that is the
// same for the whole row: all about them is found out once a row, and the reads themselves are
// loads.

#if defined(VANTRIX_RENDER_SIMD_ROW_READ_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VANTRIX_RENDER_SIMD_ROW_READ_INL_H_
#undef VANTRIX_RENDER_SIMD_ROW_READ_INL_H_
#else
#define VANTRIX_RENDER_SIMD_ROW_READ_INL_H_
#endif

#include <algorithm>

#include "render/simd/color-inl.h"
#include "render/simd/pairs-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {

// Columns of the target, from the first up to and without the end.
struct Interval {
  std::int32_t first = 0;
  std::int32_t end = 0;
};

// The part of the columns `left` up to `right` whose vectors lie inside the interval. Vectors end
// at multiples of `kLanes`, where the target's cache lines do, and reach beyond `right` if they
// must.
HWY_INLINE Interval VectorsInside(const Interval& interval, std::int32_t left, std::int32_t right) {
  const std::int32_t first =
      left >= interval.first ? left : (interval.first + kLanes - 1) / kLanes * kLanes;
  const std::int32_t last = interval.end - kLanes;
  if (first > last || first >= right) return {left, left};
  return {first, std::min((last / kLanes + 1) * kLanes, right)};
}

struct RowRead {
  // Where the target's column 0 reads in the upper and the lower row, as numbers, since that may
  // lie outside of the texture. 0 for transparent black.
  std::uintptr_t rows[2] = {};
  // Of the column to the right, and of the lower row.
  float weight_x = 0;
  float weight_y = 0;
  Format format = Format::kBgra8;
  // Whether each pixel is one texel of `kBgra8`.
  bool plain = false;
};

// A sample at (slope * X + offset, v), where X is the centre of the target's column. Narrows the
// interval to the columns that are read inside the texture: to none unless the slope is one texel a
// pixel, within 1/512 of a texel over the interval.
RowRead PrepareSample(const TextureView& texture, const Sampler& sampler, float slope, float offset,
                      float v, Interval* interval);

// A fetch at column x + offset of row y.
RowRead PrepareFetch(const TextureView& texture, std::int32_t offset, std::int32_t y,
                     Interval* interval);

// A whole number found from slope * X + offset is x plus the result over the row. The interval
// becomes empty where that is not so. `TruncOffset` narrows it to where the value is not negative.
std::int32_t FloorOffset(float slope, float offset, Interval* interval);
std::int32_t RoundOffset(float slope, float offset, Interval* interval);
std::int32_t TruncOffset(float slope, float offset, Interval* interval);

// Narrow the interval to where x + offset, or slope * X + offset, is not beyond the bound.
void NarrowToAtLeast(std::int32_t offset, std::int32_t bound, Interval* interval);
void NarrowToAtMost(std::int32_t offset, std::int32_t bound, Interval* interval);
void NarrowToAtLeast(float slope, float offset, float bound, Interval* interval);
void NarrowToAtMost(float slope, float offset, float bound, Interval* interval);

Color ReadAnyRow(const RowRead& read, std::int32_t x);

// The texels of a plain read.
HWY_INLINE U LoadPlainWords(const RowRead& read, std::int32_t x) {
  const std::uintptr_t from = read.rows[0] + static_cast<std::uintptr_t>(std::intptr_t{x} * 4);
  return Load(reinterpret_cast<const std::uint32_t*>(from));
}

// The pixels of `kLanes` columns of the target from x on, all of them in the interval.
HWY_INLINE Color ReadRow(const RowRead& read, std::int32_t x) {
  return HWY_LIKELY(read.plain) ? ColorOf<true>(LoadPlainWords(read, x)) : ReadAnyRow(read, x);
}

// The same of `kWideLanes` columns and a plain read.
HWY_INLINE WideColor ReadPlainRow(const RowRead& read, std::int32_t x) {
  return MakeWide([&](std::int32_t vector) HWY_ATTR {
    return ColorOf<true>(LoadPlainWords(read, x + vector * kLanes));
  });
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VANTRIX_RENDER_SIMD_ROW_READ_INL_H_
