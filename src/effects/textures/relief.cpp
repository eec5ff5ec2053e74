#include <algorithm>
#include <limits>

#include "effects/textures/field.h"
#include "effects/textures/texture.h"

namespace Vantra::Textures {
namespace {

constexpr int kSize = 512;

// A dome around each of many points, which lie one in each cell of a grid: the square of the
// distance from the nearest point, with the creases between domes smoothed.
Field MakeDomes(std::mt19937& random) {
  constexpr int kCell = 16;
  constexpr int kMargin = 1;
  constexpr int kSmoothings = 6;
  Field points_x(kSize / kCell);
  Field points_y(kSize / kCell);
  for (int row = 0; row < points_x.Size(); ++row) {
    for (int column = 0; column < points_x.Size(); ++column) {
      points_x.At(column, row) = kMargin + random() % (kCell - 2 * kMargin);
      points_y.At(column, row) = kMargin + random() % (kCell - 2 * kMargin);
    }
  }
  Field domes(kSize);
  for (int y = 0; y < kSize; ++y) {
    for (int x = 0; x < kSize; ++x) {
      std::int64_t nearest = std::numeric_limits<std::int64_t>::max();
      for (int row = y / kCell - 2; row <= y / kCell + 2; ++row) {
        for (int column = x / kCell - 2; column <= x / kCell + 2; ++column) {
          const std::int64_t dx = column * kCell + points_x.At(column, row) - x;
          const std::int64_t dy = row * kCell + points_y.At(column, row) - y;
          nearest = std::min(nearest, dx * dx + dy * dy);
        }
      }
      // Far more than the smoothing rounds off.
      domes.At(x, y) = -nearest * (std::int64_t{1} << 32);
    }
  }
  for (int i = 0; i < kSmoothings; ++i) domes = Smooth(domes);
  return domes;
}

}  // namespace

// Pebbles for height fields, whose height is the mean of the channels. It is a sum of all three,
// so that its steps are finer than a channel's: a slope is a difference of few steps. It leaves a
// quarter of the range at both ends, so that a normal with twice the difference of two heights in
// its x or y still fits into a unit's length. As a picture it is lit by a warm light from the upper
// left.
Texture MakeRelief() {
  constexpr int kHeights = 383;  // steps of the sum
  constexpr int kLowest = (3 * 255 - kHeights) / 2;
  constexpr int kWarmest = 32;
  std::mt19937 random(3);
  const Field height = Equalize(MakeDomes(random), kHeights);
  Texture texture{kSize, kSize, 3, {}};
  for (int y = 0; y < kSize; ++y) {
    for (int x = 0; x < kSize; ++x) {
      const int sum = kLowest + static_cast<int>(height.At(x, y));
      const int slope = static_cast<int>(height.At(x + 2, y + 2) - height.At(x - 2, y - 2));
      const int warmth = std::clamp(slope / 4, -kWarmest, kWarmest) + 12;
      const int red = sum / 3 + warmth;
      const int green = (sum - sum / 3) / 2 + warmth / 6;
      for (const int channel : {red, green, sum - red - green}) {
        texture.bytes.push_back(static_cast<std::uint8_t>(channel));
      }
    }
  }
  return texture;
}

}  // namespace Vantra::Textures
