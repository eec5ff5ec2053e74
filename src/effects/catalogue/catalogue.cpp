#include "effects/catalogue/catalogue.h"

#include <vantrix/effects/catalogue/color.h>
#include <vantrix/effects/catalogue/lut.h>

namespace Vantra {
namespace {

template <class E>
constexpr CatalogueEntry Entry() {
  return {E::Description, E::CreateInstance, E::EShader::CreateInstance};
}

}  // namespace

std::span<const CatalogueEntry> GetCatalogue() {
  static constexpr CatalogueEntry kCatalogue[] = {
      Entry<VantraFx::InstagramFilter>(),
      Entry<VantraFx::InstagramVideo>(),
      Entry<VantraFx::AlphaConvert>(),
      Entry<VantraFx::Posterize>(),
  };
  return kCatalogue;
}

}  // namespace Vantra
