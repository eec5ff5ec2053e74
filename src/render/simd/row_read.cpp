#include <algorithm>
#include <cmath>
#include <limits>

#include "render/simd/targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "render/simd/row_read.cpp"
#include "hwy/foreach_target.h"
#include "render/simd/row_read-inl.h"
#include "render/simd/texel-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {
namespace {

// What a filter takes for exact.
constexpr double kExact = 1.0 / 512;

void MakeEmpty(Interval* interval) { interval->end = interval->first; }

bool IsEmpty(const Interval& interval) { return interval.first >= interval.end; }

void Narrow(std::int64_t first, std::int64_t end, Interval* interval) {
  first = std::max<std::int64_t>(interval->first, first);
  end = std::min<std::int64_t>(interval->end, end);
  if (first >= end) {
    MakeEmpty(interval);
    return;
  }
  *interval = {static_cast<std::int32_t>(first), static_cast<std::int32_t>(end)};
}

// What slope * X + offset is more than x over the interval. False, and an empty interval, where it
// changes or is no sensible number.
bool FindShift(double slope, double offset, Interval* interval, double* shift) {
  if (IsEmpty(*interval)) return false;
  const double first = interval->first + 0.5;
  const double last = interval->end - 0.5;
  const double drift = (slope - 1) * (last - first);
  *shift = (slope - 1) * (first + last) / 2 + offset + 0.5;
  if (!(std::abs(drift) <= kExact) || !(std::abs(*shift) < (1 << 30))) {
    MakeEmpty(interval);
    return false;
  }
  return true;
}

// The whole number below the shift. Where the shift lies so near to a whole number that the
// program's own arithmetic may round to either side, there is none.
std::int32_t FloorOfShift(double slope, double offset, double bias, bool exact_counts,
                          Interval* interval) {
  double shift = 0;
  if (!FindShift(slope, offset, interval, &shift)) return 0;
  shift += bias;
  const double nearest = std::nearbyint(shift);
  const bool exact = exact_counts && slope == 1 && shift == nearest;
  if (!exact && std::abs(shift - nearest) <= kExact) MakeEmpty(interval);
  return static_cast<std::int32_t>(std::floor(shift));
}

std::uintptr_t RowAt(const TextureView& texture, std::int32_t y, std::int64_t column) {
  return reinterpret_cast<std::uintptr_t>(texture.data) +
         static_cast<std::uintptr_t>(y) * texture.pitch +
         static_cast<std::uintptr_t>(column * BytesPerPixel(texture.format));
}

}  // namespace

std::int32_t FloorOffset(float slope, float offset, Interval* interval) {
  return FloorOfShift(slope, offset, 0, true, interval);
}

std::int32_t RoundOffset(float slope, float offset, Interval* interval) {
  return FloorOfShift(slope, offset, 0.5, false, interval);
}

std::int32_t TruncOffset(float slope, float offset, Interval* interval) {
  const std::int32_t result = FloorOffset(slope, offset, interval);
  NarrowToAtLeast(result, 0, interval);
  return result;
}

void NarrowToAtLeast(std::int32_t offset, std::int32_t bound, Interval* interval) {
  Narrow(std::int64_t{bound} - offset, std::numeric_limits<std::int64_t>::max(), interval);
}

void NarrowToAtMost(std::int32_t offset, std::int32_t bound, Interval* interval) {
  Narrow(std::numeric_limits<std::int64_t>::min(), std::int64_t{bound} - offset + 1, interval);
}

void NarrowToAtLeast(float slope, float offset, float bound, Interval* interval) {
  // In the columns' own numbers, of which those outside of the interval do not matter.
  constexpr double kFar = 1e12;
  if (slope == 0 || !std::isfinite(slope)) {
    if (!(slope == 0 && offset >= bound)) MakeEmpty(interval);
    return;
  }
  const double column = (double{bound} - offset) / slope - 0.5;
  if (std::isnan(column)) {
    MakeEmpty(interval);
    return;
  }
  const double clamped = std::clamp(column, -kFar, kFar);
  if (slope > 0) {
    Narrow(static_cast<std::int64_t>(std::ceil(clamped)), std::numeric_limits<std::int64_t>::max(),
           interval);
  } else {
    Narrow(std::numeric_limits<std::int64_t>::min(),
           static_cast<std::int64_t>(std::floor(clamped)) + 1, interval);
  }
}

void NarrowToAtMost(float slope, float offset, float bound, Interval* interval) {
  NarrowToAtLeast(-slope, -offset, -bound, interval);
}

RowRead PrepareSample(const TextureView& texture, const Sampler& sampler, float slope, float offset,
                      float v, Interval* interval) {
  RowRead read;
  read.format = texture.format;
  if (texture.data == nullptr) return read;
  const Neighbours<float, std::int32_t> rows =
      FindNeighbours(v, texture.height, sampler.filter, sampler.extend_y);
  const double width = texture.width;
  std::int32_t column = 0;
  bool between = false;
  if (sampler.filter == Filter::kNearest) {
    column = FloorOfShift(slope * width, offset * width, 0, false, interval);
  } else {
    double shift = 0;
    if (!FindShift(slope * width, offset * width - 0.5, interval, &shift)) return read;
    const double whole = std::floor(shift + kExact);
    column = static_cast<std::int32_t>(whole);
    between = shift - whole >= kExact;
    if (between) read.weight_x = static_cast<float>(shift - whole);
  }
  Narrow(-std::int64_t{column}, std::int64_t{texture.width} - column - (between ? 1 : 0), interval);
  read.rows[0] = RowAt(texture, rows.first, column);
  read.rows[1] = RowAt(texture, rows.second, column);
  read.weight_y = rows.weight;
  if (rows.weight == 1) {
    read.rows[0] = read.rows[1];
    read.weight_y = 0;
  }
  read.plain = texture.format == Format::kBgra8 && !between && read.weight_y == 0;
  return read;
}

RowRead PrepareFetch(const TextureView& texture, std::int32_t offset, std::int32_t y,
                     Interval* interval) {
  RowRead read;
  read.format = texture.format;
  if (y < 0 || y >= texture.height) return read;
  Narrow(-std::int64_t{offset}, std::int64_t{texture.width} - offset, interval);
  read.rows[0] = RowAt(texture, y, offset);
  read.plain = texture.format == Format::kBgra8;
  return read;
}

Color ReadAnyRow(const RowRead& read, std::int32_t x) {
  if (read.rows[0] == 0) return TransparentBlack();
  const std::intptr_t bytes = BytesPerPixel(read.format);
  const auto row = [&](std::uintptr_t start) HWY_ATTR {
    const std::uintptr_t at = start + static_cast<std::uintptr_t>(x * bytes);
    const Color left = LoadTexels(read.format, reinterpret_cast<const std::byte*>(at));
    if (read.weight_x == 0) return left;
    return Mix(left, LoadTexels(read.format, reinterpret_cast<const std::byte*>(at) + bytes),
               Broadcast(read.weight_x));
  };
  Color color = row(read.rows[0]);
  if (read.weight_y != 0) color = Mix(color, row(read.rows[1]), Broadcast(read.weight_y));
  return FromStored(read.format, color);
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
