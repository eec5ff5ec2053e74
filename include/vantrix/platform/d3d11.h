#pragma once

/// The part of the 3D device contract that the library uses.

#include <vantrix/platform/dxgi.h>

enum D3D_DRIVER_TYPE : UINT { D3D_DRIVER_TYPE_HARDWARE = 1 };

enum D3D_FEATURE_LEVEL : UINT {
  D3D_FEATURE_LEVEL_9_1 = 0x9100,
  D3D_FEATURE_LEVEL_9_2 = 0x9200,
  D3D_FEATURE_LEVEL_9_3 = 0x9300,
  D3D_FEATURE_LEVEL_10_0 = 0xA000,
  D3D_FEATURE_LEVEL_10_1 = 0xA100,
  D3D_FEATURE_LEVEL_11_0 = 0xB000,
  D3D_FEATURE_LEVEL_11_1 = 0xB100,
};

constexpr UINT D3D11_SDK_VERSION = 7;

enum D3D11_CREATE_DEVICE_FLAG : UINT { D3D11_CREATE_DEVICE_BGRA_SUPPORT = 0x20 };
enum D3D11_USAGE : UINT {
  D3D11_USAGE_DEFAULT = 0,
  D3D11_USAGE_DYNAMIC = 2,
  D3D11_USAGE_STAGING = 3,
};
enum D3D11_BIND_FLAG : UINT {
  D3D11_BIND_CONSTANT_BUFFER = 0x4,
  D3D11_BIND_SHADER_RESOURCE = 0x8,
  D3D11_BIND_RENDER_TARGET = 0x20,
  D3D11_BIND_UNORDERED_ACCESS = 0x80,
};
enum D3D11_CPU_ACCESS_FLAG : UINT {
  D3D11_CPU_ACCESS_WRITE = 0x10000,
  D3D11_CPU_ACCESS_READ = 0x20000,
};
enum D3D11_RESOURCE_MISC_FLAG : UINT { D3D11_RESOURCE_MISC_BUFFER_STRUCTURED = 0x40 };
enum D3D11_MAP : UINT { D3D11_MAP_READ = 1, D3D11_MAP_WRITE_DISCARD = 4 };
enum D3D11_SRV_DIMENSION : UINT { D3D11_SRV_DIMENSION_TEXTURE2D = 4 };
enum D3D11_UAV_DIMENSION : UINT { D3D11_UAV_DIMENSION_BUFFER = 1 };

struct D3D11_TEXTURE2D_DESC {
  UINT Width;
  UINT Height;
  UINT MipLevels;
  UINT ArraySize;
  DXGI_FORMAT Format;
  DXGI_SAMPLE_DESC SampleDesc;
  D3D11_USAGE Usage;
  UINT BindFlags;
  UINT CPUAccessFlags;
  UINT MiscFlags;
};

struct D3D11_BUFFER_DESC {
  UINT ByteWidth;
  D3D11_USAGE Usage;
  UINT BindFlags;
  UINT CPUAccessFlags;
  UINT MiscFlags;
  UINT StructureByteStride;
};

struct D3D11_TEX2D_SRV {
  UINT MostDetailedMip;
  UINT MipLevels;
};

struct D3D11_SHADER_RESOURCE_VIEW_DESC {
  DXGI_FORMAT Format;
  D3D11_SRV_DIMENSION ViewDimension;
  union {
    D3D11_TEX2D_SRV Texture2D;
  };
};

struct D3D11_BUFFER_UAV {
  UINT FirstElement;
  UINT NumElements;
  UINT Flags;
};

struct D3D11_UNORDERED_ACCESS_VIEW_DESC {
  DXGI_FORMAT Format;
  D3D11_UAV_DIMENSION ViewDimension;
  union {
    D3D11_BUFFER_UAV Buffer;
  };
};

struct D3D11_SUBRESOURCE_DATA {
  const void* pSysMem;
  UINT SysMemPitch;
  UINT SysMemSlicePitch;
};

struct D3D11_MAPPED_SUBRESOURCE {
  void* pData;
  UINT RowPitch;
  UINT DepthPitch;
};

class ID3D11Resource : public IUnknown {
 protected:
  ~ID3D11Resource() = default;
};
VANTRIX_INTERFACE(ID3D11Resource, 0xDC8E63F3, 0xD12B, 0x4952,
                  {0xB4, 0x7B, 0x5E, 0x45, 0x02, 0x6A, 0x86, 0x2D});

/// A 2D image on the device. `QueryInterface` gives its `IDXGISurface`.
class ID3D11Texture2D : public ID3D11Resource {
 public:
  virtual void GetDesc(D3D11_TEXTURE2D_DESC* description) = 0;

