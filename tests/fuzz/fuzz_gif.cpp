// Fuzz target of the GIF decoder. Build with the preset `fuzz`, then, in the folder of the build:
//   mkdir -p corpus && tests/fuzz/fuzz_gif corpus tests/fuzz/seeds/gif
// An input that it reports goes to tests/fuzz/regressions/gif, which every test run replays.

#include <cstddef>
#include <cstdint>

#include "picture_target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Vantra::Fuzz::DecodePictureFile({data, size}, GUID_ContainerFormatGif);
  return 0;
}
