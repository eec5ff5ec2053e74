#pragma once

// What the tests of the engines share: pictures in plain memory, and each engine in turn, Vulkan
// under the eyes of the validation layer.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "render/simd/cpu_engine.h"
#include "render/simd/cpu_engine_internal.h"
#include "render/vulkan/vulkan_engine.h"
#include "render/vulkan/vulkan_engine_internal.h"
#include "render/vulkan/vulkan_instance.h"
#include "tests/harness/engine_under_test.h"

// The programs of testdata/, embedded at build time.
#define TEST_PROGRAM(name)                          \
  extern "C" const std::byte vantrix_test_##name[]; \
  extern "C" const std::byte vantrix_test_##name##_end[];
#define SPIRV(name) std::span<const std::byte>(vantrix_test_##name, vantrix_test_##name##_end)

namespace Vantra::Render {

using Pixel = std::array<std::uint8_t, 4>;  // in memory order
using TexturePtr = std::unique_ptr<Texture>;
using ProgramPtr = std::unique_ptr<Program>;

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<Pixel> pixels;

  Picture(int w, int h)
      : width(w), height(h), pixels(static_cast<std::size_t>(w) * static_cast<std::size_t>(h)) {}
  Pixel& At(int x, int y) { return pixels[Index(x, y)]; }
  const Pixel& At(int x, int y) const { return pixels[Index(x, y)]; }
  std::size_t Index(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
           static_cast<std::size_t>(x);
  }
  friend bool operator==(const Picture&, const Picture&) = default;
};

inline Picture RandomPicture(int width, int height, unsigned seed) {
  Picture picture(width, height);
  std::mt19937 random(seed);
  for (Pixel& pixel : picture.pixels) {
    for (std::uint8_t& channel : pixel) channel = static_cast<std::uint8_t>(random());
  }
  return picture;
}

inline std::uint8_t Quantize(double value) {
  return static_cast<std::uint8_t>(std::floor(std::clamp(value, 0.0, 1.0) * 255 + 0.5));
}

// Compares within `tolerance` steps and names the first pixel that differs by more.
inline void ExpectNear(const Picture& actual, const Picture& expected, int tolerance) {
  ASSERT_EQ(actual.width, expected.width);
  ASSERT_EQ(actual.height, expected.height);
  for (int y = 0; y < actual.height; ++y) {
    for (int x = 0; x < actual.width; ++x) {
      for (std::size_t c = 0; c < 4; ++c) {
        ASSERT_NEAR(int{actual.At(x, y)[c]}, int{expected.At(x, y)[c]}, tolerance)
            << "channel " << c << " of (" << x << ", " << y << ")";
      }
    }
  }
}

template <typename Constants>
std::span<const std::byte> Bytes(const Constants& constants) {
  return std::as_bytes(std::span(&constants, 1));
}

// Suites over it are instantiated with INSTANTIATE_ENGINE_TESTS.
class EngineFixture : public ::testing::TestWithParam<Platform::EngineKind> {
 protected:
  // Small buffers inside of the engine, which then are full again and again.
  enum class Buffers { kUsual, kSmall };

  void SetUp() override {
    if (!IsCpu()) {
      ASSERT_TRUE(Vulkan::ValidationInstalled()) << "The tests need the validation layer.";
    }
    messages_ = ValidationMessageCount();
    Start();
  }
  void TearDown() override {
    engine_.reset();
    EXPECT_EQ(ValidationMessageCount(), messages_) << "The validation layer has complaints.";
  }

  static bool IsCpu() { return GetParam() == Platform::EngineKind::kCpu; }

  static std::unique_ptr<Engine> MakeEngine(Buffers buffers = Buffers::kUsual) {
    std::string error;
    std::unique_ptr<Engine> engine;
    if (IsCpu()) {
      engine = CreateCpuEngine({}, &error);
    } else {
      VulkanOptions options;
      options.validation = true;
      if (buffers == Buffers::kSmall) options.ring_bytes = 1;
      engine = CreateVulkanEngine(0, options, &error);
    }
    EXPECT_NE(engine, nullptr) << error;
    return engine;
  }
  void Start(Buffers buffers = Buffers::kUsual) {
    engine_ = MakeEngine(buffers);
    ASSERT_NE(engine_, nullptr);
  }

  // What the engine has taken from its driver, or from the system, so far.
  std::uint64_t ObjectsMade() const {
    return IsCpu() ? Simd::BlocksMade(*engine_) : Vulkan::ObjectsCreated(*engine_);
  }

  TexturePtr Make(int width, int height, Format format = Format::kRgba8,
                  Usage usage = Usage::kDevice) {
    TexturePtr texture;
    EXPECT_EQ(engine_->CreateTexture({static_cast<std::uint32_t>(width),
                                      static_cast<std::uint32_t>(height), format, usage},
                                     &texture),
              Status::kOk);
    return texture;
  }
  TexturePtr Make(const Picture& picture, Format format = Format::kRgba8) {
    TexturePtr texture = Make(picture.width, picture.height, format);
    Upload(*texture, picture);
    return texture;
  }
  ProgramPtr Load(std::span<const std::byte> spirv) {
    ProgramPtr program;
    EXPECT_EQ(engine_->CreateProgram(spirv, &program), Status::kOk);
    return program;
  }
  void Upload(Texture& texture, const Picture& picture) {
    ASSERT_EQ(engine_->Upload(texture, texture.Bounds(), picture.pixels.data(),
                              static_cast<std::size_t>(picture.width) * sizeof(Pixel)),
              Status::kOk);
  }
  Picture Mapped(Texture& readback) {
    Picture picture(readback.Bounds().right, readback.Bounds().bottom);
    Mapping mapping;
    EXPECT_EQ(engine_->Map(readback, &mapping), Status::kOk);
    if (!mapping.data) return picture;
    for (int y = 0; y < picture.height; ++y) {
      std::memcpy(&picture.At(0, y), mapping.data + static_cast<std::size_t>(y) * mapping.pitch,
                  static_cast<std::size_t>(picture.width) * sizeof(Pixel));
    }
    engine_->Unmap(readback);
    return picture;
  }
  Picture Read(const Texture& texture) {
    const Rect bounds = texture.Bounds();
    const TexturePtr readback =
        Make(bounds.right, bounds.bottom, texture.Desc().format, Usage::kReadback);
    EXPECT_EQ(engine_->Copy(*readback, 0, 0, texture, bounds), Status::kOk);
    return Mapped(*readback);
  }
  // A pass over the whole target whose extent is the target's size.
  static Pass WholePass(const Program& program, Texture& target) {
    Pass pass;
    pass.program = &program;
    pass.target = &target;
    pass.rect = target.Bounds();
    pass.extent_x = static_cast<float>(target.Desc().width);
    pass.extent_y = static_cast<float>(target.Desc().height);
    return pass;
  }

  std::unique_ptr<Engine> engine_;

 private:
  std::uint64_t messages_ = 0;
};

#define INSTANTIATE_ENGINE_TESTS(suite)                                               \
  INSTANTIATE_TEST_SUITE_P(, suite, ::testing::ValuesIn(Testing::EnginesUnderTest()), \
                           [](const auto& engine) { return Testing::NameOf(engine.param); })

}  // namespace Vantra::Render
