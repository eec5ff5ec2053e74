#pragma once

// The list of all effects that are made by name.

#include <vantrix/effects/engine/effectdescription.h>
#include <vantrix/platform/d2d1.h>

#include <memory>
#include <span>

namespace Vantra {

class Effect;

struct CatalogueEntry {
  const EffectDescription& (*description)();
  std::unique_ptr<Effect> (*create)();
  // Null for an effect that drives one of the 2D layer's own, which needs no registration.
  PD2D1_EFFECT_FACTORY create_shader;
};

// In the order in which names are searched and effects are registered.
std::span<const CatalogueEntry> GetCatalogue();

}  // namespace Vantra
