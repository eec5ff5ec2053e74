// Fuzz target of the BMP decoder. Build with the preset `fuzz`, then, in the folder of the build:
//   mkdir -p corpus && tests/fuzz/fuzz_bmp corpus tests/fuzz/seeds/bmp
// An input that it reports goes to tests/fuzz/regressions/bmp, which every test run replays.

#include <cstddef>
#include <cstdint>

#include "picture_target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Vantra::Fuzz::DecodePictureFile({data, size}, GUID_ContainerFormatBmp);
  return 0;
}
