#pragma once

// Maps of the plane: what transforms, units and perspective make of a place.

#include <vantrix/platform/d2d1.h>

#include <array>
#include <optional>

#include "render/engine.h"

namespace Vantra::Platform {

// Far beyond every image, and exact in a float.
constexpr double kCoordinateLimit = 1 << 24;

// A part of the plane; not empty where width and height are above 0.
struct Area {
  double left = 0;
  double top = 0;
  double right = 0;
  double bottom = 0;

  bool Empty() const { return !(left < right && top < bottom); }
};

Area ToArea(const D2D1_RECT_F& rect);
Area ToArea(const Render::Rect& rect);
Area Intersect(const Area& a, const Area& b);
Render::Rect Intersect(const Render::Rect& a, const Render::Rect& b);
D2D1_RECT_F ToContract(const Area& area);

// Whether all are numbers within `kCoordinateLimit`.
bool AreCoordinates(const FLOAT* values, std::size_t count);
bool IsUsable(const D2D1_RECT_F& rect);
bool IsUsable(const D2D1_POINT_2F& point);
bool IsUsable(const D2D1_MATRIX_3X2_F& matrix);
bool IsUsable(const D2D1_MATRIX_4X4_F& matrix);

// (x, y) becomes (x'/w', y'/w') with [x' y' w'] = [x y 1] m. Only places with w' > 0 are seen.
struct Projection {
  std::array<std::array<double, 3>, 3> m = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

  static Projection Scale(double x, double y);
  static Projection Translation(double x, double y);
  static Projection From(const D2D1_MATRIX_3X2_F& matrix);
  // What the matrix makes of places with z = 0.
  static Projection From(const D2D1_MATRIX_4X4_F& matrix);

  // The map that does `a` first, then `b`.
  friend Projection operator*(const Projection& a, const Projection& b);

  bool IsAffine() const { return m[0][2] == 0 && m[1][2] == 0 && m[2][2] > 0; }
  // Nothing for a map that takes the plane, or all that is seen of it, to a line or a point.
  std::optional<Projection> Inverse() const;
  // The box around what becomes of `area`, at most `limit`.
  Area Bounds(const Area& area, const Area& limit) const;
};

// What it takes to draw a part of an image's texture through a map.
struct Placement {
  // Pixels of the target that may be reached, within the clip.
  Render::Rect rect;
  // From places in the target to places in the texture.
  Projection inverse;
  // Pixels of the target are pixels of the texture, perhaps turned or mirrored.
  bool on_grid = false;
  // Besides, they are neither: pixel of the texture = pixel of the target + shift.
  bool shifted = false;
  double shift_x = 0;
  double shift_y = 0;
  // Every pixel of `rect` is drawn, and fully. Otherwise its edges decide.
  bool full = false;
};

// Places `part` of a texture through `map`, from the texture to the target. Nothing when the map
// cannot be inverted. With `aliased`, pixels whose centre is inside are drawn.
std::optional<Placement> Place(const Projection& map, const Area& part, const Render::Rect& clip,
                               bool aliased);

// The pixels whose centres lie in `area`, cut by `limit`.
Render::Rect PixelsIn(const Area& area, const Render::Rect& limit);

}  // namespace Vantra::Platform
