#pragma once

// What the tests of the CPU engine share: an engine, pixels in plain memory, and kernels written by
// hand for programs that are nothing but a number.

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "render/simd/cpu_engine.h"
#include "render/simd/cpu_engine_internal.h"
#include "render/simd/kernel_registry.h"

namespace Vantra::Render::Simd {

using TexturePtr = std::unique_ptr<Texture>;
using Pixels = std::vector<std::uint32_t>;

// A module with nothing but a number of its own; a compute shader is only its entry point.
using Module = std::array<std::uint32_t, 8>;
constexpr Module PixelModule(std::uint32_t number) { return {0x07230203, 0x10000, number, 9}; }
constexpr Module ComputeModule(std::uint32_t number) {
  return {0x07230203, 0x10000, number, 9, 0, 2 << 16 | 15, 5, 1 << 16};
}

template <class Values>
std::span<const std::byte> Bytes(const Values& values) {
  return std::as_bytes(std::span(&values, 1));
}

template <class Value>
Value Constant(const std::byte* constants, std::size_t index = 0) {
  Value value;
  std::memcpy(&value, constants + index * sizeof(value), sizeof(value));
  return value;
}

inline std::uint32_t* Row(const PixelArguments& arguments, std::int32_t y) {
  return reinterpret_cast<std::uint32_t*>(arguments.target.data +
                                          static_cast<std::size_t>(y) * arguments.target.pitch);
}

inline bool Own(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  const TextureView& input = arguments.textures[0];
  for (std::int32_t y = top; y < bottom; ++y) {
    std::memcpy(Row(arguments, y) + arguments.left,
                input.data + static_cast<std::size_t>(y) * input.pitch +
                    static_cast<std::size_t>(arguments.left) * 4,
                static_cast<std::size_t>(arguments.right - arguments.left) * 4);
  }
  return true;
}

inline bool Fill(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  const auto pixel = Constant<std::uint32_t>(arguments.constants);
  for (std::int32_t y = top; y < bottom; ++y) {
    std::fill(Row(arguments, y) + arguments.left, Row(arguments, y) + arguments.right, pixel);
  }
  return true;
}

inline bool Complement(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  for (std::int32_t y = top; y < bottom; ++y) {
    for (std::int32_t x = arguments.left; x < arguments.right; ++x) Row(arguments, y)[x] ^= ~0u;
  }
  return true;
}

inline bool Count(const ComputeArguments& arguments, std::int32_t top, std::int32_t bottom) {
  const auto first = Constant<std::uint32_t>(arguments.constants);
  for (std::int32_t y = top; y < bottom; ++y) {
    for (std::int32_t x = 0; x < arguments.width; ++x) {
      const auto index = static_cast<std::uint32_t>(y * arguments.width + x);
      if (index < arguments.output_words) arguments.output[index] = first + index;
    }
  }
  return true;
}

constexpr Kernel Translated(const char* name, std::uint32_t number, PixelKernel run) {
  return {name,
          HashOfProgram(std::bit_cast<std::array<std::byte, sizeof(Module)>>(PixelModule(number))),
          run, nullptr};
}

enum Number : std::uint32_t { kOwn, kFill, kComplement, kCount, kFirstFree };
inline const Kernel kCommonKernels[] = {
    Translated("cpu_engine_test_own", kOwn, Own),
    Translated("cpu_engine_test_fill", kFill, Fill),
    Translated("cpu_engine_test_complement", kComplement, Complement),
    {"cpu_engine_test_count", HashOfProgram(Bytes(ComputeModule(kCount))), nullptr, Count},
};

class CpuEngineTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    [[maybe_unused]] static const bool added = (AddKernels(kCommonKernels), true);
  }
  void SetUp() override { Start({.use_native_kernels = false}); }
  void Start(const CpuOptions& options) {
    std::string error;
    engine_ = CreateCpuEngine(options, &error);
    ASSERT_NE(engine_, nullptr) << error;
  }

  TexturePtr Make(std::uint32_t width, std::uint32_t height, Usage usage = Usage::kDevice,
                  Format format = Format::kRgba8) {
    TexturePtr texture;
    EXPECT_EQ(engine_->CreateTexture({width, height, format, usage}, &texture), Status::kOk);
    return texture;
  }
  TexturePtr Make(std::uint32_t width, std::uint32_t height, const Pixels& pixels) {
    TexturePtr texture = Make(width, height);
    Upload(*texture, texture->Bounds(), pixels);
    return texture;
  }
  void Upload(Texture& texture, const Rect& rect, const Pixels& pixels) {
    EXPECT_EQ(
        engine_->Upload(texture, rect, pixels.data(), static_cast<std::size_t>(rect.Width()) * 4),
        Status::kOk);
  }
  std::unique_ptr<Program> Load(std::uint32_t number) {
    std::unique_ptr<Program> program;
    EXPECT_EQ(engine_->CreateProgram(Bytes(PixelModule(number)), &program), Status::kOk);
    return program;
  }
  Status Draw(std::uint32_t number, Texture& target, const Rect& rect,
              const Texture* input = nullptr, std::uint32_t constant = 0,
              Blend blend = Blend::kReplace) {
    const std::unique_ptr<Program> program = Load(number);
    Pass pass;
    pass.program = program.get();
    pass.target = &target;
    pass.rect = rect;
    pass.bindings[0].texture = input;
    pass.constants = Bytes(constant);
    pass.blend = blend;
    return engine_->Draw(pass);
  }
  Status Copy(Texture& to, const Texture& from) {
    return engine_->Copy(to, 0, 0, from, from.Bounds());
  }
  const std::byte* Map(Texture& readback) {
    Mapping mapping;
    EXPECT_EQ(engine_->Map(readback, &mapping), Status::kOk);
    pitch_ = mapping.pitch;
    return mapping.data;
  }
  static Pixels Rows(const Texture& texture, const std::byte* data, std::size_t pitch) {
    Pixels pixels;
    for (std::uint32_t y = 0; y < texture.Desc().height; ++y) {
      const auto* row = reinterpret_cast<const std::uint32_t*>(data + y * pitch);
      pixels.insert(pixels.end(), row, row + texture.Desc().width);
    }
    return pixels;
  }
  Pixels Read(const Texture& texture) {
    const TexturePtr readback = Make(texture.Desc().width, texture.Desc().height, Usage::kReadback);
    EXPECT_EQ(Copy(*readback, texture), Status::kOk);
    const std::byte* const data = Map(*readback);
    return Rows(*readback, data, pitch_);
  }

  std::unique_ptr<Engine> engine_;
  std::size_t pitch_ = 0;
};

inline Pixels RandomPixels(std::size_t count, unsigned seed) {
  Pixels pixels(count);
  std::mt19937 random(seed);
  for (std::uint32_t& pixel : pixels) pixel = static_cast<std::uint32_t>(random());
  return pixels;
}

// `pixels`, `width` to a row, with `change` at each place of `rect`.
template <class Change>
Pixels Changed(Pixels pixels, int width, const Rect& rect, const Change& change) {
  for (int y = rect.top; y < rect.bottom; ++y) {
    for (int x = rect.left; x < rect.right; ++x) {
      std::uint32_t& pixel = pixels[static_cast<std::size_t>(y * width + x)];
      pixel = change(pixel, x, y);
    }
  }
  return pixels;
}

}  // namespace Vantra::Render::Simd
