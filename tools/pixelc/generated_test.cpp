// Runs generated code beside the interpreter, for each instruction set of this machine.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

#include "lower.h"
#include "render/simd/kernel.h"
#include "spirv_module.h"
#include "testing/generated_programs.h"
#include "testing/ir_interpreter.h"

namespace Vantra::Pixelc {
namespace {

namespace Simd = Render::Simd;

Program ReadProgram(const std::string& name) {
  std::ifstream file(std::string(PIXELC_TEST_PROGRAMS) + "/" + name + ".spv", std::ios::binary);
  const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
  std::vector<std::uint32_t> words(bytes.size() / sizeof(std::uint32_t));
  std::memcpy(words.data(), bytes.data(), words.size() * sizeof(std::uint32_t));
  return Lower(SpirvModule(name, words));
}

std::vector<std::byte> Constants(const std::vector<std::uint32_t>& words) {
  std::vector<std::byte> bytes(Render::kMaximumConstantBytes);
  std::memcpy(bytes.data(), words.data(), words.size() * sizeof(std::uint32_t));
  return bytes;
}

// All places of a grid.
void CheckWords(const std::string& name, Simd::ComputeKernel GeneratedPrograms::*kernel,
                std::int32_t width, std::int32_t height) {
  const Program program = ReadProgram(name);
  const std::vector<std::uint32_t> constants = {static_cast<std::uint32_t>(width),
                                                static_cast<std::uint32_t>(height)};
  std::vector<std::uint32_t> expected(static_cast<std::size_t>(width * height));
  for (std::int32_t y = 0; y < height; ++y) {
    for (std::int32_t x = 0; x < width; ++x) {
      Invocation invocation;
      invocation.x = static_cast<std::uint32_t>(x);
      invocation.y = static_cast<std::uint32_t>(y);
      invocation.constants = constants;
      const Outcome outcome = Interpret(program, invocation);
      ASSERT_EQ(outcome.words.size(), 1u);
      expected.at(outcome.words.begin()->first) = outcome.words.begin()->second;
    }
  }
  const std::vector<std::byte> bytes = Constants(constants);
  for (const GeneratedPrograms& programs : GeneratedForAllTargets()) {
    std::vector<std::uint32_t> words(expected.size());
    Simd::ComputeArguments arguments;
    arguments.constants = bytes.data();
    arguments.output = words.data();
    arguments.output_words = static_cast<std::uint32_t>(words.size());
    arguments.width = width;
    arguments.height = height;
    ASSERT_TRUE((programs.*kernel)(arguments, 0, height));
    for (std::size_t i = 0; i < words.size(); ++i) {
      ASSERT_EQ(static_cast<std::int32_t>(words[i]), static_cast<std::int32_t>(expected[i]))
          << name << " at " << i % static_cast<std::size_t>(width) << ", "
          << i / static_cast<std::size_t>(width) << " on " << programs.target;
    }
  }
}

TEST(GeneratedCode, FollowsTheFlowOfRows) {
  CheckWords("test_flow", &GeneratedPrograms::flow, 64, 14);
}

TEST(GeneratedCode, FollowsLanesThatPartAtEveryTurn) {
  CheckWords("test_mixed", &GeneratedPrograms::mixed, 160, 16);
}

TEST(GeneratedCode, LeavesOutWhatLiesBeyondTheGrid) {
  CheckWords("test_mixed", &GeneratedPrograms::mixed, 21, 5);
}

struct Image {
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::size_t pitch = 0;
  std::vector<std::byte> bytes;

  Image(std::int32_t w, std::int32_t h) : width(w), height(h) {
    pitch = (static_cast<std::size_t>(w) * 4 + Simd::kRowAlignment - 1) / Simd::kRowAlignment *
            Simd::kRowAlignment;
    bytes.resize(pitch * static_cast<std::size_t>(h) + Simd::kRowPadding);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::byte>(i * i % 251);
  }

  Color At(std::int32_t x, std::int32_t y) const {
    if (x < 0 || y < 0 || x >= width || y >= height) return {};
    Color color;
    for (std::size_t c = 0; c < 4; ++c) {
      const std::size_t place = static_cast<std::size_t>(y) * pitch +
                                static_cast<std::size_t>(x) * 4 + (c == 3 ? 3 : 2 - c);
      color[c] = static_cast<float>(bytes[place]) * (1.0f / 255);
    }
    return color;
  }
};

// Pictures as wide as several vectors and narrower than one, placed off the image's corner.
void CheckReads(std::int32_t width, float origin, std::int32_t radius, float stretch) {
  const Program program = ReadProgram("test_reads");
  constexpr std::int32_t kHeight = 5;
  const Image image(width, kHeight);
  std::vector<std::uint32_t> constants(2);
  std::memcpy(&constants[0], &radius, sizeof(radius));
  std::memcpy(&constants[1], &stretch, sizeof(stretch));
  const std::vector<std::byte> bytes = Constants(constants);
  for (const GeneratedPrograms& programs : GeneratedForAllTargets()) {
    Image target(width, kHeight);
    Simd::PixelArguments arguments;
    arguments.textures[0] = {.data = image.bytes.data(),
                             .pitch = image.pitch,
                             .width = width,
                             .height = kHeight,
                             .format = Render::Format::kBgra8};
    arguments.constants = bytes.data();
    arguments.origin_x = origin;
    arguments.target = {.data = target.bytes.data(), .pitch = target.pitch};
    arguments.right = width;
    arguments.bottom = kHeight;
    ASSERT_TRUE(programs.reads(arguments, 0, kHeight));
    for (std::int32_t y = 0; y < kHeight; ++y) {
      for (std::int32_t x = 0; x < width; ++x) {
        Invocation invocation;
        invocation.pixel_x = static_cast<float>(x) + 0.5f;
        invocation.pixel_y = static_cast<float>(y) + 0.5f;
        invocation.origin_x = origin;
        invocation.constants = constants;
        invocation.fetch = [&](std::uint32_t, std::int32_t column, std::int32_t row) {
          return image.At(column, row);
        };
        const Outcome outcome = Interpret(program, invocation);
        ASSERT_EQ(outcome.results, 1);
        const Color drawn = target.At(x, y);
        for (std::size_t c = 0; c < 4; ++c) {
          EXPECT_NEAR(drawn[c], std::clamp(outcome.color[c], 0.0f, 1.0f), 0.501f / 255)
              << programs.target << " at " << x << ", " << y << ", channel " << c << ", width "
              << width << ", origin " << origin;
        }
      }
    }
  }
}

TEST(GeneratedCode, ReadsRowsAndTheirEdges) {
  for (const std::int32_t width : {1, 3, 7, 16, 45, 130}) {
    for (const float origin : {0.0f, -3.0f, 2.25f}) CheckReads(width, origin, 2, 0.5f);
  }
  CheckReads(70, 0, 20, -1.0f);
  CheckReads(70, 0, -1, 1.0f);
}

}  // namespace
}  // namespace Vantra::Pixelc
