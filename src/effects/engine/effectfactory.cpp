#include <vantrix/device/comparestring.h>
#include <vantrix/device/device.h>
#include <vantrix/effects/catalogue/lut.h>
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

// The filter with the look that the name tells behind a prefix; empty for any other name.
template <class Filter>
std::unique_ptr<Effect> CreateFilter(const std::wstring& name, std::wstring_view prefix,
                                     const wchar_t* resource_prefix) {
  if (name.size() <= prefix.size() ||
      !CompareStringNoCase(name.c_str(), prefix.data(), static_cast<long>(prefix.size()))) {
    return nullptr;
  }
  auto filter = std::make_unique<Filter>();
  filter->SetLookupTexture(resource_prefix + name.substr(prefix.size()));
  return filter;
}

}  // namespace

EffectFactory::~EffectFactory() = default;

void EffectFactory::Create(Device* device) {
  device_ = device;
  ID2D1Factory1* factory = device->GetD2DFactory();
  for (const CatalogueEntry& entry : GetCatalogue()) {
    if (!entry.create_shader) continue;
    factory->RegisterEffectFromString(entry.description().GetIdentity().id,
                                      entry.description().GetRegistrationXml().c_str(), nullptr, 0,
                                      entry.create_shader);
  }
}

std::unique_ptr<Effect> EffectFactory::CreateEffectByID(const std::wstring& name) {
  if (auto filter =
          CreateFilter<VantraFx::InstagramFilter>(name, L"CLSID_Instagram", L"IDR_INSTLUT_")) {
    return filter;
  }
  if (auto filter =
          CreateFilter<VantraFx::InstagramVideo>(name, L"CLSID_V_Instagram", L"IDR_INSTLUT_V_")) {
    return filter;
  }
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
                    Widen(identity.description), identity.id, identity.numbers});
  }
  return list;
}

}  // namespace Vantra
