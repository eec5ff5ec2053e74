#include "effects/textures/field.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace Vantra::Textures {
namespace {

// Twice as many places a side, as a cubic spline goes through the grid's numbers.
Field Enlarge(const Field& field) {
  // Eighths, from the place before a grid's number to the one behind.
  constexpr std::array<std::array<int, 3>, 2> kWeights = {{{1, 6, 1}, {0, 4, 4}}};
  Field result(2 * field.Size());
  for (int y = 0; y < result.Size(); ++y) {
    for (int x = 0; x < result.Size(); ++x) {
      std::int64_t sum = 0;
      for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 3; ++i) {
          sum += kWeights[y & 1][j] * kWeights[x & 1][i] * field.At(x / 2 + i - 1, y / 2 + j - 1);
        }
      }
      result.At(x, y) = sum / 64;
    }
  }
  return result;
}

}  // namespace

Field MakeNoise(int size, std::span<const int> amplitudes, std::mt19937& random) {
  Field field(size >> amplitudes.size());
  for (const int amplitude : amplitudes) {
    field = Enlarge(field);
    for (int y = 0; y < field.Size(); ++y) {
      for (int x = 0; x < field.Size(); ++x) {
        const std::int64_t number = static_cast<std::int64_t>(random()) - 0x80000000;
        field.At(x, y) += amplitude * number;
      }
    }
  }
  return field;
}

Field Smooth(const Field& field) {
  constexpr std::array<int, 3> kWeights = {1, 2, 1};
  Field result(field.Size());
  for (int y = 0; y < result.Size(); ++y) {
    for (int x = 0; x < result.Size(); ++x) {
      std::int64_t sum = 0;
      for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 3; ++i) {
          sum += kWeights[j] * kWeights[i] * field.At(x + i - 1, y + j - 1);
        }
      }
      result.At(x, y) = sum / 16;
    }
  }
  return result;
}

Field Equalize(const Field& field, int levels) {
  const std::span<const std::int64_t> values = field.Values();
  std::vector<std::size_t> order(values.size());
  std::iota(order.begin(), order.end(), 0);
  // Equal numbers stay in order, so that the result is one only.
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return values[a] < values[b]; });
  Field result(field.Size());
  for (std::size_t rank = 0; rank < order.size(); ++rank) {
    const int place = static_cast<int>(order[rank]);
    result.At(place % field.Size(), place / field.Size()) =
        static_cast<std::int64_t>(rank * static_cast<std::size_t>(levels) / order.size());
  }
  return result;
}

}  // namespace Vantra::Textures
