// Programs that the CPU engine has an algorithm for give what they say, with it and without.

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "platform/d2d/embedded_program.h"
#include "render/simd/cpu_engine.h"

VANTRIX_EMBEDDED_PROGRAM(gaussian_line)
VANTRIX_EMBEDDED_PROGRAM(morphology)

namespace Vantra::Render {
namespace {

constexpr std::int32_t kWidth = 61, kHeight = 43;

// Draws noise through the program.
std::vector<std::uint8_t> Draw(bool natively, std::span<const std::byte> spirv,
                               std::span<const std::byte> constants) {
  std::string error;
  const auto engine = CreateCpuEngine({.use_native_kernels = natively}, &error);
  if (!engine) throw std::runtime_error(error);
  std::unique_ptr<Texture> source, target, readback;
  std::unique_ptr<Program> program;
  EXPECT_EQ(engine->CreateTexture({kWidth, kHeight}, &source), Status::kOk);
  EXPECT_EQ(engine->CreateTexture({kWidth, kHeight}, &target), Status::kOk);
  EXPECT_EQ(engine->CreateTexture({kWidth, kHeight, Format::kBgra8, Usage::kReadback}, &readback),
            Status::kOk);
  EXPECT_EQ(engine->CreateProgram(spirv, &program), Status::kOk);
  EXPECT_EQ(program->HasOwnAlgorithm(), natively);
  std::vector<std::uint32_t> noise(std::size_t{kWidth} * kHeight);
  std::mt19937 random(1);
  for (std::uint32_t& pixel : noise) pixel = static_cast<std::uint32_t>(random());
  EXPECT_EQ(engine->Upload(*source, source->Bounds(), noise.data(), std::size_t{kWidth} * 4),
            Status::kOk);
  Pass pass;
  pass.program = program.get();
  pass.target = target.get();
  pass.rect = target->Bounds();
  pass.extent_x = kWidth;
  pass.extent_y = kHeight;
  pass.bindings[0] = {source.get(), {.filter = Filter::kNearest}};
  pass.constants = constants;
  EXPECT_EQ(engine->Draw(pass), Status::kOk);
  EXPECT_EQ(engine->Copy(*readback, 0, 0, *target, target->Bounds()), Status::kOk);
  Mapping mapping;
  EXPECT_EQ(engine->Map(*readback, &mapping), Status::kOk);
  std::vector<std::uint8_t> pixels(std::size_t{kWidth} * kHeight * 4);
  for (std::size_t y = 0; y < kHeight; ++y) {
    std::memcpy(&pixels[y * kWidth * 4], mapping.data + y * mapping.pitch, std::size_t{kWidth} * 4);
  }
  engine->Unmap(*readback);
  return pixels;
}

template <class Constants>
int LargestDifference(std::span<const std::byte> spirv, const Constants& constants) {
  const auto bytes = std::as_bytes(std::span(&constants, 1));
  const std::vector<std::uint8_t> own = Draw(true, spirv, bytes);
  const std::vector<std::uint8_t> as_compiled = Draw(false, spirv, bytes);
  int largest = 0;
  for (std::size_t i = 0; i < own.size(); ++i) {
    largest = std::max(largest, std::abs(own[i] - as_compiled[i]));
  }
  return largest;
}

TEST(OwnAlgorithms, GiveWhatTheirProgramsGive) {
  for (const std::int32_t in_columns : {0, 1}) {
    for (const std::int32_t edge_mode : {0, 1}) {
      for (const double deviation : {0.4, 3.0, 20.0}) {
        const struct {
          Rect extent;
          std::int32_t edge_modes[2], axis[2], reach;
          float centre, falloff;
          std::uint32_t to_half;
        } constants = {{0, 0, kWidth, kHeight},
                       {edge_mode, edge_mode},
                       {1 - in_columns, in_columns},
                       static_cast<std::int32_t>(std::ceil(3 * deviation)),
                       static_cast<float>(1 / (2.51 * deviation)),
                       static_cast<float>(-0.72 / (deviation * deviation)),
                       0};
        // Values near a half of a level may be rounded to either side.
        EXPECT_LE(LargestDifference(gaussian_line_program(), constants), 1)
            << in_columns << edge_mode << " by " << deviation;
      }
      const struct {
        Rect extent;
        std::int32_t axis[2], first, stride, last, count;
        std::uint32_t dilates;
      } constants = {{0, 0, kWidth, kHeight},
                     {1 - in_columns, in_columns},
                     -10,
                     1,
                     9,
                     20,
                     static_cast<std::uint32_t>(edge_mode)};
      EXPECT_EQ(LargestDifference(morphology_program(), constants), 0) << in_columns << edge_mode;
    }
  }
}

}  // namespace
}  // namespace Vantra::Render
