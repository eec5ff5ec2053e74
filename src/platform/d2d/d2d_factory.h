#pragma once

#include <vantrix/platform/d2d1.h>

#include <map>
#include <memory>

#include "platform/com/com_object.h"
#include "platform/d2d/d2d_custom_effect.h"

namespace Vantra::Platform {

class Factory2D final : public ComObject<ID2D1Factory1> {
 public:
  void GetDesktopDpi(FLOAT* dpiX, FLOAT* dpiY) override;
  HRESULT CreateDxgiSurfaceRenderTarget(IDXGISurface* surface,
                                        const D2D1_RENDER_TARGET_PROPERTIES* properties,
                                        ID2D1RenderTarget** target) override;
  HRESULT RegisterEffectFromString(REFCLSID effectId, PCWSTR descriptor,
                                   const D2D1_PROPERTY_BINDING* bindings, UINT32 bindingCount,
                                   PD2D1_EFFECT_FACTORY factory) override;
  HRESULT UnregisterEffect(REFCLSID effectId) override;

  // Null when the id is not registered.
  std::shared_ptr<const EffectRegistration> FindEffect(REFCLSID effectId) const;

 private:
  std::map<GUID, std::shared_ptr<EffectRegistration>> effects_;
};

}  // namespace Vantra::Platform
