// Fuzz target of the TIFF decoder. Build with the preset `fuzz`, then, in the folder of the build:
//   mkdir -p corpus && tests/fuzz/fuzz_tiff corpus tests/fuzz/seeds/tiff
// An input that it reports goes to tests/fuzz/regressions/tiff, which every test run replays.

#include <cstddef>
#include <cstdint>

#include "picture_target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Vantra::Fuzz::DecodePictureFile({data, size}, GUID_ContainerFormatTiff);
  return 0;
}
