#include "effects/textures/texture.h"

std::span<const Vantra::Textures::Recipe> Vantra::Textures::AllRecipes() {
  static constexpr Recipe kRecipes[] = {
      {"color_noise", MakeColorNoise},
      {"gray_noise", MakeGrayNoise},
      {"relief", MakeRelief},
  };
  return kRecipes;
}
