#include "platform/d2d/projection.h"

#include <algorithm>
#include <cmath>

namespace Vantra::Platform {
namespace {

// Places that are closer count as one, as in the engines' samplers.
constexpr double kExact = 1.0 / 512;

bool IsNear(double a, double b) { return std::abs(a - b) <= kExact; }

// A determinant of that part of the products in it is rounding.
constexpr double kSingular = 1e-12;

// The nearest map that takes pixels to pixels, when `map` is that close to it all over `part`.
std::optional<Projection> SnapToGrid(const Projection& map, const Area& part) {
  if (!map.IsAffine()) return std::nullopt;
  Projection grid;
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 2; ++column) {
      grid.m[row][column] = std::round(map.m[row][column] / map.m[2][2]);
    }
  }
  const auto& g = grid.m;
  const bool keeps_axes =
      std::abs(g[0][0]) == 1 && std::abs(g[1][1]) == 1 && g[0][1] == 0 && g[1][0] == 0;
  const bool swaps_axes =
      std::abs(g[0][1]) == 1 && std::abs(g[1][0]) == 1 && g[0][0] == 0 && g[1][1] == 0;
  if (!keeps_axes && !swaps_axes) return std::nullopt;
  for (const double x : {part.left, part.right}) {
    for (const double y : {part.top, part.bottom}) {
      for (std::size_t column = 0; column < 2; ++column) {
        const double place =
            (x * map.m[0][column] + y * map.m[1][column] + map.m[2][column]) / map.m[2][2];
        if (!IsNear(place, x * g[0][column] + y * g[1][column] + g[2][column])) return std::nullopt;
      }
    }
  }
  return grid;
}

// A map that takes rows and columns to rows and columns.
bool KeepsAxes(const Projection& map) {
  return map.IsAffine() &&
         ((map.m[0][1] == 0 && map.m[1][0] == 0) || (map.m[0][0] == 0 && map.m[1][1] == 0));
}

bool OnWholePixels(const Area& area) {
  const double edges[] = {area.left, area.top, area.right, area.bottom};
  return std::all_of(std::begin(edges), std::end(edges),
                     [](double edge) { return IsNear(edge, std::round(edge)); });
}

// `edge` must be within the range of the type.
std::int32_t ToPixel(double edge) { return static_cast<std::int32_t>(edge); }

}  // namespace

Area ToArea(const D2D1_RECT_F& rect) { return {rect.left, rect.top, rect.right, rect.bottom}; }

Area ToArea(const Render::Rect& rect) {
  return {static_cast<double>(rect.left), static_cast<double>(rect.top),
          static_cast<double>(rect.right), static_cast<double>(rect.bottom)};
}

Area Intersect(const Area& a, const Area& b) {
  return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
          std::min(a.bottom, b.bottom)};
}

Render::Rect Intersect(const Render::Rect& a, const Render::Rect& b) {
  return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
          std::min(a.bottom, b.bottom)};
}

D2D1_RECT_F ToContract(const Area& area) {
  return {static_cast<FLOAT>(area.left), static_cast<FLOAT>(area.top),
          static_cast<FLOAT>(area.right), static_cast<FLOAT>(area.bottom)};
}

bool AreCoordinates(const FLOAT* values, std::size_t count) {
  return std::all_of(values, values + count,
                     [](FLOAT value) { return std::abs(value) <= kCoordinateLimit; });
}

bool IsUsable(const D2D1_RECT_F& rect) {
  const FLOAT values[] = {rect.left, rect.top, rect.right, rect.bottom};
  return AreCoordinates(values, std::size(values));
}

bool IsUsable(const D2D1_POINT_2F& point) {
  const FLOAT values[] = {point.x, point.y};
  return AreCoordinates(values, std::size(values));
}

bool IsUsable(const D2D1_MATRIX_3X2_F& m) {
  const FLOAT values[] = {m._11, m._12, m._21, m._22, m._31, m._32};
  return AreCoordinates(values, std::size(values));
}

bool IsUsable(const D2D1_MATRIX_4X4_F& m) {
  const FLOAT values[] = {m._11, m._12, m._13, m._14, m._21, m._22, m._23, m._24,
                          m._31, m._32, m._33, m._34, m._41, m._42, m._43, m._44};
  return AreCoordinates(values, std::size(values));
}

Projection Projection::Scale(double x, double y) { return {{{{x, 0, 0}, {0, y, 0}, {0, 0, 1}}}}; }

Projection Projection::Translation(double x, double y) {
  return {{{{1, 0, 0}, {0, 1, 0}, {x, y, 1}}}};
}

