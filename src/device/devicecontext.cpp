#include <vantrix/device/device.h>
#include <vantrix/device/devicecontext.h>
#include <vantrix/device/dexception.h>

#include <iterator>

namespace Vantra {
namespace {

// Throws unless `result` is a success: a report of `what`, with the result.
void Check(HRESULT result, const char* function, int line, int error, const char* what) {
  if (FAILED(result)) {
    ThrowDException(__FILE__, function, line, error, "%s: 0x%x", what,
                    static_cast<unsigned int>(result));
  }
}

constexpr D3D_FEATURE_LEVEL kFeatureLevels[] = {
    D3D_FEATURE_LEVEL_11_1, D3D_FEATURE_LEVEL_11_0, D3D_FEATURE_LEVEL_10_1, D3D_FEATURE_LEVEL_10_0,
    D3D_FEATURE_LEVEL_9_3,  D3D_FEATURE_LEVEL_9_2,  D3D_FEATURE_LEVEL_9_1,
};

}  // namespace

DeviceContext::DeviceContext(Device* device) : device_(device) {}

DeviceContext::~DeviceContext() {
  // Resources may outlive a device that was never cleaned up.
  resource_factory_.DestroyAll();
  ReleaseAll();
}

void DeviceContext::SetupDeviceIndependentResources() {
  constexpr const char* kFunction = "Vantra::DeviceContext::SetupDeviceIndependentResources";
  imaging_factory_.Release();
  d2d_factory_.Release();
  HRESULT result = CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER,
                                    IID_PPV_ARGS(&imaging_factory_));
  Check(imaging_factory_ ? S_OK : result, kFunction, __LINE__, DException::kDevice,
        "Create WIC ImagingFactory failed");
  result = D2D1CreateFactory(D2D1_FACTORY_TYPE_MULTI_THREADED, __uuidof(ID2D1Factory1), nullptr,
                             reinterpret_cast<void**>(&d2d_factory_));
  Check(result, kFunction, __LINE__, DException::kDevice, "D2D1CreateFactory failed");
  effect_factory_.Create(device_);
  SetupDeviceDependentResources();
}

void DeviceContext::SetupDeviceDependentResources() {
  feature_level_ = D3D_FEATURE_LEVEL_11_1;
  d3d_device_.Release();
  immediate_context_.Release();
  const HRESULT result = D3D11CreateDevice(
      nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, D3D11_CREATE_DEVICE_BGRA_SUPPORT, kFeatureLevels,
      static_cast<UINT>(std::size(kFeatureLevels)), D3D11_SDK_VERSION, &d3d_device_,
      &feature_level_, &immediate_context_);
  Check(result, "Vantra::DeviceContext::SetupDeviceDependentResources", __LINE__,
        DException::kDevice, "D3D11CreateDevice failed");
  SetupRenderTarget();
  resource_factory_.RestoreAll();
}

void DeviceContext::SetupRenderTarget() {
  constexpr const char* kFunction = "Vantra::DeviceContext::SetupRenderTarget";
  D3D11_TEXTURE2D_DESC description = {
      .Width = static_cast<UINT>(device_->width_),
      .Height = static_cast<UINT>(device_->height_),
      .MipLevels = 1,
      .ArraySize = 1,
      .Format = DXGI_FORMAT_B8G8R8A8_UNORM,
      .SampleDesc = {1, 0},
      .Usage = D3D11_USAGE_DEFAULT,
      .BindFlags = D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET,
      .CPUAccessFlags = 0,
      .MiscFlags = 0,
  };
  ReleaseRenderTarget();
  Check(d3d_device_->CreateTexture2D(&description, nullptr, &render_texture_), kFunction, __LINE__,
        DException::kTexture, "Create render target texture failed");

  description.Usage = D3D11_USAGE_STAGING;
  description.BindFlags = 0;
  description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  Check(d3d_device_->CreateTexture2D(&description, nullptr, &read_back_texture_), kFunction,
        __LINE__, DException::kTexture, "Create render target clone readable texture failed");

  d2d_factory_->GetDesktopDpi(&dpi_x_, &dpi_y_);
  CComPtr<IDXGISurface> surface;
  Check(render_texture_.QueryInterface(&surface), kFunction, __LINE__, DException::kDevice,
        "OffscreenRenderTexture query DXGISurface failed");
  const D2D1_RENDER_TARGET_PROPERTIES properties = {
      .type = D2D1_RENDER_TARGET_TYPE_DEFAULT,
      .pixelFormat = {DXGI_FORMAT_UNKNOWN, D2D1_ALPHA_MODE_PREMULTIPLIED},
      .dpiX = dpi_x_,
      .dpiY = dpi_y_,
      .usage = D2D1_RENDER_TARGET_USAGE_NONE,
      .minLevel = D2D1_FEATURE_LEVEL_DEFAULT,
  };
  Check(d2d_factory_->CreateDxgiSurfaceRenderTarget(surface, &properties, &surface_target_),
        kFunction, __LINE__, DException::kDevice, "Create 2D RenderTarget failed");
  Check(surface_target_.QueryInterface(&d2d_context_), kFunction, __LINE__, DException::kDevice,
        "get 2D device context failed");
  d2d_context_->SetUnitMode(D2D1_UNIT_MODE_PIXELS);
  d2d_context_->GetTarget(&default_target_);
}

void DeviceContext::ReleaseRenderTarget() {
  read_back_texture_.Release();
  render_texture_.Release();
  default_target_.Release();
  d2d_context_.Release();
  surface_target_.Release();
}

void DeviceContext::ReleaseDeviceResources() {
  ReleaseRenderTarget();
  immediate_context_.Release();
  d3d_device_.Release();
  resource_factory_.DiscardAll();
}

void DeviceContext::ReleaseAll() {
  ReleaseDeviceResources();
  imaging_factory_.Release();
  d2d_factory_.Release();
}

void DeviceContext::Resize() {
  if (!d2d_factory_) return;
  if (IsLost()) {
    Recover();
  } else {
    SetupRenderTarget();
  }
}

bool DeviceContext::IsLost() const {
  return d2d_factory_ && (!d3d_device_ || FAILED(d3d_device_->GetDeviceRemovedReason()));
}

void DeviceContext::Recover() {
  ReleaseDeviceResources();
  SetupDeviceDependentResources();
  device_->OnDeviceReCreate();
}

bool DeviceContext::RecoverFromLoss(HRESULT result) {
  if (result != DXGI_ERROR_DEVICE_RESET && result != DXGI_ERROR_DEVICE_REMOVED &&
      result != D2DERR_RECREATE_TARGET) {
    return false;
  }
  Recover();
  return true;
}

}  // namespace Vantra
