// Each straight channel through a line.

#include "platform/d2d/builtin/builtin_effect.h"

VANTRIX_EMBEDDED_PROGRAM(linear_transfer)

namespace Vantra::Platform {
namespace {

struct Line {
  FLOAT intercept = 0;
  FLOAT slope = 1;
  BOOL disabled = FALSE;
};

struct Values {
  Line red, green, blue, alpha;
  BOOL clamp = FALSE;
};

class LinearTransfer final : public BuiltInPixelwise<LinearTransfer, Values> {
 public:
  using BuiltInPixelwise::BuiltInPixelwise;

  static std::span<const std::byte> Program() { return linear_transfer_program(); }

  static const BuiltInDescription& Description() {
    constexpr auto kFloat = D2D1_PROPERTY_TYPE_FLOAT;
    constexpr auto kBool = D2D1_PROPERTY_TYPE_BOOL;
    static const BuiltInDescription description = {
        MakeIdentity(CLSID_D2D1LinearTransfer, L"Linear Transfer", L"Color",
                     L"Maps each channel by a line."),
        {{L"RedYIntercept", kFloat, offsetof(Values, red.intercept)},
         {L"RedSlope", kFloat, offsetof(Values, red.slope)},
         {L"RedDisable", kBool, offsetof(Values, red.disabled)},
         {L"GreenYIntercept", kFloat, offsetof(Values, green.intercept)},
         {L"GreenSlope", kFloat, offsetof(Values, green.slope)},
         {L"GreenDisable", kBool, offsetof(Values, green.disabled)},
         {L"BlueYIntercept", kFloat, offsetof(Values, blue.intercept)},
         {L"BlueSlope", kFloat, offsetof(Values, blue.slope)},
         {L"BlueDisable", kBool, offsetof(Values, blue.disabled)},
         {L"AlphaYIntercept", kFloat, offsetof(Values, alpha.intercept)},
         {L"AlphaSlope", kFloat, offsetof(Values, alpha.slope)},
         {L"AlphaDisable", kBool, offsetof(Values, alpha.disabled)},
         {L"ClampOutput", kBool, offsetof(Values, clamp)}}};
    return description;
  }
};

}  // namespace

CComPtr<Effect2D> MakeLinearTransfer(CComPtr<ID2D1Factory1> factory,
                                     std::shared_ptr<GraphicsDevice> device) {
  return MakeBuiltIn<LinearTransfer>(std::move(factory), std::move(device));
}

}  // namespace Vantra::Platform
