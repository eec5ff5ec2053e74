#include "platform/d2d/builtin/line.h"

#include <algorithm>
#include <cmath>

VANTRIX_EMBEDDED_PROGRAM(slanted_line)
VANTRIX_EMBEDDED_PROGRAM(stepped_line)

namespace Vantra::Platform {

int GaussianReach(double deviation) { return static_cast<int>(std::ceil(3 * deviation)); }

std::vector<float> GaussianWeights(double deviation, double end) {
  std::vector<double> weights;
  double sum = 0;
  for (int i = 0; i < end + 0.5; ++i) {
    const double share = std::min(1.0, end + 0.5 - i);
    weights.push_back(share * std::exp(-i * i / (2 * deviation * deviation)));
    sum += (i == 0 ? 1 : 2) * weights.back();
  }
  std::vector<float> normalised;
  for (const double weight : weights) normalised.push_back(static_cast<float>(weight / sum));
  return normalised;
}

LineConstants::LineConstants(const Edges& edge_rules, bool along_rows, double slope_across,
                             int step, std::span<const float> line_weights, Render::Format result)
    : edges(edge_rules),
      axis_x(along_rows ? 1 : 0),
      axis_y(along_rows ? 0 : 1),
      across_x(axis_y),
      across_y(axis_x),
      stride(step),
      slope(static_cast<float>(slope_across)),
      reach(static_cast<std::int32_t>(line_weights.size()) - 1),
      to_half(result == Render::Format::kRgba16Float ? 1 : 0),
      weights() {
  const std::int32_t along = reach * stride;
  // One more for the second of two pixels.
  const auto rise = static_cast<std::int32_t>(std::ceil(std::abs(along * slope_across)));
  const std::int32_t beside = slope_across == 0 ? 0 : rise + 1;
  span_x = along_rows ? along : beside;
  span_y = along_rows ? beside : along;
  std::ranges::copy(line_weights, weights.begin());
}

std::span<const std::byte> SteppedLineProgram() { return stepped_line_program(); }
std::span<const std::byte> SlantedLineProgram() { return slanted_line_program(); }

}  // namespace Vantra::Platform
