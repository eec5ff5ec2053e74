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
  // One entry a line.
  // clang-format off
  static constexpr CatalogueEntry kCatalogue[] = {
      Entry<VantraFx::InstagramFilter>(),
      Entry<VantraFx::InstagramVideo>(),
      Entry<VantraFx::AlphaConvert>(),
      Entry<VantraFx::EInvert>(),
      Entry<VantraFx::BrightExtract>(),
      Entry<VantraFx::MonoChrome>(),
      Entry<VantraFx::EVibrance>(),
      Entry<VantraFx::EExposure>(),
      Entry<VantraFx::EWhiteBalance>(),
      Entry<VantraFx::BlackAndWhite>(),
      Entry<VantraFx::PopArt>(),
      Entry<VantraFx::RedIsolation>(),
      Entry<VantraFx::GreenIsolation>(),
      Entry<VantraFx::BlueIsolation>(),
      Entry<VantraFx::YellowIsolation>(),
      Entry<VantraFx::PhotoFilter>(),
      Entry<VantraFx::Posterize>(),
      Entry<VantraFx::StandardAdjust>(),
      Entry<VantraFx::GammaTransfer>(),
      Entry<VantraFx::LinearTransfer>(),
      Entry<VantraFx::GaussianBlur>(),
      Entry<VantraFx::Morphology>(),
      Entry<VantraFx::DirectionalBlur>(),
      Entry<VantraFx::ConvolveMatrix>(),
      Entry<VantraFx::WarpPerspective>(),
  };
  // clang-format on
  return kCatalogue;
}

}  // namespace Vantra
