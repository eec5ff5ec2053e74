// Gives files to a fuzz target one after the other, without a fuzzer: replay FOLDER...

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      // Names the input in the log, in case it ends the program.
      std::printf("%s\n", entry.path().c_str());
      std::fflush(stdout);
      const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      ++count;
    }
    if (count == 0) {
      std::fprintf(stderr, "%s: no inputs\n", argv[i]);
      return 1;
    }
  }
  return argc > 1 ? 0 : 2;
}
