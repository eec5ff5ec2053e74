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
enum D3D11_USAGE : UINT { D3D11_USAGE_DEFAULT = 0, D3D11_USAGE_STAGING = 3 };
enum D3D11_BIND_FLAG : UINT { D3D11_BIND_SHADER_RESOURCE = 0x8, D3D11_BIND_RENDER_TARGET = 0x20 };
enum D3D11_CPU_ACCESS_FLAG : UINT { D3D11_CPU_ACCESS_READ = 0x20000 };
enum D3D11_MAP : UINT { D3D11_MAP_READ = 1 };

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

class ID3D11Device : public IUnknown {
 public:
  /// Makes a texture of one mip level and one layer, in either format of `DXGI_FORMAT`, of usage
  /// default or staging. `initial` may be null: the texture then starts as transparent black.
  /// Returns `E_INVALIDARG` for what the layer does not support or a size of 0 or beyond the
  /// engine's limit, `E_OUTOFMEMORY`, or `DXGI_ERROR_DEVICE_REMOVED`.
  virtual HRESULT CreateTexture2D(const D3D11_TEXTURE2D_DESC* description,
                                  const D3D11_SUBRESOURCE_DATA* initial,
                                  ID3D11Texture2D** texture) = 0;
  virtual D3D_FEATURE_LEVEL GetFeatureLevel() = 0;
  /// `S_OK`, or `DXGI_ERROR_DEVICE_REMOVED` once the device is lost.
  virtual HRESULT GetDeviceRemovedReason() = 0;

 protected:
  ~ID3D11Device() = default;
};
VANTRIX_INTERFACE(ID3D11Device, 0xDB6F6DDB, 0xAC77, 0x4E88,
                  {0x82, 0x53, 0x81, 0x9D, 0xF9, 0xBB, 0xF1, 0x40});

/// The immediate context: copies and read-back, in order with the drawing of the 2D contexts.
class ID3D11DeviceContext : public IUnknown {
 public:
  /// Copies the whole of `source` to `destination`, of the same size and format.
  virtual void CopyResource(ID3D11Resource* destination, ID3D11Resource* source) = 0;
  /// Waits for the device and gives the address of a staging texture's pixels, valid until `Unmap`.
  /// `subresource` and `flags` must be 0 and `type` `D3D11_MAP_READ`, else `E_INVALIDARG`;
  /// `DXGI_ERROR_DEVICE_REMOVED` when the device is lost.
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
