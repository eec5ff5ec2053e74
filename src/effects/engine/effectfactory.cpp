#include <vantrix/device/comparestring.h>
#include <vantrix/device/device.h>
#include <vantrix/effects/engine/effectfactory.h>

#include <algorithm>

#include "effects/catalogue/catalogue.h"

namespace Vantra {
namespace {

// The names and texts of descriptions are ASCII.
std::wstring Widen(std::string_view text) { return std::wstring(text.begin(), text.end()); }

std::wstring NameOf(const CatalogueEntry& entry) {
  return L"CLSID_" + Widen(entry.description().GetIdentity().name);
}

}  // namespace

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
    const std::wstring row = NameOf(entry);
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

std::vector<EffectFactory::Listing> EffectFactory::ListEffects() {
  std::vector<Listing> list;
  for (const CatalogueEntry& entry : GetCatalogue()) {
    const auto& identity = entry.description().GetIdentity();
    list.push_back({NameOf(entry), Widen(identity.display_name), Widen(identity.category),
                    Widen(identity.description)});
  }
  return list;
}

}  // namespace Vantra
