// The drawing operations of a 2D context: clips, clearing, images and bitmaps.

#include <algorithm>
#include <cmath>
#include <span>

#include "platform/d2d/d2d_device_context.h"

extern "C" {
extern const unsigned char vantrix_spirv_image[];
extern const unsigned char vantrix_spirv_image_end[];
extern const unsigned char vantrix_spirv_transform_samples[];
extern const unsigned char vantrix_spirv_transform_samples_end[];
extern const unsigned char vantrix_spirv_transform_cubic[];
extern const unsigned char vantrix_spirv_transform_cubic_end[];
}

namespace Vantra::Platform {
namespace {

std::span<const std::byte> ImageProgram() {
  return std::as_bytes(std::span(vantrix_spirv_image, vantrix_spirv_image_end));
}

std::span<const std::byte> SamplesProgram() {
  return std::as_bytes(
      std::span(vantrix_spirv_transform_samples, vantrix_spirv_transform_samples_end));
}

std::span<const std::byte> CubicProgram() {
  return std::as_bytes(std::span(vantrix_spirv_transform_cubic, vantrix_spirv_transform_cubic_end));
}

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
      return {SamplesProgram(), Render::Filter::kNearest, 1};
    case D2D1_INTERPOLATION_MODE_LINEAR:
      break;
    case D2D1_INTERPOLATION_MODE_CUBIC:
      return {CubicProgram(), Render::Filter::kNearest, 1};
    case D2D1_INTERPOLATION_MODE_MULTI_SAMPLE_LINEAR:
      return {SamplesProgram(), Render::Filter::kLinear, 2};
    case D2D1_INTERPOLATION_MODE_ANISOTROPIC:
      return {SamplesProgram(), Render::Filter::kLinear, 0};
    case D2D1_INTERPOLATION_MODE_HIGH_QUALITY_CUBIC:
      return {CubicProgram(), Render::Filter::kNearest, kAnyWidth};
  }
  return {SamplesProgram(), Render::Filter::kLinear, 1};
}

// The constants of `shaders/transform.glsl`.
struct TransformConstants {
  using Row = std::array<float, 3>;
  Row u, v, w;
  Row left, top, right, bottom;
  std::array<float, 4> reach;
  std::array<float, 4> color;
  std::array<float, 4> outside;
  float opacity;
  float aliased;
  std::array<float, 2> detail;
};

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

DeviceContext2D::Operation DeviceContext2D::ToOperation(D2D1_COMPOSITE_MODE mode) {
  using Render::Blend;
  using enum Operation::Around;
  switch (mode) {
    case D2D1_COMPOSITE_MODE_SOURCE_OVER:
      break;
    case D2D1_COMPOSITE_MODE_DESTINATION_OVER:
      return {Blend::kDestinationOver};
    case D2D1_COMPOSITE_MODE_SOURCE_IN:
      return {Blend::kSourceIn, kTransparent};
    case D2D1_COMPOSITE_MODE_DESTINATION_IN:
      return {Blend::kDestinationIn, kTransparent};
    case D2D1_COMPOSITE_MODE_SOURCE_OUT:
      return {Blend::kSourceOut, kTransparent};
    case D2D1_COMPOSITE_MODE_DESTINATION_OUT:
      return {Blend::kDestinationOut};
    case D2D1_COMPOSITE_MODE_SOURCE_ATOP:
      return {Blend::kSourceAtop};
    case D2D1_COMPOSITE_MODE_DESTINATION_ATOP:
      return {Blend::kDestinationAtop, kTransparent};
    case D2D1_COMPOSITE_MODE_XOR:
      return {Blend::kXor};
    case D2D1_COMPOSITE_MODE_PLUS:
      return {Blend::kPlus};
    case D2D1_COMPOSITE_MODE_SOURCE_COPY:
      return {Blend::kReplace, kTransparent};
    case D2D1_COMPOSITE_MODE_BOUNDED_SOURCE_COPY:
      return {Blend::kReplace, kNothing, std::nullopt};
    case D2D1_COMPOSITE_MODE_MASK_INVERT:
      return {Blend::kMaskInvert};
  }
  return {Blend::kSourceOver};
}

DeviceContext2D::Operation DeviceContext2D::ToOperation(D2D1_PRIMITIVE_BLEND blend) {
  using Render::Blend;
  using enum Operation::Around;
  switch (blend) {
    case D2D1_PRIMITIVE_BLEND_SOURCE_OVER:
      break;
    case D2D1_PRIMITIVE_BLEND_COPY:
      return {Blend::kReplace, kNothing, std::nullopt};
    case D2D1_PRIMITIVE_BLEND_MIN:
      return {Blend::kMinimum, kNothing, 1.0f};
    case D2D1_PRIMITIVE_BLEND_ADD:
      return {Blend::kPlus};
    case D2D1_PRIMITIVE_BLEND_MAX:
      return {Blend::kMaximum};
  }
  return {Blend::kSourceOver};
}

