#include <algorithm>
#include <array>

#include "platform/imaging/block_compression.h"

namespace Vantra::Platform {
namespace {

struct Mode {
  unsigned subsets;
  unsigned partition_bits;
  unsigned rotation_bits;
  unsigned selection_bits;
  unsigned colour_bits;
  unsigned alpha_bits;
  // Lowest bits, common to the channels: one for each end of a subset, or one for both.
  unsigned own_low_bits;
  unsigned shared_low_bits;
  unsigned index_bits;
  unsigned second_index_bits;
};

constexpr std::array<Mode, 8> kModes = {{{3, 4, 0, 0, 4, 0, 1, 0, 3, 0},
                                         {2, 6, 0, 0, 6, 0, 0, 1, 3, 0},
                                         {3, 6, 0, 0, 5, 0, 0, 0, 2, 0},
                                         {2, 6, 0, 0, 7, 0, 1, 0, 2, 0},
                                         {1, 0, 2, 1, 5, 6, 0, 0, 2, 3},
                                         {1, 0, 2, 0, 7, 8, 0, 0, 2, 2},
                                         {1, 0, 0, 0, 7, 7, 1, 0, 4, 0},
                                         {2, 6, 0, 0, 5, 5, 1, 0, 2, 0}}};

constexpr unsigned kPartitions = 64;

// The subset of each pixel, the first pixel in the lowest bits: one bit for two subsets, two bits
// for three.
constexpr std::array<UINT, kPartitions> kTwoSubsets = {
    0xCCCC, 0x8888, 0xEEEE, 0xECC8, 0xC880, 0xFEEC, 0xFEC8, 0xEC80, 0xC800, 0xFFEC, 0xFE80,
    0xE800, 0xFFE8, 0xFF00, 0xFFF0, 0xF000, 0xF710, 0x008E, 0x7100, 0x08CE, 0x008C, 0x7310,
    0x3100, 0x8CCE, 0x088C, 0x3110, 0x6666, 0x366C, 0x17E8, 0x0FF0, 0x718E, 0x399C, 0xAAAA,
    0xF0F0, 0x5A5A, 0x33CC, 0x3C3C, 0x55AA, 0x9696, 0xA55A, 0x73CE, 0x13C8, 0x324C, 0x3BDC,
    0x6996, 0xC33C, 0x9966, 0x0660, 0x0272, 0x04E4, 0x4E40, 0x2720, 0xC936, 0x936C, 0x39C6,
    0x639C, 0x9336, 0x9CC6, 0x817E, 0xE718, 0xCCF0, 0x0FCC, 0x7744, 0xEE22};
constexpr std::array<UINT, kPartitions> kThreeSubsets = {
    0xAA685050, 0x6A5A5040, 0x5A5A4200, 0x5450A0A8, 0xA5A50000, 0xA0A05050, 0x5555A0A0, 0x5A5A5050,
    0xAA550000, 0xAA555500, 0xAAAA5500, 0x90909090, 0x94949494, 0xA4A4A4A4, 0xA9A59450, 0x2A0A4250,
    0xA5945040, 0x0A425054, 0xA5A5A500, 0x55A0A0A0, 0xA8A85454, 0x6A6A4040, 0xA4A45000, 0x1A1A0500,
    0x0050A4A4, 0xAAA59090, 0x14696914, 0x69691400, 0xA08585A0, 0xAA821414, 0x50A4A450, 0x6A5A0200,
    0xA9A58000, 0x5090A0A8, 0xA8A09050, 0x24242424, 0x00AA5500, 0x24924924, 0x24499224, 0x50A50A50,
    0x500AA550, 0xAAAA4444, 0x66660000, 0xA5A0A5A0, 0x50A050A0, 0x69286928, 0x44AAAA44, 0x66666600,
    0xAA444444, 0x54A854A8, 0x95809580, 0x96969600, 0xA85454A8, 0x80959580, 0xAA141414, 0x96960000,
    0xAAAA1414, 0xA05050A0, 0xA0A5A5A0, 0x96000000, 0x40804080, 0xA9A8A9A8, 0xAAAAAA44, 0x2A4A5254};

// The pixel of each further subset whose index has no highest bit, since that is always 0. In the
// first subset this is the first pixel.
using Anchors = std::array<BYTE, kPartitions>;
constexpr Anchors kAnchorsOfTwo = {15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 15,
                                   15, 2,  8,  2,  2,  8,  8,  15, 2,  8,  2,  2,  8,  8,  2,  2,
                                   15, 15, 6,  8,  2,  8,  15, 15, 2,  8,  2,  2,  2,  15, 15, 6,
                                   6,  2,  6,  8,  15, 15, 2,  2,  15, 15, 15, 15, 15, 2,  2,  15};
constexpr Anchors kSecondAnchorsOfThree = {
    3,  3,  15, 15, 8, 3,  15, 15, 8,  8,  6, 6,  6, 5,  3, 3,  3,  3,  8,  15, 3,  3,
    6,  10, 5,  8,  8, 6,  8,  5,  15, 15, 8, 15, 3, 5,  6, 10, 8,  15, 15, 3,  15, 5,
    15, 15, 15, 15, 3, 15, 5,  5,  5,  8,  5, 10, 5, 10, 8, 13, 15, 12, 3,  3};
constexpr Anchors kThirdAnchorsOfThree = {
    15, 8, 8, 3,  15, 15, 3,  8,  15, 15, 15, 15, 15, 15, 15, 8,  15, 8,  15, 3,  15, 8,
    15, 8, 3, 15, 6,  10, 15, 15, 10, 8,  15, 3,  15, 10, 10, 8,  9,  10, 6,  15, 8,  15,
    3,  6, 6, 8,  15, 3,  15, 15, 15, 15, 15, 15, 15, 15, 15, 15, 3,  15, 15, 8};

// Reads a block from its lowest bit.
class BitReader {
 public:
  explicit BitReader(const BYTE* block) : low_(Load(block)), high_(Load(block + 8)) {}

