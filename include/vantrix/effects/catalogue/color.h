#pragma once

/// Effects that change each pixel's colour from that pixel alone.
///
/// In the formulas, p is the premultiplied pixel with the channels r, g, b and a; mix(x, y, t) is
/// x + t * (y - x), and sat limits to 0..1. lum is the brightness 0.3 * r + 0.59 * g + 0.11 * b.
/// Alpha stays as it is unless the effect says otherwise. Ranges of attributes are advice: values
/// beyond them are taken as they are.

#include <vantrix/effects/engine/describedeffect.h>
#include <vantrix/export.h>

namespace VantraFx {

/// The constants of an effect that is mixed into the picture: 0 keeps the picture, 1 replaces it.
struct MixConstants {
  float Amout = 1.0f;
};

/// Multiplies every channel, alpha too, by alpha: a pixel of straight alpha becomes premultiplied,
/// with the square of its alpha. With s the sample, the result is s * s.a.
class VANTRIX_API AlphaConvert final : public Vantra::CatalogueEffect<AlphaConvert> {
 public:
  static const Vantra::EffectDescription& Description();
};

/// Turns a picture into its negative: rgb = 1 - p.rgb.
class VANTRIX_API EInvert final : public Vantra::CatalogueEffect<EInvert> {
 public:
  static const Vantra::EffectDescription& Description();
};

/// Keeps what is brighter than a threshold, spread over the whole range, and makes the rest
/// transparent black. In every channel, alpha too, the result is sat((p - amout) / (1 - amout)). At
/// 1 nothing is left; at 0 everything.
///
/// Attribute: `Amout`, 0 to 1, 0.5 at the start. `SetAmout(v)` sets the threshold to v / 2.
class VANTRIX_API BrightExtract final : public Vantra::CatalogueEffect<BrightExtract> {
 public:
  struct Constants {
    float amout = 0.5f;
  };
  static const Vantra::EffectDescription& Description();
};

/// Takes the colour away: rgb = mix(p.rgb, y, amout), where y is the weighted brightness
/// 0.2125 * r + 0.7154 * g + 0.0721 * b.
///
/// Attribute: `Amout`, 0 to 1, 1 at the start; `SetAmout` sets the same.
class VANTRIX_API MonoChrome final : public Vantra::CatalogueEffect<MonoChrome> {
 public:
  struct Constants {
    float amout = 1.0f;
  };
  static const Vantra::EffectDescription& Description();
};

/// Makes strong colours stronger or weaker and leaves greys alone. With m the largest channel and
/// d its distance from the mean of the three, rgb = p.rgb - 3 * d * vibrance * (m - p.rgb): a
/// positive vibrance draws the channels away from the largest, a negative one toward it.
///
/// Attribute: `Amout`, -1 to 1, 1 at the start.
class VANTRIX_API EVibrance final : public Vantra::CatalogueEffect<EVibrance> {
 public:
  struct Constants {
    float vibrance = 1.0f;
  };
  static const Vantra::EffectDescription& Description();
};

/// Lets in more light or less: rgb = p.rgb * 2^exposure. 1 doubles the light, 0 keeps it.
///
/// Attribute: `Amout`, -3 to 3, 1 at the start; `SetAmout` sets the same.
class VANTRIX_API EExposure final : public Vantra::CatalogueEffect<EExposure> {
 public:
  struct Constants {
    float exposure = 1.0f;
  };
  static const Vantra::EffectDescription& Description();
};

/// Makes a picture that was lit by light of some colour temperature look as if lit by white light:
/// assuming a low temperature, reddish light, it turns the picture bluer, a high one warmer.
///
/// The constant is (kelvin - 5000) * 0.0004 below 5000 K and (kelvin - 5000) * 0.00006 above: -1
/// for 2500 K, 0 for 5000 K, 0.15 for 7500 K. The program goes back to Kelvin and on to mireds,
/// 10^6 / kelvin, since the ratios in which the colours of glowing bodies differ are even powers of
/// their distance in mireds. With m = 200 - 10^6 / kelvin it multiplies red by 2^(0.0026 m) and
/// blue by 2^(-0.0048 m), which follows the colour of daylight and lamps, and green by
/// 2^(-0.1 tint). The three factors are divided by the brightness that they give to white, so that
/// greys keep theirs, and a channel ends at alpha, or where it already was beyond. No temperature
/// lies below 1000 K. At 5000 K the picture stays as it is.
///
/// Attribute: `Temperature`, 0 to 1, for 2500 to 7500 K; `SetAmout` sets the same. The effect
/// starts at 7500 K, its published default is 4000 K, and it reads back as the constant times 100.
/// `tint` moves from green to magenta and has no attribute.
class VANTRIX_API EWhiteBalance final : public Vantra::CatalogueEffect<EWhiteBalance> {
 public:
  struct Constants {
    float temperature = 0.15f;
    float tint = 0.0f;
  };
  static const Vantra::EffectDescription& Description();
};

/// Leaves two tones: rgb = mix(p.rgb, t, Amout), where t is 0 below a brightness of 0.5, else 1.
///
/// Attribute: `Amout`, 0 to 1, 1 at the start; `SetAmout` sets the same.
class VANTRIX_API BlackAndWhite final : public Vantra::CatalogueEffect<BlackAndWhite> {
 public:
  using Constants = MixConstants;
  static const Vantra::EffectDescription& Description();
};

/// Prints a picture in black, red and yellow: rgb = mix(p.rgb, ink, Amout), where ink is
/// (0, 0, 0) below a brightness of 0.3, (0.8, 0, 0) below 0.6 and (0.9, 0.9, 0) from there on.
///
/// Attribute: `Amout`, 0 to 1, 1 at the start; `SetAmout` sets the same.
class VANTRIX_API PopArt final : public Vantra::CatalogueEffect<PopArt> {
 public:
  using Constants = MixConstants;
  static const Vantra::EffectDescription& Description();
};

/// Keeps red, hues of -5 to 5 degrees, and takes the colour from the rest:
/// rgb = mix(p.rgb, kept ? p.rgb : lum(p), Amout).
///
/// With d the largest channel less the smallest, the hue is 60 * (g - b) / d where red is largest,
/// 60 * ((b - r) / d + 2) where green is, 60 * ((r - g) / d + 4) where blue is; the first of two
/// largest that stand in a circle gives way to the second. It lies from -60 to 300, and grey has 0.
///
/// Attribute: `Amout`, 0 to 1, 1 at the start; `SetAmout` sets the same.
class VANTRIX_API RedIsolation final : public Vantra::CatalogueEffect<RedIsolation> {
 public:
  using Constants = MixConstants;
  static const Vantra::EffectDescription& Description();
};

/// As `RedIsolation`, for green: hues of 60 to 180 degrees.
class VANTRIX_API GreenIsolation final : public Vantra::CatalogueEffect<GreenIsolation> {
 public:
  using Constants = MixConstants;
  static const Vantra::EffectDescription& Description();
};

/// As `RedIsolation`, for blue: hues of 180 to 260 degrees.
class VANTRIX_API BlueIsolation final : public Vantra::CatalogueEffect<BlueIsolation> {
 public:
  using Constants = MixConstants;
  static const Vantra::EffectDescription& Description();
};

/// As `RedIsolation`, for yellow: hues of 30 to 60 degrees.
class VANTRIX_API YellowIsolation final : public Vantra::CatalogueEffect<YellowIsolation> {
 public:
  using Constants = MixConstants;
  static const Vantra::EffectDescription& Description();
};

/// Puts a coloured glass before the lens. The tint runs from black through the filter's colour c
/// to white as the brightness L rises: with low = sat(2 L) * c and high = 2 * sat(L - 0.5) it is
/// low + high * (1 - low). rgb = mix(p.rgb, tint, sat(L * density)), so that dark places keep their
/// colour.
///
/// Attributes: `Density`, 0 to 1, 0.35 at the start; `Color`, 1,0.5,0.2,1 at the start, whose alpha
/// is not used.
class VANTRIX_API PhotoFilter final : public Vantra::CatalogueEffect<PhotoFilter> {
 public:
  struct Constants {
    float filter_color[4] = {1.0f, 0.5f, 0.2f, 1.0f};
    float density = 0.35f;
  };
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
