#include "platform/d2d/builtin/line.h"

#include <algorithm>
#include <cmath>

VANTRIX_EMBEDDED_PROGRAM(slanted_line)
VANTRIX_EMBEDDED_PROGRAM(slanted_line_edges)
VANTRIX_EMBEDDED_PROGRAM(stepped_line)
VANTRIX_EMBEDDED_PROGRAM(stepped_line_edges)

namespace Vantra::Platform {

int GaussianReach(double deviation) { return static_cast<int>(std::ceil(3 * deviation)); }

LineWeights GaussianWeights(double deviation, double end) {
  const auto weight = [&](int i) {
    return std::min(1.0, end + 0.5 - i) * std::exp(-i * i / (2 * deviation * deviation));
  };
  double sum = 0;
  for (int i = 0; i < end + 0.5; ++i) sum += (i == 0 ? 1 : 2) * weight(i);
  LineWeights weights;
  for (int i = 0; i < end + 0.5; ++i) weights.push_back(static_cast<float>(weight(i) / sum));
  return weights;
}

LineConstants::LineConstants(const Edges& edge_rules, bool along_rows, double slope_across,
                             int step, const LineWeights& line_weights, Render::Format result)
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
  std::ranges::copy(line_weights, weights.begin());
}

Render::Rect LineConstants::Inner() const {
  const std::int32_t along = reach * stride;
  // One more for the second of two pixels.
  const std::int32_t beside =
      slope == 0
          ? 0
          : static_cast<std::int32_t>(std::ceil(std::abs(static_cast<float>(along) * slope))) + 1;
  const std::int32_t x = axis_x != 0 ? along : beside, y = axis_x != 0 ? beside : along;
  return {edges.left + x, edges.top + y, edges.right - x, edges.bottom - y};
}

EdgePrograms SteppedLine() { return {stepped_line_program(), stepped_line_edges_program()}; }
EdgePrograms SlantedLine() { return {slanted_line_program(), slanted_line_edges_program()}; }

}  // namespace Vantra::Platform
