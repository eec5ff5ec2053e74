// Each pixel as a weighted sum of those around it.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "platform/d2d/builtin/builtin_effect.h"

VANTRIX_EMBEDDED_PROGRAM(convolve_matrix)
VANTRIX_EMBEDDED_PROGRAM(convolve_matrix_between)
VANTRIX_EMBEDDED_PROGRAM(convolve_matrix_edges)

namespace Vantra::Platform {
namespace {

constexpr UINT32 kLargestSide = 100;
constexpr std::size_t kMostElements = 1000;

struct Values {
  D2D1_VECTOR_2F unit_length = {1, 1};
  UINT32 scale_mode = D2D1_CONVOLVEMATRIX_SCALE_MODE_LINEAR;
  UINT32 size_x = 3;
  UINT32 size_y = 3;
  std::vector<FLOAT> kernel = {0, 0, 0, 0, 1, 0, 0, 0, 0};
  FLOAT divisor = 1;
  FLOAT bias = 0;
  D2D1_VECTOR_2F offset = {0, 0};
  BOOL preserve_alpha = FALSE;
  UINT32 border_mode = D2D1_BORDER_MODE_SOFT;
  BOOL clamp = FALSE;
};

// How a place between texels is read. The kernel does not make the image smaller, so the modes that
// weigh more texels where it is do what the plain ones do.
enum class Reading : std::int32_t { kNearest, kLinear, kCubic };

Reading ToReading(UINT32 scale_mode) {
  switch (scale_mode) {
    case D2D1_CONVOLVEMATRIX_SCALE_MODE_NEAREST_NEIGHBOR:
      return Reading::kNearest;
    case D2D1_CONVOLVEMATRIX_SCALE_MODE_CUBIC:
    case D2D1_CONVOLVEMATRIX_SCALE_MODE_HIGH_QUALITY_CUBIC:
      return Reading::kCubic;
    default:
      return Reading::kLinear;
  }
}

// The kernel along rows or columns: where its elements lie from the pixel.
struct Axis {
  Axis(FLOAT unit_length, UINT32 size, FLOAT offset, Reading reading) : unit(unit_length) {
    // Beyond every image, and exact in a float.
    constexpr float kFar = 1 << 22;
    const UINT32 center = size / 2;
    first = std::clamp((offset - static_cast<float>(center)) * unit, -kFar, kFar);
    for (UINT32 i = 0; i < size; ++i) {
      // As the program has it.
      const float place = first + static_cast<float>(i) * unit;
      const float whole = std::floor(place + 0.5f);
      const bool exact = reading == Reading::kNearest || std::abs(place - whole) < 1.0f / 512;
      on_texels = on_texels && exact;
      const int base = static_cast<int>(exact ? whole : std::floor(place));
      const int around = reading == Reading::kCubic ? 1 : 0;
      before = std::max(before, exact ? -base : around - base);
      behind = std::max(behind, exact ? base : base + 1 + around);
    }
  }

  float first;
  float unit;
  // Whether every element lies on a texel.
  bool on_texels = true;
  // How many texels on each side of the pixel are read.
  int before = 0;
  int behind = 0;
};

struct Constants {
  Edges edges;
  std::array<std::int32_t, 2> size;
  std::array<float, 2> first;
  std::array<float, 2> unit_length;
  float divisor;
  float bias;
  Reading reading;
  BOOL preserve_alpha;
  BOOL clamp;
  std::array<float, kMostElements> kernel;
};

class ConvolveMatrix final : public BuiltIn<ConvolveMatrix, Values> {
 public:
  using BuiltIn::BuiltIn;

