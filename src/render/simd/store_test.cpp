#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "render/simd/targets.h"
// After the choice of targets.
#include "render/simd/target_tests.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "render/simd/store_test.cpp"
#include "hwy/foreach_target.h"
#include "render/simd/program-inl.h"

#ifndef VANTRIX_STORE_TEST_COMMON
#define VANTRIX_STORE_TEST_COMMON
namespace Vantra::Render::Simd {
namespace {

using Pixel = std::array<double, 4>;

constexpr std::size_t kChannels[] = {4, 4, 1, 2, 4};  // by format

double Mixed(Blend blend, double s, double sa, double d, double da) {
  switch (blend) {
    case Blend::kReplace:
      return s;
    case Blend::kSourceOver:
      return s + (1 - sa) * d;
    case Blend::kDestinationOver:
      return (1 - da) * s + d;
    case Blend::kSourceIn:
      return da * s;
    case Blend::kDestinationIn:
      return sa * d;
    case Blend::kSourceOut:
      return (1 - da) * s;
    case Blend::kDestinationOut:
      return (1 - sa) * d;
    case Blend::kSourceAtop:
      return da * s + (1 - sa) * d;
    case Blend::kDestinationAtop:
      return (1 - da) * s + sa * d;
    case Blend::kXor:
      return (1 - da) * s + (1 - sa) * d;
    case Blend::kPlus:
      return s + d;
    case Blend::kMaskInvert:
      return (1 - d) * s + (1 - s) * d;
    case Blend::kMinimum:
      return std::min(s, d);
    case Blend::kMaximum:
      break;
  }
  return std::max(s, d);
}

double Clamped(double value) { return std::isnan(value) ? 0 : std::clamp(value, 0.0, 1.0); }

}  // namespace
}  // namespace Vantra::Render::Simd
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {
namespace {

// Stores `count` random colours over random pixels, and looks at every byte around them.
void CheckStore(Format format, Blend blend, std::int32_t count, std::uint32_t seed) {
  constexpr std::int32_t kX = 3;
  const std::size_t bytes = BytesPerPixel(format);
  const bool halves = format == Format::kRgba16Float;
  const auto random = [&seed] {
    seed = seed * 1664525 + 1013904223;
    return seed >> 8;
  };
  const auto pixels = static_cast<std::size_t>(kX + kLanes + 3);
  std::vector<std::byte> memory(pixels * bytes);
  for (std::size_t i = 0; i < memory.size(); ++i) {
    memory[i] = static_cast<std::byte>(halves && i % 2 ? random() % 0x3B : random());
  }
  const std::vector<std::byte> before = memory;
  float color[4][kLanes];
  for (std::size_t c = 0; c < 4; ++c) {
    for (float& channel : color[c]) {
      const std::uint32_t choice = random();
      channel = static_cast<float>(random() % 4097) / 4096;
      if (choice % 16 == 0) channel = std::numeric_limits<float>::quiet_NaN();
      if (choice % 16 == 1) channel = -3.0f;
      if (choice % 16 == 2) channel = 1e30f;
      if (choice % 16 == 3) channel = std::numeric_limits<float>::infinity();
      if (choice % 16 == 4) channel = -std::numeric_limits<float>::infinity();
    }
  }
  PixelArguments arguments;
  arguments.blend = blend;
  arguments.target = {memory.data(), memory.size(), format};
  const ResultRow row(arguments, 0);
  if (seed % 2 == 0) {
    row.Store(kX, count, {Load(color[0]), Load(color[1]), Load(color[2]), Load(color[3])});
  } else {
    // The alpha of a row of texels, in both of the ways in which it can be read.
    std::vector<std::uint32_t> texels(static_cast<std::size_t>(kX + kLanes));
    for (std::size_t i = kX; i < texels.size(); ++i) {
      texels[i] = random() << 8;
      color[3][i - kX] = static_cast<float>(texels[i] >> 24) / 255;
    }
    RowRead read;
    read.rows[0] = read.rows[1] = reinterpret_cast<std::uintptr_t>(texels.data());
    read.plain = seed % 4 == 1;
    row.StoreKeepingAlpha(read, kX, count,
                          {Load(color[0]), Load(color[1]), Load(color[2]), Load(color[3])});
  }

  const auto channel_of = [&](const std::vector<std::byte>& from, std::size_t pixel,
                              std::size_t channel) {
    if (channel >= kChannels[static_cast<std::size_t>(format)]) return channel == 3 ? 1.0 : 0.0;
    if (format == Format::kBgra8 && channel < 3) channel = 2 - channel;
    if (!halves) return std::to_integer<int>(from[pixel * bytes + channel]) / 255.0;
    std::uint16_t half = 0;
    std::memcpy(&half, &from[pixel * bytes + 2 * channel], 2);
    return double{HalfToFloat(half)};
  };
  for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
    const std::size_t lane = pixel - kX;
    if (pixel < kX || lane >= static_cast<std::size_t>(count)) {
      ASSERT_TRUE(std::equal(before.begin() + static_cast<std::ptrdiff_t>(pixel * bytes),
                             before.begin() + static_cast<std::ptrdiff_t>((pixel + 1) * bytes),
                             memory.begin() + static_cast<std::ptrdiff_t>(pixel * bytes)))
          << "pixel " << pixel << " of " << count << " from " << kX << " on was not to change";
      continue;
    }
    for (std::size_t c = 0; c < kChannels[static_cast<std::size_t>(format)]; ++c) {
      const double s = Clamped(double{color[c][lane]});
      const double expected =
          Clamped(Mixed(blend, s, Clamped(double{color[3][lane]}), channel_of(before, pixel, c),
                        channel_of(before, pixel, 3)));
      const double seen = channel_of(memory, pixel, c);
      // Half a step, and what floats may make of a tie.
      const double limit = halves ? std::max(expected, 0x1p-14) * 0x1.01p-11 : 0.5002 / 255;
      ASSERT_NEAR(seen, expected, limit) << "channel " << c << " of pixel " << pixel;
    }
  }
}

}  // namespace

