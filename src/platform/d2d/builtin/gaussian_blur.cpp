// A Gaussian blur, along rows and then along columns. From some deviation on it is computed in a
// smaller picture, so that the cost does not grow: its cells are 2, 4, 8 ... pixels wide and high,
// counted from the input's top left corner. An engine that has an algorithm for it needs no such
// help.

#include <cmath>
#include <numbers>

#include "platform/d2d/builtin/line.h"
#include "render/running_sums.h"

VANTRIX_EMBEDDED_PROGRAM(gaussian_line)
VANTRIX_EMBEDDED_PROGRAM(enlarge_line)
VANTRIX_EMBEDDED_PROGRAM(reduce_line)
VANTRIX_EMBEDDED_PROGRAM(reduce_line_edges)

namespace Vantra::Platform {
namespace {

using Render::Rect;

struct Values {
  FLOAT deviation = 3;
  UINT32 optimization = D2D1_GAUSSIANBLUR_OPTIMIZATION_BALANCED;
  UINT32 border_mode = D2D1_BORDER_MODE_SOFT;
};

constexpr Render::Format kBetween = Render::Format::kRgba16Float;

// The constants of `shaders/reduce.glsl`.
struct ReduceConstants {
  Edges edges;
  std::int32_t axis_x, axis_y;
  std::int32_t factor;
  std::int32_t offset;
};

// The constants of `shaders/gaussian_line.frag`.
struct GaussianConstants {
  Edges edges;
  std::int32_t axis_x, axis_y;
  std::int32_t reach;
  float centre;
  float falloff;
  std::uint32_t to_half;
};

// The constants of `shaders/enlarge_line.frag`.
struct EnlargeConstants {
  std::int32_t axis_x, axis_y;
  std::int32_t shift;
  std::int32_t offset;
  std::int32_t cell_offset;
  std::uint32_t to_half;
};

// The first and the end of a rectangle in one direction.
struct Range {
  std::int32_t& first;
  std::int32_t& end;
};
Range RangeOf(Rect& rect, bool along_rows) {
  return along_rows ? Range{rect.left, rect.right} : Range{rect.top, rect.bottom};
}

class GaussianBlur final : public BuiltIn<GaussianBlur, Values> {
 public:
  using BuiltIn::BuiltIn;

  static const BuiltInDescription& Description() {
    static const BuiltInDescription description = {
        MakeIdentity(CLSID_D2D1GaussianBlur, L"Gaussian Blur", L"Blur",
                     L"Blurs with a Gaussian kernel."),
        {{L"StandardDeviation", D2D1_PROPERTY_TYPE_FLOAT, offsetof(Values, deviation), 0, 250},
         {L"Optimization", D2D1_PROPERTY_TYPE_ENUM, offsetof(Values, optimization),
          D2D1_GAUSSIANBLUR_OPTIMIZATION_SPEED, D2D1_GAUSSIANBLUR_OPTIMIZATION_QUALITY},
         {L"BorderMode", D2D1_PROPERTY_TYPE_ENUM, offsetof(Values, border_mode),
          D2D1_BORDER_MODE_SOFT, D2D1_BORDER_MODE_HARD}}};
    return description;
  }

 private:
  // How the blur is computed.
  struct Plan {
    // A cell has 1 << shift pixels in each direction; 0 when there is no smaller picture.
    int shift;
    // By the distance in cells.
    LineWeights weights;

    std::int32_t Reach() const { return static_cast<std::int32_t>(weights.size()) - 1; }
  };

  Plan MakePlan() const {
    // The smallest deviation in cells. It decides how far the smaller picture's results are from
    // those of the kernel itself: at most 0.5, 0.25 and 0.12 of 255 levels, beyond rounding.
    static constexpr double kInCells[] = {2, 4, 8};
    const double deviation = values_.deviation;
    const double least = kInCells[values_.optimization];
    int shift = 0;
    while (deviation / (2 << shift) >= least) ++shift;
    const double end = GaussianReach(deviation) + 0.5;
    if (shift == 0) return {0, GaussianWeights(deviation, end)};
    // Making cells and making pixels of them blurs, too, and variances add up: 1/6 of a cell's
    // square and 1/12 of a pixel's for the linear weights, 1/3 of a cell's for the splines.
    const double cell = 1 << shift;
    const double variance = deviation * deviation - cell * cell / 2 - 1.0 / 12;
    return {shift, GaussianWeights(std::sqrt(variance) / cell, end / cell)};
  }

