// The fuzz target of the decoder that VANTRIX_FUZZ_CONTAINER names. Build with the preset `fuzz`,
// then, for PNG, in the folder of the build:
//   mkdir -p corpus && tests/fuzz/fuzz_png corpus tests/fuzz/seeds/png
// An input that it reports goes to tests/fuzz/regressions/png, which every test run replays.

#include <cstddef>
#include <cstdint>

#include "picture_target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Vantra::Fuzz::DecodePictureFile({data, size}, VANTRIX_FUZZ_CONTAINER);
  return 0;
}
