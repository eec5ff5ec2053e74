// BC7 blocks of every mode, as another decoder reads them.

#include <array>
#include <gtest/gtest.h>

#include "platform/imaging/block_compression.h"
#include "platform/imaging/test_dds.h"

namespace Vantra::Platform {
namespace {

TEST(Bc7Blocks, OfTheReservedModeAreTransparent) {
  Bytes block(kLargeBlockBytes, 0xFF);
  block[0] = 0;
  Bytes pixels(64, 1);
  DecodeBc7(block.data(), pixels.data(), 16);
  EXPECT_EQ(pixels, Bytes(64, 0));
}

// The sums are of the pixels that another decoder gives. With a thousand blocks of each mode, all
// partitions, rotations, selections and indices occur.
TEST(Bc7Blocks, OfNoiseAreAsAnotherDecoderReadsThem) {
  constexpr unsigned kCount = 8192;
  const Bytes blocks = NoisyBc7Blocks(kCount);
  std::array<UINT64, 8> sums{};
  for (unsigned i = 0; i < kCount; ++i) {
    Bytes pixels(64);
    DecodeBc7(&blocks[i * kLargeBlockBytes], pixels.data(), 16);
    for (const BYTE value : pixels) sums[i % 8] = (sums[i % 8] ^ value) * 0x100000001B3;
  }
  constexpr UINT64 kExpected[] = {0x7101E59CAB30EF43, 0x4F15389B9B4C513B, 0x99F9871ACF5C1E2C,
                                  0x56D36035B1A54AB1, 0x4FE5355417B50B7A, 0x28BC3576BCA6A325,
                                  0x5BD0755ECADB30B3, 0x82E5890DFFAF0486};
  for (std::size_t mode = 0; mode < 8; ++mode) EXPECT_EQ(sums[mode], kExpected[mode]) << mode;
}

}  // namespace
}  // namespace Vantra::Platform
