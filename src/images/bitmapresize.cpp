#include <vantrix/device/device.h>
#include <vantrix/images/bitmap.h>

namespace Vantra {

void Bitmap::Resize(Bitmap* destination, D2D1_INTERPOLATION_MODE mode) const {
  if (!GetBitmap() || !GetDevice() || !GetDevice()->GetD2DDeviceContext()) return;
  if (destination->width_ == width_ && destination->height_ == height_) {
    CopyTo(destination);
    return;
  }
  ID2D1DeviceContext* context = GetDevice()->GetD2DDeviceContext();
  const D2D1_RECT_F whole = {0, 0, static_cast<float>(destination->width_),
                             static_cast<float>(destination->height_)};
  const D2D1_COLOR_F transparent = {0, 0, 0, 0};
  CComPtr<ID2D1Image> kept_target;
  context->BeginDraw();
  context->GetTarget(&kept_target);
  context->SetTarget(destination->GetBitmap());
  context->Clear(&transparent);
  context->DrawBitmap(GetBitmap(), &whole, 1.0f, mode, nullptr, nullptr);
  context->SetTarget(kept_target);
  context->EndDraw(nullptr, nullptr);
}

}  // namespace Vantra
