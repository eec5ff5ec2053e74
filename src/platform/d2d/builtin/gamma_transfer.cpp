// Each straight channel through a power.

#include "platform/d2d/builtin/builtin_effect.h"

VANTRIX_EMBEDDED_PROGRAM(gamma_transfer)

namespace Vantra::Platform {
namespace {

struct Curve {
  FLOAT amplitude = 1;
  FLOAT exponent = 1;
  FLOAT offset = 0;
  BOOL disabled = FALSE;
};

struct Values {
  Curve red, green, blue, alpha;
  BOOL clamp = FALSE;
};

class GammaTransfer final : public BuiltInPixelwise<GammaTransfer, Values> {
 public:
  using BuiltInPixelwise::BuiltInPixelwise;

  static std::span<const std::byte> Program() { return gamma_transfer_program(); }

  static const BuiltInDescription& Description() {
    constexpr auto kFloat = D2D1_PROPERTY_TYPE_FLOAT;
    constexpr auto kBool = D2D1_PROPERTY_TYPE_BOOL;
    static const BuiltInDescription description = {
        MakeIdentity(CLSID_D2D1GammaTransfer, L"Gamma Transfer", L"Color",
                     L"Maps each channel by a power."),
        {{L"RedAmplitude", kFloat, offsetof(Values, red.amplitude)},
         {L"RedExponent", kFloat, offsetof(Values, red.exponent)},
         {L"RedOffset", kFloat, offsetof(Values, red.offset)},
         {L"RedDisable", kBool, offsetof(Values, red.disabled)},
         {L"GreenAmplitude", kFloat, offsetof(Values, green.amplitude)},
         {L"GreenExponent", kFloat, offsetof(Values, green.exponent)},
         {L"GreenOffset", kFloat, offsetof(Values, green.offset)},
         {L"GreenDisable", kBool, offsetof(Values, green.disabled)},
         {L"BlueAmplitude", kFloat, offsetof(Values, blue.amplitude)},
         {L"BlueExponent", kFloat, offsetof(Values, blue.exponent)},
         {L"BlueOffset", kFloat, offsetof(Values, blue.offset)},
         {L"BlueDisable", kBool, offsetof(Values, blue.disabled)},
         {L"AlphaAmplitude", kFloat, offsetof(Values, alpha.amplitude)},
         {L"AlphaExponent", kFloat, offsetof(Values, alpha.exponent)},
         {L"AlphaOffset", kFloat, offsetof(Values, alpha.offset)},
         {L"AlphaDisable", kBool, offsetof(Values, alpha.disabled)},
         {L"ClampOutput", kBool, offsetof(Values, clamp)}}};
    return description;
  }
};

}  // namespace

CComPtr<Effect2D> MakeGammaTransfer(CComPtr<ID2D1Factory1> factory,
                                    std::shared_ptr<GraphicsDevice> device) {
  return MakeBuiltIn<GammaTransfer>(std::move(factory), std::move(device));
}

}  // namespace Vantra::Platform
