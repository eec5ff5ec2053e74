// The smallest or the largest value in a rectangle around each pixel.

#include <cmath>
#include <limits>

#include "platform/d2d/builtin/builtin_effect.h"
#include "platform/d2d/builtin/short_list.h"

VANTRIX_EMBEDDED_PROGRAM(morphology)

namespace Vantra::Platform {
namespace {

struct Values {
  UINT32 mode = D2D1_MORPHOLOGY_MODE_ERODE;
  UINT32 width = 1;
  UINT32 height = 1;
};

// Up to here one pass is faster than two, where each pixel's window is read.
constexpr std::int32_t kLargestOfOnePass = 6;
constexpr std::int32_t kAnyWindow = std::numeric_limits<std::int32_t>::max();

class Morphology final : public BuiltIn<Morphology, Values> {
 public:
  using BuiltIn::BuiltIn;

  static const BuiltInDescription& Description() {
    static const BuiltInDescription description = {
        MakeIdentity(CLSID_D2D1Morphology, L"Morphology", L"Filter",
                     L"Takes the smallest or the largest value around each pixel."),
        {{L"Mode", D2D1_PROPERTY_TYPE_ENUM, offsetof(Values, mode), D2D1_MORPHOLOGY_MODE_ERODE,
          D2D1_MORPHOLOGY_MODE_DILATE},
         {L"Width", D2D1_PROPERTY_TYPE_UINT32, offsetof(Values, width), 1, 100},
         {L"Height", D2D1_PROPERTY_TYPE_UINT32, offsetof(Values, height), 1, 100}}};
    return description;
  }

 private:
  // The constants of the program.
  struct Constants {
    std::array<std::int32_t, 4> extent;
    std::int32_t axis_x, axis_y;
    std::int32_t first, stride, last, count;
    std::uint32_t dilates;
  };
  // A pass is told by what it reads, from `first` to `last`, in pixels from its own.
  struct Step {
    bool along_rows;
    std::int32_t first, stride, last;
  };
  // Two in each direction.
  static constexpr std::size_t kMostSteps = 4;
  using Steps = ShortList<Step, kMostSteps>;

  std::int32_t Width() const { return static_cast<std::int32_t>(values_.width); }
  std::int32_t Height() const { return static_cast<std::int32_t>(values_.height); }
  bool Dilates() const { return values_.mode == D2D1_MORPHOLOGY_MODE_DILATE; }

  Render::Rect MapBounds(const Render::Rect& input) const override {
    const std::int32_t before_x = Width() / 2, before_y = Height() / 2;
    const std::int32_t behind_x = Width() - 1 - before_x, behind_y = Height() - 1 - before_y;
    // Dilating reaches all whose window has a pixel of the image, eroding leaves those whose window
    // has no other.
    const Render::Rect bounds = Dilates()
                                    ? Grow(input, {behind_x, behind_y, before_x, before_y})
                                    : Grow(input, {-before_x, -before_y, -behind_x, -behind_y});
    return bounds.Empty() ? Render::Rect{} : bounds;
  }

  Render::Rect MapPart(const Render::Rect& part, const Render::Rect&) const override {
    return Grow(
        part, {Width() / 2, Height() / 2, Width() - 1 - Width() / 2, Height() - 1 - Height() / 2});
  }

  // Looks at a window of w pixels in about 2 sqrt(w) reads: first at some neighbours, then at as
  // many of these results as the window needs. They may overlap, an extremum does not mind.
  static void AddSteps(bool along_rows, std::int32_t size, std::int32_t largest_of_one_pass,
                       Steps* steps) {
    const std::int32_t before = size / 2;
    if (size == 1) return;
    if (size <= largest_of_one_pass) {
      steps->push_back({along_rows, -before, 1, size - 1 - before});
      return;
    }
    const auto near = static_cast<std::int32_t>(std::ceil(std::sqrt(size)));
    steps->push_back({along_rows, 0, 1, near - 1});
    steps->push_back({along_rows, -before, near, size - near - before});
  }

  HRESULT Draw(const Drawing& drawing) override {
    const std::int32_t largest_of_one_pass =
        HasOwnAlgorithm(morphology_program()) ? kAnyWindow : kLargestOfOnePass;
    Steps steps;
    AddSteps(true, Width(), largest_of_one_pass, &steps);
    AddSteps(false, Height(), largest_of_one_pass, &steps);
    if (steps.empty()) return Copy(drawing);
    // What each step has to make, from what the following one reads.
    ShortList<Render::Rect, kMostSteps> parts;
    parts.push_back(drawing.Part());
    for (const Step* step = steps.end() - 1; step != steps.begin(); --step) {
      Render::Rect part = parts.back();
      (step->along_rows ? part.left : part.top) += step->first;
      (step->along_rows ? part.right : part.bottom) += step->last;
      // Rows around the image have nothing.
      if (!step->along_rows && (step - 1)->along_rows) {
        part.top = std::max(part.top, drawing.input.top);
        part.bottom = std::min(part.bottom, drawing.input.bottom);
      }
      parts.push_back(part);
    }
    RenderedImage source = drawing.source;
    Render::Rect extent = drawing.input;
    for (const Step& step : steps) {
      const bool is_last = parts.size() == 1;
      Target target = drawing.target;
      RenderedImage image;
      HRESULT result = is_last ? S_OK
                               : NewImage(drawing.evaluation, parts.back(), Render::Format::kBgra8,
                                          &target, &image);
      if (FAILED(result)) return result;
      const Constants constants = {
          {extent.left - source.bounds.left, extent.top - source.bounds.top,
           extent.right - source.bounds.left, extent.bottom - source.bounds.top},
          step.along_rows ? 1 : 0,
          step.along_rows ? 0 : 1,
          step.first,
          step.stride,
          step.last,
          (step.last - step.first + step.stride - 1) / step.stride + 1,
          Dilates() ? 1u : 0u};
      result = RunPass(morphology_program(), source, constants, target);
      if (FAILED(result)) return result;
      parts.pop_back();
      source = image;
      extent = image.bounds;
    }
    return S_OK;
  }
};

}  // namespace

CComPtr<Effect2D> MakeMorphology(CComPtr<ID2D1Factory1> factory,
                                 std::shared_ptr<GraphicsDevice> device) {
  return MakeBuiltIn<Morphology>(std::move(factory), std::move(device));
}

}  // namespace Vantra::Platform
