// Fuzz target of the WebP decoder. Build with the preset `fuzz`, then, in the folder of the build:
//   mkdir -p corpus && tests/fuzz/fuzz_webp corpus tests/fuzz/seeds/webp
// An input that it reports goes to tests/fuzz/regressions/webp, which every test run replays.

#include <cstddef>
#include <cstdint>

#include "picture_target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Vantra::Fuzz::DecodePictureFile({data, size}, GUID_ContainerFormatWebp);
  return 0;
}