 protected:
  ~ID3D11Texture2D() = default;
};
VANTRIX_INTERFACE(ID3D11Texture2D, 0x6F15AAF2, 0xD208, 0x4E89,
                  {0x9A, 0xB4, 0x48, 0x95, 0x35, 0xD3, 0x4F, 0x9C});

class ID3D11Buffer : public ID3D11Resource {
 public:
  virtual void GetDesc(D3D11_BUFFER_DESC* description) = 0;

 protected:
  ~ID3D11Buffer() = default;
};
VANTRIX_INTERFACE(ID3D11Buffer, 0x48570B85, 0xD1EE, 0x4FCD,
                  {0xA2, 0x50, 0xEB, 0x35, 0x07, 0x22, 0xB0, 0x37});

/// A way for programs to reach a resource, which it keeps alive.
class ID3D11View : public IUnknown {
 public:
  /// Stores the resource in `*resource`, with one reference for the caller.
  virtual void GetResource(ID3D11Resource** resource) = 0;

 protected:
  ~ID3D11View() = default;
};
VANTRIX_INTERFACE(ID3D11View, 0x839D1216, 0xBB2E, 0x412B,
                  {0xB7, 0xF4, 0xA9, 0xDB, 0xEB, 0xE0, 0x8E, 0xD1});

class ID3D11ShaderResourceView : public ID3D11View {
 public:
  virtual void GetDesc(D3D11_SHADER_RESOURCE_VIEW_DESC* description) = 0;

 protected:
  ~ID3D11ShaderResourceView() = default;
};
VANTRIX_INTERFACE(ID3D11ShaderResourceView, 0xB0E06FE0, 0x8192, 0x4E1A,
                  {0xB1, 0xCA, 0x36, 0xD7, 0x41, 0x47, 0x10, 0xB2});

class ID3D11UnorderedAccessView : public ID3D11View {
 public:
  virtual void GetDesc(D3D11_UNORDERED_ACCESS_VIEW_DESC* description) = 0;

 protected:
  ~ID3D11UnorderedAccessView() = default;
};
VANTRIX_INTERFACE(ID3D11UnorderedAccessView, 0x28ACF509, 0x7F5C, 0x48F6,
                  {0x86, 0x11, 0xF3, 0x16, 0x01, 0x0A, 0x63, 0x80});

class ID3D11ComputeShader : public IUnknown {
 protected:
  ~ID3D11ComputeShader() = default;
};
VANTRIX_INTERFACE(ID3D11ComputeShader, 0x4F5B196E, 0xC2BD, 0x495E,
                  {0xBD, 0x01, 0x1F, 0xDE, 0xD3, 0x8E, 0x49, 0x69});

// Parts of programs that are linked late. The layer has none: only null is valid.
class ID3D11ClassLinkage;
class ID3D11ClassInstance;

class ID3D11Device : public IUnknown {
 public:
  /// Makes a buffer of one of three kinds: dynamic constants, a multiple of 16 up to 4096 bytes; a
  /// structured buffer of usage default for unordered access, of whole elements of a multiple of 4
  /// bytes, whose contents are undefined until written; a staging buffer for reading. `initial`
  /// must be null. Results as for textures.
  virtual HRESULT CreateBuffer(const D3D11_BUFFER_DESC* description,
                               const D3D11_SUBRESOURCE_DATA* initial, ID3D11Buffer** buffer) = 0;
  /// Makes a texture of one mip level and one layer, of usage default, staging, or, for programs to
  /// read, dynamic. Its format is RGBA or BGRA of 8 bits a channel. A dynamic one may be of R8,
  /// R8G8 or, with an even width, R8G8_B8G8 as well. `initial` may be null: the texture then starts
  /// as transparent black. Returns `E_INVALIDARG` for what the layer does not support or a size of
  /// 0 or beyond the engine's limit, `E_OUTOFMEMORY` when there is no memory for it, or
  /// `DXGI_ERROR_DEVICE_REMOVED`.
  virtual HRESULT CreateTexture2D(const D3D11_TEXTURE2D_DESC* description,
                                  const D3D11_SUBRESOURCE_DATA* initial,
                                  ID3D11Texture2D** texture) = 0;
  /// Makes a view of a whole texture that is bound as a shader resource. `description` may be null;
  /// else it must name the texture's own format and its one level. Programs see
  /// `DXGI_FORMAT_R8G8_B8G8_UNORM` as texels of four bytes in memory order, one for a pixel pair.
  virtual HRESULT CreateShaderResourceView(ID3D11Resource* resource,
                                           const D3D11_SHADER_RESOURCE_VIEW_DESC* description,
                                           ID3D11ShaderResourceView** view) = 0;
  /// Makes a view of a whole structured buffer. `description` may be null; else it must name all
  /// elements from the first, without a format and flags.
  virtual HRESULT CreateUnorderedAccessView(ID3D11Resource* resource,
                                            const D3D11_UNORDERED_ACCESS_VIEW_DESC* description,
                                            ID3D11UnorderedAccessView** view) = 0;
  /// Makes a compute program of one of the library's resources. `linkage` must be null. Returns
  /// `E_INVALIDARG` for bytes that are no such program.
  virtual HRESULT CreateComputeShader(const void* bytes, std::size_t size,
                                      ID3D11ClassLinkage* linkage,
                                      ID3D11ComputeShader** shader) = 0;
  virtual D3D_FEATURE_LEVEL GetFeatureLevel() = 0;
  /// `S_OK`, or `DXGI_ERROR_DEVICE_REMOVED` once the device is lost.
  virtual HRESULT GetDeviceRemovedReason() = 0;

