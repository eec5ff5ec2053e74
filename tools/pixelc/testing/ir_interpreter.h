#pragma once

// Runs one invocation of a program, one scalar after the other: the reference that the generated
// code is checked against.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "ir.h"

namespace Vantra::Pixelc {

using Color = std::array<float, 4>;

struct Invocation {
  float pixel_x = 0.5f;
  float pixel_y = 0.5f;
  float origin_x = 0;
  float origin_y = 0;
  float pixel_size_x = 1;
  float pixel_size_y = 1;
  std::uint32_t x = 0;
  std::uint32_t y = 0;
  std::vector<std::uint32_t> constants;  // zero beyond
  // Texture, sampler, u, v.
  std::function<Color(std::uint32_t, std::uint32_t, float, float)> sample;
  // Texture, x, y.
  std::function<Color(std::uint32_t, std::int32_t, std::int32_t)> fetch;
  // Of a texture.
  std::function<std::array<std::int32_t, 2>(std::uint32_t)> size;
};

struct Outcome {
  // How often the program gave a result; a sound pixel program does once.
  int results = 0;
  Color color = {};
  std::map<std::uint32_t, std::uint32_t> words;
  // False when the program was stopped after a great many instructions.
  bool has_ended = false;
};

Outcome Interpret(const Program& program, const Invocation& invocation);

}  // namespace Vantra::Pixelc
