// The library's textures, as effects read them.

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "tests/harness/picture.h"

namespace Vantra {
namespace {

using namespace Testing;

// The FNV-1a hash of 64 bits of the pixels. A recipe that is changed on purpose changes it; else
// nothing may, on any machine.
std::uint64_t Hash(const Picture& picture) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const Pixel& pixel : picture.pixels) {
    for (const std::uint8_t byte : pixel) hash = (hash ^ byte) * 0x100000001B3;
  }
  return hash;
}

// The pixel behind the last one is the first.
const Pixel& Around(const Picture& picture, int x, int y) {
  return picture.At(x % picture.width, y % picture.height);
}

// The height that a relief is read as, in 0 to 1.
double Height(const Picture& picture, int x, int y) {
  const Pixel& pixel = Around(picture, x, y);
  return (pixel[0] + pixel[1] + pixel[2]) / 765.0;
}

// How much the numbers at distance (dx, dy) of a channel have to do with those of another: 1 is the
// same, 0 nothing. Their values lie evenly in 0 to 255.
double Correlation(const Picture& picture, std::size_t channel, std::size_t other, int dx, int dy) {
  double sum = 0;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      sum += (picture.At(x, y)[channel] - 127.5) * (Around(picture, x + dx, y + dy)[other] - 127.5);
    }
  }
  return sum / static_cast<double>(picture.pixels.size()) / (256.0 * 256 / 12);
}

// The mean difference of neighbours across the seams, and elsewhere.
std::pair<double, double> DifferencesOfNeighbors(const Picture& picture) {
  double seams = 0;
  double rest = 0;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const double right = std::abs(Height(picture, x, y) - Height(picture, x + 1, y));
      const double below = std::abs(Height(picture, x, y) - Height(picture, x, y + 1));
      (x == picture.width - 1 ? seams : rest) += right;
      (y == picture.height - 1 ? seams : rest) += below;
    }
  }
  const double count = picture.width + picture.height;
  return {seams / count, rest / (2.0 * static_cast<double>(picture.pixels.size()) - count)};
}

void ExpectNoSeam(const Picture& picture) {
  const auto [seams, rest] = DifferencesOfNeighbors(picture);
  EXPECT_NEAR(seams, rest, 0.2 * rest) << picture.name;
}

void ExpectAllValuesEquallyOften(const Picture& picture, std::size_t channel) {
  std::array<std::size_t, 256> counts = {};
  for (const Pixel& pixel : picture.pixels) ++counts[pixel[channel]];
  for (const std::size_t count : counts) ASSERT_EQ(count, picture.pixels.size() / 256);
}

TEST(Textures, NoiseTilesAndHasAllValuesEquallyOften) {
  const Picture color = LoadTexture("IDR_NOISE");
  const Picture gray = LoadTexture("IDR_NOISE_PNG_1");
  for (const Picture& picture : {color, gray}) {
    ASSERT_EQ(picture.width, 256);
    ASSERT_EQ(picture.height, 256);
    for (std::size_t c = 0; c < 3; ++c) ExpectAllValuesEquallyOften(picture, c);
    EXPECT_TRUE(std::all_of(picture.pixels.begin(), picture.pixels.end(),
                            [](const Pixel& pixel) { return pixel[3] == 255; }));
    ExpectNoSeam(picture);
  }
  // Smooth over a few texels, with no pattern across the picture.
  for (std::size_t c = 0; c < 3; ++c) {
    EXPECT_GT(Correlation(color, c, c, 1, 0), 0.5);
    EXPECT_GT(Correlation(color, c, c, 0, 1), 0.5);
    EXPECT_NEAR(Correlation(color, c, (c + 1) % 3, 0, 0), 0, 0.1);
    EXPECT_NEAR(Correlation(color, c, c, 64, 64), 0, 0.1);
  }
  // What is read beyond the texture moves nothing.
  EXPECT_NEAR(color.At(255, 255)[1], 127.5, 4);
  EXPECT_NEAR(color.At(255, 255)[2], 127.5, 4);
  // Grain: texels have nothing to do with each other.
  EXPECT_TRUE(std::all_of(gray.pixels.begin(), gray.pixels.end(), [](const Pixel& pixel) {
    return pixel[0] == pixel[1] && pixel[1] == pixel[2];
  }));
  for (const auto& [dx, dy] : {std::pair{1, 0}, {0, 1}, {1, 1}, {2, 0}, {0, 2}, {128, 128}}) {
    EXPECT_NEAR(Correlation(gray, 0, 0, dx, dy), 0, 0.02) << dx << "," << dy;
  }
  EXPECT_EQ(Hash(color), 0xDD417AE77596BEFD);
  EXPECT_EQ(Hash(gray), 0xE8505E505B68D61D);
}

TEST(Textures, TheReliefIsSeamlessSmoothAndNowhereTooSteepForANormal) {
  const Picture relief = LoadTexture("IDR_BUMP_MAPPING");
  ASSERT_EQ(relief.width, 512);
  ASSERT_EQ(relief.height, 512);
  ExpectNoSeam(relief);
  double sum = 0;
  double lowest = 1;
  double highest = 0;
  double steepest = 0;
  double sharpest = 0;
  for (int y = 0; y < 512; ++y) {
    for (int x = 0; x < 512; ++x) {
      const double height = Height(relief, x, y);
      sum += height;
      lowest = std::min(lowest, height);
      highest = std::max(highest, height);
      const double dx = Height(relief, x + 2, y) - height;
      const double dy = Height(relief, x, y + 2) - height;
      steepest = std::max(steepest, std::hypot(dx, dy));
      sharpest = std::max(sharpest, std::abs(dx - 2 * (Height(relief, x + 1, y) - height)));
    }
  }
  EXPECT_NEAR(sum / (512 * 512), 0.5, 0.001);
  // Twice a difference is at most 1 whatever the distance.
  EXPECT_LE(highest - lowest, 0.5);
  EXPECT_GE(highest - lowest, 0.49);
  // Two texels apart, as for a picture of 512 pixels, slopes are to be seen.
  EXPECT_GT(steepest, 0.1);
  EXPECT_LT(steepest, 0.2);
  EXPECT_LT(sharpest, 0.05);
  EXPECT_EQ(Hash(relief), 0xDCA117FEA903950A);
}

}  // namespace
}  // namespace Vantra
