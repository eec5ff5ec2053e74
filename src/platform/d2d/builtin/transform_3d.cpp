// The image turned in space and seen in perspective.

#include "platform/d2d/builtin/builtin_effect.h"
#include "platform/d2d/image_pass.h"

namespace Vantra::Platform {
namespace {

struct Values {
  UINT32 interpolation = D2D1_3DTRANSFORM_INTERPOLATION_MODE_LINEAR;
  UINT32 border_mode = D2D1_BORDER_MODE_SOFT;
  D2D1_MATRIX_4X4_F matrix = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};

class Transform3D final : public BuiltIn<Transform3D, Values> {
 public:
  using BuiltIn::BuiltIn;

  static const BuiltInDescription& Description() {
    static const BuiltInDescription description = {
        MakeIdentity(CLSID_D2D13DTransform, L"3D Transform", L"Transform",
                     L"Turns an image in space."),
        {{L"InterpolationMode", D2D1_PROPERTY_TYPE_ENUM, offsetof(Values, interpolation),
          D2D1_3DTRANSFORM_INTERPOLATION_MODE_NEAREST_NEIGHBOR,
          D2D1_3DTRANSFORM_INTERPOLATION_MODE_ANISOTROPIC},
         {L"BorderMode", D2D1_PROPERTY_TYPE_ENUM, offsetof(Values, border_mode),
          D2D1_BORDER_MODE_SOFT, D2D1_BORDER_MODE_HARD},
         {L"TransformMatrix", D2D1_PROPERTY_TYPE_MATRIX_4X4, offsetof(Values, matrix),
          -kCoordinateLimit, kCoordinateLimit}}};
    return description;
  }

 private:
  bool Aliased() const { return values_.border_mode == D2D1_BORDER_MODE_HARD; }

  // Where an input of that extent comes to lie, counted from (left, top). Nothing when it is seen
  // from its side.
  std::optional<Placement> PlaceInput(const Render::Rect& input, const Render::Rect& clip,
                                      double left, double top) const {
    return Place(Projection::From(values_.matrix) * Projection::Translation(-left, -top),
                 ToArea(input), clip, Aliased());
  }

  Render::Rect MapBounds(const Render::Rect& input) const override {
    const std::optional<Placement> placement = PlaceInput(input, kUnbounded, 0, 0);
    return placement ? placement->rect : Render::Rect{};
  }

  Render::Rect MapPart(const Render::Rect& part, const Render::Rect& input) const override {
    const std::optional<Placement> placement = PlaceInput(input, part, 0, 0);
    return placement ? ReadPart(*placement, ToArea(input)) : Render::Rect{};
  }

  HRESULT Draw(const Drawing& drawing) override {
    GraphicsDevice& device = *GetGraphicsDevice();
    const Target& target = drawing.target;
    std::optional<Placement> placement =
        PlaceInput(drawing.input, target.rect, target.origin_x, target.origin_y);
    TransformConstants constants;
    Render::Pass pass;
    pass.target = target.texture;
    if (!placement || !drawing.source.texture ||
        (placement->full && placement->rect != target.rect)) {
      const HRESULT result = PrepareFill(device, {0, 0, 0, 0}, &constants, &pass);
      if (FAILED(result)) return result;
      pass.rect = target.rect;
      const Render::Status status = device.GetEngine().Draw(pass);
      if (status != Render::Status::kOk || !placement || !drawing.source.texture ||
          placement->rect.Empty()) {
        return ToResult(status);
      }
    } else if (!placement->full) {
      // Around the image the pass gives transparent black.
      placement->rect = target.rect;
    }
    const HRESULT result = PrepareTransform(
        device, drawing.source, ToArea(drawing.input), *placement,
        static_cast<D2D1_INTERPOLATION_MODE>(values_.interpolation), Aliased(), &constants, &pass);
    return SUCCEEDED(result) ? ToResult(device.GetEngine().Draw(pass)) : result;
  }
};

}  // namespace

CComPtr<Effect2D> Make3DTransform(CComPtr<ID2D1Factory1> factory,
                                  std::shared_ptr<GraphicsDevice> device) {
  return MakeBuiltIn<Transform3D>(std::move(factory), std::move(device));
}

}  // namespace Vantra::Platform
