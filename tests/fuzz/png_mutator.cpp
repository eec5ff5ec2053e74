// Makes the check sums of most mutated PNG files right, since a decoder reads nothing behind a
// wrong one.

#include <cstddef>
#include <cstdint>

#include "platform/imaging/test_pictures.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t most, unsigned seed) {
  size = LLVMFuzzerMutate(data, size, most);
  constexpr unsigned kLeaveAlone = 16;
  if (seed % kLeaveAlone != 0) Vantra::Platform::RepairPngChecksums({data, size});
  return size;
}
