// Makes one of the library's textures: texgen RECIPE FILE

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "effects/textures/texture.h"
#include "png_file.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: texgen RECIPE FILE\n");
    return 2;
  }
  const auto recipes = Vantra::Textures::AllRecipes();
  const auto recipe = std::find_if(recipes.begin(), recipes.end(),
                                   [&](const auto& each) { return each.name == argv[1]; });
  if (recipe == recipes.end()) {
    std::fprintf(stderr, "texgen: there is no recipe %s\n", argv[1]);
    return 1;
  }
  std::ofstream file(argv[2], std::ios::binary);
  file << Vantra::Textures::ToPng(recipe->make());
  if (!file.flush()) {
    std::fprintf(stderr, "texgen: %s cannot be written\n", argv[2]);
    return 1;
  }
  return 0;
}
