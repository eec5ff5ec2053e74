#pragma once

/// The device's inner object: the platform interfaces that every resource reaches through it.

#include <vantrix/device/resourcebase.h>
#include <vantrix/effects/engine/effectfactory.h>
#include <vantrix/export.h>
#include <vantrix/platform/d2d1.h>
#include <vantrix/platform/wincodec.h>

#include <functional>
#include <memory>

namespace Vantra {

/// Owned by its `Device`. Interfaces are handed out without a reference and live as long as the
/// device keeps them; each may be null outside the running state.
class VANTRIX_API DeviceContext {
 public:
  explicit DeviceContext(Device* device);
  DeviceContext(const DeviceContext&) = delete;
  DeviceContext& operator=(const DeviceContext&) = delete;
  virtual ~DeviceContext();

  Device* GetDevice() const { return device_; }
  D3D_FEATURE_LEVEL GetFeatureLevel() const { return feature_level_; }
  ID3D11Device* GetD3D11Device() const { return d3d_device_; }
  ID3D11DeviceContext* GetImmediateContext() const { return immediate_context_; }
  ID3D11Texture2D* GetRenderTexture() const { return render_texture_; }
  ID3D11Texture2D* GetReadBackTexture() const { return read_back_texture_; }
  ID2D1Factory1* GetD2DFactory() const { return d2d_factory_; }
  ID2D1DeviceContext* GetD2DDeviceContext() const { return d2d_context_; }
  ID2D1Image* GetDefaultTarget() const { return default_target_; }
  IWICImagingFactory2* GetWicImagingFactory() const { return imaging_factory_; }
  EffectFactory& GetEffectFactory() { return effect_factory_; }
  ResourceFactory& GetResourceFactory() { return resource_factory_; }

 private:
  friend class Device;

  /// These, `Resize` and the recovery throw `DException`; what was made before the failure stays
  /// until `Cleanup`.
  void SetupDeviceIndependentResources();
  void SetupDeviceDependentResources();
  void SetupRenderTarget();
  void ReleaseRenderTarget();
  void ReleaseDeviceResources();
  void ReleaseAll();
  void Resize();
  /// True when a started device has no working 3D device.
  bool IsLost() const;
  /// Makes all device objects anew and tells the host.
  void Recover();
  /// True when `result` of an `EndDraw` told of a lost device and everything was rebuilt.
  bool RecoverFromLoss(HRESULT result);

  D3D_FEATURE_LEVEL feature_level_ = D3D_FEATURE_LEVEL_11_1;
  Device* device_;
  CComPtr<ID3D11Device> d3d_device_;
  CComPtr<ID3D11DeviceContext> immediate_context_;
  CComPtr<ID3D11Texture2D> render_texture_;
  CComPtr<ID3D11Texture2D> read_back_texture_;
  float dpi_x_ = 96.0f;
  float dpi_y_ = 96.0f;
  CComPtr<ID2D1Factory1> d2d_factory_;
  CComPtr<ID2D1RenderTarget> surface_target_;
  CComPtr<ID2D1DeviceContext> d2d_context_;
  CComPtr<ID2D1Image> default_target_;
  CComPtr<IWICImagingFactory2> imaging_factory_;
  std::shared_ptr<const std::function<void(void*, unsigned int, unsigned int, unsigned int)>>
      render_callback_;
  EffectFactory effect_factory_;
  ResourceFactory resource_factory_;
};

}  // namespace Vantra
