#include <vantrix/device/device.h>
#include <vantrix/device/dexception.h>
#include <vantrix/images/bitmap.h>

#include <utility>

namespace Vantra {

Device::Device() : context_(std::make_unique<DeviceContext>(this)) {}

Device::~Device() = default;

void Device::Intialize(HWND window) {
  if (window) {
    ThrowDException(__FILE__, "Vantra::Device::Intialize", __LINE__, DException::kDevice,
                    "drawing into a window is not supported: pass a null window");
  }
  context_->SetupDeviceIndependentResources();
}

void Device::Cleanup() {
  context_->GetResourceFactory().DestroyAll();
  context_->ReleaseAll();
}

void Device::Resize(long width, long height) {
  if (width == width_ && height == height_) return;
  if (width < 2 || height < 2) return;
  width_ = width;
  height_ = height;
  context_->Resize();
}

void Device::SetRenderCallback(RenderCallback callback) {
  context_->render_callback_ = std::move(callback);
}

bool Device::BeginDraw(Bitmap* target, const D3DCOLORVALUE& color) {
  if (!BeginDraw(target)) return false;
  Clear(color);
  return true;
}

bool Device::BeginDraw(Bitmap* target) {
  if (!GetD2DDeviceContext()) return false;
  GetD2DDeviceContext()->BeginDraw();
  SetRenderTarget(target);
  return true;
}

void Device::SetRenderTarget(Bitmap* target) {
  if (!GetD2DDeviceContext()) return;
  ID2D1Image* image = context_->GetDefaultTarget();
  if (target) image = target->GetBitmap();
  GetD2DDeviceContext()->SetTarget(image);
}

void Device::Clear(const D3DCOLORVALUE& color) {
  if (GetD2DDeviceContext()) GetD2DDeviceContext()->Clear(&color);
}

bool Device::EndDraw() {
  if (!GetD2DDeviceContext()) return false;
  return !context_->RecoverFromLoss(GetD2DDeviceContext()->EndDraw(nullptr, nullptr));
}

void Device::EndDrawCallback() {
  if (!EndDraw() || !context_->render_callback_) return;
  ID3D11DeviceContext* immediate = context_->GetImmediateContext();
  immediate->CopyResource(context_->GetReadBackTexture(), context_->GetRenderTexture());
  D3D11_MAPPED_SUBRESOURCE mapped;
  if (FAILED(immediate->Map(context_->GetReadBackTexture(), 0, D3D11_MAP_READ, 0, &mapped))) return;
  context_->render_callback_(mapped.pData, static_cast<unsigned int>(width_),
                             static_cast<unsigned int>(height_), mapped.RowPitch);
  immediate->Unmap(context_->GetReadBackTexture(), 0);
}

void Device::EndDrawNoCallback() { EndDraw(); }

void Device::OnDeviceReCreate() {}

}  // namespace Vantra
