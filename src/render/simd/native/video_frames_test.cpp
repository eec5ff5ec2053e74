#include <algorithm>
#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "render/simd/native/native_kernels.h"
#include "render/simd/targets.h"
// After the choice of targets.
#include "render/simd/target_tests.h"

namespace Vantra::Render::Simd {
namespace {

using Bytes = std::vector<std::uint8_t>;

const NativeComputeKernel& Find(std::string_view name) {
  for (const NativeComputeKernel& kernel : GetNativeComputeTable()) {
    if (name == kernel.name) return kernel;
  }
  throw std::out_of_range("no such kernel");
}

// The programs' formula, in ten-millionths.
std::array<std::uint8_t, 4> Formula(int y, int u, int v) {
  const auto cut = [](std::int64_t value) {
    return static_cast<std::uint8_t>(std::clamp<std::int64_t>(value / 10000000, 0, 255));
  };
  const std::int64_t luma = std::int64_t{11643840} * (y - 16);
  return {cut(luma + std::int64_t{20172320} * (u - 128)),
          cut(luma - std::int64_t{8129677} * (v - 128) - std::int64_t{3917623} * (u - 128)),
          cut(luma + std::int64_t{15960270} * (v - 128)), 255};
}

HostPlane PlaneOf(const Bytes& bytes, std::size_t row_bytes, std::int32_t rows) {
  return {reinterpret_cast<const std::byte*>(bytes.data()), row_bytes, row_bytes, rows};
}

// 64 blocks of 2 by 2 pixels for each pair of values of chroma have all values of luma.
TEST(VideoFramesTest, EverySampleIsConvertedAsTheProgramDoes) {
  constexpr std::size_t kSide = 4096;
  Bytes luma(kSide * kSide), chroma(kSide * kSide / 2), result(kSide * kSide * 4);
  std::vector<std::array<std::uint8_t, 4>> expected(kSide * kSide);
  for (std::size_t row = 0; row < kSide / 2; ++row) {
    for (std::size_t column = 0; column < kSide / 2; ++column) {
      const std::size_t block = row * (kSide / 2) + column;
      const auto u = static_cast<std::uint8_t>(block >> 6),
                 v = static_cast<std::uint8_t>(block >> 14);
      chroma[2 * block] = u;
      chroma[2 * block + 1] = v;
      for (std::size_t i = 0; i < 4; ++i) {
        const auto y = static_cast<std::uint8_t>(block % 64 * 4 + i);
        const std::size_t at = (2 * row + i / 2) * kSide + 2 * column + i % 2;
        luma[at] = y;
        expected[at] = Formula(y, u, v);
      }
    }
  }
  HostComputation frame;
  frame.planes = {PlaneOf(luma, kSide, kSide), PlaneOf(chroma, kSide, kSide / 2)};
  frame.output = reinterpret_cast<std::byte*>(result.data());
  frame.output_pitch = kSide * 4;
  frame.width = frame.height = kSide;
  const NativeComputeKernel& kernel = Find("effects_convert_nv12");
  ASSERT_TRUE(kernel.accepts(frame));
  OnEachTarget([&] {
    std::fill(result.begin(), result.end(), std::uint8_t{0xA5});
    kernel.run(frame, 0, kSide);
    int wrong = 0;
    for (std::size_t i = 0; i < expected.size() && wrong < 10; ++i) {
      if (std::memcmp(&result[4 * i], expected[i].data(), 4) == 0) continue;
      ++wrong;
      const std::size_t pair = (i / kSide / 2 * (kSide / 2) + i % kSide / 2) * 2;
      ADD_FAILURE() << "Y " << int{luma[i]} << ", U " << int{chroma[pair]} << ", V "
                    << int{chroma[pair + 1]};
    }
  });
}

// Frames of random samples whose memory ends with its last byte, in padded rows of results.
TEST(VideoFramesTest, AnySizeAndAnyBandsOfRows) {
  struct Layout {
    const char* name;
    // Bytes of a row in the planes, for a width.
    std::size_t (*row_bytes)(std::size_t plane, std::size_t width);
    std::array<int, 3> (*sample)(const std::array<Bytes, 3>& planes, std::size_t width,
                                 std::size_t x, std::size_t y);
  };
  static const auto at = [](const Bytes& bytes, std::size_t row_bytes, std::size_t x,
                            std::size_t y) -> int {
    return x < row_bytes && (y + 1) * row_bytes <= bytes.size() ? bytes[y * row_bytes + x] : 0;
  };
  constexpr Layout kLayouts[] = {
      {"effects_convert_nv12",
       [](std::size_t plane, std::size_t width) { return plane < 2 ? width : 0; },
       [](const std::array<Bytes, 3>& planes, std::size_t width, std::size_t x, std::size_t y) {
         return std::array{at(planes[0], width, x, y), at(planes[1], width, x / 2 * 2, y / 2),
                           at(planes[1], width, x / 2 * 2 + 1, y / 2)};
       }},
      {"effects_convert_yuv420p",
       [](std::size_t plane, std::size_t width) { return plane == 0 ? width : width / 2; },
       [](const std::array<Bytes, 3>& planes, std::size_t width, std::size_t x, std::size_t y) {
         return std::array{at(planes[0], width, x, y), at(planes[1], width / 2, x / 2, y / 2),
                           at(planes[2], width / 2, x / 2, y / 2)};
       }},
      {"effects_convert_yuy2",
       [](std::size_t plane, std::size_t width) { return plane == 0 ? 2 * width : 0; },
       [](const std::array<Bytes, 3>& planes, std::size_t width, std::size_t x, std::size_t y) {
         return std::array{at(planes[0], 2 * width, x / 2 * 4, y),
                           at(planes[0], 2 * width, x / 2 * 4 + 1, y),
                           at(planes[0], 2 * width, x / 2 * 4 + 3, y)};
       }}};
  std::mt19937 random(7);
  for (const Layout& layout : kLayouts) {
    const NativeComputeKernel& kernel = Find(layout.name);
    for (const auto& [width, height] :
         {std::pair{1, 1}, {2, 2}, {3, 5}, {64, 2}, {129, 7}, {350, 3}}) {
      SCOPED_TRACE(testing::Message() << layout.name << ", " << width << " x " << height);
      const auto columns = static_cast<std::size_t>(width), rows = static_cast<std::size_t>(height);
      std::array<Bytes, 3> planes;
      HostComputation frame;
      for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t row_bytes = layout.row_bytes(i, columns);
        const std::size_t plane_rows = row_bytes == 0 ? 0 : i == 0 ? rows : rows / 2;
        planes[i].resize(row_bytes * plane_rows);
        for (std::uint8_t& byte : planes[i]) byte = static_cast<std::uint8_t>(random());
        frame.planes[i] = PlaneOf(planes[i], row_bytes, static_cast<std::int32_t>(plane_rows));
      }
      frame.output_pitch = columns * 4 + 12;
      Bytes result(frame.output_pitch * rows);
      frame.output = reinterpret_cast<std::byte*>(result.data());
      frame.width = width;
      frame.height = height;
      ASSERT_TRUE(kernel.accepts(frame));
      Bytes expected(result.size(), 0xA5);
      for (std::size_t y = 0; y < rows; ++y) {
        for (std::size_t x = 0; x < columns; ++x) {
          const auto [luma, u, v] = layout.sample(planes, columns, x, y);
          std::memcpy(&expected[y * frame.output_pitch + 4 * x], Formula(luma, u, v).data(), 4);
        }
      }
      OnEachTarget([&] {
        for (const int cut : {0, 1, height / 2}) {
          std::fill(result.begin(), result.end(), std::uint8_t{0xA5});
          kernel.run(frame, 0, cut);
          kernel.run(frame, cut, height);
          EXPECT_EQ(result, expected);
        }
      });
    }
  }
}

TEST(VideoFramesTest, PlanesThatLackPixelsAreNotAccepted) {
  const Bytes bytes(256);
  std::byte output[4];
  HostComputation frame;
  frame.output = output;
  frame.width = 16;
  frame.height = 4;
  const auto accepts = [&](const char* name, std::size_t luma, std::int32_t rows,
                           std::size_t chroma) {
    frame.planes = {PlaneOf(bytes, luma, rows), PlaneOf(bytes, chroma, 2),
                    PlaneOf(bytes, chroma, 2)};
    return Find(name).accepts(frame);
  };
  EXPECT_TRUE(accepts("effects_convert_nv12", 16, 4, 16));
  EXPECT_FALSE(accepts("effects_convert_nv12", 15, 4, 16));
  EXPECT_FALSE(accepts("effects_convert_nv12", 16, 3, 16));
  EXPECT_FALSE(accepts("effects_convert_nv12", 16, 4, 15));
  EXPECT_TRUE(accepts("effects_convert_yuv420p", 16, 4, 8));
  EXPECT_FALSE(accepts("effects_convert_yuv420p", 16, 4, 7));
  EXPECT_FALSE(accepts("effects_convert_yuy2", 31, 4, 0));
}

}  // namespace
}  // namespace Vantra::Render::Simd