  static const BuiltInDescription& Description() {
    static const BuiltInDescription description = {
        MakeIdentity(CLSID_D2D1ConvolveMatrix, L"Convolve Matrix", L"Filter",
                     L"Replaces each pixel by a weighted sum of those around it."),
        {{L"KernelUnitLength", D2D1_PROPERTY_TYPE_VECTOR2, offsetof(Values, unit_length), 0.01f,
          100},
         {L"ScaleMode", D2D1_PROPERTY_TYPE_ENUM, offsetof(Values, scale_mode),
          D2D1_CONVOLVEMATRIX_SCALE_MODE_NEAREST_NEIGHBOR,
          D2D1_CONVOLVEMATRIX_SCALE_MODE_HIGH_QUALITY_CUBIC},
         {L"KernelSizeX", D2D1_PROPERTY_TYPE_UINT32, offsetof(Values, size_x), 1, kLargestSide},
         {L"KernelSizeY", D2D1_PROPERTY_TYPE_UINT32, offsetof(Values, size_y), 1, kLargestSide},
         {L"KernelMatrix", D2D1_PROPERTY_TYPE_BLOB, offsetof(Values, kernel)},
         {L"Divisor", D2D1_PROPERTY_TYPE_FLOAT, offsetof(Values, divisor)},
         {L"Bias", D2D1_PROPERTY_TYPE_FLOAT, offsetof(Values, bias)},
         {L"KernelOffset", D2D1_PROPERTY_TYPE_VECTOR2, offsetof(Values, offset)},
         {L"PreserveAlpha", D2D1_PROPERTY_TYPE_BOOL, offsetof(Values, preserve_alpha)},
         {L"BorderMode", D2D1_PROPERTY_TYPE_ENUM, offsetof(Values, border_mode),
          D2D1_BORDER_MODE_SOFT, D2D1_BORDER_MODE_HARD},
         {L"ClampOutput", D2D1_PROPERTY_TYPE_BOOL, offsetof(Values, clamp)}}};
    return description;
  }

 private:
  Axis Columns() const {
    return {values_.unit_length.x, values_.size_x, values_.offset.x, ToReading(values_.scale_mode)};
  }
  Axis Rows() const {
    return {values_.unit_length.y, values_.size_y, values_.offset.y, ToReading(values_.scale_mode)};
  }

  Render::Rect MapBounds(const Render::Rect& input) const override {
    if (values_.border_mode == D2D1_BORDER_MODE_HARD) return input;
    const Axis columns = Columns();
    const Axis rows = Rows();
    return Grow(input, {columns.behind, rows.behind, columns.before, rows.before});
  }

  Render::Rect MapPart(const Render::Rect& part, const Render::Rect& input) const override {
    const Axis columns = Columns();
    const Axis rows = Rows();
    const Edges::Mode mode = ToEdgeMode(values_.border_mode);
    // Between texels the program reads four along each direction, some of them for nothing.
    const int more = columns.on_texels && rows.on_texels ? 0 : 2;
    return PartWithin(Grow(part, {columns.before + more, rows.before + more, columns.behind + more,
                                  rows.behind + more}),
                      input, mode, mode);
  }

  HRESULT Draw(const Drawing& drawing) override {
    const std::size_t count = values_.kernel.size();
    if (count != std::size_t{values_.size_x} * values_.size_y) return E_INVALIDARG;
    if (count > kMostElements) return D2DERR_UNSUPPORTED_OPERATION;
    const Axis columns = Columns();
    const Axis rows = Rows();
    const Edges::Mode mode = ToEdgeMode(values_.border_mode);
    Constants constants = {
        .edges = {drawing.input, drawing.source, mode, mode},
        .size = {static_cast<std::int32_t>(values_.size_x),
                 static_cast<std::int32_t>(values_.size_y)},
        .first = {columns.first, rows.first},
        .unit_length = {columns.unit, rows.unit},
        .divisor = values_.divisor == 0 ? std::numeric_limits<float>::epsilon() : values_.divisor,
        .bias = values_.bias,
        .reading = ToReading(values_.scale_mode),
        .preserve_alpha = values_.preserve_alpha,
        .clamp = values_.clamp,
        .kernel = {},
    };
    std::copy(values_.kernel.begin(), values_.kernel.end(), constants.kernel.begin());
    const auto bytes = std::as_bytes(std::span(&constants, 1))
                           .first(offsetof(Constants, kernel) + count * sizeof(float));
    if (!columns.on_texels || !rows.on_texels) {
      return RunPass(convolve_matrix_between_program(), drawing.source, bytes, drawing.target);
    }
    const Edges& edges = constants.edges;
    return RunPasses({convolve_matrix_program(), convolve_matrix_edges_program()},
                     {edges.left + columns.before, edges.top + rows.before,
                      edges.right - columns.behind, edges.bottom - rows.behind},
                     drawing.source, bytes, drawing.target);
  }
};

}  // namespace

CComPtr<Effect2D> MakeConvolveMatrix(CComPtr<ID2D1Factory1> factory,
                                     std::shared_ptr<GraphicsDevice> device) {
  return MakeBuiltIn<ConvolveMatrix>(std::move(factory), std::move(device));
}

}  // namespace Vantra::Platform