Projection Projection::From(const D2D1_MATRIX_3X2_F& from) {
  return {{{{from._11, from._12, 0}, {from._21, from._22, 0}, {from._31, from._32, 1}}}};
}

Projection Projection::From(const D2D1_MATRIX_4X4_F& from) {
  return {{{{from._11, from._12, from._14},
            {from._21, from._22, from._24},
            {from._41, from._42, from._44}}}};
}

Projection operator*(const Projection& a, const Projection& b) {
  Projection product;
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 3; ++column) {
      product.m[row][column] = a.m[row][0] * b.m[0][column] + a.m[row][1] * b.m[1][column] +
                               a.m[row][2] * b.m[2][column];
    }
  }
  return product;
}

std::optional<Projection> Projection::Inverse() const {
  Projection inverse;
  double determinant = 0;
  double products = 0;
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 3; ++column) {
      const std::size_t r1 = (column + 1) % 3, r2 = (column + 2) % 3;
      const std::size_t c1 = (row + 1) % 3, c2 = (row + 2) % 3;
      inverse.m[row][column] = m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
      if (column == 0) {
        determinant += m[0][row] * inverse.m[row][0];
        products += std::abs(m[0][row]) *
                    (std::abs(m[r1][c1] * m[r2][c2]) + std::abs(m[r1][c2] * m[r2][c1]));
      }
    }
  }
  // Also false where either is no number.
  if (!(std::abs(determinant) > kSingular * products)) return std::nullopt;
  for (auto& row : inverse.m) {
    for (double& value : row) {
      value /= determinant;
      if (!std::isfinite(value)) return std::nullopt;
    }
  }
  return inverse;
}

Area Projection::Bounds(const Area& area, const Area& limit) const {
  Area bounds = {limit.right, limit.bottom, limit.left, limit.top};
  for (const double x : {area.left, area.right}) {
    for (const double y : {area.top, area.bottom}) {
      const double w = x * m[0][2] + y * m[1][2] + m[2][2];
      // A corner behind the eye: the area goes on to where nothing bounds it.
      if (!(w > 0)) return limit;
      const double to_x = (x * m[0][0] + y * m[1][0] + m[2][0]) / w;
      const double to_y = (x * m[0][1] + y * m[1][1] + m[2][1]) / w;
      if (!std::isfinite(to_x) || !std::isfinite(to_y)) return limit;
      bounds = {std::min(bounds.left, to_x), std::min(bounds.top, to_y),
                std::max(bounds.right, to_x), std::max(bounds.bottom, to_y)};
    }
  }
  return Intersect(bounds, limit);
}

Render::Rect PixelsIn(const Area& area, const Render::Rect& limit) {
  const Area within = Intersect(area, ToArea(limit));
  if (within.Empty()) return {};
  return {ToPixel(std::ceil(within.left - 0.5)), ToPixel(std::ceil(within.top - 0.5)),
          ToPixel(std::ceil(within.right - 0.5)), ToPixel(std::ceil(within.bottom - 0.5))};
}

std::optional<Placement> Place(const Projection& map, const Area& part, const Render::Rect& clip,
                               bool aliased) {
  const std::optional<Projection> grid = SnapToGrid(map, part);
  const Projection& used = grid ? *grid : map;
  const std::optional<Projection> inverse = used.Inverse();
  if (!inverse) return std::nullopt;

  Placement placement;
  placement.inverse = *inverse;
  placement.on_grid = grid.has_value();
  placement.shifted = grid && grid->m[0][0] == 1 && grid->m[1][1] == 1;
  placement.shift_x = -used.m[2][0];
  placement.shift_y = -used.m[2][1];

  // A pixel more on each side, for those that an edge just touches.
  Area limit = ToArea(clip);
  limit = {limit.left - 1, limit.top - 1, limit.right + 1, limit.bottom + 1};
  const Area bounds = used.Bounds(part, limit);
  const bool straight = KeepsAxes(used);
  placement.full = straight && (aliased || OnWholePixels(bounds));
  if (placement.full) {
    placement.rect = PixelsIn(bounds, clip);
  } else if (!bounds.Empty()) {
    placement.rect =
        Intersect({ToPixel(std::floor(bounds.left - 0.5)), ToPixel(std::floor(bounds.top - 0.5)),
                   ToPixel(std::ceil(bounds.right + 0.5)), ToPixel(std::ceil(bounds.bottom + 0.5))},
                  clip);
  }
  return placement;
}

}  // namespace Vantra::Platform
