// Fuzz target of the HD Photo decoder. Build with the preset `fuzz`, then, in the folder of the
// build:
//   mkdir -p corpus && tests/fuzz/fuzz_jxr corpus tests/fuzz/seeds/jxr
// An input that it reports goes to tests/fuzz/regressions/jxr, which every test run replays.

#include <cstddef>
#include <cstdint>

#include "picture_target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Vantra::Fuzz::DecodePictureFile({data, size}, GUID_ContainerFormatWmp);
  return 0;
}