  unsigned Read(unsigned count) {
    if (count == 0) return 0;
    const auto value = static_cast<unsigned>(low_ & ((UINT64{1} << count) - 1));
    low_ = low_ >> count | high_ << (64 - count);
    high_ >>= count;
    return value;
  }

 private:
  static UINT64 Load(const BYTE* bytes) {
    UINT64 value = 0;
    for (unsigned i = 0; i < 8; ++i) value |= UINT64{bytes[i]} << 8 * i;
    return value;
  }

  UINT64 low_;
  UINT64 high_;
};

// Repeats the highest bits of a number below its lowest, up to 8.
unsigned Widen(unsigned value, unsigned bits) {
  value <<= 8 - bits;
  return value | value >> bits;
}

unsigned Interpolate(unsigned first, unsigned second, unsigned index, unsigned index_bits) {
  constexpr BYTE kWeights[3][16] = {
      {0, 21, 43, 64},
      {0, 9, 18, 27, 37, 46, 55, 64},
      {0, 4, 9, 13, 17, 21, 26, 30, 34, 38, 43, 47, 51, 55, 60, 64},
  };
  const unsigned weight = kWeights[index_bits - 2][index];
  return ((64 - weight) * first + weight * second + 32) >> 6;
}

class Block {
 public:
  explicit Block(const BYTE* block) : bits_(block) {}

  void Decode(BYTE* pixels, std::size_t stride);

 private:
  using Indices = std::array<unsigned, 16>;

  unsigned SubsetOf(unsigned pixel) const {
    if (mode_->subsets == 1) return 0;
    return mode_->subsets == 2 ? kTwoSubsets[partition_] >> pixel & 1
                               : kThreeSubsets[partition_] >> 2 * pixel & 3;
  }

  bool IsAnchor(unsigned pixel) const {
    if (pixel == 0 || mode_->subsets == 1) return pixel == 0;
    if (mode_->subsets == 2) return pixel == kAnchorsOfTwo[partition_];
    return pixel == kSecondAnchorsOfThree[partition_] || pixel == kThirdAnchorsOfThree[partition_];
  }

  void ReadEnds();
  Indices ReadIndices(unsigned index_bits);

