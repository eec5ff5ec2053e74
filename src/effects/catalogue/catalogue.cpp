#include "effects/catalogue/catalogue.h"

#include <vantrix/effects/catalogue/color.h>
#include <vantrix/effects/catalogue/lut.h>
#include <vantrix/effects/catalogue/platform.h>

namespace Vantra {
namespace {

template <class E>
constexpr CatalogueEntry Entry() {
  if constexpr (requires { typename E::EShader; }) {
    return {E::Description, E::CreateInstance, E::EShader::CreateInstance};
  } else {
    return {E::Description, E::CreateInstance, nullptr};
  }
}

}  // namespace

std::span<const CatalogueEntry> GetCatalogue() {
  static constexpr CatalogueEntry kCatalogue[] = {
      Entry<VantraFx::InstagramFilter>(), Entry<VantraFx::InstagramVideo>(),
      Entry<VantraFx::AlphaConvert>(),    Entry<VantraFx::Posterize>(),
      Entry<VantraFx::StandardAdjust>(),  Entry<VantraFx::GammaTransfer>(),
      Entry<VantraFx::LinearTransfer>(),  Entry<VantraFx::GaussianBlur>(),
      Entry<VantraFx::Morphology>(),      Entry<VantraFx::DirectionalBlur>(),
      Entry<VantraFx::ConvolveMatrix>(),  Entry<VantraFx::WarpPerspective>(),
  };
  return kCatalogue;
}

}  // namespace Vantra
