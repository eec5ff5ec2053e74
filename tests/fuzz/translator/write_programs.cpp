// Writes random programs: translator_fuzz_generator SEED COUNT FOLDER

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "program.h"

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: translator_fuzz_generator SEED COUNT FOLDER\n");
    return 2;
  }
  const std::uint64_t first = std::strtoull(argv[1], nullptr, 10);
  const std::uint64_t count = std::strtoull(argv[2], nullptr, 10);
  std::filesystem::create_directories(argv[3]);
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    std::ofstream file(std::filesystem::path(argv[3]) / (std::to_string(seed) + ".frag"));
    file << Vantra::TranslatorFuzz::PrintGlsl(Vantra::TranslatorFuzz::Generate(seed)) << std::flush;
    if (!file) return 1;
  }
}