Render::Rect DeviceContext2D::Clip() const {
  const Render::Rect bounds = target_->GetSurface().texture->Bounds();
  return clips_.empty() ? bounds : Intersect(bounds, clips_.back());
}

void DeviceContext2D::PushAxisAlignedClip(const D2D1_RECT_F* rectangle, D2D1_ANTIALIAS_MODE mode) {
  if (!drawing_) return Record(D2DERR_WRONG_STATE);
  // A refused clip is pushed all the same, so that its pop finds it, and lets nothing through.
  Render::Rect clip;
  if (!rectangle || !IsUsable(*rectangle) || !IsUsable(transform_) ||
      mode > D2D1_ANTIALIAS_MODE_ALIASED) {
    Record(E_INVALIDARG);
  } else {
    constexpr std::int32_t kFar = static_cast<std::int32_t>(kCoordinateLimit);
    const Render::Rect limit =
        clips_.empty() ? Render::Rect{-kFar, -kFar, kFar, kFar} : clips_.back();
    clip = PixelsIn(WorldToTarget().Bounds(ToArea(*rectangle), ToArea(limit)), limit);
  }
  clips_.push_back(clip);
}

void DeviceContext2D::PopAxisAlignedClip() {
  if (!drawing_) return Record(D2DERR_WRONG_STATE);
  if (clips_.empty()) return Record(D2DERR_PUSH_POP_UNBALANCED);
  clips_.pop_back();
}

void DeviceContext2D::Clear(const D2D1_COLOR_F* color) {
  if (!CanDraw()) return;
  const D2D1_COLOR_F c = color ? *color : D2D1_COLOR_F{0, 0, 0, 0};
  const std::array<float, 4> premultiplied = {c.r * c.a, c.g * c.a, c.b * c.a, c.a};
  Surface& surface = target_->GetSurface();
  if (Clip() == surface.texture->Bounds()) {
    Record(ToResult(device_->GetEngine().Clear(*surface.texture, premultiplied)));
    surface.transparent = c.a == 0.0f;
  } else {
    Record(Fill(Clip(), premultiplied));
  }
}

HRESULT DeviceContext2D::Fill(const Render::Rect& rect, const std::array<float, 4>& color) {
  if (rect.Empty()) return S_OK;
  Surface& surface = target_->GetSurface();
  Render::Pass pass;
  const HRESULT result = ToResult(device_->GetProgram(SamplesProgram(), &pass.program));
  if (FAILED(result)) return result;
  TransformConstants constants = PlaceConstants({}, {}, true, 0, 0);
  constants.color = color;
  pass.target = surface.texture.get();
  pass.rect = rect;
  pass.constants = std::as_bytes(std::span(&constants, 1));
  surface.transparent = surface.transparent && color == std::array<float, 4>{};
  return ToResult(device_->GetEngine().Draw(pass));
}

void DeviceContext2D::DrawImage(ID2D1Image* image, const D2D1_POINT_2F* targetOffset,
                                const D2D1_RECT_F* imageRectangle,
                                D2D1_INTERPOLATION_MODE interpolation,
                                D2D1_COMPOSITE_MODE composite) {
  if (!CanDraw()) return;
  ImageNode* node = FindNode(image);
  D2D1_POINT_2F offset = targetOffset ? *targetOffset : D2D1_POINT_2F{0, 0};
  if (!node || !IsUsable(offset) || (imageRectangle && !IsUsable(*imageRectangle)) ||
      !IsUsable(transform_) || interpolation > D2D1_INTERPOLATION_MODE_HIGH_QUALITY_CUBIC ||
      composite > D2D1_COMPOSITE_MODE_MASK_INVERT) {
    return Record(E_INVALIDARG);
  }
  const Projection to_units = ImageToUnits(*node);
  Area part = {-kCoordinateLimit, -kCoordinateLimit, kCoordinateLimit, kCoordinateLimit};
  Projection place = Projection::Translation(offset.x, offset.y);
  if (imageRectangle) {
    const double x = to_units.m[0][0];
    const double y = to_units.m[1][1];
    part = {imageRectangle->left / x, imageRectangle->top / y, imageRectangle->right / x,
            imageRectangle->bottom / y};
    place = Projection::Translation(-imageRectangle->left, -imageRectangle->top) * place;
  }
  Record(DrawNode({.node = *node,
                   .map = to_units * place * WorldToTarget(),
                   .part = part,
                   .interpolation = interpolation,
                   .opacity = 1,
                   .operation = ToOperation(composite)}));
}

