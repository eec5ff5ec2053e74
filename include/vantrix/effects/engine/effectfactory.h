#pragma once

/// Makes effects by name or id, and registers them with the platform.

#include <vantrix/effects/engine/effect.h>
#include <vantrix/effects/engine/effectdescription.h>
#include <vantrix/export.h>
#include <vantrix/platform/com.h>

#include <memory>
#include <string>
#include <vector>

namespace Vantra {

class Device;

class VANTRIX_API EffectFactory {
 public:
  /// What a host may show of an effect before making it.
  struct Listing {
    std::wstring name;  ///< As `CreateEffectByID` takes it.
    std::wstring display_name;
    std::wstring category;
    std::wstring description;
    GUID id;
    std::vector<NumberDescription> numbers;
  };

  EffectFactory() = default;
  EffectFactory(const EffectFactory&) = delete;
  EffectFactory& operator=(const EffectFactory&) = delete;
  virtual ~EffectFactory();

  /// Registers every effect with the device's 2D factory. Called once per start of a device;
  /// registrations survive the loss of the device. An effect that cannot be registered shows when
  /// it is created.
  void Create(Device* device);

  /// Makes an effect from its name, such as "CLSID_Posterize", case ignored. Behind
  /// "CLSID_Instagram" and "CLSID_V_Instagram" stands the name of a look, such as in
  /// "CLSID_InstagramAden": the filter is made also when there is no such look. Empty when there is
  /// no effect of that name. The effect has no platform objects until its own `Create`.
  std::unique_ptr<Effect> CreateEffectByID(const std::wstring& name);
  std::unique_ptr<Effect> CreateEffectByID(const GUID& id);

  /// All effects that can be made by name, in the order of the search.
  static std::vector<Listing> ListEffects();

 private:
  Device* device_ = nullptr;
};

}  // namespace Vantra
