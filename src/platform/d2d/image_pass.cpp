#include "platform/d2d/image_pass.h"

#include <cmath>

#include "platform/d2d/embedded_program.h"

VANTRIX_EMBEDDED_PROGRAM(image)
VANTRIX_EMBEDDED_PROGRAM(transform_cubic)
VANTRIX_EMBEDDED_PROGRAM(transform_samples)

namespace Vantra::Platform {
namespace {

// How a mode is carried out: its program, the filter of its samples and the program's `detail`.
struct Interpolation {
  std::span<const std::byte> program;
  Render::Filter filter;
  float detail;
};

Interpolation Describe(D2D1_INTERPOLATION_MODE mode) {
  // More than any image is made smaller.
  constexpr float kAnyWidth = 1e6f;
  switch (mode) {
    case D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR:
      return {transform_samples_program(), Render::Filter::kNearest, 1};
    case D2D1_INTERPOLATION_MODE_LINEAR:
      break;
    case D2D1_INTERPOLATION_MODE_CUBIC:
      return {transform_cubic_program(), Render::Filter::kNearest, 1};
    case D2D1_INTERPOLATION_MODE_MULTI_SAMPLE_LINEAR:
      return {transform_samples_program(), Render::Filter::kLinear, 2};
    case D2D1_INTERPOLATION_MODE_ANISOTROPIC:
      return {transform_samples_program(), Render::Filter::kLinear, 0};
    case D2D1_INTERPOLATION_MODE_HIGH_QUALITY_CUBIC:
      return {transform_cubic_program(), Render::Filter::kNearest, kAnyWidth};
  }
  return {transform_samples_program(), Render::Filter::kLinear, 1};
}

using RowOfDoubles = std::array<double, 3>;

TransformConstants::Row ToFloats(const RowOfDoubles& row) {
  return {static_cast<float>(row[0]), static_cast<float>(row[1]), static_cast<float>(row[2])};
}

// a + factor * b
RowOfDoubles Sum(const RowOfDoubles& a, double factor, const RowOfDoubles& b) {
  return {a[0] + factor * b[0], a[1] + factor * b[1], a[2] + factor * b[2]};
}

// The line where `row` is 0, as the distance from it.
TransformConstants::Row ToDistance(const RowOfDoubles& row) {
  double length = std::hypot(row[0], row[1]);
  if (!(length > 0)) length = std::abs(row[2]);
  return ToFloats({row[0] / length, row[1] / length, row[2] / length});
}

// From the centre of the first pixel that `first` to `last` touches to that of the last.
std::array<float, 2> Reach(double first, double last) {
  return {static_cast<float>(std::floor(first) + 0.5), static_cast<float>(std::ceil(last) - 0.5)};
}

// What is the same in every pixel: the distance from an edge that is nowhere near.
constexpr TransformConstants::Row kInside = {0, 0, 1};

// Constants for drawing `part` of a texture to a rectangle with the corner (left, top).
TransformConstants PlaceConstants(const Projection& inverse, const Area& part, bool full,
                                  double left, double top) {
  const Projection from_corner = Projection::Translation(left, top) * inverse;
  const auto column = [&](std::size_t index) {
    return RowOfDoubles{from_corner.m[0][index], from_corner.m[1][index], from_corner.m[2][index]};
  };
  const RowOfDoubles u = column(0), v = column(1), w = column(2);
  const auto horizontal = Reach(part.left, part.right);
  const auto vertical = Reach(part.top, part.bottom);
  TransformConstants constants = {
      .u = ToFloats(u),
      .v = ToFloats(v),
      .w = ToFloats(w),
      .left = kInside,
      .top = kInside,
      .right = kInside,
      .bottom = kInside,
      .reach = {horizontal[0], vertical[0], horizontal[1], vertical[1]},
      .color = {},
      .outside = {},
      .opacity = 0,
      .aliased = 0,
      .detail = {1, 1},
  };
  if (!full) {
    constants.left = ToDistance(Sum(u, -part.left, w));
    constants.top = ToDistance(Sum(v, -part.top, w));
    // right - u and bottom - v: the other way round.
    constants.right = ToDistance(Sum({-u[0], -u[1], -u[2]}, part.right, w));
    constants.bottom = ToDistance(Sum({-v[0], -v[1], -v[2]}, part.bottom, w));
  }
  return constants;
}

}  // namespace

HRESULT PrepareTransform(GraphicsDevice& device, const RenderedImage& image, const Area& part,
                         const Placement& placement, D2D1_INTERPOLATION_MODE interpolation,
                         bool aliased, TransformConstants* constants, Render::Pass* pass) {
  const Interpolation chosen =
      Describe(placement.on_grid ? D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR : interpolation);
  const double left = image.bounds.left;
  const double top = image.bounds.top;
  *constants =
      PlaceConstants(placement.inverse * Projection::Translation(-left, -top),
                     {part.left - left, part.top - top, part.right - left, part.bottom - top},
                     placement.full, placement.rect.left, placement.rect.top);
  constants->opacity = 1;
  constants->aliased = aliased ? 1.0f : 0.0f;
  constants->detail = {chosen.detail, chosen.detail};
  pass->bindings[0] = {image.texture, {.filter = chosen.filter}};
  pass->rect = placement.rect;
  pass->origin_x = static_cast<float>(-placement.rect.left);
  pass->origin_y = static_cast<float>(-placement.rect.top);
  pass->extent_x = static_cast<float>(image.bounds.Width());
  pass->extent_y = static_cast<float>(image.bounds.Height());
  pass->constants = std::as_bytes(std::span(constants, 1));
  return ToResult(device.GetProgram(chosen.program, &pass->program));
}

Render::Rect ReadPart(const Placement& placement, const Area& part) {
  // A cubic kernel reaches two pixels of the target or of the image, whichever are larger.
  constexpr double kReach = 3;
  const Area drawn = ToArea(placement.rect);
  const Area seen = placement.inverse.Bounds(
      {drawn.left - kReach, drawn.top - kReach, drawn.right + kReach, drawn.bottom + kReach}, part);
  const Area read = Intersect(
      {seen.left - kReach, seen.top - kReach, seen.right + kReach, seen.bottom + kReach}, part);
  if (placement.rect.Empty() || read.Empty()) return {};
  return {static_cast<std::int32_t>(std::floor(read.left)),
          static_cast<std::int32_t>(std::floor(read.top)),
          static_cast<std::int32_t>(std::ceil(read.right)),
          static_cast<std::int32_t>(std::ceil(read.bottom))};
}

HRESULT PrepareCopy(GraphicsDevice& device, const RenderedImage& image, double origin_x,
                    double origin_y, Render::Pass* pass) {
  // On whole pixels every interpolation is the pixel itself.
  pass->bindings[0] = {image.texture, {.filter = Render::Filter::kNearest}};
  pass->origin_x = static_cast<float>(origin_x - image.bounds.left);
  pass->origin_y = static_cast<float>(origin_y - image.bounds.top);
  pass->extent_x = static_cast<float>(image.bounds.Width());
  pass->extent_y = static_cast<float>(image.bounds.Height());
  return ToResult(device.GetProgram(image_program(), &pass->program));
}

HRESULT PrepareFill(GraphicsDevice& device, const std::array<float, 4>& color,
                    TransformConstants* constants, Render::Pass* pass) {
  *constants = PlaceConstants({}, {}, true, 0, 0);
  constants->color = color;
  pass->constants = std::as_bytes(std::span(constants, 1));
  return ToResult(device.GetProgram(transform_samples_program(), &pass->program));
}

}  // namespace Vantra::Platform
