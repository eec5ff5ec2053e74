// Noise that tiles. In each channel all 256 values are equally often.

#include <array>
#include <cstdlib>

#include "effects/textures/field.h"
#include "effects/textures/texture.h"

namespace Vantra::Textures {
namespace {

constexpr int kSize = 256;
constexpr int kLevels = 256;

// The fields as channels, from (left, top) on.
Texture ToTexture(std::span<const Field> channels, int left, int top) {
  Texture texture{kSize, kSize, static_cast<int>(channels.size()), {}};
  for (int y = 0; y < kSize; ++y) {
    for (int x = 0; x < kSize; ++x) {
      for (const Field& channel : channels) {
        texture.bytes.push_back(static_cast<std::uint8_t>(channel.At(left + x, top + y)));
      }
    }
  }
  return texture;
}

}  // namespace

// Red, green and blue without relation. Effects enlarge it, and add it up at several scales: it is
// smooth over a few texels.
Texture MakeColorNoise() {
  constexpr int kAmplitudes[] = {4, 8, 2};
  std::mt19937 random(1);
  constexpr int kChannels = 3;
  std::vector<Field> channels;
  channels.reserve(kChannels);
  for (int c = 0; c < kChannels; ++c) {
    channels.push_back(Equalize(MakeNoise(kSize, kAmplitudes, random), kLevels));
  }
  // What is read beyond the texture is its corner, over and over: that is where red and green are
  // nearest to their mean.
  int corner_x = 0;
  int corner_y = 0;
  std::int64_t nearest = 2 * kLevels;
  for (int y = 0; y < kSize; ++y) {
    for (int x = 0; x < kSize; ++x) {
      const std::int64_t distance = std::abs(2 * channels[0].At(x, y) - (kLevels - 1)) +
                                    std::abs(2 * channels[1].At(x, y) - (kLevels - 1));
      if (distance >= nearest) continue;
      nearest = distance;
      corner_x = x;
      corner_y = y;
    }
  }
  return ToTexture(channels, corner_x + 1, corner_y + 1);
}

// Grain of single texels, for brushes and paper.
Texture MakeGrayNoise() {
  constexpr int kAmplitudes[] = {1};
  std::mt19937 random(2);
  const Field noise = Equalize(MakeNoise(kSize, kAmplitudes, random), kLevels);
  return ToTexture(std::span(&noise, 1), 0, 0);
}

}  // namespace Vantra::Textures
