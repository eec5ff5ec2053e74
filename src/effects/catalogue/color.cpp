#include <vantrix/effects/catalogue/color.h>

namespace VantraFx {

using Vantra::Describe;
using Vantra::EffectDescription;

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
