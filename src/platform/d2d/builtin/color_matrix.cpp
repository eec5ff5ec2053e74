// Each pixel times a matrix.

#include "platform/d2d/builtin/builtin_effect.h"

VANTRIX_EMBEDDED_PROGRAM(color_matrix)

namespace Vantra::Platform {
namespace {

struct Values {
  D2D1_MATRIX_5X4_F matrix = {
      {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}, {0, 0, 0, 0}}};
  UINT32 alpha_mode = D2D1_COLORMATRIX_ALPHA_MODE_PREMULTIPLIED;
  BOOL clamp = FALSE;
};

class ColorMatrix final : public BuiltInPixelwise<ColorMatrix, Values> {
 public:
  using BuiltInPixelwise::BuiltInPixelwise;

  static std::span<const std::byte> Program() { return color_matrix_program(); }

  static const BuiltInDescription& Description() {
    static const BuiltInDescription description = {
        MakeIdentity(CLSID_D2D1ColorMatrix, L"Color Matrix", L"Color",
                     L"Multiplies each pixel by a matrix."),
        {{L"ColorMatrix", D2D1_PROPERTY_TYPE_MATRIX_5X4, offsetof(Values, matrix)},
         {L"AlphaMode", D2D1_PROPERTY_TYPE_ENUM, offsetof(Values, alpha_mode),
          D2D1_COLORMATRIX_ALPHA_MODE_PREMULTIPLIED, D2D1_COLORMATRIX_ALPHA_MODE_STRAIGHT},
         {L"ClampOutput", D2D1_PROPERTY_TYPE_BOOL, offsetof(Values, clamp)}}};
    return description;
  }
};

}  // namespace

CComPtr<Effect2D> MakeColorMatrix(CComPtr<ID2D1Factory1> factory,
                                  std::shared_ptr<GraphicsDevice> device) {
  return MakeBuiltIn<ColorMatrix>(std::move(factory), std::move(device));
}

}  // namespace Vantra::Platform
