#include <vantrix/effects/catalogue/color.h>

namespace VantraFx {

using Vantra::Describe;
using Vantra::EffectDescription;

namespace {

float Half(float v) { return v * 0.5f; }
float TimesHundred(float v) { return v * 100.0f; }

float ToTemperature(float v) {
  const float kelvin = v * 5000.0f + 2500.0f;
  return (kelvin - 5000.0f) * (kelvin < 5000.0f ? 0.0004f : 0.00006f);
}

// An effect that is mixed into the picture.
template <class E>
EffectDescription DescribeMix(EffectDescription::Identity identity) {
  return Describe<E>(std::move(identity))
      .Float(L"Amout", {0, 1, 1, 0.01}, &MixConstants::Amout)
      .Amout(&MixConstants::Amout);
}

}  // namespace

const EffectDescription& AlphaConvert::Description() {
  static const EffectDescription description = Describe<AlphaConvert>({
      .id = {0xBCE58867, 0x87FE, 0x4E6C, {0x8F, 0x6B, 0x6D, 0xEC, 0xBD, 0x52, 0x51, 0xA9}},
      .name = "AlphaConvert",
      .display_name = "Alpha Convert",
      .description = "Convert alpha from straight to premultiplied",
      .shader = L"IDR_PS_ALPHACONVERT",
  });
  return description;
}

const EffectDescription& EInvert::Description() {
  static const EffectDescription description = Describe<EInvert>({
      .id = {0x5C15A0E2, 0xC2A8, 0x45B5, {0xB4, 0x8A, 0x1A, 0x58, 0x2D, 0xE9, 0x66, 0x73}},
      .name = "EInvert",
      .display_name = "Invert",
      .description = "Invert effect",
      .shader = L"IDR_PS_INVERT",
  });
  return description;
}

const EffectDescription& BrightExtract::Description() {
  static const EffectDescription description =
      Describe<BrightExtract>(
          {
              .id = {0xA4CDC74F, 0x21CF, 0x4193, {0x99, 0xD9, 0xD4, 0x11, 0xB8, 0xC4, 0xD4, 0xB3}},
              .name = "BrightExtract",
              .display_name = "Bright Extract",
              .description = "Bright Extract",
              .shader = L"IDR_PS_BRIGHTEXTRACT",
          })
          .Float(L"Amout", {0, 1, 0.5, 0.01}, &Constants::amout)
          .Amout(&Constants::amout, Half);
  return description;
}

const EffectDescription& MonoChrome::Description() {
  static const EffectDescription description =
      Describe<MonoChrome>(
          {
              .id = {0x6B9D8217, 0x2C7B, 0x4EF6, {0xB5, 0x70, 0x68, 0xEB, 0x37, 0x38, 0x8D, 0xD5}},
              .name = "MonoChrome",
              .display_name = "MonoChrome",
              .description = "MonoChrome",
              .shader = L"IDR_PS_MONOCHROME",
          })
          .Float(L"Amout", {0, 1, 1, 0.01}, &Constants::amout)
          .Amout(&Constants::amout);
  return description;
}

const EffectDescription& EVibrance::Description() {
  static const EffectDescription description =
      Describe<EVibrance>(
          {
              .id = {0xB896F932, 0xFEAA, 0x4F23, {0xA5, 0x85, 0xB8, 0x7B, 0x24, 0xC8, 0xFE, 0x9E}},
              .name = "EVibrance",
              .display_name = "Vibrance",
              .description = "Make the colors warmer or cooler",
              .shader = L"IDR_PS_VIBRANCE",
          })
          .Float(L"Amout", {-1, 1, 1, 0.01}, &Constants::vibrance);
  return description;
}

const EffectDescription& EExposure::Description() {
  static const EffectDescription description =
      Describe<EExposure>(
          {
              .id = {0x60DB9015, 0x48F1, 0x4DF2, {0x95, 0x9A, 0xD6, 0x14, 0xF6, 0xD4, 0xCA, 0x1B}},
              .name = "EExposure",
              .display_name = "Exposure",
              .description = "Exposure filter",
              .shader = L"IDR_PS_EXPOSURE",
          })
          .Float(L"Amout", {-3, 3, 1, 0.1}, &Constants::exposure)
          .Amout(&Constants::exposure);
  return description;
}

const EffectDescription& EWhiteBalance::Description() {
  static const EffectDescription description =
      Describe<EWhiteBalance>(
          {
              .id = {0x9F08D154, 0x5AF9, 0x4A4A, {0x8E, 0x2B, 0x4C, 0x2E, 0x0E, 0x14, 0x04, 0x92}},
              .name = "EWhiteBalance",
              .display_name = "White Balance",
              .description = "White balance filter",
              .shader = L"IDR_PS_WHITEBALANCE",
          })
          .Float(L"Temperature", {0, 1, 0.3, 0.01}, &Constants::temperature,
                 {ToTemperature, TimesHundred})
          .Amout(&Constants::temperature, ToTemperature);
  return description;
}

const EffectDescription& BlackAndWhite::Description() {
  static const EffectDescription description = DescribeMix<BlackAndWhite>({
      .id = {0x2FD3D3E0, 0xB52E, 0x45FF, {0xB1, 0xF8, 0xE0, 0xEF, 0x8C, 0x5C, 0x93, 0x9A}},
      .name = "BlackAndWhite",
      .display_name = "Black And White",
      .description = "Black And White",
      .shader = L"IDR_PS_BLACKANDWHITE",
  });
  return description;
}

const EffectDescription& PopArt::Description() {
  static const EffectDescription description = DescribeMix<PopArt>({
      .id = {0x0776AF5F, 0x083D, 0x43E2, {0xB3, 0x56, 0x7E, 0xBA, 0x4F, 0x01, 0xB0, 0xCB}},
      .name = "PopArt",
      .display_name = "Pop Art",
      .description = "Pop art",
      .shader = L"IDR_PS_POPART",
  });
  return description;
}

const EffectDescription& RedIsolation::Description() {
  static const EffectDescription description = DescribeMix<RedIsolation>({
      .id = {0xB4137DF9, 0xB50F, 0x4488, {0x84, 0xDA, 0x6F, 0xC8, 0xA8, 0xD2, 0xC0, 0x77}},
      .name = "RedIsolation",
      .display_name = "Red Isolation",
      .description = "Red isolation effect",
      .shader = L"IDR_PS_ISOLATION_RED",
  });
  return description;
}

const EffectDescription& GreenIsolation::Description() {
  static const EffectDescription description = DescribeMix<GreenIsolation>({
      .id = {0x980F99F6, 0x7259, 0x48B0, {0x9D, 0xD3, 0xA1, 0x0A, 0x1D, 0x72, 0x5C, 0x74}},
      .name = "GreenIsolation",
      .display_name = "Green Isolation",
      .description = "Green isolation",
      .shader = L"IDR_PS_ISOLATION_GREEN",
  });
  return description;
}

const EffectDescription& BlueIsolation::Description() {
  static const EffectDescription description = DescribeMix<BlueIsolation>({
      .id = {0xDE9F062A, 0xB01F, 0x49FF, {0xBD, 0x72, 0x2E, 0x64, 0xD4, 0x4B, 0xDD, 0xF5}},
      .name = "BlueIsolation",
      .display_name = "Blue Isolation",
      .description = "Blue isolation",
      .shader = L"IDR_PS_ISOLATION_BLUE",
  });
  return description;
}

const EffectDescription& YellowIsolation::Description() {
  static const EffectDescription description = DescribeMix<YellowIsolation>({
      .id = {0x4FA06B22, 0x553B, 0x418F, {0x8B, 0x2E, 0xA0, 0xE2, 0x7C, 0x0E, 0x19, 0x9C}},
      .name = "YellowIsolation",
      .display_name = "Yellow Isolation",
      .description = "Yellow isolation",
      .shader = L"IDR_PS_ISOLATION_YELLOW",
  });
  return description;
}

const EffectDescription& PhotoFilter::Description() {
  static const EffectDescription description =
      Describe<PhotoFilter>(
          {
              .id = {0xEAA69A6B, 0xA38D, 0x4169, {0xBF, 0xF7, 0x04, 0x34, 0xA0, 0x23, 0x43, 0x48}},
              .name = "PhotoFilter",
              .display_name = "Photo Filter",
              .description = "Photo filter effect",
              .shader = L"IDR_PS_PHOTOFILTER",
          })
          .Float(L"Density", {0, 1, 0.35, 0.01}, &Constants::density)
          .Color(L"Color", "1,0.5,0.2,1", &Constants::filter_color);
  return description;
}

const EffectDescription& Posterize::Description() {
  static const EffectDescription description =
      Describe<Posterize>(
          {
              .id = {0x7190A250, 0x5F8E, 0x4701, {0x92, 0x14, 0xC7, 0x87, 0x56, 0x9E, 0x42, 0xDC}},
              .name = "Posterize",
              .display_name = "Posterize",
              .description = "Posterize",
              .shader = L"IDR_PS_POSTERIZE",
          })
          .Int(L"Amout", {.min = 1, .max = 256, .def = 10}, &Constants::amout);
  return description;
}

}  // namespace VantraFx
