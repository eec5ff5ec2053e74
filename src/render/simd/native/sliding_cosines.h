#pragma once

// A Gaussian as a sum of cosines, which windows that slide along a line of pixels can keep up to
// date at a cost that does not depend on their width.
//
// The sum S(x) of the pixels around x, weighted by a * cos(w n) at the distance n up to `reach`,
// follows from the sums at the two places before it and the pixels that enter and leave:
//   S(x + 1) - 2 cos(w) S(x) + S(x - 1) = a cos(w reach) (f(x + reach + 1) + f(x - reach - 1))
//                                       - a cos(w (reach + 1)) (f(x + reach) + f(x - reach))
// It is kept as the sum and its last step, and the pixels as differences: nearly equal numbers are
// subtracted here, in doubles, and not there, in floats.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vantra::Render::Simd {

struct SlidingCosines {
  // Four cosines and the constant keep the sum of all weights' errors below 0.1 of 255 levels, and
  // below 0.22 where `reach` is 5.
  static constexpr std::size_t kCosines = 4;

  struct Cosine {
    float bend;        // 2 - 2 cos(w)
    float change;      // a cos(w reach)
    float difference;  // a (cos(w reach) - cos(w (reach + 1)))
  };
  // Weights of a pixel in the sums and the steps of a window that begins with it or before.
  struct Start {
    std::array<float, kCosines> sums;
    std::array<float, kCosines> steps;
  };

  // The weights are `centre` * exp2(`falloff` * n * n), with n up to `reach`, at least 1.
  SlidingCosines(std::int32_t reach, double centre, double falloff);

  std::int32_t reach;
  float constant;
  std::array<Cosine, kCosines> cosines;
  // By the place in the window.
  std::vector<Start> start;
};

}  // namespace Vantra::Render::Simd