void DeviceContext2D::DrawBitmap(ID2D1Bitmap* bitmap, const D2D1_RECT_F* destinationRectangle,
                                 FLOAT opacity, D2D1_INTERPOLATION_MODE interpolation,
                                 const D2D1_RECT_F* sourceRectangle,
                                 const D2D1_MATRIX_4X4_F* perspective) {
  if (!CanDraw()) return;
  auto* node = dynamic_cast<Bitmap2D*>(bitmap);
  if (!node || (destinationRectangle && !IsUsable(*destinationRectangle)) ||
      (sourceRectangle && !IsUsable(*sourceRectangle)) || std::isnan(opacity) ||
      (perspective && !IsUsable(*perspective)) || !IsUsable(transform_) ||
      interpolation > D2D1_INTERPOLATION_MODE_HIGH_QUALITY_CUBIC) {
    return Record(E_INVALIDARG);
  }
  const Projection to_units = ImageToUnits(*node);
  const D2D1_SIZE_U pixels = node->GetPixelSize();
  const Area whole = {0, 0, pixels.width * to_units.m[0][0], pixels.height * to_units.m[1][1]};
  const Area source = sourceRectangle ? ToArea(*sourceRectangle) : whole;
  const Area destination = destinationRectangle ? ToArea(*destinationRectangle) : whole;
  if (source.Empty() || destination.Empty()) return;
  const Projection place =
      Projection::Translation(-source.left, -source.top) *
      Projection::Scale((destination.right - destination.left) / (source.right - source.left),
                        (destination.bottom - destination.top) / (source.bottom - source.top)) *
      Projection::Translation(destination.left, destination.top) *
      (perspective ? Projection::From(*perspective) : Projection());
  Record(DrawNode({.node = *node,
                   .map = to_units * place * WorldToTarget(),
                   .part = {source.left / to_units.m[0][0], source.top / to_units.m[1][1],
                            source.right / to_units.m[0][0], source.bottom / to_units.m[1][1]},
                   .interpolation = interpolation,
                   .opacity = std::clamp(opacity, 0.0f, 1.0f),
                   .operation = ToOperation(primitive_blend_)}));
}

HRESULT DeviceContext2D::DrawNode(const Drawing& drawing) {
  if (drawing.node.GetGraphicsDevice() != device_) return D2DERR_WRONG_RESOURCE_DOMAIN;
  Surface& surface = target_->GetSurface();
  Evaluation evaluation(*device_, &surface, evaluation_storage_);
  Render::Rect bounds;
  HRESULT result = drawing.node.GetBounds(evaluation, &bounds);
  if (FAILED(result)) return result;

  const Render::Rect clip = Clip();
  if (clip.Empty()) return S_OK;
  const bool unbounded = drawing.operation.around == Operation::Around::kTransparent;
  const Area part = Intersect(drawing.part, ToArea(bounds));
  std::optional<Placement> placement =
      Place(drawing.map, part, clip, antialias_mode_ == D2D1_ANTIALIAS_MODE_ALIASED);
  if (!placement) return S_OK;
  if (part.Empty() || placement->rect.Empty()) {
    return unbounded ? Fill(clip, {0, 0, 0, 0}) : S_OK;
  }

  // Over nothing, or with nothing around it to change, the image's pixels are the result.
  const bool whole = placement->full && (!unbounded || placement->rect == clip);
  const bool plain =
      drawing.operation.blend == Render::Blend::kReplace ||
      (surface.transparent && (drawing.operation.blend == Render::Blend::kSourceOver ||
                               drawing.operation.blend == Render::Blend::kPlus));
  const bool direct = plain && placement->full && (whole || surface.transparent);
  if (placement->shifted && direct && drawing.opacity == 1) {
    result = drawing.node.RenderDirectly(
        evaluation, {&surface, placement->rect, static_cast<float>(placement->shift_x),
                     static_cast<float>(placement->shift_y)});
    if (result != S_FALSE) {
      surface.transparent = false;
      return result;
    }
  }

  RenderedImage image;
  result = drawing.node.Render(evaluation, &image);
  if (FAILED(result)) return result;
  if (!placement->shifted || !(whole || direct) || drawing.opacity != 1) {
    if (unbounded && !surface.transparent && !whole) {
      placement->rect = clip;
      placement->full = false;
    }
    return DrawTransformed(drawing, *placement, image, part);
  }

  Render::Pass pass;
  result = ToResult(device_->GetProgram(ImageProgram(), &pass.program));
  if (FAILED(result)) return result;
  // On whole pixels every interpolation is the pixel itself.
  pass.bindings[0] = {image.texture, {.filter = Render::Filter::kNearest}};
  pass.target = surface.texture.get();
  pass.rect = placement->rect;
  pass.origin_x = static_cast<float>(placement->shift_x - image.bounds.left);
  pass.origin_y = static_cast<float>(placement->shift_y - image.bounds.top);
  pass.extent_x = static_cast<float>(image.bounds.Width());
  pass.extent_y = static_cast<float>(image.bounds.Height());
  pass.blend = direct ? Render::Blend::kReplace : drawing.operation.blend;
  surface.transparent = false;
  return ToResult(device_->GetEngine().Draw(pass));
}

