// A Gaussian blur along one line. From some deviation on it has two passes, a short one and one in
// wide steps, whose variances add up.

#include <cmath>
#include <numbers>

#include "platform/d2d/builtin/line.h"

namespace Vantra::Platform {
namespace {

using Render::Rect;

struct Values {
  FLOAT deviation = 3;
  FLOAT angle = 0;
  UINT32 optimization = D2D1_DIRECTIONALBLUR_OPTIMIZATION_BALANCED;
  UINT32 border_mode = D2D1_BORDER_MODE_SOFT;
};

class DirectionalBlur final : public BuiltIn<DirectionalBlur, Values> {
 public:
  using BuiltIn::BuiltIn;

  static const BuiltInDescription& Description() {
    static const BuiltInDescription description = {
        MakeIdentity(CLSID_D2D1DirectionalBlur, L"Directional Blur", L"Blur",
                     L"Blurs with a Gaussian kernel along one line."),
        {{L"StandardDeviation", D2D1_PROPERTY_TYPE_FLOAT, offsetof(Values, deviation), 0, 250},
         {L"Angle", D2D1_PROPERTY_TYPE_FLOAT, offsetof(Values, angle)},
         {L"Optimization", D2D1_PROPERTY_TYPE_ENUM, offsetof(Values, optimization),
          D2D1_DIRECTIONALBLUR_OPTIMIZATION_SPEED, D2D1_DIRECTIONALBLUR_OPTIMIZATION_QUALITY},
         {L"BorderMode", D2D1_PROPERTY_TYPE_ENUM, offsetof(Values, border_mode),
          D2D1_BORDER_MODE_SOFT, D2D1_BORDER_MODE_HARD}}};
    return description;
  }

 private:
  // The line, walked along the axis that it is closer to.
  struct Line {
    bool along_rows;
    // Pixels across for each along.
    double slope;
    // In pixels along.
    double deviation;

    // The box of what `reach` pixels along the line touch.
    Rect Around(const Rect& part, std::int32_t reach) const {
      const auto across = static_cast<std::int32_t>(std::ceil(reach * std::abs(slope)));
      return along_rows ? Grow(part, {reach, across, reach, across})
                        : Grow(part, {across, reach, across, reach});
    }
  };

  // Wide steps, each of `stride` pixels, along what a short pass has blurred.
  struct Steps {
    std::int32_t stride;
    LineWeights near;
    LineWeights far;

    std::int32_t NearReach() const { return static_cast<std::int32_t>(near.size()) - 1; }
    std::int32_t FarReach() const { return stride * (static_cast<std::int32_t>(far.size()) - 1); }
  };

  Line MakeLine() const {
    // Multiples of 45 degrees have slopes of 0 and 1, which the functions miss by a little.
    constexpr double kNothing = 1e-12;
    const double angle = std::fmod(values_.angle, 360.0) * std::numbers::pi / 180;
    // Downward is positive.
    const double x = std::cos(angle), y = -std::sin(angle);
    const bool along_rows = std::abs(x) >= std::abs(y) - kNothing;
    double slope = along_rows ? y / x : x / y;
    if (std::abs(slope - std::round(slope)) < kNothing) slope = std::round(slope);
    return {along_rows, slope, values_.deviation / std::hypot(1, slope)};
  }

  bool HasTwoPasses() const {
    static constexpr FLOAT kFrom[] = {12, 24, 64};
    return values_.deviation >= kFrom[values_.optimization];
  }

  static Steps MakeSteps(const Line& line) {
    // About as long as makes both passes cheapest.
    const auto stride = static_cast<std::int32_t>(std::round(std::sqrt(2 * line.deviation)));
    // Wide enough that the sum over the steps has no waves. Its ends would show in them, so they
    // are further out than the blur's own.
    const double near = 0.75 * stride;
    const double far = std::sqrt(line.deviation * line.deviation - near * near);
    const double end = GaussianReach(line.deviation) + 0.5;
    return {stride, GaussianWeights(near, std::ceil(4 * near) + 0.5),
            GaussianWeights(far / stride, end / stride)};
  }

  Edges::Mode Mode() const { return ToEdgeMode(values_.border_mode); }
  bool IsSoft() const { return values_.border_mode == D2D1_BORDER_MODE_SOFT; }

  Rect MapBounds(const Rect& input) const override {
    if (!IsSoft()) return input;
    const Line line = MakeLine();
    return line.Around(input, GaussianReach(line.deviation));
  }

  Rect MapPart(const Rect& part, const Rect& input) const override {
    if (values_.deviation == 0) return part;
    const Line line = MakeLine();
    Rect read;
    if (HasTwoPasses()) {
      const Steps steps = MakeSteps(line);
      read = line.Around(line.Around(part, steps.FarReach()), steps.NearReach());
    } else {
      read = line.Around(part, GaussianReach(line.deviation));
    }
    return PartWithin(read, input, Mode(), Mode());
  }

  HRESULT Draw(const Drawing& drawing) override {
    if (values_.deviation == 0) return Copy(drawing);
    const Line line = MakeLine();
    const Edges edges(drawing.input, drawing.source, Mode(), Mode());
    const bool interpolates = line.slope != std::round(line.slope);
    const EdgePrograms programs = interpolates ? SlantedLine() : SteppedLine();
    if (!HasTwoPasses()) {
      const LineWeights weights =
          GaussianWeights(line.deviation, GaussianReach(line.deviation) + 0.5);
      const LineConstants constants(edges, line.along_rows, line.slope, 1, weights,
                                    Render::Format::kBgra8);
      return RunPasses(programs, constants.Inner(), drawing.source, constants.Bytes(),
                       drawing.target);
    }
    const Steps steps = MakeSteps(line);
    Rect bounds = line.Around(drawing.Part(), steps.FarReach());
    // What a mirrored image has beyond its edges is made, too.
    if (IsSoft()) bounds = Intersect(bounds, line.Around(drawing.input, steps.NearReach()));
    if (bounds.Empty()) return Copy(drawing);
    Target target;
    RenderedImage near;
    HRESULT result =
        NewImage(drawing.evaluation, bounds, Render::Format::kRgba16Float, &target, &near);
    if (FAILED(result)) return result;
    // Taking the nearer pixels only blurs less across the line.
    const LineConstants first(edges, line.along_rows, line.slope, 1, steps.near,
                              Render::Format::kRgba16Float);
    result = RunPasses(SteppedLine(), first.Inner(), drawing.source, first.Bytes(), target);
    if (FAILED(result)) return result;
    const Edges::Mode nothing = Edges::Mode::kTransparent;
    const LineConstants second(Edges(bounds, near, nothing, nothing), line.along_rows, line.slope,
                               steps.stride, steps.far, Render::Format::kBgra8);
    return RunPasses(programs, second.Inner(), near, second.Bytes(), drawing.target);
  }
};

}  // namespace

CComPtr<Effect2D> MakeDirectionalBlur(CComPtr<ID2D1Factory1> factory,
                                      std::shared_ptr<GraphicsDevice> device) {
  return MakeBuiltIn<DirectionalBlur>(std::move(factory), std::move(device));
}

}  // namespace Vantra::Platform
