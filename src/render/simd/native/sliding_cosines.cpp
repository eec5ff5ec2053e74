#include "render/simd/native/sliding_cosines.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Vantra::Render::Simd {
namespace {

constexpr std::size_t kTerms = SlidingCosines::kCosines + 1;
using Amplitudes = std::array<double, kTerms>;
using Matrix = std::array<Amplitudes, kTerms>;

// Solves a positive definite system of the first `count` unknowns. The others are 0.
Amplitudes Solve(Matrix matrix, Amplitudes right, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t j = i + 1; j < count; ++j) {
      const double factor = matrix[j][i] / matrix[i][i];
      for (std::size_t k = i; k < count; ++k) matrix[j][k] -= factor * matrix[i][k];
      right[j] -= factor * right[i];
    }
  }
  Amplitudes solution = {};
  for (std::size_t i = count; i-- > 0;) {
    double rest = right[i];
    for (std::size_t k = i + 1; k < count; ++k) rest -= matrix[i][k] * solution[k];
    solution[i] = rest / matrix[i][i];
  }
  return solution;
}

}  // namespace

SlidingCosines::SlidingCosines(std::int32_t window_reach, double centre, double falloff)
    : reach(window_reach), constant(0), cosines{} {
  const auto ends = static_cast<double>(reach);
  // A period beyond the window's width lets the cosines end as the Gaussian does, at a slope.
  const double deviation = std::sqrt(-1 / (2 * std::numbers::ln2 * falloff));
  const double period = std::max(2 * ends, 7 * deviation) + 1;
  // Narrow windows have no more independent weights.
  const std::size_t count = std::min<std::size_t>(kTerms, static_cast<std::size_t>(reach) + 1);
  Amplitudes frequencies = {};
  for (std::size_t k = 0; k < kTerms; ++k) {
    frequencies[k] = 2 * std::numbers::pi * static_cast<double>(k) / period;
  }
  // By distance: cos(w n), one beyond the window.
  std::vector<Amplitudes> values(static_cast<std::size_t>(reach) + 2);
  Matrix products = {};
  Amplitudes right = {};
  for (std::int32_t n = 0; n <= reach + 1; ++n) {
    Amplitudes& value = values[static_cast<std::size_t>(n)];
    for (std::size_t k = 0; k < kTerms; ++k) value[k] = std::cos(frequencies[k] * n);
    if (n > reach) break;
    const double sides = n == 0 ? 1 : 2;
    const double weight = centre * std::exp2(falloff * n * n);
    for (std::size_t i = 0; i < count; ++i) {
      right[i] += sides * weight * value[i];
      for (std::size_t j = 0; j < count; ++j) products[i][j] += sides * value[i] * value[j];
    }
  }
  const Amplitudes amplitudes = Solve(products, right, count);
  constant = static_cast<float>(amplitudes[0]);
  start.resize(2 * static_cast<std::size_t>(reach) + 1);
  for (std::size_t k = 0; k < kCosines; ++k) {
    const double a = amplitudes[k + 1], half = std::sin(frequencies[k + 1] / 2);
    const auto cosine = [&](std::int32_t n) {
      return a * values[static_cast<std::size_t>(std::abs(n))][k + 1];
    };
    cosines[k] = {static_cast<float>(4 * half * half), static_cast<float>(cosine(reach)),
                  static_cast<float>(cosine(reach) - cosine(reach + 1))};
    for (std::int32_t n = -reach; n <= reach; ++n) {
      Start& place = start[static_cast<std::size_t>(n + reach)];
      place.sums[k] = static_cast<float>(cosine(n));
      // One place before, the last pixel was not yet in the window.
      place.steps[k] = static_cast<float>(n == reach ? cosine(n) : cosine(n) - cosine(n + 1));
    }
  }
}

}  // namespace Vantra::Render::Simd
