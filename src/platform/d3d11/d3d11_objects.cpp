#include "platform/d3d11/d3d11_objects.h"

#include <vantrix/platform/engine.h>

#include "platform/com/guard.h"
#include "platform/d3d11/host_compute.h"

namespace Vantra::Platform {
namespace {

HRESULT ToDeviceResult(Render::Status status) {
  return status == Render::Status::kDeviceLost ? DXGI_ERROR_DEVICE_REMOVED : ToResult(status);
}

// How the engine holds a texture of a format.
struct Storage {
  Render::Format format = Render::Format::kBgra8;
  UINT pixels_per_texel = 1;
};

bool FindStorage(DXGI_FORMAT format, bool dynamic, Storage* storage) {
  if (ToEngineFormat(format, &storage->format)) return true;
  if (!dynamic) return false;
  switch (format) {
    case DXGI_FORMAT_R8_UNORM:
      *storage = {Render::Format::kR8, 1};
      return true;
    case DXGI_FORMAT_R8G8_UNORM:
      *storage = {Render::Format::kRg8, 1};
      return true;
    case DXGI_FORMAT_R8G8_B8G8_UNORM:
      // Devices that read this format themselves are rare.
      *storage = {Render::Format::kRgba8, 2};
      return true;
    default:
      return false;
  }
}

// The textures that the engines have: one level, one layer, one sample; staging ones for reading,
// dynamic ones for programs.
bool Supported(const D3D11_TEXTURE2D_DESC& description) {
  if (description.MipLevels != 1 || description.ArraySize != 1 ||
      description.SampleDesc.Count != 1 || description.SampleDesc.Quality != 0 ||
      description.MiscFlags != 0) {
    return false;
  }
  switch (description.Usage) {
    case D3D11_USAGE_DEFAULT:
      return description.CPUAccessFlags == 0;
    case D3D11_USAGE_DYNAMIC:
      return description.CPUAccessFlags == D3D11_CPU_ACCESS_WRITE &&
             description.BindFlags == D3D11_BIND_SHADER_RESOURCE;
    case D3D11_USAGE_STAGING:
      return description.CPUAccessFlags == D3D11_CPU_ACCESS_READ && description.BindFlags == 0;
  }
  return false;
}

bool IsConstants(const D3D11_BUFFER_DESC& description) {
  return description.Usage == D3D11_USAGE_DYNAMIC &&
         description.BindFlags == D3D11_BIND_CONSTANT_BUFFER &&
         description.CPUAccessFlags == D3D11_CPU_ACCESS_WRITE && description.MiscFlags == 0 &&
         description.ByteWidth > 0 && description.ByteWidth % 16 == 0 &&
         description.ByteWidth <= Render::kMaximumConstantBytes;
}

bool IsStructured(const D3D11_BUFFER_DESC& description) {
  return description.Usage == D3D11_USAGE_DEFAULT &&
         (description.BindFlags & ~UINT{D3D11_BIND_SHADER_RESOURCE}) ==
             D3D11_BIND_UNORDERED_ACCESS &&
         description.CPUAccessFlags == 0 &&
         description.MiscFlags == D3D11_RESOURCE_MISC_BUFFER_STRUCTURED &&
         description.StructureByteStride > 0 && description.StructureByteStride % 4 == 0 &&
         description.ByteWidth % description.StructureByteStride == 0;
}

bool IsStaging(const D3D11_BUFFER_DESC& description) {
  return description.Usage == D3D11_USAGE_STAGING && description.BindFlags == 0 &&
         description.CPUAccessFlags == D3D11_CPU_ACCESS_READ && description.MiscFlags == 0;
}

bool SameKind(DeviceTexture& a, DeviceTexture& b) {
  D3D11_TEXTURE2D_DESC first;
  D3D11_TEXTURE2D_DESC second;
  a.GetDesc(&first);
  b.GetDesc(&second);
  return first.Width == second.Width && first.Height == second.Height &&
         first.Format == second.Format;
}

}  // namespace

HRESULT DeviceTexture::GetDesc(DXGI_SURFACE_DESC* description) {
  if (!description) return E_POINTER;
  *description = {description_.Width, description_.Height, description_.Format,
                  description_.SampleDesc};
  return S_OK;
}

HRESULT Device3D::CreateBuffer(const D3D11_BUFFER_DESC* description,
                               const D3D11_SUBRESOURCE_DATA* initial, ID3D11Buffer** buffer) {
  if (!description || !buffer) return E_INVALIDARG;
  *buffer = nullptr;
  if (initial) return E_INVALIDARG;
  return GuardMemory([&] {
    std::unique_ptr<Render::Buffer> made;
    DynamicBytes constants;
    if (IsConstants(*description)) {
      if (device_->GetEngine().Lost()) return DXGI_ERROR_DEVICE_REMOVED;
      constants.bytes.resize(description->ByteWidth);
    } else if (const bool staging = IsStaging(*description);
               staging || IsStructured(*description)) {
      const Render::Status status = device_->GetEngine().CreateBuffer(
          {.bytes = description->ByteWidth,
           .usage = staging ? Render::Usage::kReadback : Render::Usage::kDevice},
          &made);
      if (status != Render::Status::kOk) return ToDeviceResult(status);
    } else {
      return E_INVALIDARG;
    }
    *buffer = MakeCom<DeviceBuffer>(device_, std::move(made), std::move(constants), *description)
                  .Detach();
    return *buffer ? S_OK : E_OUTOFMEMORY;
  });
}

HRESULT Device3D::CreateTexture2D(const D3D11_TEXTURE2D_DESC* description,
                                  const D3D11_SUBRESOURCE_DATA* initial,
                                  ID3D11Texture2D** texture) {
  if (!description || !texture) return E_INVALIDARG;
  *texture = nullptr;
  const bool dynamic = description->Usage == D3D11_USAGE_DYNAMIC;
  Storage storage;
  if (!Supported(*description) || !FindStorage(description->Format, dynamic, &storage) ||
      description->Width % storage.pixels_per_texel != 0) {
    return E_INVALIDARG;
  }
  Render::TextureDesc desc{.width = description->Width / storage.pixels_per_texel,
                           .height = description->Height,
                           .format = storage.format};
  if (description->Usage == D3D11_USAGE_STAGING) desc.usage = Render::Usage::kReadback;

  return GuardMemory([&] {
    std::shared_ptr<Surface> surface;
    const Render::Status status = CreateSurface(device_, desc, initial ? initial->pSysMem : nullptr,
                                                initial ? initial->SysMemPitch : 0, &surface);
    if (status != Render::Status::kOk) return ToDeviceResult(status);
    DynamicBytes bytes;
    if (dynamic) {
      // Zeros, so that what the host leaves unwritten is no memory of others.
      bytes.bytes.resize(std::size_t{desc.width} * Render::BytesPerPixel(desc.format) *
                         desc.height);
    }
    *texture = MakeCom<DeviceTexture>(std::move(surface), *description, std::move(bytes)).Detach();
    return *texture ? S_OK : E_OUTOFMEMORY;
  });
}

HRESULT Device3D::CreateShaderResourceView(ID3D11Resource* resource,
                                           const D3D11_SHADER_RESOURCE_VIEW_DESC* description,
                                           ID3D11ShaderResourceView** view) {
  if (!view) return E_INVALIDARG;
  *view = nullptr;
  auto* texture = dynamic_cast<DeviceTexture*>(resource);
  if (!texture || texture->GetSurface()->device != device_) return E_INVALIDARG;
  D3D11_TEXTURE2D_DESC viewed;
  texture->GetDesc(&viewed);
  if (!(viewed.BindFlags & D3D11_BIND_SHADER_RESOURCE)) return E_INVALIDARG;
  D3D11_SHADER_RESOURCE_VIEW_DESC whole = {
      .Format = viewed.Format, .ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D, .Texture2D = {0, 1}};
  if (description) {
    const bool fits =
        (description->Format == whole.Format || description->Format == DXGI_FORMAT_UNKNOWN) &&
        description->ViewDimension == whole.ViewDimension &&
        description->Texture2D.MostDetailedMip == 0 &&
        (description->Texture2D.MipLevels == 1 ||
         description->Texture2D.MipLevels == static_cast<UINT>(-1));
    if (!fits) return E_INVALIDARG;
  }
  *view = MakeCom<TextureView>(texture, whole).Detach();
  return *view ? S_OK : E_OUTOFMEMORY;
}

HRESULT Device3D::CreateUnorderedAccessView(ID3D11Resource* resource,
                                            const D3D11_UNORDERED_ACCESS_VIEW_DESC* description,
                                            ID3D11UnorderedAccessView** view) {
  if (!view) return E_INVALIDARG;
  *view = nullptr;
  auto* buffer = dynamic_cast<DeviceBuffer*>(resource);
  if (!buffer || buffer->GetGraphicsDevice() != device_) return E_INVALIDARG;
  D3D11_BUFFER_DESC viewed;
  buffer->GetDesc(&viewed);
  if (!(viewed.BindFlags & D3D11_BIND_UNORDERED_ACCESS)) return E_INVALIDARG;
  const UINT count = viewed.ByteWidth / viewed.StructureByteStride;
  D3D11_UNORDERED_ACCESS_VIEW_DESC whole = {.Format = DXGI_FORMAT_UNKNOWN,
                                            .ViewDimension = D3D11_UAV_DIMENSION_BUFFER,
                                            .Buffer = {0, count, 0}};
  if (description) {
    const bool fits = description->Format == whole.Format &&
                      description->ViewDimension == whole.ViewDimension &&
                      description->Buffer.FirstElement == 0 &&
                      description->Buffer.NumElements == count && description->Buffer.Flags == 0;
    if (!fits) return E_INVALIDARG;
  }
  *view = MakeCom<BufferView>(buffer, whole).Detach();
  return *view ? S_OK : E_OUTOFMEMORY;
}

HRESULT Device3D::CreateComputeShader(const void* bytes, std::size_t size,
                                      ID3D11ClassLinkage* linkage, ID3D11ComputeShader** shader) {
  if (!shader) return E_INVALIDARG;
  *shader = nullptr;
  if (!bytes || linkage) return E_INVALIDARG;
  return GuardMemory([&] {
    const Render::ComputeProgram* program = nullptr;
    const Render::Status status =
        device_->GetComputeProgram({static_cast<const std::byte*>(bytes), size}, &program);
    if (status != Render::Status::kOk) return ToDeviceResult(status);
    *shader = MakeCom<ComputeShader>(device_, program).Detach();
    return *shader ? S_OK : E_OUTOFMEMORY;
  });
}

HRESULT Device3D::GetDeviceRemovedReason() {
  return device_->GetEngine().Lost() ? DXGI_ERROR_DEVICE_REMOVED : S_OK;
}

void ImmediateContext::CSSetShader(ID3D11ComputeShader* shader, ID3D11ClassInstance* const*, UINT) {
  auto* bound = dynamic_cast<ComputeShader*>(shader);
  shader_ = bound && bound->GetGraphicsDevice() == device_ ? bound : nullptr;
}

void ImmediateContext::CSSetShaderResources(UINT startSlot, UINT count,
                                            ID3D11ShaderResourceView* const* views) {
  for (UINT i = 0; views && i < count && startSlot < textures_.size(); ++i, ++startSlot) {
    auto* view = dynamic_cast<TextureView*>(views[i]);
    textures_[startSlot] = view && view->Get().GetSurface()->device == device_ ? view : nullptr;
  }
}

void ImmediateContext::CSSetUnorderedAccessViews(UINT startSlot, UINT count,
                                                 ID3D11UnorderedAccessView* const* views,
                                                 const UINT*) {
  if (startSlot != 0 || count == 0 || !views) return;
  auto* view = dynamic_cast<BufferView*>(views[0]);
  output_ = view && view->Get().GetGraphicsDevice() == device_ ? view : nullptr;
}

void ImmediateContext::CSSetConstantBuffers(UINT startSlot, UINT count,
                                            ID3D11Buffer* const* buffers) {
  if (startSlot != 0 || count == 0 || !buffers) return;
  auto* buffer = dynamic_cast<DeviceBuffer*>(buffers[0]);
  // Only constants have bytes of the host.
  constants_ =
      buffer && buffer->GetGraphicsDevice() == device_ && !buffer->GetBuffer() ? buffer : nullptr;
}

void ImmediateContext::Dispatch(UINT x, UINT y, UINT z) {
  if (!shader_ || !output_ || z != 1 || (constants_ && constants_->Constants().mapped)) return;
  Render::Computation computation;
  computation.program = shader_->GetProgram();
  computation.groups_x = x;
  computation.groups_y = y;
  for (std::size_t slot = 0; slot < textures_.size(); ++slot) {
    if (!textures_[slot]) continue;
    DeviceTexture& texture = textures_[slot]->Get();
    if (texture.Dynamic().mapped) return;
    computation.textures[slot] = texture.GetSurface()->texture.get();
  }
  if (constants_) computation.constants = constants_->Constants().bytes;
  computation.output = output_->Get().GetBuffer();
  device_->GetEngine().Dispatch(computation);
}

void ImmediateContext::CopyResource(ID3D11Resource* destination, ID3D11Resource* source) {
  auto* to_buffer = dynamic_cast<DeviceBuffer*>(destination);
  auto* from_buffer = dynamic_cast<DeviceBuffer*>(source);
  if (to_buffer && from_buffer) {
    if (to_buffer->GetGraphicsDevice() == device_ && from_buffer->GetGraphicsDevice() == device_ &&
        to_buffer->GetBuffer() && from_buffer->GetBuffer()) {
      device_->GetEngine().CopyBuffer(*to_buffer->GetBuffer(), *from_buffer->GetBuffer());
    }
    return;
  }
  auto* to_texture = dynamic_cast<DeviceTexture*>(destination);
  auto* from_texture = dynamic_cast<DeviceTexture*>(source);
  if (!to_texture || !from_texture || !SameKind(*to_texture, *from_texture)) return;
  Surface& to = *to_texture->GetSurface();
  const Surface& from = *from_texture->GetSurface();
  if (to.device != device_ || from.device != device_) return;
  const Render::Status status =
      device_->GetEngine().Copy(*to.texture, 0, 0, *from.texture, from.texture->Bounds());
  to.transparent = status == Render::Status::kOk && from.transparent;
}

HRESULT ImmediateContext::Map(ID3D11Resource* resource, UINT subresource, D3D11_MAP type,
                              UINT flags, D3D11_MAPPED_SUBRESOURCE* mapped) {
  if (!mapped || subresource != 0 || flags != 0) return E_INVALIDARG;
  auto* buffer = dynamic_cast<DeviceBuffer*>(resource);
  auto* texture = dynamic_cast<DeviceTexture*>(resource);
  if (!(buffer && buffer->GetGraphicsDevice() == device_) &&
      !(texture && texture->GetSurface()->device == device_)) {
    return E_INVALIDARG;
  }
  Render::Engine& engine = device_->GetEngine();
  const UINT rows = texture ? texture->GetSurface()->texture->Desc().height : 1;
  if (type == D3D11_MAP_WRITE_DISCARD) {
    DynamicBytes& dynamic = buffer ? buffer->Constants() : texture->Dynamic();
    if (dynamic.bytes.empty() || dynamic.mapped) return E_INVALIDARG;
    if (engine.Lost()) return DXGI_ERROR_DEVICE_REMOVED;
    dynamic.mapped = true;
    const auto bytes = static_cast<UINT>(dynamic.bytes.size());
    *mapped = {dynamic.bytes.data(), bytes / rows, bytes};
    return S_OK;
  }
  if (type != D3D11_MAP_READ || (buffer && !buffer->GetBuffer())) return E_INVALIDARG;
  Render::Mapping mapping;
  const Render::Status status = buffer ? engine.Map(*buffer->GetBuffer(), &mapping)
                                       : engine.Map(*texture->GetSurface()->texture, &mapping);
  if (status != Render::Status::kOk) return ToDeviceResult(status);
  const auto pitch = static_cast<UINT>(mapping.pitch);
  *mapped = {const_cast<std::byte*>(mapping.data), pitch, pitch * rows};
  return S_OK;
}

void ImmediateContext::Unmap(ID3D11Resource* resource, UINT) {
  Render::Engine& engine = device_->GetEngine();
  if (auto* buffer = dynamic_cast<DeviceBuffer*>(resource)) {
    if (buffer->GetGraphicsDevice() != device_) return;
    buffer->Constants().mapped = false;
    if (buffer->GetBuffer()) engine.Unmap(*buffer->GetBuffer());
    return;
  }
  auto* texture = dynamic_cast<DeviceTexture*>(resource);
  if (!texture || texture->GetSurface()->device != device_) return;
  Surface& surface = *texture->GetSurface();
  DynamicBytes& dynamic = texture->Dynamic();
  if (!dynamic.mapped) {
    engine.Unmap(*surface.texture);
    return;
  }
  dynamic.mapped = false;
  surface.transparent = false;
  engine.Upload(*surface.texture, surface.texture->Bounds(), dynamic.bytes.data(),
                dynamic.bytes.size() / surface.texture->Desc().height);
}

std::string TakeRefusal(ID3D11Device* device) {
  auto* device_3d = dynamic_cast<Device3D*>(device);
  return device_3d ? device_3d->GetGraphicsDevice()->TakeRefusal() : std::string();
}

bool DispatchOnHost(ID3D11ComputeShader* shader, Render::HostComputation computation) {
  auto* own = dynamic_cast<ComputeShader*>(shader);
  if (!own) return false;
  computation.program = own->GetProgram();
  return own->GetGraphicsDevice()->GetEngine().DispatchOnHost(computation) == Render::Status::kOk;
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