  Edges::Mode Mode() const { return ToEdgeMode(values_.border_mode); }
  bool IsSoft() const { return values_.border_mode == D2D1_BORDER_MODE_SOFT; }

  // Where cells are counted from. An image without bound has no corner.
  static std::int32_t Anchor(std::int32_t corner) { return corner <= -kFarthest ? 0 : corner; }

  // The cells that are read for pixels.
  static Rect ToCells(const Rect& part, const Rect& input, int shift) {
    const auto first = [&](std::int32_t pixel, std::int32_t anchor) {
      return ((2 * (pixel - anchor) + 1 - (1 << shift)) >> (shift + 1)) - 1;
    };
    const std::int32_t x = Anchor(input.left), y = Anchor(input.top);
    return {first(part.left, x), first(part.top, y), first(part.right - 1, x) + 4,
            first(part.bottom - 1, y) + 4};
  }

  // The pixels that are read for cells.
  static Rect ToPixels(const Rect& cells, const Rect& input, int shift) {
    const std::int32_t half = (1 << shift) / 2;
    const std::int32_t x = Anchor(input.left), y = Anchor(input.top);
    return {(cells.left << shift) + x - half, (cells.top << shift) + y - half,
            (cells.right << shift) + x + half, (cells.bottom << shift) + y + half};
  }

  // The cells that have anything of the input.
  static Rect CellsOf(const Rect& input, int shift) {
    const auto cell = [shift](std::int32_t pixel, std::int32_t anchor) {
      return (pixel - anchor + (1 << shift) / 2) >> shift;
    };
    const std::int32_t x = Anchor(input.left), y = Anchor(input.top);
    return {cell(input.left, x) - 1, cell(input.top, y) - 1, cell(input.right - 1, x) + 1,
            cell(input.bottom - 1, y) + 1};
  }

  Rect MapBounds(const Rect& input) const override {
    const std::int32_t reach = IsSoft() ? GaussianReach(values_.deviation) : 0;
    return Grow(input, {reach, reach, reach, reach});
  }

  Rect MapPart(const Rect& part, const Rect& input) const override {
    if (values_.deviation == 0) return part;
    if (IsByEngine()) return MapLines(part, input);
    const Plan plan = MakePlan();
    const std::int32_t reach = plan.Reach();
    if (plan.shift == 0) {
      return PartWithin(Grow(part, {reach, reach, reach, reach}), input, Mode(), Mode());
    }
    const Rect cells = Grow(ToCells(part, input, plan.shift), {reach, reach, reach, reach});
    return PartWithin(ToPixels(cells, input, plan.shift), input, Mode(), Mode());
  }

  HRESULT Draw(const Drawing& drawing) override {
    if (values_.deviation == 0) return Copy(drawing);
    if (IsByEngine()) return DrawLines(drawing);
    const Plan plan = MakePlan();
    return plan.shift == 0 ? DrawPixels(drawing, plan) : DrawCells(drawing, plan);
  }

  // Whether the engine blurs lines itself, at any deviation.
  bool IsByEngine() const { return HasOwnAlgorithm(gaussian_line_program()); }

  Rect MapLines(const Rect& part, const Rect& input) const {
    const std::int32_t reach = GaussianReach(values_.deviation);
    const auto first = [&](std::int32_t place, std::int32_t edge) {
      return Render::RunningSumStart(place, edge, !IsSoft(), reach) - reach;
    };
    return PartWithin({first(part.left, input.left), first(part.top, input.top), part.right + reach,
                       part.bottom + reach},
                      input, Mode(), Mode());
  }

