#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "render/simd/targets.h"
// After the choice of targets.
#include "render/simd/target_tests.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "render/simd/texture_test.cpp"
#include "hwy/foreach_target.h"
#include "render/simd/program-inl.h"

#ifndef VANTRIX_TEXTURE_TEST_COMMON
#define VANTRIX_TEXTURE_TEST_COMMON
namespace Vantra::Render::Simd {
namespace {

using Pixel = std::array<double, 4>;  // red to alpha

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr Extend kExtends[] = {Extend::kClamp, Extend::kWrap, Extend::kMirror};
constexpr Format kFormats[] = {Format::kBgra8, Format::kRgba8, Format::kR8, Format::kRg8,
                               Format::kRgba16Float};

// Random texels. What lies between rows is noise, too, since it must not be seen.
struct Image {
  Image(int w, int h, Format f) : width(w), height(h), format(f) {
    const std::size_t pitch =
        (static_cast<std::size_t>(w) * BytesPerPixel(f) + kRowPadding + kRowAlignment - 1) /
        kRowAlignment * kRowAlignment;
    bytes.resize(pitch * static_cast<std::size_t>(h) + kRowPadding);
    std::uint32_t state = static_cast<std::uint32_t>(w * 100 + h);
    for (std::byte& byte : bytes) {
      state = state * 1664525 + 1013904223;
      byte = static_cast<std::byte>(state >> 24);
    }
    if (f == Format::kRgba16Float) {
      // Of 0 to 1, and never NaN.
      for (std::size_t i = 1; i < bytes.size(); i += 2) bytes[i] &= std::byte{0x3B};
    }
    view = {bytes.data(), pitch, w, h, f};
  }

  Pixel At(int x, int y) const {
    const std::byte* const texel = bytes.data() + static_cast<std::size_t>(y) * view.pitch +
                                   static_cast<std::size_t>(x) * BytesPerPixel(format);
    const auto channel = [&](std::size_t i) { return std::to_integer<int>(texel[i]) / 255.0; };
    const auto half = [&](std::size_t i) {
      const int bits = std::to_integer<int>(texel[2 * i]) | std::to_integer<int>(texel[2 * i + 1])
                                                                << 8;
      const int exponent = bits >> 10;
      return exponent == 0 ? std::ldexp(bits & 0x3FF, -24)
                           : std::ldexp((bits & 0x3FF) + 1024, exponent - 25);
    };
    switch (format) {
      case Format::kBgra8:
        return {channel(2), channel(1), channel(0), channel(3)};
      case Format::kRgba8:
        return {channel(0), channel(1), channel(2), channel(3)};
      case Format::kR8:
        return {channel(0), 0, 0, 1};
      case Format::kRg8:
        return {channel(0), channel(1), 0, 1};
      case Format::kRgba16Float:
        break;
    }
    return {half(0), half(1), half(2), half(3)};
  }

