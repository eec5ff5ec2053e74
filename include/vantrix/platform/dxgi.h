#pragma once

/// The part of the graphics infrastructure contract that the library uses.

#include <vantrix/platform/com.h>

constexpr HRESULT DXGI_ERROR_INVALID_CALL = static_cast<HRESULT>(0x887A0001);
constexpr HRESULT DXGI_ERROR_UNSUPPORTED = static_cast<HRESULT>(0x887A0004);
constexpr HRESULT DXGI_ERROR_DEVICE_REMOVED = static_cast<HRESULT>(0x887A0005);
constexpr HRESULT DXGI_ERROR_DEVICE_RESET = static_cast<HRESULT>(0x887A0007);

enum DXGI_FORMAT : UINT {
  DXGI_FORMAT_UNKNOWN = 0,
  DXGI_FORMAT_R8G8B8A8_UNORM = 28,
  DXGI_FORMAT_R8G8_UNORM = 49,
  DXGI_FORMAT_R8_UNORM = 61,
  DXGI_FORMAT_R8G8_B8G8_UNORM = 68,
  DXGI_FORMAT_B8G8R8A8_UNORM = 87,
  DXGI_FORMAT_AYUV = 100,
  DXGI_FORMAT_NV12 = 103,
  DXGI_FORMAT_420_OPAQUE = 106,
  DXGI_FORMAT_YUY2 = 107,
};

struct DXGI_SAMPLE_DESC {
  UINT Count;
  UINT Quality;
};

struct DXGI_SURFACE_DESC {
  UINT Width;
  UINT Height;
  DXGI_FORMAT Format;
  DXGI_SAMPLE_DESC SampleDesc;
};

/// The two-dimensional face of a texture, on which a 2D render target can be made.
class IDXGISurface : public IUnknown {
 public:
  virtual HRESULT GetDesc(DXGI_SURFACE_DESC* description) = 0;

 protected:
  ~IDXGISurface() = default;
};
VANTRIX_INTERFACE(IDXGISurface, 0xCAFCB56C, 0x6AC3, 0x4889,
                  {0xBF, 0x47, 0x9E, 0x23, 0xBB, 0xD2, 0x60, 0xEC});
