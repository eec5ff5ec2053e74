// The drawing calls of a device: they translate the library's objects and forward to the 2D
// context.

#include <vantrix/device/device.h>
#include <vantrix/effects/engine/effect.h>
#include <vantrix/images/bitmap.h>

namespace Vantra {

void Device::DrawBitmap(Bitmap* bitmap, const D2D_RECT_F& destination, float opacity,
                        D2D1_INTERPOLATION_MODE interpolation, const D2D_RECT_F& source,
                        const D2D_MATRIX_4X4_F& perspective) {
  DrawBitmap(bitmap, &destination, opacity, interpolation, &source, &perspective);
}

void Device::DrawBitmap(Bitmap* bitmap, const D2D_RECT_F* destination, float opacity,
                        D2D1_INTERPOLATION_MODE interpolation, const D2D_RECT_F* source,
                        const D2D_MATRIX_4X4_F* perspective) {
  if (!GetD2DDeviceContext()) return;
  GetD2DDeviceContext()->DrawBitmap(bitmap->GetBitmap(), destination, opacity, interpolation,
                                    source, perspective);
}

void Device::DrawImage(Bitmap* bitmap, const D2D_POINT_2F* offset, const D2D_RECT_F* rectangle,
                       D2D1_INTERPOLATION_MODE interpolation, D2D1_COMPOSITE_MODE composite) {
  if (!GetD2DDeviceContext()) return;
  GetD2DDeviceContext()->DrawImage(bitmap->GetBitmap(), offset, rectangle, interpolation,
                                   composite);
}

void Device::DrawImage(Effect* effect, const D2D_POINT_2F* offset, const D2D_RECT_F* rectangle,
                       D2D1_INTERPOLATION_MODE interpolation, D2D1_COMPOSITE_MODE composite) {
  if (!GetD2DDeviceContext() || !effect->GetEffect()) return;
  CComPtr<ID2D1Image> output;
  effect->GetEffect()->GetOutput(&output);
  GetD2DDeviceContext()->DrawImage(output, offset, rectangle, interpolation, composite);
}

void Device::DrawImage(Bitmap* bitmap, D2D1_INTERPOLATION_MODE interpolation,
                       D2D1_COMPOSITE_MODE composite) {
  DrawImage(bitmap, nullptr, nullptr, interpolation, composite);
}

void Device::DrawImage(Effect* effect, D2D1_INTERPOLATION_MODE interpolation,
                       D2D1_COMPOSITE_MODE composite) {
  DrawImage(effect, nullptr, nullptr, interpolation, composite);
}

void Device::DrawImage(Bitmap* bitmap, D2D_POINT_2F offset, D2D1_INTERPOLATION_MODE interpolation,
                       D2D1_COMPOSITE_MODE composite) {
  DrawImage(bitmap, &offset, nullptr, interpolation, composite);
}

void Device::DrawImage(Effect* effect, D2D_POINT_2F offset, D2D1_INTERPOLATION_MODE interpolation,
                       D2D1_COMPOSITE_MODE composite) {
  DrawImage(effect, &offset, nullptr, interpolation, composite);
}

void Device::DrawImage(Bitmap* bitmap, D2D_POINT_2F offset, const D2D_RECT_F& rectangle,
                       D2D1_INTERPOLATION_MODE interpolation, D2D1_COMPOSITE_MODE composite) {
  DrawImage(bitmap, &offset, &rectangle, interpolation, composite);
}

void Device::DrawImage(Effect* effect, D2D_POINT_2F offset, const D2D_RECT_F& rectangle,
                       D2D1_INTERPOLATION_MODE interpolation, D2D1_COMPOSITE_MODE composite) {
  DrawImage(effect, &offset, &rectangle, interpolation, composite);
}

void Device::SetTransform(const D2D_MATRIX_3X2_F& transform) { SetTransform(&transform); }

void Device::SetTransform(const D2D_MATRIX_3X2_F* transform) {
  if (GetD2DDeviceContext()) GetD2DDeviceContext()->SetTransform(transform);
}

void Device::GetTransform(D2D_MATRIX_3X2_F* transform) const {
  *transform = {};
  if (GetD2DDeviceContext()) GetD2DDeviceContext()->GetTransform(transform);
}

void Device::SetAntialiasMode(D2D1_ANTIALIAS_MODE mode) {
  if (GetD2DDeviceContext()) GetD2DDeviceContext()->SetAntialiasMode(mode);
}

D2D1_ANTIALIAS_MODE Device::GetAntialiasMode() const {
  if (!GetD2DDeviceContext()) return D2D1_ANTIALIAS_MODE_PER_PRIMITIVE;
  return GetD2DDeviceContext()->GetAntialiasMode();
}

void Device::SetTextAntialiasMode(D2D1_TEXT_ANTIALIAS_MODE mode) {
  if (GetD2DDeviceContext()) GetD2DDeviceContext()->SetTextAntialiasMode(mode);
}

D2D1_TEXT_ANTIALIAS_MODE Device::GetTextAntialiasMode() const {
  if (!GetD2DDeviceContext()) return D2D1_TEXT_ANTIALIAS_MODE_DEFAULT;
  return GetD2DDeviceContext()->GetTextAntialiasMode();
}

void Device::SetPrimitiveBlend(D2D1_PRIMITIVE_BLEND blend) {
  if (GetD2DDeviceContext()) GetD2DDeviceContext()->SetPrimitiveBlend(blend);
}

D2D1_PRIMITIVE_BLEND Device::GetPrimitiveBlend() const {
  if (!GetD2DDeviceContext()) return D2D1_PRIMITIVE_BLEND_SOURCE_OVER;
  return GetD2DDeviceContext()->GetPrimitiveBlend();
}

void Device::SetUnitMode(D2D1_UNIT_MODE mode) {
  if (GetD2DDeviceContext()) GetD2DDeviceContext()->SetUnitMode(mode);
}

D2D1_UNIT_MODE Device::GetUnitMode() const {
  if (!GetD2DDeviceContext()) return D2D1_UNIT_MODE_DIPS;
  return GetD2DDeviceContext()->GetUnitMode();
}

void Device::SetRenderingControls(const D2D1_RENDERING_CONTROLS* controls) {
  if (GetD2DDeviceContext()) GetD2DDeviceContext()->SetRenderingControls(controls);
}

void Device::GetRenderingControls(D2D1_RENDERING_CONTROLS* controls) const {
  *controls = {};
  if (GetD2DDeviceContext()) GetD2DDeviceContext()->GetRenderingControls(controls);
}

void Device::SetDpi(float dpiX, float dpiY) {
  if (GetD2DDeviceContext()) GetD2DDeviceContext()->SetDpi(dpiX, dpiY);
}

void Device::GetDpi(float* dpiX, float* dpiY) const {
  *dpiX = *dpiY = 0;
  if (GetD2DDeviceContext()) GetD2DDeviceContext()->GetDpi(dpiX, dpiY);
}

unsigned int Device::GetMaximumBitmapSize() const {
  return GetD2DDeviceContext() ? GetD2DDeviceContext()->GetMaximumBitmapSize() : 0;
}

D2D1_PIXEL_FORMAT Device::GetPixelFormat() const {
  if (!GetD2DDeviceContext()) return {DXGI_FORMAT_UNKNOWN, D2D1_ALPHA_MODE_UNKNOWN};
  return GetD2DDeviceContext()->GetPixelFormat();
}

D2D1_SIZE_U Device::GetPixelSize() const {
  return GetD2DDeviceContext() ? GetD2DDeviceContext()->GetPixelSize() : D2D1_SIZE_U{0, 0};
}

D2D1_SIZE_F Device::GetSize() const {
  return GetD2DDeviceContext() ? GetD2DDeviceContext()->GetSize() : D2D1_SIZE_F{0, 0};
}

HRESULT Device::GetImageWorldBounds(Bitmap* bitmap, D2D_RECT_F* bounds) const {
  if (!GetD2DDeviceContext()) return E_FAIL;
  return GetD2DDeviceContext()->GetImageWorldBounds(bitmap->GetBitmap(), bounds);
}

HRESULT Device::GetImageLocalBounds(Bitmap* bitmap, D2D_RECT_F* bounds) const {
  if (!GetD2DDeviceContext()) return E_FAIL;
  return GetD2DDeviceContext()->GetImageLocalBounds(bitmap->GetBitmap(), bounds);
}

HRESULT Device::GetEffectInvalidRectangleCount(Effect* effect, unsigned int* count) const {
  if (!GetD2DDeviceContext()) return E_FAIL;
  return GetD2DDeviceContext()->GetEffectInvalidRectangleCount(effect->GetEffect(), count);
}

HRESULT Device::GetEffectInvalidRectangles(Effect* effect, D2D_RECT_F* rectangles,
                                           unsigned int count) const {
  if (!GetD2DDeviceContext()) return E_FAIL;
  return GetD2DDeviceContext()->GetEffectInvalidRectangles(effect->GetEffect(), rectangles, count);
}

HRESULT Device::GetEffectRequiredInputRectangles(Effect* effect, const D2D_RECT_F* renderRectangle,
                                                 const D2D1_EFFECT_INPUT_DESCRIPTION* descriptions,
                                                 D2D_RECT_F* requiredRectangles,
                                                 unsigned int count) const {
  if (!GetD2DDeviceContext()) return E_FAIL;
  return GetD2DDeviceContext()->GetEffectRequiredInputRectangles(
      effect->GetEffect(), renderRectangle, descriptions, requiredRectangles, count);
}

HRESULT Device::InvalidateEffectInputRectangle(Effect* effect, unsigned int input,
                                               const D2D_RECT_F* inputRectangle) const {
  if (!GetD2DDeviceContext()) return E_FAIL;
  return GetD2DDeviceContext()->InvalidateEffectInputRectangle(effect->GetEffect(), input,
                                                               inputRectangle);
}

}  // namespace Vantra