  HRESULT DrawLines(const Drawing& drawing) {
    Rect rows = drawing.Part();
    const Rect read = Intersect(MapLines(rows, drawing.input), drawing.input);
    rows.top = read.top;
    rows.bottom = read.bottom;
    if (read.Empty()) return Copy(drawing);
    Target target;
    RenderedImage image;
    HRESULT result = NewImage(drawing.evaluation, rows, kBetween, &target, &image);
    if (FAILED(result)) return result;
    result = BlurLine(drawing.input, drawing.source, true, target, true);
    if (FAILED(result)) return result;
    return BlurLine({rows.left, drawing.input.top, rows.right, drawing.input.bottom}, image, false,
                    drawing.target, false);
  }

  HRESULT BlurLine(const Rect& extent, const RenderedImage& source, bool along_rows,
                   const Target& target, bool to_half) {
    const double deviation = values_.deviation;
    // A pixel beside the own has no part in a steeper one.
    constexpr double kSteepest = -1000;
    const double falloff =
        std::max(-1 / (2 * std::numbers::ln2 * deviation * deviation), kSteepest);
    const std::int32_t reach = GaussianReach(deviation);
    double sum = 1;
    for (std::int32_t i = 1; i <= reach; ++i) sum += 2 * std::exp2(falloff * i * i);
    const GaussianConstants constants = {Edges(extent, source, Mode(), Mode()),
                                         along_rows ? 1 : 0,
                                         along_rows ? 0 : 1,
                                         reach,
                                         static_cast<float>(1 / sum),
                                         static_cast<float>(falloff),
                                         to_half ? 1u : 0u};
    return RunPass(gaussian_line_program(), source, constants, target);
  }

  HRESULT DrawPixels(const Drawing& drawing, const Plan& plan) {
    Rect rows = drawing.Part();
    const Rect read = Intersect(MapPart(rows, drawing.input), drawing.input);
    rows.top = read.top;
    rows.bottom = read.bottom;
    if (read.Empty()) return Copy(drawing);
    RenderedImage image = drawing.source;
    HRESULT result = BlurLines(drawing, drawing.input, true, plan, rows, &image);
    if (FAILED(result)) return result;
    const Edges edges({rows.left, drawing.input.top, rows.right, drawing.input.bottom}, image,
                      Mode(), Mode());
    const LineConstants constants(edges, false, 0, 1, plan.weights, Render::Format::kBgra8);
    return RunPasses(SteppedLine(), constants.Inner(), image, constants.Bytes(), drawing.target);
  }

  HRESULT DrawCells(const Drawing& drawing, const Plan& plan) {
    const std::int32_t reach = plan.Reach();
    const Rect part = drawing.Part();
    const Rect cells = ToCells(part, drawing.input, plan.shift);
    Rect wide = Grow(cells, {reach, reach, reach, reach});
    const Rect read = Intersect(
        PartWithin(ToPixels(wide, drawing.input, plan.shift), drawing.input, Mode(), Mode()),
        drawing.input);
    // Of a mirrored image, cells beyond its edges are made, too.
    if (IsSoft()) wide = Intersect(wide, CellsOf(drawing.input, plan.shift));
    if (read.Empty() || wide.Empty()) return Copy(drawing);
    RenderedImage image = drawing.source;
    HRESULT result = Reduce(drawing, drawing.input, true, plan.shift,
                            {wide.left, read.top, wide.right, read.bottom}, &image);
    if (SUCCEEDED(result)) {
      result = Reduce(drawing, {wide.left, drawing.input.top, wide.right, drawing.input.bottom},
                      false, plan.shift, wide, &image);
    }
    if (SUCCEEDED(result)) {
      result = BlurLines(drawing, wide, true, plan,
                         {cells.left, wide.top, cells.right, wide.bottom}, &image);
    }
    if (SUCCEEDED(result)) result = BlurLines(drawing, image.bounds, false, plan, cells, &image);
    if (FAILED(result)) return result;
    // Columns first, while rows are short.
    Target target;
    RenderedImage columns;
    result = NewImage(drawing.evaluation, {cells.left, part.top, cells.right, part.bottom},
                      kBetween, &target, &columns);
    if (FAILED(result)) return result;
    result = Enlarge(drawing, image, false, plan.shift, target, true);
    if (FAILED(result)) return result;
    return Enlarge(drawing, columns, true, plan.shift, drawing.target, false);
  }

