#pragma once

// Rectangles of whole pixels.

#include <vantrix/platform/com.h>

#include <algorithm>

#include "platform/d2d/projection.h"
#include "render/engine.h"

namespace Vantra::Platform {

// The extent of an image without bound, and the limits of every other.
constexpr std::int32_t kFarthest = static_cast<std::int32_t>(kCoordinateLimit);
constexpr Render::Rect kUnbounded = {-kFarthest, -kFarthest, kFarthest, kFarthest};

inline RECT ToContract(const Render::Rect& rect) {
  return {rect.left, rect.top, rect.right, rect.bottom};
}

inline Render::Rect ToEngine(const RECT& rect) {
  return {rect.left, rect.top, rect.right, rect.bottom};
}

// The box around both; an empty one adds nothing.
inline Render::Rect Union(const Render::Rect& a, const Render::Rect& b) {
  if (a.Empty()) return b;
  if (b.Empty()) return a;
  return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
          std::max(a.bottom, b.bottom)};
}

// The rectangle with its sides moved outward by that many pixels, fewer than `kFarthest`. Sides at
// the limit stay there, and an empty rectangle stays empty.
inline Render::Rect Grow(const Render::Rect& rect, const Render::Rect& by) {
  if (rect.Empty()) return {};
  const auto low = [](std::int32_t side, std::int32_t step) {
    return side <= -kFarthest ? -kFarthest : std::max(side - step, -kFarthest);
  };
  const auto high = [](std::int32_t side, std::int32_t step) {
    return side >= kFarthest ? kFarthest : std::min(side + step, kFarthest);
  };
  return {low(rect.left, by.left), low(rect.top, by.top), high(rect.right, by.right),
          high(rect.bottom, by.bottom)};
}

}  // namespace Vantra::Platform
