#pragma once

// What the CPU engine hands to a compiled program, and how it finds one.
//
// A kernel is a pixel or compute program that was translated to C++ when the library was built, or
// one with an algorithm of its own. It runs whole rows, on the thread that calls it, and may be run
// for several bands of rows at a time.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "render/engine.h"

namespace Vantra::Render::Simd {

// A texture's memory, read only. Rows lie `pitch` bytes apart and can be read `kRowPadding` bytes
// beyond their last pixel. `data` is null for a register without a texture, which reads as
// transparent black; width and height are then 0.
struct TextureView {
  const std::byte* data = nullptr;
  std::size_t pitch = 0;
  std::int32_t width = 0;
  std::int32_t height = 0;
  Format format = Format::kBgra8;
};

constexpr std::size_t kRowPadding = 64;
// Rows start at multiples of this many bytes.
constexpr std::size_t kRowAlignment = 64;

// The memory that a pass draws into.
struct TargetView {
  std::byte* data = nullptr;
  std::size_t pitch = 0;
  Format format = Format::kBgra8;
};

struct PixelArguments {
  std::array<TextureView, kRegisterCount> textures;
  std::array<Sampler, kRegisterCount> samplers;
  // `kMaximumConstantBytes` bytes, zero beyond what the pass gave, aligned to 64.
  const std::byte* constants = nullptr;
  // The program's placement: position = centre of the target's pixel + origin, uv = position *
  // pixel_size.
  float origin_x = 0;
  float origin_y = 0;
  float pixel_size_x = 1;
  float pixel_size_y = 1;
  TargetView target;
  // The columns to draw; the rows are the kernel's arguments.
  std::int32_t left = 0;
  std::int32_t right = 0;
  // Of the whole pass, of which a kernel is given a band of rows.
  std::int32_t top = 0;
  std::int32_t bottom = 0;
  Blend blend = Blend::kReplace;
};

struct ComputeArguments {
  std::array<TextureView, kRegisterCount> textures;
  const std::byte* constants = nullptr;
  std::uint32_t* output = nullptr;
  // What is written beyond is lost.
  std::uint32_t output_words = 0;
  // Of the grid, in invocations.
  std::int32_t width = 0;
  std::int32_t height = 0;
};

// Draws rows `top` up to and without `bottom` of the target. False when memory has run out.
using PixelKernel = bool (*)(const PixelArguments& arguments, std::int32_t top,
                             std::int32_t bottom);
// Runs the invocations of these rows of the grid.
using ComputeKernel = bool (*)(const ComputeArguments& arguments, std::int32_t top,
                               std::int32_t bottom);

// Tells programs apart: a hash of the SPIR-V that the engines are given (64-bit FNV-1a).
constexpr std::uint64_t HashOfProgram(std::span<const std::byte> spirv) {
  std::uint64_t hash = 14695981039346656037u;
  for (const std::byte byte : spirv) {
    hash = (hash ^ static_cast<std::uint64_t>(byte)) * 1099511628211u;
  }
  return hash;
}

struct Kernel {
  const char* name = nullptr;
  std::uint64_t program_hash = 0;
  // One of the two.
  PixelKernel pixel = nullptr;
  ComputeKernel compute = nullptr;
};

}  // namespace Vantra::Render::Simd
