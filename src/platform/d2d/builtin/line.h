#pragma once

// Passes that sum weighted pixels along a line, which the blurs have in common.

#include <array>
#include <cstdint>
#include <span>

#include "platform/d2d/builtin/builtin_effect.h"
#include "platform/d2d/builtin/short_list.h"

namespace Vantra::Platform {

// What a blur reaches on each side.
int GaussianReach(double deviation);

// More than any blur needs.
using LineWeights = ShortList<float, 256>;

// Weights by the distance, 0 and up, of a Gaussian that ends `end` from its centre. A place counts
// from half a step before it to half a step behind it, and the outermost for what it has of that.
// Both sides together have the sum 1.
LineWeights GaussianWeights(double deviation, double end);

// The constants of `shaders/line.glsl`.
struct LineConstants {
  LineConstants(const Edges& edge_rules, bool along_rows, double slope_across, int step,
                const LineWeights& line_weights, Render::Format result);

  // Without the weights that are not there.
  std::span<const std::byte> Bytes() const {
    return std::as_bytes(std::span(this, 1))
        .first(offsetof(LineConstants, weights) + (reach + std::size_t{1}) * sizeof(float));
  }

  // The places, in texels, whose lines stay in the image.
  Render::Rect Inner() const;

  Edges edges;
  std::int32_t axis_x, axis_y;
  std::int32_t across_x, across_y;
  std::int32_t stride;
  float slope;
  std::int32_t reach;
  std::uint32_t to_half;
  std::array<float, LineWeights::Capacity()> weights;
};
static_assert(sizeof(LineConstants) <= Render::kMaximumConstantBytes);

// Of places between two pixels the stepped line takes the nearer one, the slanted both.
EdgePrograms SteppedLine();
EdgePrograms SlantedLine();

}  // namespace Vantra::Platform