void CheckStores() {
  for (std::size_t format = 0; format < kFormatCount; ++format) {
    for (std::size_t blend = 0; blend < kBlendCount; ++blend) {
      SCOPED_TRACE(testing::Message() << "format " << format << ", blend " << blend);
      for (std::int32_t count = 0; count <= kLanes; ++count) {
        for (std::uint32_t seed = 0; seed < 8; ++seed) {
          CheckStore(static_cast<Format>(format), static_cast<Blend>(blend), count, seed);
          if (testing::Test::HasFailure()) return;
        }
      }
    }
  }
}

// Every byte read as a fraction and stored is the same byte, and a level and a bit goes to the
// nearer one.
void CheckLevels() {
  for (int level = 0; level < 256; ++level) {
    std::vector<std::uint32_t> words(static_cast<std::size_t>(kLanes),
                                     static_cast<std::uint32_t>(level) * 0x01010101u);
    PixelArguments arguments;
    arguments.target = {reinterpret_cast<std::byte*>(words.data()), 64, Format::kBgra8};
    const Color color = FromBytes(BytesOf<true>(Load(words.data())));
    std::vector<std::uint32_t> wide(static_cast<std::size_t>(kWideLanes), words[0]);
    std::vector<std::uint32_t> stored(wide.size());
    PixelArguments plain;
    plain.target = {reinterpret_cast<std::byte*>(stored.data()), 256, Format::kBgra8};
    RowRead read;
    read.rows[0] = reinterpret_cast<std::uintptr_t>(wide.data());
    ResultRow(plain, 0).StorePlain(0, ReadPlainRow(read, 0));
    ASSERT_EQ(stored, wide);
    stored.assign(stored.size(), 0);
    ResultRow(plain, 0).StorePlainKeepingAlpha(read, 0, ReadPlainRow(read, 0));
    ASSERT_EQ(stored, wide);
    for (const float change : {0.0f, 0.49f, -0.49f}) {
      const F by = Broadcast(change / 255);
      words.assign(words.size(), 0);
      ResultRow(arguments, 0)
          .Store(0, kLanes,
                 {Add(color.r, by), Add(color.g, by), Add(color.b, by), Add(color.a, by)});
      for (const std::uint32_t word : words) {
        ASSERT_EQ(word, static_cast<std::uint32_t>(level) * 0x01010101u) << change;
      }
    }
  }
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantra::Render::Simd {
namespace {

TEST_ON_EACH_TARGET(LaneStores, BlendClampAndRoundAsTheFormulasSay, CheckStores);
TEST_ON_EACH_TARGET(LaneStores, BytesComeBackAsTheyWere, CheckLevels);

}  // namespace
}  // namespace Vantra::Render::Simd
#endif
