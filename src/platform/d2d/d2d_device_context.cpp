#include "platform/d2d/d2d_device_context.h"

#include <cmath>

#include "platform/d2d/builtin/builtin_effect.h"

namespace Vantra::Platform {
namespace {

constexpr float kUnitsPerInch = 96.0f;

}  // namespace

void DeviceContext2D::GetFactory(ID2D1Factory1** factory) const {
  *factory = CComPtr<Factory2D>(factory_).Detach();
}

void DeviceContext2D::Record(HRESULT result) {
  if (FAILED(result) && SUCCEEDED(error_)) error_ = result;
}

// A read-back as a rule follows a session and submits its work, so that a frame makes one
// submission. Where none came between two sessions, the second submits both.
Render::Status DeviceContext2D::Submit() {
  Render::Engine& engine = device_->GetEngine();
  Render::Status status = engine.Lost() ? Render::Status::kDeviceLost : Render::Status::kOk;
  if (status == Render::Status::kOk && engine.SubmissionCount() == submissions_) {
    status = engine.Flush();
  }
  submissions_ = engine.SubmissionCount();
  return status;
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
  if (!clips_.empty()) Record(D2DERR_PUSH_POP_UNBALANCED);
  clips_.clear();
  const HRESULT flushed = ToResult(Submit());
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

void DeviceContext2D::SetTransform(const D2D1_MATRIX_3X2_F* transform) {
  if (!transform) return Record(E_INVALIDARG);
  transform_ = *transform;
}

void DeviceContext2D::SetAntialiasMode(D2D1_ANTIALIAS_MODE mode) {
  if (mode > D2D1_ANTIALIAS_MODE_ALIASED) return Record(E_INVALIDARG);
  antialias_mode_ = mode;
}

void DeviceContext2D::SetTextAntialiasMode(D2D1_TEXT_ANTIALIAS_MODE mode) {
  if (mode > D2D1_TEXT_ANTIALIAS_MODE_ALIASED) return Record(E_INVALIDARG);
  text_antialias_mode_ = mode;
}

void DeviceContext2D::SetUnitMode(D2D1_UNIT_MODE mode) {
  if (mode > D2D1_UNIT_MODE_PIXELS) return Record(E_INVALIDARG);
  unit_mode_ = mode;
}

void DeviceContext2D::SetPrimitiveBlend(D2D1_PRIMITIVE_BLEND blend) {
  if (blend > D2D1_PRIMITIVE_BLEND_MAX) return Record(E_INVALIDARG);
  primitive_blend_ = blend;
}

void DeviceContext2D::SetRenderingControls(const D2D1_RENDERING_CONTROLS* controls) {
  if (!controls) return Record(E_INVALIDARG);
  rendering_controls_ = *controls;
}

void DeviceContext2D::SetDpi(FLOAT dpiX, FLOAT dpiY) {
  if (dpiX == 0 && dpiY == 0) dpiX = dpiY = kUnitsPerInch;
  if (!(dpiX > 0) || !(dpiY > 0) || std::isinf(dpiX) || std::isinf(dpiY)) return;
  dpi_x_ = dpiX;
  dpi_y_ = dpiY;
}

void DeviceContext2D::GetDpi(FLOAT* dpiX, FLOAT* dpiY) const {
  *dpiX = dpi_x_;
  *dpiY = dpi_y_;
}

D2D1_PIXEL_FORMAT DeviceContext2D::GetPixelFormat() const {
  if (!target_) return {DXGI_FORMAT_UNKNOWN, D2D1_ALPHA_MODE_UNKNOWN};
  return target_->GetPixelFormat();
}

D2D1_SIZE_U DeviceContext2D::GetPixelSize() const {
  return target_ ? target_->GetPixelSize() : D2D1_SIZE_U{0, 0};
}

D2D1_SIZE_F DeviceContext2D::GetSize() const {
  const D2D1_SIZE_U pixels = GetPixelSize();
  const Projection scale = UnitsToTarget();
  return {static_cast<FLOAT>(pixels.width / scale.m[0][0]),
          static_cast<FLOAT>(pixels.height / scale.m[1][1])};
}

Projection DeviceContext2D::UnitsToTarget() const {
  if (unit_mode_ == D2D1_UNIT_MODE_PIXELS) return {};
  return Projection::Scale(dpi_x_ / kUnitsPerInch, dpi_y_ / kUnitsPerInch);
}

Projection DeviceContext2D::WorldToTarget() const {
  return Projection::From(transform_) * UnitsToTarget();
}

Projection DeviceContext2D::ImageToUnits(const ImageNode& node) const {
  if (unit_mode_ == D2D1_UNIT_MODE_PIXELS) return {};
  FLOAT x = dpi_x_;
  FLOAT y = dpi_y_;
  // An effect's output has the resolution of what it is drawn to.
  if (const auto* bitmap = dynamic_cast<const Bitmap2D*>(&node)) bitmap->GetDpi(&x, &y);
  if (!(x > 0)) x = kUnitsPerInch;
  if (!(y > 0)) y = kUnitsPerInch;
  return Projection::Scale(kUnitsPerInch / x, kUnitsPerInch / y);
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
  if (MakeBuiltInEffect* make = FindBuiltInEffect(effectId)) {
    *effect = make(CComPtr<ID2D1Factory1>(factory_), device_).Detach();
    return *effect ? S_OK : E_OUTOFMEMORY;
  }
  std::shared_ptr<const EffectRegistration> registration = factory_->FindEffect(effectId);
  if (!registration) return D2DERR_EFFECT_IS_NOT_REGISTERED;
  CComPtr<CustomEffect2D> made =
      MakeCom<CustomEffect2D>(CComPtr<ID2D1Factory1>(factory_), device_, std::move(registration));
  if (!made) return E_OUTOFMEMORY;
  const HRESULT result = made->Initialize();
  if (FAILED(result)) return result;
  *effect = made.Detach();
  return S_OK;
}

void DeviceContext2D::GetDevice(ID2D1Device** device) const {
  *device = MakeCom<Device2D>(factory_, device_).Detach();
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

void Device2D::GetFactory(ID2D1Factory1** factory) const {
  *factory = CComPtr<Factory2D>(factory_).Detach();
}

HRESULT Device2D::CreateDeviceContext(D2D1_DEVICE_CONTEXT_OPTIONS options,
                                      ID2D1DeviceContext** context) {
  if (!context) return E_POINTER;
  *context = nullptr;
  if (options != D2D1_DEVICE_CONTEXT_OPTIONS_NONE) return E_INVALIDARG;
  *context = MakeCom<DeviceContext2D>(factory_, device_).Detach();
  return *context ? S_OK : E_OUTOFMEMORY;
}

}  // namespace Vantra::Platform
