#include "platform/d2d/d2d_bitmap.h"

namespace Vantra::Platform {
namespace {

// The engine's form of a rectangle, or of the whole of `bounds` for null. False when it is empty or
// leaves the bounds.
bool ToRect(const D2D1_RECT_U* from, const Render::Rect& bounds, Render::Rect* rect) {
  *rect = bounds;
  if (!from) return true;
  if (from->left >= from->right || from->top >= from->bottom ||
      from->right > static_cast<UINT32>(bounds.right) ||
      from->bottom > static_cast<UINT32>(bounds.bottom)) {
    return false;
  }
  *rect = {static_cast<std::int32_t>(from->left), static_cast<std::int32_t>(from->top),
           static_cast<std::int32_t>(from->right), static_cast<std::int32_t>(from->bottom)};
  return true;
}

}  // namespace

Bitmap2D::~Bitmap2D() {
  if (mapped_) Unmap();
}

void Bitmap2D::GetFactory(ID2D1Factory1** factory) const {
  *factory = CComPtr<ID2D1Factory1>(factory_).Detach();
}

D2D1_SIZE_U Bitmap2D::GetPixelSize() const {
  return {surface_->texture->Desc().width, surface_->texture->Desc().height};
}

void Bitmap2D::GetDpi(FLOAT* dpiX, FLOAT* dpiY) const {
  *dpiX = properties_.dpiX;
  *dpiY = properties_.dpiY;
}

HRESULT Bitmap2D::CopyFromBitmap(const D2D1_POINT_2U* destinationPoint, ID2D1Bitmap* bitmap,
                                 const D2D1_RECT_U* sourceRect) {
  auto* source = dynamic_cast<Bitmap2D*>(bitmap);
  if (!source) return E_INVALIDARG;
  if (source->surface_->device != surface_->device) return D2DERR_WRONG_RESOURCE_DOMAIN;
  const D2D1_POINT_2U point = destinationPoint ? *destinationPoint : D2D1_POINT_2U{0, 0};
  const D2D1_SIZE_U size = GetPixelSize();
  Render::Rect rect;
  if (!ToRect(sourceRect, source->surface_->texture->Bounds(), &rect) || point.x >= size.width ||
      point.y >= size.height || mapped_) {
    return E_INVALIDARG;
  }
  surface_->transparent = false;
  return ToResult(surface_->device->GetEngine().Copy(
      *surface_->texture, static_cast<std::int32_t>(point.x), static_cast<std::int32_t>(point.y),
      *source->surface_->texture, rect));
}

HRESULT Bitmap2D::CopyFromMemory(const D2D1_RECT_U* destinationRect, const void* data,
                                 UINT32 pitch) {
  Render::Rect rect;
  if (!data || !ToRect(destinationRect, surface_->texture->Bounds(), &rect)) return E_INVALIDARG;
  surface_->transparent = false;
  return ToResult(surface_->device->GetEngine().Upload(*surface_->texture, rect, data, pitch));
}

HRESULT Bitmap2D::Map(D2D1_MAP_OPTIONS options, D2D1_MAPPED_RECT* mapped) {
  if (!mapped || options != D2D1_MAP_OPTIONS_READ || !HasOption(D2D1_BITMAP_OPTIONS_CPU_READ)) {
    return E_INVALIDARG;
  }
  if (mapped_) return D2DERR_WRONG_STATE;
  Render::Mapping mapping;
  const Render::Status status = surface_->device->GetEngine().Map(*surface_->texture, &mapping);
  if (status != Render::Status::kOk) return ToResult(status);
  *mapped = {static_cast<UINT32>(mapping.pitch),
             reinterpret_cast<BYTE*>(const_cast<std::byte*>(mapping.data))};
  mapped_ = true;
  return S_OK;
}

HRESULT Bitmap2D::Unmap() {
  if (!mapped_) return D2DERR_WRONG_STATE;
  surface_->device->GetEngine().Unmap(*surface_->texture);
  mapped_ = false;
  return S_OK;
}

HRESULT Bitmap2D::GetBounds(Evaluation& evaluation, Render::Rect* bounds) {
  if (evaluation.IsTarget(*surface_)) return D2DERR_BITMAP_BOUND_AS_TARGET;
  if (HasOption(D2D1_BITMAP_OPTIONS_CANNOT_DRAW)) return D2DERR_BITMAP_CANNOT_DRAW;
  *bounds = surface_->texture->Bounds();
  return S_OK;
}

HRESULT Bitmap2D::Render(Evaluation&, RenderedImage* image) {
  *image = {surface_->texture.get(), surface_->texture->Bounds()};
  return S_OK;
}

HRESULT Bitmap2D::RenderDirectly(Evaluation&, const DirectTarget&) { return S_FALSE; }

}  // namespace Vantra::Platform