 protected:
  ~ID3D11Device() = default;
};
VANTRIX_INTERFACE(ID3D11Device, 0xDB6F6DDB, 0xAC77, 0x4E88,
                  {0x82, 0x53, 0x81, 0x9D, 0xF9, 0xBB, 0xF1, 0x40});

/// The immediate context: compute programs, copies and mapping, in order with the drawing of the 2D
/// contexts. What is bound is kept alive. Calls without a result ignore what the layer does not
/// support and objects of another device.
class ID3D11DeviceContext : public IUnknown {
 public:
  /// Binds, or with null unbinds, the program, the textures of slots 0 to 2, the output of slot 0
  /// and the constants of slot 0. `instances` must be null; `initialCounts` are not read.
  virtual void CSSetShader(ID3D11ComputeShader* shader, ID3D11ClassInstance* const* instances,
                           UINT instanceCount) = 0;
  virtual void CSSetShaderResources(UINT startSlot, UINT count,
                                    ID3D11ShaderResourceView* const* views) = 0;
  virtual void CSSetUnorderedAccessViews(UINT startSlot, UINT count,
                                         ID3D11UnorderedAccessView* const* views,
                                         const UINT* initialCounts) = 0;
  virtual void CSSetConstantBuffers(UINT startSlot, UINT count, ID3D11Buffer* const* buffers) = 0;
  /// Runs the bound program over `x` by `y` groups of 32 by 16; `z` must be 1. A texture that is
  /// not bound reads as transparent black, constants that are not bound as 0. Nothing happens
  /// without a program and an output, and while something bound is mapped.
  virtual void Dispatch(UINT x, UINT y, UINT z) = 0;
  /// Copies the whole of `source` to `destination`, of the same kind, size and format.
  virtual void CopyResource(ID3D11Resource* destination, ID3D11Resource* source) = 0;
  /// Gives the address of a resource's bytes, valid until `Unmap`. `D3D11_MAP_READ` waits for the
  /// device and reads a staging resource, whose bytes may be memory that the device goes on drawing
  /// with: they must not be written. `D3D11_MAP_WRITE_DISCARD` replaces the whole of a dynamic
  /// one at `Unmap`, without waiting; read from there, the bytes are those of the last time.
  /// `subresource` and `flags` must be 0. Returns `E_INVALIDARG` for any other use and for a
  /// dynamic resource that is mapped; `DXGI_ERROR_DEVICE_REMOVED` when the device is lost.
  virtual HRESULT Map(ID3D11Resource* resource, UINT subresource, D3D11_MAP type, UINT flags,
                      D3D11_MAPPED_SUBRESOURCE* mapped) = 0;
  virtual void Unmap(ID3D11Resource* resource, UINT subresource) = 0;

 protected:
  ~ID3D11DeviceContext() = default;
};
VANTRIX_INTERFACE(ID3D11DeviceContext, 0xC0BFA96C, 0xE089, 0x44FB,
                  {0x8E, 0xAF, 0x26, 0xF8, 0x79, 0x61, 0x90, 0xDA});

/// Makes the 3D device and its immediate context on the engine chosen with
/// `Vantra::Platform::SelectEngine`. `adapter` and `software` must be null, `driverType` hardware;
/// `levels` lists the acceptable feature levels (null for any) and `*level` receives the first.
/// Returns `DXGI_ERROR_UNSUPPORTED` when no engine can be started.
HRESULT D3D11CreateDevice(IUnknown* adapter, D3D_DRIVER_TYPE driverType, HMODULE software,
                          UINT flags, const D3D_FEATURE_LEVEL* levels, UINT levelCount,
                          UINT sdkVersion, ID3D11Device** device, D3D_FEATURE_LEVEL* level,
                          ID3D11DeviceContext** immediateContext);
