#pragma once

// Where sums over windows of an image begin.
//
// An engine may keep the sums of neighbouring windows up to date where it could add up each. Such
// sums pick up rounding errors on their way, so that it matters where they began. They begin at
// places that the image tells: all parts of an image then come out as the whole does, if what lies
// from there on is rendered.

#include <algorithm>
#include <cstdint>

namespace Vantra::Render {

// From one beginning to the next, for windows that reach so far to both sides. It takes as much
// work as a few tenths of a window.
constexpr std::int32_t RunningSumPeriod(std::int32_t reach) { return std::max(512, 6 * reach); }

// The beginning of the sums of a place, of an image that goes from `first` on. Before it the image
// is transparent, which costs nothing to begin with, or mirrored.
constexpr std::int32_t RunningSumStart(std::int32_t place, std::int32_t first, bool is_mirrored,
                                       std::int32_t reach) {
  const std::int64_t origin = std::int64_t{first} - (is_mirrored ? 0 : reach);
  const std::int64_t period = RunningSumPeriod(reach);
  const std::int64_t behind = (place - origin) % period;
  return static_cast<std::int32_t>(place - (behind < 0 ? behind + period : behind));
}

}  // namespace Vantra::Render
