// BC7 blocks put together field by field, and what their fields mean.

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <string>

#include "platform/imaging/block_compression.h"
#include "platform/imaging/test_dds.h"

namespace Vantra::Platform {
namespace {

struct Field {
  unsigned value;
  unsigned bits;
};

using Colour = std::array<unsigned, 4>;  // red, green, blue, alpha

struct Block {
  const char* name;
  unsigned mode;
  std::vector<Field> head;  // partition, rotation, selection
  unsigned colour_bits;
  unsigned alpha_bits;
  std::vector<Colour> stored_ends;
  std::vector<unsigned> low_bits;
  unsigned index_bits;
  unsigned second_index_bits;
  // Those that are stored without their highest bit.
  std::vector<std::size_t> anchors;
  // By pixel.
  std::string subsets;
  // The ends in 8 bits, which the fields above stand for.
  std::vector<Colour> ends;
  // Whether the second indices are those of the colours, and what alpha has changed places with.
  bool selected = false;
  int swapped = -1;
};

// Every index of four bits once; those of fewer bits are cut out of them.
constexpr unsigned kIndices[16] = {5, 15, 2, 1, 14, 13, 4, 12, 6, 11, 10, 9, 8, 3, 0, 7};

constexpr unsigned kWeights[5][16] = {
    {},
    {},
    {0, 21, 43, 64},
    {0, 9, 18, 27, 37, 46, 55, 64},
    {0, 4, 9, 13, 17, 21, 26, 30, 34, 38, 43, 47, 51, 55, 60, 64},
};

// The index of a pixel in so many bits; an anchor's highest bit is 0. The second set is another.
unsigned IndexOf(std::size_t pixel, unsigned bits, bool anchor, bool second) {
  const unsigned index = kIndices[second ? pixel ^ 5 : pixel] >> (second ? 1 : 0);
  return index & ((1u << (anchor ? bits - 1 : bits)) - 1);
}

bool IsAnchor(const Block& block, std::size_t pixel) {
  return std::ranges::find(block.anchors, pixel) != block.anchors.end();
}

Bytes Encode(const Block& block) {
  BitPacker packer;
  packer.Put(1u << block.mode, block.mode + 1);
  for (const Field& field : block.head) packer.Put(field.value, field.bits);
  for (std::size_t channel = 0; channel < 4; ++channel) {
    for (const Colour& end : block.stored_ends) {
      packer.Put(end[channel], channel < 3 ? block.colour_bits : block.alpha_bits);
    }
  }
  for (const unsigned bit : block.low_bits) packer.Put(bit, 1);
  for (const bool second : {false, true}) {
    const unsigned bits = second ? block.second_index_bits : block.index_bits;
    for (std::size_t i = 0; bits > 0 && i < 16; ++i) {
      const bool anchor = IsAnchor(block, i);
      packer.Put(IndexOf(i, bits, anchor, second), anchor ? bits - 1 : bits);
    }
  }
  return packer.Packed();
}

Bytes Expected(const Block& block) {
  Bytes pixels;
  for (std::size_t i = 0; i < 16; ++i) {
    const auto subset = static_cast<std::size_t>(block.subsets[i] - '0');
    const auto weight = [&](bool second) {
      second = second && block.second_index_bits > 0;
      const unsigned bits = second ? block.second_index_bits : block.index_bits;
      return kWeights[bits][IndexOf(i, bits, IsAnchor(block, i), second)];
    };
    Colour colour{};
    for (std::size_t channel = 0; channel < 4; ++channel) {
      const unsigned w = weight(channel < 3 ? block.selected : !block.selected);
      colour[channel] = (block.ends[2 * subset][channel] * (64 - w) +
                         block.ends[2 * subset + 1][channel] * w + 32) /
                        64;
    }
    if (block.swapped >= 0) std::swap(colour[3], colour[static_cast<std::size_t>(block.swapped)]);
    for (const std::size_t channel : {2, 1, 0, 3}) {
      pixels.push_back(static_cast<BYTE>(colour[channel]));
    }
  }
  return pixels;
}

const Block kBlocks[] = {
    {"three subsets, a low bit for each end",
     0,
     {{0, 4}},
     4,
     0,
     {{0, 0, 0}, {15, 15, 15}, {15, 0, 0}, {15, 0, 0}, {0, 0, 15}, {8, 15, 1}},
     {0, 1, 0, 1, 1, 0},
     3,
     0,
     {0, 3, 15},
     "0011001102212222",
     {{0, 0, 0, 255},
      {255, 255, 255, 255},
      {247, 0, 0, 255},
      {255, 8, 8, 255},
      {8, 8, 255, 255},
      {132, 247, 16, 255}}},
    {"two subsets, a low bit for both ends",
     1,
     {{13, 6}},
     6,
     0,
     {{0, 63, 32}, {63, 0, 1}, {63, 63, 0}, {0, 16, 63}},
     {1, 0},
     3,
     0,
     {0, 15},
     "0000000011111111",
     {{2, 255, 131, 255}, {255, 2, 6, 255}, {253, 253, 0, 255}, {0, 64, 253, 255}}},
    {"three subsets, no low bits",
     2,
     {{35, 6}},
     5,
     0,
     {{31, 0, 0}, {0, 31, 0}, {0, 0, 31}, {31, 31, 0}, {1, 2, 3}, {16, 17, 18}},
     {},
     2,
     0,
     {0, 5, 10},
     "0120012001200120",
     {{255, 0, 0, 255},
      {0, 255, 0, 255},
      {0, 0, 255, 255},
      {255, 255, 0, 255},
      {8, 16, 24, 255},
      {132, 140, 148, 255}}},
    {"two subsets of two index bits, a low bit for each end",
     3,
     {{17, 6}},
     7,
     0,
     {{0, 127, 64}, {127, 0, 1}, {127, 127, 0}, {0, 32, 127}},
     {0, 1, 1, 0},
     2,
     0,
     {0, 2},
     "0111000100000000",
     {{0, 254, 128, 255}, {255, 1, 3, 255}, {255, 255, 1, 255}, {0, 64, 254, 255}}},
    {"indices of two bits for the colours and three for alpha, red changing places",
     4,
     {{1, 2}, {0, 1}},
     5,
     6,
     {{0, 31, 16, 63}, {31, 1, 2, 1}},
     {},
     2,
     3,
     {0},
     "0000000000000000",
     {{0, 255, 132, 255}, {255, 8, 16, 4}},
     false,
     0},
    {"indices of three bits for the colours and two for alpha",
     4,
     {{0, 2}, {1, 1}},
     5,
     6,
     {{0, 31, 16, 63}, {31, 1, 2, 1}},
     {},
     2,
     3,
     {0},
     "0000000000000000",
     {{0, 255, 132, 255}, {255, 8, 16, 4}},
     true},
    {"alpha of eight bits, green changing places",
     5,
     {{2, 2}},
     7,
     8,
     {{0, 127, 64, 200}, {127, 1, 2, 3}},
     {},
     2,
     2,
     {0},
     "0000000000000000",
     {{0, 255, 129, 200}, {255, 2, 4, 3}},
     false,
     1},
    {"alpha of eight bits, blue changing places",
     5,
     {{3, 2}},
     7,
     8,
     {{0, 127, 64, 200}, {127, 1, 2, 3}},
     {},
     2,
     2,
     {0},
     "0000000000000000",
     {{0, 255, 129, 200}, {255, 2, 4, 3}},
     false,
     2},
    {"indices of four bits",
     6,
     {},
     7,
     7,
     {{0, 127, 64, 127}, {127, 0, 1, 0}},
     {0, 1},
     4,
     0,
     {0},
     "0000000000000000",
     {{0, 254, 128, 254}, {255, 1, 3, 1}}},
    {"two subsets with alpha",
     7,
     {{34, 6}},
     5,
     5,
     {{0, 31, 16, 31}, {31, 0, 1, 0}, {31, 31, 0, 8}, {0, 8, 31, 31}},
     {0, 1, 1, 0},
     2,
     0,
     {0, 6},
     "0101101001011010",
     {{0, 251, 130, 251}, {255, 4, 12, 4}, {255, 255, 4, 69}, {0, 65, 251, 251}}},
};

TEST(Bc7Blocks, OfEveryModeMeanWhatTheirFieldsSay) {
  for (const Block& block : kBlocks) {
    const Bytes bytes = Encode(block);
    ASSERT_EQ(bytes.size(), kLargeBlockBytes) << block.name;
    Bytes pixels(64);
    DecodeBc7(bytes.data(), pixels.data(), 16);
    EXPECT_EQ(pixels, Expected(block)) << block.name;
  }
}

TEST(Bc7Blocks, OfTheReservedModeAreTransparent) {
  Bytes block(kLargeBlockBytes, 0xFF);
  block[0] = 0;
  Bytes pixels(64, 1);
  DecodeBc7(block.data(), pixels.data(), 16);
  EXPECT_EQ(pixels, Bytes(64, 0));
}

// The sum was computed from the pixels that another decoder gives, for all partitions.
TEST(Bc7Blocks, OfNoiseAreAsAnotherDecoderReadsThem) {
  constexpr unsigned kCount = 8192;
  const Bytes blocks = NoisyBc7Blocks(kCount);
  UINT64 sum = 0;
  for (unsigned i = 0; i < kCount; ++i) {
    Bytes pixels(64);
    DecodeBc7(&blocks[i * kLargeBlockBytes], pixels.data(), 16);
    for (const BYTE value : pixels) sum = (sum ^ value) * 0x100000001B3;
  }
  EXPECT_EQ(sum, 0xD9A645930349462B);
}

}  // namespace
}  // namespace Vantra::Platform
