#pragma once

/// Effects that change each pixel's colour from that pixel alone.

#include <vantrix/effects/engine/describedeffect.h>
#include <vantrix/export.h>

namespace VantraFx {

/// Multiplies every channel, alpha too, by alpha: a pixel of straight alpha becomes premultiplied,
/// with the square of its alpha. With s the sample, the result is s * s.a.
class VANTRIX_API AlphaConvert final : public Vantra::CatalogueEffect<AlphaConvert> {
 public:
  static const Vantra::EffectDescription& Description();
};

/// Reduces every channel, alpha too, to steps of 1 / amout. With s a channel of the premultiplied
/// sample, the result is floor(s * amout + 0.5) / amout.
///
/// Attribute: `Amout`, a whole number of 1 to 256, 10 at the start.
class VANTRIX_API Posterize final : public Vantra::CatalogueEffect<Posterize> {
 public:
  struct Constants {
    float amout = 10.0f;
  };
  static const Vantra::EffectDescription& Description();
};

}  // namespace VantraFx
