#include "platform/d3d11/d3d11_objects.h"

#include <vantrix/platform/engine.h>

namespace Vantra::Platform {
namespace {

HRESULT ToDeviceResult(Render::Status status) {
  return status == Render::Status::kDeviceLost ? DXGI_ERROR_DEVICE_REMOVED : ToResult(status);
}

// The textures that the engines have: one level, one layer, one sample; staging ones for reading.
bool Supported(const D3D11_TEXTURE2D_DESC& description) {
  const bool staging = description.Usage == D3D11_USAGE_STAGING;
  return description.MipLevels == 1 && description.ArraySize == 1 &&
         description.SampleDesc.Count == 1 && description.SampleDesc.Quality == 0 &&
         description.MiscFlags == 0 &&
         description.CPUAccessFlags == (staging ? D3D11_CPU_ACCESS_READ : 0u) &&
         (staging || description.Usage == D3D11_USAGE_DEFAULT) &&
         (!staging || description.BindFlags == 0);
}

Surface* SurfaceOf(ID3D11Resource* resource) {
  auto* texture = dynamic_cast<DeviceTexture*>(resource);
  return texture ? texture->GetSurface().get() : nullptr;
}

}  // namespace

HRESULT DeviceTexture::GetDesc(DXGI_SURFACE_DESC* description) {
  if (!description) return E_POINTER;
  *description = {description_.Width, description_.Height, description_.Format,
                  description_.SampleDesc};
  return S_OK;
}

HRESULT Device3D::CreateTexture2D(const D3D11_TEXTURE2D_DESC* description,
                                  const D3D11_SUBRESOURCE_DATA* initial,
                                  ID3D11Texture2D** texture) {
  if (!description || !texture) return E_INVALIDARG;
  *texture = nullptr;
  Render::TextureDesc desc{.width = description->Width, .height = description->Height};
  if (!Supported(*description) || !ToEngineFormat(description->Format, &desc.format)) {
    return E_INVALIDARG;
  }
  if (description->Usage == D3D11_USAGE_STAGING) desc.usage = Render::Usage::kReadback;

  std::shared_ptr<Surface> surface;
  const Render::Status status = CreateSurface(device_, desc, initial ? initial->pSysMem : nullptr,
                                              initial ? initial->SysMemPitch : 0, &surface);
  if (status != Render::Status::kOk) return ToDeviceResult(status);
  *texture = MakeCom<DeviceTexture>(std::move(surface), *description).Detach();
  return *texture ? S_OK : E_OUTOFMEMORY;
}

HRESULT Device3D::GetDeviceRemovedReason() {
  return device_->GetEngine().Lost() ? DXGI_ERROR_DEVICE_REMOVED : S_OK;
}

void ImmediateContext::CopyResource(ID3D11Resource* destination, ID3D11Resource* source) {
  Surface* to = SurfaceOf(destination);
  const Surface* from = SurfaceOf(source);
  if (!to || !from || to->device != device_ || from->device != device_ ||
      to->texture->Bounds() != from->texture->Bounds()) {
    return;
  }
  device_->GetEngine().Copy(*to->texture, 0, 0, *from->texture, from->texture->Bounds());
  to->transparent = from->transparent;
}

HRESULT ImmediateContext::Map(ID3D11Resource* resource, UINT subresource, D3D11_MAP type,
                              UINT flags, D3D11_MAPPED_SUBRESOURCE* mapped) {
  Surface* surface = SurfaceOf(resource);
  if (!surface || surface->device != device_ || !mapped || subresource != 0 || flags != 0 ||
      type != D3D11_MAP_READ) {
    return E_INVALIDARG;
  }
  Render::Mapping mapping;
  const Render::Status status = device_->GetEngine().Map(*surface->texture, &mapping);
  if (status != Render::Status::kOk) return ToDeviceResult(status);
  const auto pitch = static_cast<UINT>(mapping.pitch);
  *mapped = {const_cast<std::byte*>(mapping.data), pitch, pitch * surface->texture->Desc().height};
  return S_OK;
}

void ImmediateContext::Unmap(ID3D11Resource* resource, UINT) {
  Surface* surface = SurfaceOf(resource);
  if (surface && surface->device == device_) device_->GetEngine().Unmap(*surface->texture);
}

bool InjectDeviceLoss(ID3D11Device* device, unsigned calls) {
  auto* device_3d = dynamic_cast<Device3D*>(device);
  if (!device_3d) return false;
  device_3d->GetGraphicsDevice()->GetEngine().InjectLoss(calls);
  return true;
}

}  // namespace Vantra::Platform

HRESULT D3D11CreateDevice(IUnknown* adapter, D3D_DRIVER_TYPE driverType, HMODULE software, UINT,
                          const D3D_FEATURE_LEVEL* levels, UINT levelCount, UINT sdkVersion,
                          ID3D11Device** device, D3D_FEATURE_LEVEL* level,
                          ID3D11DeviceContext** immediateContext) {
  using namespace Vantra::Platform;
  if (!device || !immediateContext) return E_INVALIDARG;
  *device = nullptr;
  *immediateContext = nullptr;
  if (adapter || driverType != D3D_DRIVER_TYPE_HARDWARE || software ||
      sdkVersion != D3D11_SDK_VERSION) {
    return E_INVALIDARG;
  }
  std::shared_ptr<GraphicsDevice> graphics = StartGraphicsDevice();
  if (!graphics) return DXGI_ERROR_UNSUPPORTED;
  const D3D_FEATURE_LEVEL reached = levels && levelCount > 0 ? levels[0] : D3D_FEATURE_LEVEL_11_0;
  CComPtr<ID3D11Device> made(MakeCom<Device3D>(graphics, reached));
  CComPtr<ID3D11DeviceContext> context(MakeCom<ImmediateContext>(graphics));
  if (!made || !context) return E_OUTOFMEMORY;
  if (level) *level = reached;
  *device = made.Detach();
  *immediateContext = context.Detach();
  return S_OK;
}
