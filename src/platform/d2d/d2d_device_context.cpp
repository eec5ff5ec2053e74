#include "platform/d2d/d2d_device_context.h"

#include <algorithm>
#include <cmath>
#include <span>

extern "C" {
extern const unsigned char vantrix_spirv_image[];
extern const unsigned char vantrix_spirv_image_end[];
}

namespace Vantra::Platform {
namespace {

std::span<const std::byte> ImageProgram() {
  return std::as_bytes(std::span(vantrix_spirv_image, vantrix_spirv_image_end));
}

// Far beyond every image, and exact in a float.
constexpr float kCoordinateLimit = 1 << 24;

bool IsCoordinate(float value) { return std::abs(value) <= kCoordinateLimit; }

bool IsWhole(float value) { return value == std::floor(value); }

// The first pixel whose centre lies at or behind `edge`.
std::int32_t FirstPixel(float edge) { return static_cast<std::int32_t>(std::ceil(edge - 0.5f)); }

Render::Rect Intersect(const Render::Rect& a, const Render::Rect& b) {
  return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
          std::min(a.bottom, b.bottom)};
}

D2D1_RECT_F ToFloat(const Render::Rect& rect) {
  return {static_cast<float>(rect.left), static_cast<float>(rect.top),
          static_cast<float>(rect.right), static_cast<float>(rect.bottom)};
}

}  // namespace

void DeviceContext2D::GetFactory(ID2D1Factory1** factory) const {
  *factory = CComPtr<Factory2D>(factory_).Detach();
}

void DeviceContext2D::Record(HRESULT result) {
  if (FAILED(result) && SUCCEEDED(error_)) error_ = result;
}

void DeviceContext2D::BeginDraw() {
  if (drawing_) Record(D2DERR_WRONG_STATE);
  drawing_ = true;
}

HRESULT DeviceContext2D::EndDraw(D2D1_TAG* tag1, D2D1_TAG* tag2) {
  if (tag1) *tag1 = 0;
  if (tag2) *tag2 = 0;
  if (!drawing_) Record(D2DERR_WRONG_STATE);
  drawing_ = false;
  const HRESULT flushed = ToResult(device_->GetEngine().Flush());
  device_->EndSession();
  Record(flushed);
  const HRESULT error = std::exchange(error_, S_OK);
  // A lost device outweighs what went wrong before: nothing works until it is rebuilt.
  return flushed == D2DERR_RECREATE_TARGET ? flushed : error;
}

bool DeviceContext2D::CanDraw() {
  if (drawing_ && target_) return true;
  Record(D2DERR_WRONG_STATE);
  return false;
}

void DeviceContext2D::Clear(const D2D1_COLOR_F* color) {
  if (!CanDraw()) return;
  const D2D1_COLOR_F c = color ? *color : D2D1_COLOR_F{0, 0, 0, 0};
  const std::array<float, 4> premultiplied = {c.r * c.a, c.g * c.a, c.b * c.a, c.a};
  Surface& surface = target_->GetSurface();
  Record(ToResult(device_->GetEngine().Clear(*surface.texture, premultiplied)));
  surface.transparent = c.a == 0.0f;
}

void DeviceContext2D::GetDpi(FLOAT* dpiX, FLOAT* dpiY) const {
  *dpiX = dpi_x_;
  *dpiY = dpi_y_;
}

UINT32 DeviceContext2D::GetMaximumBitmapSize() const {
  return device_->GetEngine().MaximumTextureSize();
}

HRESULT DeviceContext2D::CreateBitmap(D2D1_SIZE_U size, const void* data, UINT32 pitch,
                                      const D2D1_BITMAP_PROPERTIES1* properties,
                                      ID2D1Bitmap1** bitmap) {
  if (!bitmap) return E_POINTER;
  *bitmap = nullptr;
  Render::TextureDesc desc{.width = size.width, .height = size.height};
  if (!properties || properties->colorContext ||
      properties->pixelFormat.alphaMode != D2D1_ALPHA_MODE_PREMULTIPLIED ||
      !ToEngineFormat(properties->pixelFormat.format, &desc.format)) {
    return E_INVALIDARG;
  }
  const UINT32 limit = GetMaximumBitmapSize();
  if (size.width > limit || size.height > limit) return D2DERR_MAX_TEXTURE_SIZE_EXCEEDED;

  const UINT32 options = properties->bitmapOptions;
  if (options & D2D1_BITMAP_OPTIONS_CPU_READ) {
    // Such a bitmap only receives copies.
    if (options != (D2D1_BITMAP_OPTIONS_CPU_READ | D2D1_BITMAP_OPTIONS_CANNOT_DRAW) || data) {
      return E_INVALIDARG;
    }
    desc.usage = Render::Usage::kReadback;
  }
  std::shared_ptr<Surface> surface;
  const Render::Status status = CreateSurface(device_, desc, data, pitch, &surface);
  if (status != Render::Status::kOk) return ToResult(status);
  *bitmap =
      MakeCom<Bitmap2D>(CComPtr<ID2D1Factory1>(factory_), std::move(surface), *properties).Detach();
  return *bitmap ? S_OK : E_OUTOFMEMORY;
}