  // Each of these makes `bounds` of an image and puts the result in its place. `extent` is the
  // whole of it.
  HRESULT BlurLines(const Drawing& drawing, const Rect& extent, bool along_rows, const Plan& plan,
                    const Rect& bounds, RenderedImage* image) {
    Target target;
    RenderedImage blurred;
    HRESULT result = NewImage(drawing.evaluation, bounds, kBetween, &target, &blurred);
    if (FAILED(result)) return result;
    // The smaller picture has all that is to be found beyond the edges.
    const Edges::Mode mode = plan.shift == 0 ? Mode() : Edges::Mode::kTransparent;
    const LineConstants constants(Edges(extent, *image, mode, mode), along_rows, 0, 1, plan.weights,
                                  kBetween);
    result = RunPasses(SteppedLine(), constants.Inner(), *image, constants.Bytes(), target);
    *image = blurred;
    return result;
  }

  HRESULT Reduce(const Drawing& drawing, const Rect& extent, bool along_rows, int shift,
                 const Rect& bounds, RenderedImage* image) {
    Target target;
    RenderedImage reduced;
    HRESULT result = NewImage(drawing.evaluation, bounds, kBetween, &target, &reduced);
    if (FAILED(result)) return result;
    Rect pixels = ToPixels(bounds, drawing.input, shift);
    const std::int32_t offset =
        RangeOf(pixels, along_rows).first - RangeOf(image->bounds, along_rows).first;
    const ReduceConstants constants = {Edges(extent, *image, Mode(), Mode()), along_rows ? 1 : 0,
                                       along_rows ? 0 : 1, 1 << shift, offset};
    const RenderedImage counted = CountedFrom(target, *image, along_rows);
    // The cells, counted as they are drawn, that lie in the image with all that they share in.
    Rect inner = counted.bounds;
    const Range range = RangeOf(inner, along_rows);
    const std::int32_t first = along_rows ? constants.edges.left : constants.edges.top;
    const std::int32_t end = along_rows ? constants.edges.right : constants.edges.bottom;
    range.first = (first - offset + (1 << shift) - 1) >> shift;
    range.end = ((end - offset) >> shift) - 1;
    (along_rows ? inner.top : inner.left) = 0;
    (along_rows ? inner.bottom : inner.right) =
        along_rows ? image->bounds.Height() : image->bounds.Width();
    result = RunPasses({reduce_line_program(), reduce_line_edges_program()}, inner, counted,
                       std::as_bytes(std::span(&constants, 1)), target);
    *image = reduced;
    return result;
  }

  HRESULT Enlarge(const Drawing& drawing, const RenderedImage& image, bool along_rows, int shift,
                  const Target& target, bool to_half) {
    RenderedImage counted = CountedFrom(target, image, along_rows);
    const std::int32_t anchor = Anchor(along_rows ? drawing.input.left : drawing.input.top);
    const std::int32_t origin = along_rows ? target.origin_x : target.origin_y;
    const std::int32_t first = along_rows ? image.bounds.left : image.bounds.top;
    const EnlargeConstants constants = {
        along_rows ? 1 : 0, along_rows ? 0 : 1, shift, origin - anchor, -first, to_half ? 1u : 0u};
    return RunPass(enlarge_line_program(), counted, constants, target);
  }

  // The image as if it lay where the target's pixels are counted from. A program whose source and
  // target have different units gets the target's pixel, and its constants tell the rest.
  static RenderedImage CountedFrom(const Target& target, RenderedImage image, bool along_rows) {
    const Range range = RangeOf(image.bounds, along_rows);
    const std::int32_t size = range.end - range.first;
    range.first = along_rows ? target.origin_x : target.origin_y;
    range.end = range.first + size;
    return image;
  }
};

}  // namespace

CComPtr<Effect2D> MakeGaussianBlur(CComPtr<ID2D1Factory1> factory,
                                   std::shared_ptr<GraphicsDevice> device) {
  return MakeBuiltIn<GaussianBlur>(std::move(factory), std::move(device));
}

}  // namespace Vantra::Platform
