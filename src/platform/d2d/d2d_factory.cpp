#include "platform/d2d/d2d_factory.h"

#include <cstring>
#include <optional>
#include <tinyxml2.h>

#include "platform/com/utf8.h"
#include "platform/d2d/d2d_device_context.h"
#include "platform/d3d11/d3d11_objects.h"

namespace Vantra::Platform {
namespace {

constexpr float kDefaultDpi = 96.0f;

bool ReadText(const tinyxml2::XMLElement& property, std::wstring* text) {
  const char* value = property.Attribute("value");
  const std::optional<std::wstring> wide = FromUtf8(value ? value : "");
  if (wide) *text = *wide;
  return wide.has_value();
}

bool ReadProperty(const tinyxml2::XMLElement& property, EffectRegistration* registration) {
  struct Text {
    const char* name;
    std::wstring EffectRegistration::*text;
  };
  static constexpr Text kTexts[] = {
      {"DisplayName", &EffectRegistration::display_name},
      {"Author", &EffectRegistration::author},
      {"Category", &EffectRegistration::category},
      {"Description", &EffectRegistration::description},
  };
  const char* name = property.Attribute("name");
  for (const Text& each : kTexts) {
    if (name && std::strcmp(name, each.name) == 0) {
      return ReadText(property, &(registration->*(each.text)));
    }
  }
  // Properties of the effect's own need bindings, which the layer does not have.
  return false;
}

bool ReadDescriptor(PCWSTR descriptor, EffectRegistration* registration) {
  tinyxml2::XMLDocument document;
  if (document.Parse(ToUtf8(descriptor).c_str()) != tinyxml2::XML_SUCCESS) return false;
  const tinyxml2::XMLElement* root = document.FirstChildElement("Effect");
  if (!root) return false;
  for (const auto* property = root->FirstChildElement("Property"); property;
       property = property->NextSiblingElement("Property")) {
    if (!ReadProperty(*property, registration)) return false;
  }
  const tinyxml2::XMLElement* inputs = root->FirstChildElement("Inputs");
  if (!inputs) return false;
  for (const auto* input = inputs->FirstChildElement("Input"); input;
       input = input->NextSiblingElement("Input")) {
    ++registration->input_count;
  }
  return registration->input_count >= 1 && registration->input_count <= D2D1_MAX_EFFECT_INPUTS;
}

}  // namespace

void Factory2D::GetDesktopDpi(FLOAT* dpiX, FLOAT* dpiY) {
  *dpiX = kDefaultDpi;
  *dpiY = kDefaultDpi;
}

HRESULT Factory2D::CreateDxgiSurfaceRenderTarget(IDXGISurface* surface,
                                                 const D2D1_RENDER_TARGET_PROPERTIES* properties,
                                                 ID2D1RenderTarget** target) {
  if (!target) return E_POINTER;
  *target = nullptr;
  auto* texture = dynamic_cast<DeviceTexture*>(surface);
  if (!texture || !properties ||
      texture->GetSurface()->texture->Desc().usage != Render::Usage::kDevice) {
    return E_INVALIDARG;
  }
  DXGI_SURFACE_DESC description;
  texture->GetDesc(&description);
  Render::Format picture_format;
  if (!ToEngineFormat(description.Format, &picture_format)) return E_INVALIDARG;
  const bool format_fits = properties->pixelFormat.format == DXGI_FORMAT_UNKNOWN ||
                           properties->pixelFormat.format == description.Format;
  if (!format_fits || properties->pixelFormat.alphaMode != D2D1_ALPHA_MODE_PREMULTIPLIED) {
    return E_INVALIDARG;
  }
  const D2D1_BITMAP_PROPERTIES1 bitmap_properties = {
      .pixelFormat = {description.Format, D2D1_ALPHA_MODE_PREMULTIPLIED},
      .dpiX = properties->dpiX > 0 ? properties->dpiX : kDefaultDpi,
      .dpiY = properties->dpiY > 0 ? properties->dpiY : kDefaultDpi,
      .bitmapOptions = D2D1_BITMAP_OPTIONS_TARGET,
      .colorContext = nullptr,
  };
  CComPtr<Bitmap2D> bitmap = MakeCom<Bitmap2D>(this, texture->GetSurface(), bitmap_properties);
  if (!bitmap) return E_OUTOFMEMORY;
  *target = MakeCom<DeviceContext2D>(this, texture->GetSurface()->device, bitmap).Detach();
  return *target ? S_OK : E_OUTOFMEMORY;
}

HRESULT Factory2D::RegisterEffectFromString(REFCLSID effectId, PCWSTR descriptor,
                                            const D2D1_PROPERTY_BINDING* bindings,
                                            UINT32 bindingCount, PD2D1_EFFECT_FACTORY factory) {
  if (effectId == GUID_NULL || !descriptor || !factory || bindings || bindingCount != 0) {
    return E_INVALIDARG;
  }
  if (const auto found = effects_.find(effectId); found != effects_.end()) {
    ++found->second->count;
    return S_OK;
  }
  auto registration = std::make_shared<EffectRegistration>();
  if (!ReadDescriptor(descriptor, registration.get())) return E_INVALIDARG;
  registration->id = effectId;
  registration->create = factory;
  registration->count = 1;
  effects_.emplace(effectId, std::move(registration));
  return S_OK;
}

HRESULT Factory2D::UnregisterEffect(REFCLSID effectId) {
  const auto found = effects_.find(effectId);
  if (found == effects_.end()) return D2DERR_EFFECT_IS_NOT_REGISTERED;
  if (--found->second->count == 0) effects_.erase(found);
  return S_OK;
}

std::shared_ptr<const EffectRegistration> Factory2D::FindEffect(REFCLSID effectId) const {
  const auto found = effects_.find(effectId);
  return found == effects_.end() ? nullptr : found->second;
}

}  // namespace Vantra::Platform

HRESULT D2D1CreateFactory(D2D1_FACTORY_TYPE type, REFIID iid, const D2D1_FACTORY_OPTIONS* options,
                          void** factory) {
  if (!factory) return E_POINTER;
  *factory = nullptr;
  if (type != D2D1_FACTORY_TYPE_MULTI_THREADED || options) return E_INVALIDARG;
  CComPtr<Vantra::Platform::Factory2D> made =
      Vantra::Platform::MakeCom<Vantra::Platform::Factory2D>();
  return made ? made->QueryInterface(iid, factory) : E_OUTOFMEMORY;
}
