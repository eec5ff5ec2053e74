#pragma once

// The pixels that a program of lines reads along a row or a column, by place.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace Vantra::Render::Simd {

// Farther than any image reaches. Differences of other places are numbers, too.
constexpr bool IsFar(std::int32_t place) {
  constexpr std::int32_t kFarthest = 1 << 29;
  return place < -kFarthest || place > kFarthest;
}

// Places from `first` up to and without `end`.
struct Span {
  std::int32_t first = 0;
  std::int32_t end = 0;

  std::int32_t Count() const { return end - first; }
  bool Holds(std::int32_t place) const { return place >= first && place < end; }
  bool Holds(const Span& span) const { return span.first >= first && span.end <= end; }
};

inline Span Common(const Span& a, const Span& b) {
  const std::int32_t first = std::max(a.first, b.first);
  return {first, std::max(first, std::min(a.end, b.end))};
}

// A group of neighbouring lines, in memory with one place `stride` bytes behind the other.
struct LineOfPixels {
  // Of the place `held.first`.
  const std::byte* data;
  std::ptrdiff_t stride;
  Span held;
  // What the image has in this direction. Beyond, it is mirrored or transparent.
  Span image;
  bool mirrors;
  // Stands for places that are not held.
  const std::byte* nothing;

  const std::byte* At(std::int32_t place) const {
    return held.Holds(place) ? data + (place - held.first) * stride : AtEdge(place);
  }

  // A place and `count` - 1 that follow it in memory, or have nothing, as it does.
  struct Stretch {
    const std::byte* data;
    std::ptrdiff_t stride;
    std::int32_t count;
  };
  Stretch From(std::int32_t place) const {
    if (held.Holds(place)) return {At(place), stride, held.end - place};
    if (mirrors) return {AtEdge(place), 0, 1};
    const bool is_before = place < held.first && held.Count() > 0;
    return {nothing, 0, is_before ? held.first - place : std::numeric_limits<std::int32_t>::max()};
  }

  // The place in the image that stands for one beyond it.
  std::int32_t Mirrored(std::int32_t place) const {
    const std::int64_t count = image.Count(), from_first = std::int64_t{place} - image.first;
    const std::int64_t turn = ((from_first % (2 * count)) + 2 * count) % (2 * count);
    return static_cast<std::int32_t>(image.first + std::min(turn, 2 * count - 1 - turn));
  }

  const std::byte* AtEdge(std::int32_t place) const {
    if (!mirrors) return nothing;
    place = Mirrored(place);
    return held.Holds(place) ? data + (place - held.first) * stride : nothing;
  }
};

}  // namespace Vantra::Render::Simd
