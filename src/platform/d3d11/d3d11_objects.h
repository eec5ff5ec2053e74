#pragma once

// The 3D device, its textures and its immediate context.

#include <vantrix/platform/d3d11.h>

#include <memory>

#include "platform/com/com_object.h"
#include "platform/engine/graphics_device.h"

namespace Vantra::Platform {

class DeviceTexture final
    : public ComObject<Implements<ID3D11Texture2D, ID3D11Resource>, IDXGISurface> {
 public:
  DeviceTexture(std::shared_ptr<Surface> surface, const D3D11_TEXTURE2D_DESC& description)
      : surface_(std::move(surface)), description_(description) {}

  void GetDesc(D3D11_TEXTURE2D_DESC* description) override { *description = description_; }
  HRESULT GetDesc(DXGI_SURFACE_DESC* description) override;

  const std::shared_ptr<Surface>& GetSurface() const { return surface_; }

 private:
  std::shared_ptr<Surface> surface_;
  D3D11_TEXTURE2D_DESC description_;
};

class Device3D final : public ComObject<ID3D11Device> {
 public:
  Device3D(std::shared_ptr<GraphicsDevice> device, D3D_FEATURE_LEVEL level)
      : device_(std::move(device)), level_(level) {}

  HRESULT CreateTexture2D(const D3D11_TEXTURE2D_DESC* description,
                          const D3D11_SUBRESOURCE_DATA* initial,
                          ID3D11Texture2D** texture) override;
  D3D_FEATURE_LEVEL GetFeatureLevel() override { return level_; }
  HRESULT GetDeviceRemovedReason() override;

  const std::shared_ptr<GraphicsDevice>& GetGraphicsDevice() const { return device_; }

 private:
  std::shared_ptr<GraphicsDevice> device_;
  D3D_FEATURE_LEVEL level_;
};

class ImmediateContext final : public ComObject<ID3D11DeviceContext> {
 public:
  explicit ImmediateContext(std::shared_ptr<GraphicsDevice> device) : device_(std::move(device)) {}

  void CopyResource(ID3D11Resource* destination, ID3D11Resource* source) override;
  HRESULT Map(ID3D11Resource* resource, UINT subresource, D3D11_MAP type, UINT flags,
              D3D11_MAPPED_SUBRESOURCE* mapped) override;
  void Unmap(ID3D11Resource* resource, UINT subresource) override;

 private:
  std::shared_ptr<GraphicsDevice> device_;
};

}  // namespace Vantra::Platform