HRESULT DeviceContext2D::CreateEffect(REFCLSID effectId, ID2D1Effect** effect) {
  if (!effect) return E_POINTER;
  *effect = nullptr;
  std::shared_ptr<const EffectRegistration> registration = factory_->FindEffect(effectId);
  if (!registration) return D2DERR_EFFECT_IS_NOT_REGISTERED;
  CComPtr<Effect2D> made =
      MakeCom<Effect2D>(CComPtr<ID2D1Factory1>(factory_), device_, std::move(registration));
  if (!made) return E_OUTOFMEMORY;
  const HRESULT result = made->Initialize();
  if (FAILED(result)) return result;
  *effect = made.Detach();
  return S_OK;
}

void DeviceContext2D::SetTarget(ID2D1Image* target) {
  auto* bitmap = dynamic_cast<Bitmap2D*>(target);
  target_ = nullptr;
  if (!target) return;
  if (!bitmap || !bitmap->HasOption(D2D1_BITMAP_OPTIONS_TARGET)) {
    Record(D2DERR_INVALID_TARGET);
  } else if (bitmap->GetGraphicsDevice() != device_) {
    Record(D2DERR_WRONG_RESOURCE_DOMAIN);
  } else {
    target_ = bitmap;
  }
}

void DeviceContext2D::GetTarget(ID2D1Image** target) const {
  *target = CComPtr<Bitmap2D>(target_).Detach();
}

void DeviceContext2D::DrawImage(ID2D1Image* image, const D2D1_POINT_2F* targetOffset,
                                const D2D1_RECT_F* imageRectangle,
                                D2D1_INTERPOLATION_MODE interpolation,
                                D2D1_COMPOSITE_MODE composite) {
  if (!CanDraw()) return;
  ImageNode* node = FindNode(image);
  if (!node) return Record(E_INVALIDARG);
  Record(DrawNode(*node, targetOffset ? *targetOffset : D2D1_POINT_2F{0, 0}, imageRectangle,
                  interpolation, composite));
}

HRESULT DeviceContext2D::DrawNode(ImageNode& node, const D2D1_POINT_2F& offset,
                                  const D2D1_RECT_F* rectangle,
                                  D2D1_INTERPOLATION_MODE interpolation,
                                  D2D1_COMPOSITE_MODE composite) {
  if (node.GetGraphicsDevice() != device_) return D2DERR_WRONG_RESOURCE_DOMAIN;
  if (composite != D2D1_COMPOSITE_MODE_SOURCE_OVER &&
      composite != D2D1_COMPOSITE_MODE_BOUNDED_SOURCE_COPY) {
    return D2DERR_UNSUPPORTED_OPERATION;
  }
  Surface& surface = target_->GetSurface();
  Evaluation evaluation(*device_, surface, evaluation_storage_);
  Render::Rect bounds;
  HRESULT result = node.GetBounds(evaluation, &bounds);
  if (FAILED(result)) return result;

  // The part of the image that is drawn, and where its origin goes in the target.
  D2D1_RECT_F part = ToFloat(bounds);
  D2D1_POINT_2F origin = offset;
  if (rectangle) {
    origin.x -= rectangle->left;
    origin.y -= rectangle->top;
    part = {std::max(part.left, rectangle->left), std::max(part.top, rectangle->top),
            std::min(part.right, rectangle->right), std::min(part.bottom, rectangle->bottom)};
  }
  const float numbers[] = {origin.x, origin.y, part.left, part.top, part.right, part.bottom};
  if (!std::all_of(std::begin(numbers), std::end(numbers), IsCoordinate)) return E_INVALIDARG;

  const Render::Rect rect =
      Intersect(surface.texture->Bounds(),
                {FirstPixel(part.left + origin.x), FirstPixel(part.top + origin.y),
                 FirstPixel(part.right + origin.x), FirstPixel(part.bottom + origin.y)});
  if (rect.Empty()) return S_OK;

  const bool aligned = IsWhole(origin.x) && IsWhole(origin.y);
  const bool replaces = surface.transparent || composite == D2D1_COMPOSITE_MODE_BOUNDED_SOURCE_COPY;
  if (aligned && replaces) {
    result = node.RenderDirectly(evaluation, {&surface, rect, -origin.x, -origin.y});
    if (result != S_FALSE) {
      surface.transparent = false;
      return result;
    }
  }

  RenderedImage image;
  result = node.Render(evaluation, &image);
  if (FAILED(result)) return result;

  Render::Pass pass;
  result = ToResult(device_->GetProgram(ImageProgram(), &pass.program));
  if (FAILED(result)) return result;
  // On whole pixels every interpolation is the pixel itself.
  const bool nearest = aligned || interpolation == D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR;
  if (!nearest && interpolation != D2D1_INTERPOLATION_MODE_LINEAR) {
    return D2DERR_UNSUPPORTED_OPERATION;
  }
  pass.bindings[0] = {
      image.texture,
      {.filter = nearest ? Render::Filter::kNearest : Render::Filter::kLinear},
  };
  pass.target = surface.texture.get();
  pass.rect = rect;
  pass.origin_x = -origin.x - static_cast<float>(image.bounds.left);
  pass.origin_y = -origin.y - static_cast<float>(image.bounds.top);
  pass.extent_x = static_cast<float>(image.bounds.Width());
  pass.extent_y = static_cast<float>(image.bounds.Height());
  pass.blend = replaces ? Render::Blend::kReplace : Render::Blend::kSourceOver;
  surface.transparent = false;
  return ToResult(device_->GetEngine().Draw(pass));
}

}  // namespace Vantra::Platform