  BitReader bits_;
  const Mode* mode_ = nullptr;
  unsigned partition_ = 0;
  // Red, green, blue, alpha of the two ends of each subset.
  std::array<std::array<unsigned, 4>, 6> ends_{};
};

void Block::ReadEnds() {
  const unsigned ends = mode_->subsets * 2;
  const bool low_bits = mode_->own_low_bits + mode_->shared_low_bits != 0;
  for (unsigned channel = 0; channel < 4; ++channel) {
    const unsigned bits = channel < 3 ? mode_->colour_bits : mode_->alpha_bits;
    for (unsigned end = 0; end < ends; ++end) ends_[end][channel] = bits_.Read(bits);
  }
  std::array<unsigned, 6> low{};
  for (unsigned end = 0; low_bits && end < ends; ++end) {
    low[end] = mode_->shared_low_bits != 0 && end % 2 == 1 ? low[end - 1] : bits_.Read(1);
  }
  for (unsigned end = 0; end < ends; ++end) {
    for (unsigned channel = 0; channel < 4; ++channel) {
      unsigned& value = ends_[end][channel];
      unsigned bits = channel < 3 ? mode_->colour_bits : mode_->alpha_bits;
      if (bits == 0) {
        value = 255;
        continue;
      }
      if (low_bits) {
        value = value << 1 | low[end];
        ++bits;
      }
      value = Widen(value, bits);
    }
  }
}

Block::Indices Block::ReadIndices(unsigned index_bits) {
  Indices indices{};
  if (index_bits == 0) return indices;
  for (unsigned i = 0; i < indices.size(); ++i) {
    indices[i] = bits_.Read(index_bits - (IsAnchor(i) ? 1 : 0));
  }
  return indices;
}

void Block::Decode(BYTE* pixels, std::size_t stride) {
  // The mode is the number of zeros before the first one.
  unsigned mode = 0;
  while (mode < kModes.size() && bits_.Read(1) == 0) ++mode;
  if (mode == kModes.size()) {
    for (std::size_t y = 0; y < kBlockSide; ++y) {
      std::fill_n(pixels + y * stride, kBlockSide * 4, 0);
    }
    return;
  }
  mode_ = &kModes[mode];
  partition_ = bits_.Read(mode_->partition_bits);
  const unsigned rotation = bits_.Read(mode_->rotation_bits);
  const bool selected = bits_.Read(mode_->selection_bits) != 0;
  ReadEnds();
  const unsigned first_bits = mode_->index_bits;
  const unsigned second_bits = mode_->second_index_bits;
  const Indices first = ReadIndices(first_bits);
  // Where there are second indices, they are alpha's, unless selection has them change places.
  const Indices further = ReadIndices(second_bits);
  const Indices& second = second_bits == 0 ? first : further;
  const unsigned other_bits = second_bits == 0 ? first_bits : second_bits;
  const Indices& colour_indices = selected ? second : first;
  const Indices& alpha_indices = selected ? first : second;
  const unsigned colour_bits = selected ? other_bits : first_bits;
  const unsigned alpha_bits = selected ? first_bits : other_bits;

  for (unsigned i = 0; i < 16; ++i) {
    const unsigned subset = SubsetOf(i);
    const auto& low = ends_[2 * subset];
    const auto& high = ends_[2 * subset + 1];
    std::array<unsigned, 4> colour;
    for (unsigned channel = 0; channel < 3; ++channel) {
      colour[channel] = Interpolate(low[channel], high[channel], colour_indices[i], colour_bits);
    }
    colour[3] = Interpolate(low[3], high[3], alpha_indices[i], alpha_bits);
    // A rotation has alpha change places with red, green or blue.
    if (rotation != 0) std::swap(colour[3], colour[rotation - 1]);
    BYTE* pixel = pixels + i / 4 * stride + i % 4 * 4;
    pixel[0] = static_cast<BYTE>(colour[2]);
    pixel[1] = static_cast<BYTE>(colour[1]);
    pixel[2] = static_cast<BYTE>(colour[0]);
    pixel[3] = static_cast<BYTE>(colour[3]);
  }
}

}  // namespace

void DecodeBc7(const BYTE* block, BYTE* pixels, std::size_t stride) {
  Block(block).Decode(pixels, stride);
}

}  // namespace Vantra::Platform
