#include "platform/imaging/block_compression.h"

#include <array>
#include <cstring>

namespace Vantra::Platform {
namespace {

constexpr unsigned kBlue = 0;
constexpr unsigned kGreen = 1;
constexpr unsigned kRed = 2;
constexpr unsigned kAlpha = 3;

using Pixel = std::array<BYTE, 4>;

// `count` bytes as a little-endian number.
UINT64 Load(const BYTE* bytes, unsigned count) {
  UINT64 value = 0;
  for (unsigned i = 0; i < count; ++i) value |= UINT64{bytes[i]} << 8 * i;
  return value;
}

// To nearest, halves up.
constexpr BYTE Rounded(unsigned dividend, unsigned divisor) {
  return static_cast<BYTE>((2 * dividend + divisor) / (2 * divisor));
}

template <class Store>
void ForEachPixel(BYTE* pixels, std::size_t stride, Store store) {
  for (unsigned i = 0; i < 16; ++i) store(i, pixels + i / 4 * stride + i % 4 * 4);
}

// How BC1 tells blocks of four colours from those of three colours and a transparent one.
enum class ColourBlock { kEither, kFourColours };

// Colours of 5, 6 and 5 bits at either end, and four of two bits a pixel between them.
void DecodeColours(const BYTE* block, ColourBlock kind, BYTE* pixels, std::size_t stride) {
  const auto first = static_cast<unsigned>(Load(block, 2));
  const auto second = static_cast<unsigned>(Load(block + 2, 2));
  const bool four = kind == ColourBlock::kFourColours || first > second;
  std::array<Pixel, 4> colours{};
  for (Pixel& colour : colours) colour[kAlpha] = 255;
  if (!four) colours[3][kAlpha] = 0;
  struct Field {
    unsigned channel, shift, most;
  };
  for (const auto [channel, shift, most] :
       {Field{kRed, 11, 31}, Field{kGreen, 5, 63}, Field{kBlue, 0, 31}}) {
    const unsigned a = 255 * (first >> shift & most);
    const unsigned b = 255 * (second >> shift & most);
    colours[0][channel] = Rounded(a, most);
    colours[1][channel] = Rounded(b, most);
    colours[2][channel] = four ? Rounded(2 * a + b, 3 * most) : Rounded(a + b, 2 * most);
    if (four) colours[3][channel] = Rounded(a + 2 * b, 3 * most);
  }
  const UINT64 indices = Load(block + 4, 4);
  ForEachPixel(pixels, stride, [&](unsigned i, BYTE* pixel) {
    std::memcpy(pixel, colours[indices >> 2 * i & 3].data(), 4);
  });
}

using Levels = std::array<BYTE, 8>;

// What the three bits of a pixel stand for: two ends, and either six levels between them, or four
// and both ends of the scale.
Levels UnsignedLevels(const BYTE* block) {
  const unsigned a = block[0];
  const unsigned b = block[1];
  Levels levels{block[0], block[1], 0, 0, 0, 0, 0, 255};
  const unsigned steps = a > b ? 7 : 5;
  for (unsigned i = 1; i < steps; ++i) levels[i + 1] = Rounded((steps - i) * a + i * b, steps);
  return levels;
}

Levels SignedLevels(const BYTE* block) {
  constexpr int kMost = 127;
  const auto raw_a = static_cast<signed char>(block[0]);
  const auto raw_b = static_cast<signed char>(block[1]);
  // Counted from the lowest value, which has two forms.
  const auto a = static_cast<unsigned>((raw_a < -kMost ? -kMost : raw_a) + kMost);
  const auto b = static_cast<unsigned>((raw_b < -kMost ? -kMost : raw_b) + kMost);
  const unsigned steps = raw_a > raw_b ? 7 : 5;
  Levels levels{Rounded(255 * a, 2 * kMost), Rounded(255 * b, 2 * kMost), 0, 0, 0, 0, 0, 255};
  for (unsigned i = 1; i < steps; ++i) {
    levels[i + 1] = Rounded(255 * ((steps - i) * a + i * b), steps * 2 * kMost);
  }
  return levels;
}

template <class Store>
void ForEachLevel(const BYTE* block, const Levels& levels, BYTE* pixels, std::size_t stride,
                  Store store) {
  const UINT64 indices = Load(block + 2, 6);
  ForEachPixel(pixels, stride,
               [&](unsigned i, BYTE* pixel) { store(pixel, levels[indices >> 3 * i & 7]); });
}

void StoreGrey(const BYTE* block, const Levels& levels, BYTE* pixels, std::size_t stride) {
  ForEachLevel(block, levels, pixels, stride, [](BYTE* pixel, BYTE level) {
    pixel[kBlue] = pixel[kGreen] = pixel[kRed] = level;
    pixel[kAlpha] = 255;
  });
}

void StoreRedAndGreen(const BYTE* block, const Levels& reds, const Levels& greens, BYTE* pixels,
                      std::size_t stride) {
  ForEachLevel(block, reds, pixels, stride, [](BYTE* pixel, BYTE level) {
    pixel[kRed] = level;
    pixel[kBlue] = 0;
    pixel[kAlpha] = 255;
  });
  ForEachLevel(block + kSmallBlockBytes, greens, pixels, stride,
               [](BYTE* pixel, BYTE level) { pixel[kGreen] = level; });
}

}  // namespace

void DecodeBc1(const BYTE* block, BYTE* pixels, std::size_t stride) {
  DecodeColours(block, ColourBlock::kEither, pixels, stride);
}

void DecodeBc2(const BYTE* block, BYTE* pixels, std::size_t stride) {
  DecodeColours(block + 8, ColourBlock::kFourColours, pixels, stride);
  const UINT64 alphas = Load(block, 8);
  ForEachPixel(pixels, stride, [&](unsigned i, BYTE* pixel) {
    pixel[kAlpha] = static_cast<BYTE>((alphas >> 4 * i & 15) * 17);
  });
}

void DecodeBc3(const BYTE* block, BYTE* pixels, std::size_t stride) {
  DecodeColours(block + 8, ColourBlock::kFourColours, pixels, stride);
  ForEachLevel(block, UnsignedLevels(block), pixels, stride,
               [](BYTE* pixel, BYTE level) { pixel[kAlpha] = level; });
}

void DecodeBc4(const BYTE* block, BYTE* pixels, std::size_t stride) {
  StoreGrey(block, UnsignedLevels(block), pixels, stride);
}

void DecodeSignedBc4(const BYTE* block, BYTE* pixels, std::size_t stride) {
  StoreGrey(block, SignedLevels(block), pixels, stride);
}

void DecodeBc5(const BYTE* block, BYTE* pixels, std::size_t stride) {
  StoreRedAndGreen(block, UnsignedLevels(block), UnsignedLevels(block + kSmallBlockBytes), pixels,
                   stride);
}

void DecodeSignedBc5(const BYTE* block, BYTE* pixels, std::size_t stride) {
  StoreRedAndGreen(block, SignedLevels(block), SignedLevels(block + kSmallBlockBytes), pixels,
                   stride);
}

}  // namespace Vantra::Platform
