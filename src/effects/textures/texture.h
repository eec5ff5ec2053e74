#pragma once

// The pictures that the catalogue's effects bring along, each made by a recipe when the library is
// built. A recipe gives the same bytes on every machine: it computes in whole numbers, and its
// random numbers are those of std::mt19937, whose sequence the language defines.

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace Vantra::Textures {

// Rows from top to bottom without padding, a byte a channel.
struct Texture {
  int width = 0;
  int height = 0;
  int channels = 0;  // 1 is gray, 3 red, green, blue, and 4 those and alpha
  std::vector<std::uint8_t> bytes;
};

struct Recipe {
  std::string_view name;
  Texture (*make)();
};

std::span<const Recipe> AllRecipes();

Texture MakeColorNoise();
Texture MakeGrayNoise();
Texture MakeRelief();

}  // namespace Vantra::Textures
