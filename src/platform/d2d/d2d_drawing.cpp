// The drawing operations of a 2D context: clips, clearing, images and bitmaps.

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

#include "platform/d2d/d2d_device_context.h"
#include "platform/d2d/image_pass.h"
#include "platform/d2d/rectangles.h"

namespace Vantra::Platform {
namespace {

// The side of an image in units; the largest numbers of a float for one that is nowhere.
FLOAT ToSide(double pixel, double units) {
  constexpr FLOAT kNowhere = std::numeric_limits<FLOAT>::max();
  if (std::abs(pixel) >= kCoordinateLimit) return pixel < 0 ? -kNowhere : kNowhere;
  return static_cast<FLOAT>(pixel * units);
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
  TransformConstants constants;
  const HRESULT result = PrepareFill(*device_, color, &constants, &pass);
  if (FAILED(result)) return result;
  pass.target = surface.texture.get();
  pass.rect = rect;
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

  result = drawing.node.Require(evaluation, PartToRender(part, *placement));
  if (FAILED(result)) return result;

  // Over nothing, or with nothing around it to change, the image's pixels are the result.
  const bool whole = placement->full && (!unbounded || placement->rect == clip);
  const bool plain =
      drawing.operation.blend == Render::Blend::kReplace ||
      (surface.transparent && (drawing.operation.blend == Render::Blend::kSourceOver ||
                               drawing.operation.blend == Render::Blend::kPlus));
  const bool direct = plain && placement->full;
  // What replaces an area larger than itself leaves nothing around it.
  const bool clears = direct && !whole && !surface.transparent;
  const auto clear_around = [&]() -> HRESULT {
    if (!clears) return S_OK;
    const Render::Rect& drawn = placement->rect;
    for (const Render::Rect& rect :
         {Render::Rect{clip.left, clip.top, clip.right, drawn.top},
          Render::Rect{clip.left, drawn.bottom, clip.right, clip.bottom},
          Render::Rect{clip.left, drawn.top, drawn.left, drawn.bottom},
          Render::Rect{drawn.right, drawn.top, clip.right, drawn.bottom}}) {
      const HRESULT filled = Fill(rect, {0, 0, 0, 0});
      if (FAILED(filled)) return filled;
    }
    return S_OK;
  };
  if (placement->shifted && direct && drawing.opacity == 1) {
    result = drawing.node.RenderDirectly(
        evaluation, {&surface, placement->rect, static_cast<std::int32_t>(placement->shift_x),
                     static_cast<std::int32_t>(placement->shift_y)});
    if (result != S_FALSE) {
      surface.transparent = false;
      return FAILED(result) ? result : clear_around();
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
  result = PrepareCopy(*device_, image, placement->shift_x, placement->shift_y, &pass);
  if (FAILED(result)) return result;
  pass.target = surface.texture.get();
  pass.rect = placement->rect;
  pass.blend = direct ? Render::Blend::kReplace : drawing.operation.blend;
  surface.transparent = false;
  result = ToResult(device_->GetEngine().Draw(pass));
  return FAILED(result) ? result : clear_around();
}

Render::Rect DeviceContext2D::PartToRender(const Area& part, const Placement& placement) const {
  const Render::Rect whole = PixelsIn(
      {std::floor(part.left), std::floor(part.top), std::ceil(part.right), std::ceil(part.bottom)},
      kUnbounded);
  if (placement.shifted) {
    const Area drawn = ToArea(placement.rect);
    return Intersect(whole,
                     PixelsIn({drawn.left + placement.shift_x, drawn.top + placement.shift_y,
                               drawn.right + placement.shift_x, drawn.bottom + placement.shift_y},
                              kUnbounded));
  }
  // The whole part is the same from frame to frame, whatever the transform, and so is its texture.
  const auto limit = static_cast<std::int32_t>(device_->GetEngine().MaximumTextureSize());
  return whole.Width() <= limit && whole.Height() <= limit ? whole : ReadPart(placement, part);
}

HRESULT DeviceContext2D::DrawTransformed(const Drawing& drawing, const Placement& placement,
                                         const RenderedImage& image, const Area& part) {
  Surface& surface = target_->GetSurface();
  TransformConstants constants;
  Render::Pass pass;
  HRESULT result =
      PrepareTransform(*device_, image, part, placement, drawing.interpolation,
                       antialias_mode_ == D2D1_ANTIALIAS_MODE_ALIASED, &constants, &pass);
  if (FAILED(result)) return result;
  constants.opacity = drawing.opacity;
  pass.target = surface.texture.get();
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
  EvaluationStorage none;
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
  *bounds = {ToSide(area.left, to_units.m[0][0]), ToSide(area.top, to_units.m[1][1]),
             ToSide(area.right, to_units.m[0][0]), ToSide(area.bottom, to_units.m[1][1])};
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
