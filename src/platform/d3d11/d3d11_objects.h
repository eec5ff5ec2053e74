#pragma once

// The 3D device, its textures, buffers, views and programs, and its immediate context.

#include <vantrix/platform/d3d11.h>

#include <array>
#include <memory>
#include <vector>

#include "platform/com/com_object.h"
#include "platform/engine/graphics_device.h"

namespace Vantra::Platform {

// The memory through which the host writes a dynamic resource. It is kept from frame to frame, so
// that a steady stream takes no memory.
struct DynamicBytes {
  std::vector<std::byte> bytes;
  bool mapped = false;
};

class DeviceTexture final
    : public ComObject<Implements<ID3D11Texture2D, ID3D11Resource>, IDXGISurface> {
 public:
  DeviceTexture(std::shared_ptr<Surface> surface, const D3D11_TEXTURE2D_DESC& description,
                DynamicBytes dynamic)
      : surface_(std::move(surface)), description_(description), dynamic_(std::move(dynamic)) {}

  void GetDesc(D3D11_TEXTURE2D_DESC* description) override { *description = description_; }
  HRESULT GetDesc(DXGI_SURFACE_DESC* description) override;

  const std::shared_ptr<Surface>& GetSurface() const { return surface_; }
  // What the host writes; without bytes unless the usage is dynamic.
  DynamicBytes& Dynamic() { return dynamic_; }

 private:
  std::shared_ptr<Surface> surface_;
  D3D11_TEXTURE2D_DESC description_;
  DynamicBytes dynamic_;
};

class DeviceBuffer final : public ComObject<Implements<ID3D11Buffer, ID3D11Resource>> {
 public:
  // `buffer` is null for constants, which live in `constants` alone.
  DeviceBuffer(std::shared_ptr<GraphicsDevice> device, std::unique_ptr<Render::Buffer> buffer,
               DynamicBytes constants, const D3D11_BUFFER_DESC& description)
      : device_(std::move(device)),
        buffer_(std::move(buffer)),
        constants_(std::move(constants)),
        description_(description) {}

  void GetDesc(D3D11_BUFFER_DESC* description) override { *description = description_; }

  const std::shared_ptr<GraphicsDevice>& GetGraphicsDevice() const { return device_; }
  Render::Buffer* GetBuffer() const { return buffer_.get(); }
  DynamicBytes& Constants() { return constants_; }

 private:
  // The buffer must go before its engine.
  std::shared_ptr<GraphicsDevice> device_;
  std::unique_ptr<Render::Buffer> buffer_;
  DynamicBytes constants_;
  D3D11_BUFFER_DESC description_;
};

// A view of the whole of a resource.
template <class Interface, class Description, class Resource>
class DeviceView final : public ComObject<Implements<Interface, ID3D11View>> {
 public:
  DeviceView(Resource* resource, const Description& description)
      : resource_(resource), description_(description) {}

  void GetResource(ID3D11Resource** resource) override {
    *resource = CComPtr<Resource>(resource_).Detach();
  }
  void GetDesc(Description* description) override { *description = description_; }

  Resource& Get() const { return *resource_; }

 private:
  CComPtr<Resource> resource_;
  Description description_;
};

using TextureView =
    DeviceView<ID3D11ShaderResourceView, D3D11_SHADER_RESOURCE_VIEW_DESC, DeviceTexture>;
using BufferView =
    DeviceView<ID3D11UnorderedAccessView, D3D11_UNORDERED_ACCESS_VIEW_DESC, DeviceBuffer>;

class ComputeShader final : public ComObject<ID3D11ComputeShader> {
 public:
  // `program` belongs to the device.
  ComputeShader(std::shared_ptr<GraphicsDevice> device, const Render::ComputeProgram* program)
      : device_(std::move(device)), program_(program) {}

  const std::shared_ptr<GraphicsDevice>& GetGraphicsDevice() const { return device_; }
  const Render::ComputeProgram* GetProgram() const { return program_; }

 private:
  std::shared_ptr<GraphicsDevice> device_;
  const Render::ComputeProgram* program_;
};

class Device3D final : public ComObject<ID3D11Device> {
 public:
  Device3D(std::shared_ptr<GraphicsDevice> device, D3D_FEATURE_LEVEL level)
      : device_(std::move(device)), level_(level) {}

  HRESULT CreateBuffer(const D3D11_BUFFER_DESC* description, const D3D11_SUBRESOURCE_DATA* initial,
                       ID3D11Buffer** buffer) override;
  HRESULT CreateTexture2D(const D3D11_TEXTURE2D_DESC* description,
                          const D3D11_SUBRESOURCE_DATA* initial,
                          ID3D11Texture2D** texture) override;
  HRESULT CreateShaderResourceView(ID3D11Resource* resource,
                                   const D3D11_SHADER_RESOURCE_VIEW_DESC* description,
                                   ID3D11ShaderResourceView** view) override;
  HRESULT CreateUnorderedAccessView(ID3D11Resource* resource,
                                    const D3D11_UNORDERED_ACCESS_VIEW_DESC* description,
                                    ID3D11UnorderedAccessView** view) override;
  HRESULT CreateComputeShader(const void* bytes, std::size_t size, ID3D11ClassLinkage* linkage,
                              ID3D11ComputeShader** shader) override;
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

  void CSSetShader(ID3D11ComputeShader* shader, ID3D11ClassInstance* const* instances,
                   UINT instanceCount) override;
  void CSSetShaderResources(UINT startSlot, UINT count,
                            ID3D11ShaderResourceView* const* views) override;
  void CSSetUnorderedAccessViews(UINT startSlot, UINT count,
                                 ID3D11UnorderedAccessView* const* views,
                                 const UINT* initialCounts) override;
  void CSSetConstantBuffers(UINT startSlot, UINT count, ID3D11Buffer* const* buffers) override;
  void Dispatch(UINT x, UINT y, UINT z) override;
  void CopyResource(ID3D11Resource* destination, ID3D11Resource* source) override;
  HRESULT Map(ID3D11Resource* resource, UINT subresource, D3D11_MAP type, UINT flags,
              D3D11_MAPPED_SUBRESOURCE* mapped) override;
  void Unmap(ID3D11Resource* resource, UINT subresource) override;

 private:
  std::shared_ptr<GraphicsDevice> device_;
  CComPtr<ComputeShader> shader_;
  std::array<CComPtr<TextureView>, Render::kRegisterCount> textures_;
  CComPtr<BufferView> output_;
  CComPtr<DeviceBuffer> constants_;
};

}  // namespace Vantra::Platform