HRESULT DeviceContext2D::DrawTransformed(const Drawing& drawing, const Placement& placement,
                                         const RenderedImage& image, const Area& part) {
  Surface& surface = target_->GetSurface();
  const Interpolation interpolation = Describe(
      placement.on_grid ? D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR : drawing.interpolation);
  Render::Pass pass;
  HRESULT result = ToResult(device_->GetProgram(interpolation.program, &pass.program));
  if (FAILED(result)) return result;

  const double left = image.bounds.left;
  const double top = image.bounds.top;
  TransformConstants constants =
      PlaceConstants(placement.inverse * Projection::Translation(-left, -top),
                     {part.left - left, part.top - top, part.right - left, part.bottom - top},
                     placement.full, placement.rect.left, placement.rect.top);
  constants.opacity = drawing.opacity;
  constants.aliased = antialias_mode_ == D2D1_ANTIALIAS_MODE_ALIASED ? 1.0f : 0.0f;
  constants.detail = {interpolation.detail, interpolation.detail};
  pass.bindings[0] = {image.texture, {.filter = interpolation.filter}};
  pass.target = surface.texture.get();
  pass.rect = placement.rect;
  pass.origin_x = static_cast<float>(-placement.rect.left);
  pass.origin_y = static_cast<float>(-placement.rect.top);
  pass.extent_x = static_cast<float>(image.bounds.Width());
  pass.extent_y = static_cast<float>(image.bounds.Height());
  pass.constants = std::as_bytes(std::span(&constants, 1));
  pass.blend = drawing.operation.blend;

  const bool two_passes = !drawing.operation.neutral && !placement.full && !surface.transparent;
  surface.transparent = false;
  if (two_passes) {
    // Takes away the covered part of what is there, then adds the image's.
    TransformConstants mask = constants;
    mask.opacity = 0;
    mask.color = {1, 1, 1, 1};
    Render::Pass erasing = pass;
    erasing.constants = std::as_bytes(std::span(&mask, 1));
    erasing.blend = Render::Blend::kDestinationOut;
    result = ToResult(device_->GetEngine().Draw(erasing));
    if (FAILED(result)) return result;
    pass.blend = Render::Blend::kPlus;
  }
  const float neutral = drawing.operation.neutral.value_or(0.0f);
  constants.outside = {neutral, neutral, neutral, neutral};
  return ToResult(device_->GetEngine().Draw(pass));
}

HRESULT DeviceContext2D::GetBounds(ID2D1Image* image, Projection* to_units, Area* bounds) const {
  ImageNode* node = FindNode(image);
  if (!node) return E_INVALIDARG;
  if (node->GetGraphicsDevice() != device_) return D2DERR_WRONG_RESOURCE_DOMAIN;
  // Bounds need no textures.
  std::vector<std::unique_ptr<Render::Texture>> none;
  Evaluation evaluation(*device_, nullptr, none);
  Render::Rect rect;
  const HRESULT result = node->GetBounds(evaluation, &rect);
  *to_units = ImageToUnits(*node);
  *bounds = ToArea(rect);
  return result;
}

HRESULT DeviceContext2D::GetImageLocalBounds(ID2D1Image* image, D2D1_RECT_F* bounds) const {
  if (!bounds) return E_POINTER;
  *bounds = {};
  Projection to_units;
  Area area;
  const HRESULT result = GetBounds(image, &to_units, &area);
  if (FAILED(result)) return result;
  *bounds = {static_cast<FLOAT>(area.left * to_units.m[0][0]),
             static_cast<FLOAT>(area.top * to_units.m[1][1]),
             static_cast<FLOAT>(area.right * to_units.m[0][0]),
             static_cast<FLOAT>(area.bottom * to_units.m[1][1])};
  return S_OK;
}

HRESULT DeviceContext2D::GetImageWorldBounds(ID2D1Image* image, D2D1_RECT_F* bounds) const {
  if (!bounds) return E_POINTER;
  *bounds = {};
  Projection to_units;
  Area area;
  const HRESULT result = GetBounds(image, &to_units, &area);
  if (FAILED(result)) return result;
  if (!IsUsable(transform_)) return E_INVALIDARG;
  constexpr double kEverywhere = 1e30;
  *bounds = ToContract((to_units * Projection::From(transform_))
                           .Bounds(area, {-kEverywhere, -kEverywhere, kEverywhere, kEverywhere}));
  return S_OK;
}

}  // namespace Vantra::Platform
