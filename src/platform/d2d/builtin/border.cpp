// The image continued beyond its edges.

#include "platform/d2d/builtin/builtin_effect.h"

VANTRIX_EMBEDDED_PROGRAM(border)

namespace Vantra::Platform {
namespace {

struct Values {
  UINT32 edge_x = D2D1_BORDER_EDGE_MODE_CLAMP;
  UINT32 edge_y = D2D1_BORDER_EDGE_MODE_CLAMP;
};

Edges::Mode ToMode(UINT32 edge) {
  return edge == D2D1_BORDER_EDGE_MODE_CLAMP  ? Edges::Mode::kClamp
         : edge == D2D1_BORDER_EDGE_MODE_WRAP ? Edges::Mode::kWrap
                                              : Edges::Mode::kMirror;
}

class Border final : public BuiltIn<Border, Values> {
 public:
  using BuiltIn::BuiltIn;

  static const BuiltInDescription& Description() {
    static const BuiltInDescription description = {
        MakeIdentity(CLSID_D2D1Border, L"Border", L"Transform",
                     L"Continues an image beyond its edges."),
        {{L"EdgeModeX", D2D1_PROPERTY_TYPE_ENUM, offsetof(Values, edge_x),
          D2D1_BORDER_EDGE_MODE_CLAMP, D2D1_BORDER_EDGE_MODE_MIRROR},
         {L"EdgeModeY", D2D1_PROPERTY_TYPE_ENUM, offsetof(Values, edge_y),
          D2D1_BORDER_EDGE_MODE_CLAMP, D2D1_BORDER_EDGE_MODE_MIRROR}}};
    return description;
  }

 private:
  Render::Rect MapBounds(const Render::Rect&) const override { return kUnbounded; }

  Render::Rect MapPart(const Render::Rect& part, const Render::Rect& input) const override {
    return PartWithin(part, input, ToMode(values_.edge_x), ToMode(values_.edge_y));
  }

  HRESULT Draw(const Drawing& drawing) override {
    const Edges edges(drawing.input, drawing.source, ToMode(values_.edge_x),
                      ToMode(values_.edge_y));
    return RunPass(border_program(), drawing.source, edges, drawing.target);
  }
};

}  // namespace

CComPtr<Effect2D> MakeBorder(CComPtr<ID2D1Factory1> factory,
                             std::shared_ptr<GraphicsDevice> device) {
  return MakeBuiltIn<Border>(std::move(factory), std::move(device));
}

}  // namespace Vantra::Platform
