#include <vantrix/device/comparestring.h>
#include <vantrix/device/device.h>
#include <vantrix/effects/engine/effectfactory.h>

#include <algorithm>

#include "effects/catalogue/catalogue.h"

namespace Vantra {

EffectFactory::~EffectFactory() = default;

void EffectFactory::Create(Device* device) {
  device_ = device;
  ID2D1Factory1* factory = device->GetD2DFactory();
  for (const CatalogueEntry& entry : GetCatalogue()) {
    factory->RegisterEffectFromString(entry.description().GetIdentity().id,
                                      entry.description().GetRegistrationXml().c_str(), nullptr, 0,
                                      entry.create_shader);
  }
}

std::unique_ptr<Effect> EffectFactory::CreateEffectByID(const std::wstring& name) {
  for (const CatalogueEntry& entry : GetCatalogue()) {
    const std::string_view class_name = entry.description().GetIdentity().name;
    const std::wstring row = L"CLSID_" + std::wstring(class_name.begin(), class_name.end());
    if (row.size() == name.size() && CompareStringNoCase(row.c_str(), name.c_str())) {
      return entry.create();
    }
  }
  return nullptr;
}

std::unique_ptr<Effect> EffectFactory::CreateEffectByID(const GUID& id) {
  for (const CatalogueEntry& entry : GetCatalogue()) {
    if (entry.description().GetIdentity().id == id) return entry.create();
  }
  return nullptr;
}

}  // namespace Vantra