  int width;
  int height;
  Format format;
  std::vector<std::byte> bytes;
  TextureView view;
};

int Extended(double index, int size, Extend extend) {
  if (extend == Extend::kClamp) return static_cast<int>(std::clamp(index, 0.0, size - 1.0));
  const int period = extend == Extend::kWrap ? size : 2 * size;
  const int wrapped = static_cast<int>(index - period * std::floor(index / period));
  return wrapped < size ? wrapped : period - 1 - wrapped;
}

Pixel Sampled(const Image& image, const Sampler& sampler, double u, double v) {
  const auto texel = [&](double x, double y) {
    return image.At(Extended(x, image.width, sampler.extend_x),
                    Extended(y, image.height, sampler.extend_y));
  };
  const double x = u * image.width;
  const double y = v * image.height;
  if (sampler.filter == Filter::kNearest) return texel(std::floor(x), std::floor(y));
  const double left = std::floor(x - 0.5);
  const double top = std::floor(y - 0.5);
  Pixel result = {};
  for (int corner = 0; corner < 4; ++corner) {
    const double dx = corner % 2;
    const double dy = corner / 2;
    const double weight_x = x - 0.5 - left;
    const double weight_y = y - 0.5 - top;
    const Pixel pixel = texel(left + dx, top + dy);
    for (std::size_t c = 0; c < 4; ++c) {
      result[c] +=
          pixel[c] * (dx > 0 ? weight_x : 1 - weight_x) * (dy > 0 ? weight_y : 1 - weight_y);
    }
  }
  return result;
}

}  // namespace
}  // namespace Vantra::Render::Simd
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {
namespace {

std::array<Pixel, kLanes> PixelsOf(const Color& color) {
  float channels[4][kLanes];
  Store(color.r, channels[0]);
  Store(color.g, channels[1]);
  Store(color.b, channels[2]);
  Store(color.a, channels[3]);
  std::array<Pixel, kLanes> pixels;
  for (std::size_t i = 0; i < kLanes; ++i) {
    for (std::size_t c = 0; c < 4; ++c) pixels[i][c] = double{channels[c][i]};
  }
  return pixels;
}

void ExpectNear(const Pixel& seen, const Pixel& expected, double limit) {
  for (std::size_t c = 0; c < 4; ++c) ASSERT_NEAR(seen[c], expected[c], limit) << "channel " << c;
}

// What rounding of a weight to 1/512 and of places to floats can change.
constexpr double kFilterLimit = 2.5 / 512;

void CheckSamples(const Image& image, const Sampler& sampler) {
  const double limit = sampler.filter == Filter::kNearest ? 1e-6 : kFilterLimit;
  // Steps of half a texel and of one and a bit, from before the image to behind it. They miss the
  // borders between texels.
  for (const float step : {1.0f, 0.5f, 1.37f}) {
    for (double start = -2.5 * image.width; start < 3 * image.width; start += 7.71) {
      float u[kLanes];
      float v[kLanes];
      for (std::size_t i = 0; i < kLanes; ++i) {
        u[i] = static_cast<float>((start + 0.2 + step * static_cast<float>(i)) / image.width);
        v[i] = static_cast<float>((start * 0.9 + 0.3 * static_cast<double>(i)) / image.width);
      }
      const auto apart = PixelsOf(Sample(image.view, sampler, Load(u), Load(v)));
      const auto together = PixelsOf(Sample(image.view, sampler, Load(u), v[0]));
      const auto same = PixelsOf(Sample(image.view, sampler, Load(u), Broadcast(v[0])));
      const UniformColor one = Sample(image.view, sampler, u[0], v[0]);
      ExpectNear({double{one.r}, double{one.g}, double{one.b}, double{one.a}}, together[0], 0);
      for (std::size_t i = 0; i < kLanes; ++i) {
        const auto near_border = [&](float place, int size) {
          const double texels = double{place} * size;
          return std::abs(texels - std::nearbyint(texels)) < 1e-3;
        };
        ASSERT_EQ(same[i], together[i]);
        if (sampler.filter == Filter::kNearest &&
            (near_border(u[i], image.width) || near_border(v[i], image.height) ||
             near_border(v[0], image.height))) {
          continue;
        }
        SCOPED_TRACE(testing::Message() << "at " << u[i] << ", " << v[i] << " and " << v[0]);
        ExpectNear(apart[i], Sampled(image, sampler, double{u[i]}, double{v[i]}), limit);
        ExpectNear(together[i], Sampled(image, sampler, double{u[i]}, double{v[0]}), limit);
      }
    }
  }
  // Nothing but the absence of harm: sanitizers watch.
  float wild[kLanes];
  const float values[] = {kNan, kInfinity, -kInfinity, 1e30f, -1e30f, 3e9f, -2.2e9f, 1.0f};
  for (std::size_t i = 0; i < kLanes; ++i) wild[i] = values[i % 8];
  for (const auto& pixel : PixelsOf(Sample(image.view, sampler, Load(wild), Load(wild)))) {
    for (const double channel : pixel) ASSERT_TRUE(channel >= 0 && channel <= 1);
  }
}

void CheckFetches(const Image& image) {
  for (int y = -2; y < image.height + 2; ++y) {
    for (int x = -kLanes - 1; x < image.width + 2; ++x) {
      const auto row = PixelsOf(Fetch(image.view, Iota(x), y));
      const I bent = Add(Broadcast(y), ShiftRight(Iota(0), 1));
      const auto slanted = PixelsOf(Fetch(image.view, Iota(x), bent));
      const UniformColor one = Fetch(image.view, x, y);
      ExpectNear({double{one.r}, double{one.g}, double{one.b}, double{one.a}}, row[0], 0);
      for (int i = 0; i < kLanes; ++i) {
        const auto expected = [&](int row_y) {
          return x + i >= 0 && x + i < image.width && row_y >= 0 && row_y < image.height
                     ? image.At(x + i, row_y)
                     : Pixel{};
        };
        ExpectNear(row[static_cast<std::size_t>(i)], expected(y), 1e-7);
        ExpectNear(slanted[static_cast<std::size_t>(i)], expected(y + i / 2), 1e-7);
      }
    }
  }
  const auto far = PixelsOf(Fetch(image.view, Broadcast(std::numeric_limits<std::int32_t>::max()),
                                  Broadcast(std::numeric_limits<std::int32_t>::min())));
  ASSERT_EQ(far[0], Pixel{});
}

// Row reads are those of samples and fetches, over exactly the columns that lie inside.
void CheckRows(const Image& image, const Sampler& sampler) {
  const float texel = 1.0f / static_cast<float>(image.width);
  for (const float shift : {0.0f, 3.0f, -5.0f, 0.25f, -2.6f, 0.999f, 300.0f}) {
    for (const float v : {0.5f, 0.31f, -0.2f, 1.4f}) {
      Interval interval{0, image.width};
      const RowRead read = PrepareSample(image.view, sampler, texel, shift * texel, v, &interval);
      const double nearest = std::nearbyint(shift);
      const double place = sampler.filter == Filter::kNearest      ? std::floor(shift + 0.5)
                           : std::abs(shift - nearest) < 1.0 / 512 ? nearest
                                                                   : double{shift};
      const int first = std::max(0, -static_cast<int>(std::floor(place)));
      const int end = image.width - std::max(0, static_cast<int>(std::ceil(place)));
      if (first < end) {
        EXPECT_EQ(interval.first, first) << shift;
        EXPECT_EQ(interval.end, end) << shift;
      } else {
        EXPECT_GE(interval.first, interval.end) << shift;
      }
      for (int x = interval.first; x + kLanes <= interval.end; ++x) {
        const auto row = PixelsOf(ReadRow(read, x));
        for (int i = 0; i < kLanes; ++i) {
          SCOPED_TRACE(testing::Message()
                       << "shift " << shift << " v " << v << " column " << x + i);
          ExpectNear(
              row[static_cast<std::size_t>(i)],
              Sampled(image, sampler, (x + i + 0.5 + double{shift}) / image.width, double{v}),
              kFilterLimit);
        }
      }
    }
  }
  for (const int offset : {0, 4, -3, -1000}) {
    for (const int y : {0, image.height - 1, image.height, -1}) {
      Interval interval{0, image.width};
      const RowRead read = PrepareFetch(image.view, offset, y, &interval);
      for (int x = interval.first; x + kLanes <= interval.end; ++x) {
        ASSERT_EQ(PixelsOf(ReadRow(read, x)), PixelsOf(Fetch(image.view, Iota(x + offset), y)));
      }
      if (y < 0 || y >= image.height) {
        EXPECT_EQ(interval.end - interval.first, image.width);
      }
    }
  }
}

void CheckIntervals() {
  const auto check = [](auto narrow, std::int32_t first, std::int32_t end) HWY_ATTR {
    Interval interval{10, 200};
    narrow(&interval);
    if (first == end) {
      EXPECT_GE(interval.first, interval.end);
      return;
    }
    EXPECT_EQ(interval.first, first);
    EXPECT_EQ(interval.end, end);
  };
  using In = Interval*;
  check([](In in) { NarrowToAtLeast(-50, 3, in); }, 53, 200);
  check([](In in) { NarrowToAtMost(5, 100, in); }, 10, 96);
  check([](In in) { NarrowToAtMost(0, -1, in); }, 0, 0);
  check(
      [](In in) {
        NarrowToAtLeast(std::numeric_limits<std::int32_t>::min(),
                        std::numeric_limits<std::int32_t>::max(), in);
      },
      0, 0);
  // 0.5 (x + 0.5) - 20 is at least 5 from x = 49.5 on.
  check([](In in) { NarrowToAtLeast(0.5f, -20.0f, 5.0f, in); }, 50, 200);
  check([](In in) { NarrowToAtMost(0.5f, -20.0f, 5.0f, in); }, 10, 50);
  check([](In in) { NarrowToAtLeast(-1.0f, 100.0f, 0.0f, in); }, 10, 100);
  check([](In in) { NarrowToAtLeast(0.0f, 1.0f, 0.0f, in); }, 10, 200);
  check([](In in) { NarrowToAtLeast(0.0f, -1.0f, 0.0f, in); }, 0, 0);
  check([](In in) { NarrowToAtLeast(1.0f, kNan, 0.0f, in); }, 0, 0);
  check([](In in) { EXPECT_EQ(FloorOffset(1, 7.25f, in), 7); }, 10, 200);
  check([](In in) { EXPECT_EQ(FloorOffset(1, -3.5f, in), -3); }, 10, 200);
  check([](In in) { EXPECT_EQ(RoundOffset(1, 7.25f, in), 8); }, 10, 200);
  check([](In in) { EXPECT_EQ(TruncOffset(1, -60.2f, in), -60); }, 60, 200);
  // Ties go to even columns; other slopes leave no offset.
  check([](In in) { RoundOffset(1, 3, in); }, 0, 0);
  check([](In in) { FloorOffset(1.01f, 0, in); }, 0, 0);
  check([](In in) { FloorOffset(0.999999f, 0.50001f, in); }, 0, 0);
  check([](In in) { FloorOffset(1, kInfinity, in); }, 0, 0);
}

}  // namespace

void CheckTextures() {
  for (const Format format : kFormats) {
    for (const auto& [width, height] :
         {std::pair{1, 1}, {2, 1}, {1, 3}, {7, 5}, {16, 2}, {37, 4}, {64, 3}}) {
      const Image image(width, height, format);
      SCOPED_TRACE(testing::Message()
                   << width << " x " << height << ", format " << static_cast<int>(format));
      CheckFetches(image);
      for (const Filter filter : {Filter::kNearest, Filter::kLinear}) {
        for (const Extend across : kExtends) {
          for (const Extend down : kExtends) {
            SCOPED_TRACE(testing::Message()
                         << "filter " << static_cast<int>(filter) << ", extends "
                         << static_cast<int>(across) << ' ' << static_cast<int>(down));
            CheckSamples(image, {filter, across, down});
            if (testing::Test::HasFailure()) return;
          }
        }
      }
    }
  }
}

void CheckRowReads() {
  CheckIntervals();
  for (const Format format : kFormats) {
    const Image image(61, 6, format);
    for (const Filter filter : {Filter::kNearest, Filter::kLinear}) {
      CheckRows(image, {filter, Extend::kClamp, Extend::kMirror});
    }
  }
  const TextureView none;
  Interval interval{0, kLanes};
  const auto black = PixelsOf(ReadRow(PrepareSample(none, {}, 1, 0, 0, &interval), 0));
  EXPECT_EQ(black[0], Pixel{});
  EXPECT_EQ(interval.end, kLanes);
  EXPECT_EQ(PixelsOf(Sample(none, {}, Broadcast(0.5f), 0.5f))[1], Pixel{});
  EXPECT_EQ(PixelsOf(Fetch(none, Iota(0), Iota(0)))[1], Pixel{});
}

// Each column of a row belongs to one vector, which lies inside the interval or runs elsewhere.
void CheckVectors() {
  constexpr int kMost = 3 * kLanes + 2;
  for (int left = 0; left < kMost; ++left) {
    for (int right = left + 1; right < kMost; ++right) {
      for (int first = 0; first <= right; ++first) {
        for (int end = first; end <= right + kLanes - 1; ++end) {
          const Interval inner = VectorsInside({first, end}, left, right);
          ASSERT_TRUE(left <= inner.first && inner.first <= inner.end && inner.end <= right);
          for (int x = left; x < right; x += VectorLength(x, right)) {
            const bool is_inside = first <= x && x + kLanes <= end;
            ASSERT_EQ(is_inside, inner.first <= x && x < inner.end)
                << x << " of " << left << " to " << right << ", " << first << " to " << end;
          }
        }
      }
    }
  }
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantra::Render::Simd {
namespace {

TEST_ON_EACH_TARGET(LaneTextures, AreReadAsPlainArithmeticReadsThem, CheckTextures);
TEST_ON_EACH_TARGET(LaneTextures, RowsAreReadAsSamplesAre, CheckRowReads);
TEST_ON_EACH_TARGET(LaneTextures, RowsAreSplitWhereVectorsEnterTheInterval, CheckVectors);

}  // namespace
}  // namespace Vantra::Render::Simd
#endif
