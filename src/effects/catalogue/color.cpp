#include <vantrix/effects/catalogue/color.h>

namespace VantraFx {

using Vantra::Describe;
using Vantra::EffectDescription;

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
