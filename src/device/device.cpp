#include <vantrix/device/device.h>
#include <vantrix/device/dexception.h>
#include <vantrix/images/bitmap.h>

#include <utility>

namespace Vantra {
namespace {

// A copy of a texture in memory that can be read, for as long as the object lives.
class MappedTexture {
 public:
  MappedTexture(ID3D11DeviceContext* context, ID3D11Texture2D* readable, ID3D11Texture2D* source)
      : context_(context), readable_(readable) {
    context_->CopyResource(readable_, source);
    if (FAILED(context_->Map(readable_, 0, D3D11_MAP_READ, 0, &mapped_))) mapped_ = {};
  }
  MappedTexture(const MappedTexture&) = delete;
  MappedTexture& operator=(const MappedTexture&) = delete;
  ~MappedTexture() {
    if (mapped_.pData) context_->Unmap(readable_, 0);
  }

  // Null when the texture could not be read.
  void* Data() const { return mapped_.pData; }
  UINT Pitch() const { return mapped_.RowPitch; }

 private:
  CComPtr<ID3D11DeviceContext> context_;
  CComPtr<ID3D11Texture2D> readable_;
  D3D11_MAPPED_SUBRESOURCE mapped_ = {};
};

}  // namespace

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
  context_->render_callback_ =
      callback ? std::make_shared<const RenderCallback>(std::move(callback)) : nullptr;
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
  if (!GetD2DDeviceContext()) {
    // A rebuilding that failed is tried again.
    if (context_->IsLost()) context_->Recover();
    return false;
  }
  return !context_->RecoverFromLoss(GetD2DDeviceContext()->EndDraw(nullptr, nullptr));
}

void Device::EndDrawCallback() {
  if (!EndDraw() || !context_->render_callback_) return;
  // The callback may change or end the device: what it runs on is kept until it returns.
  const std::shared_ptr<const RenderCallback> callback = context_->render_callback_;
  const MappedTexture frame(context_->GetImmediateContext(), context_->GetReadBackTexture(),
                            context_->GetRenderTexture());
  if (!frame.Data()) return;
  (*callback)(frame.Data(), static_cast<unsigned int>(width_), static_cast<unsigned int>(height_),
              frame.Pitch());
}

void Device::EndDrawNoCallback() { EndDraw(); }

void Device::OnDeviceReCreate() {}

}  // namespace Vantra
