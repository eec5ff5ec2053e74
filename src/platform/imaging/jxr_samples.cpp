#include "platform/imaging/jxr_samples.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "platform/imaging/pixels.h"
#include "platform/imaging/sample_values.h"

namespace Vantra::Platform {
namespace {

// What stands for 1 in fixed point.
constexpr double kFixed16One = 1 << 13;
constexpr double kFixed32One = 1 << 24;

BYTE FromLinear(double value) {
  if (!(value > 0)) return 0;
  if (value >= 1) return 255;
  const double encoded =
      value <= 0.0031308 ? value * 12.92 : 1.055 * std::pow(value, 1 / 2.4) - 0.055;
  return static_cast<BYTE>(std::lround(encoded * 255));
}

BYTE FromShare(unsigned value, unsigned greatest) {
  return static_cast<BYTE>((value * 255 + greatest / 2) / greatest);
}

bool IsSixteenBits(JxrDepth depth) {
  return depth == JxrDepth::k16 || depth == JxrDepth::kFixed16 || depth == JxrDepth::kHalf;
}

template <class Value>
Value Load(const BYTE* stored, std::size_t index) {
  Value value;
  std::memcpy(&value, stored + index * sizeof value, sizeof value);
  return value;
}

BYTE Multiply(unsigned a, unsigned b) { return static_cast<BYTE>((a * b + 127) / 255); }

}  // namespace

unsigned JxrBitsPerPixel(JxrColour colour, JxrDepth depth) {
  switch (depth) {
    case JxrDepth::kBit:
      return 1;
    case JxrDepth::kFive:
    case JxrDepth::kFiveSixFive:
      return 16;
    case JxrDepth::kTen:
      return 32;
    default:
      break;
  }
  const unsigned bits = depth == JxrDepth::k8 ? 8 : IsSixteenBits(depth) ? 16 : 32;
  if (colour == JxrColour::kGrey) return bits;
  return colour == JxrColour::kRgb && depth != JxrDepth::k8 ? bits * 3 : bits * 4;
}

JxrSamples::JxrSamples(JxrColour colour, JxrDepth depth, bool swapped)
    : colour_(colour), depth_(depth), swapped_(swapped) {
  if (!IsSixteenBits(depth_)) return;
  colour_table_ = MakeTable(Curve::kColour);
  alpha_table_ = MakeTable(Curve::kAlpha);
}

std::vector<BYTE> JxrSamples::MakeTable(Curve curve) const {
  std::vector<BYTE> table(std::size_t{1} << 16);
  for (unsigned i = 0; i < table.size(); ++i) {
    if (depth_ == JxrDepth::k16) {
      table[i] = FromShare(i, 65535);
      continue;
    }
    const double value =
        depth_ == JxrDepth::kHalf ? HalfToDouble(i) : static_cast<std::int16_t>(i) / kFixed16One;
    table[i] = curve == Curve::kAlpha ? LevelOfShare(value) : FromLinear(value);
  }
  return table;
}

template <JxrSamples::Curve kCurve>
BYTE JxrSamples::Level(const BYTE* stored, std::size_t index) const {
  constexpr bool kAlpha = kCurve == Curve::kAlpha;
  if (depth_ == JxrDepth::k8) return stored[index];
  if (IsSixteenBits(depth_)) {
    return (kAlpha ? alpha_table_ : colour_table_)[Load<std::uint16_t>(stored, index)];
  }
  const double value = depth_ == JxrDepth::kFloat ? double{Load<float>(stored, index)}
                                                  : Load<std::int32_t>(stored, index) / kFixed32One;
  return kAlpha ? LevelOfShare(value) : FromLinear(value);
}

void JxrSamples::Convert(const BYTE* stored, std::size_t count, BYTE* pixels) const {
  if (colour_ == JxrColour::kRgb && depth_ == JxrDepth::k8) {
    for (std::size_t x = 0; x < count; ++x) {
      const std::uint32_t pixel = Load<std::uint32_t>(stored, x) | 0xFF000000;
      std::memcpy(pixels + x * kBytesPerPixel, &pixel, sizeof pixel);
    }
    return;
  }
  if (depth_ == JxrDepth::kFive || depth_ == JxrDepth::kFiveSixFive || depth_ == JxrDepth::kTen) {
    ConvertPacked(stored, count, pixels);
    return;
  }
  for (std::size_t x = 0; x < count; ++x, pixels += kBytesPerPixel) {
    pixels[3] = 255;
    switch (colour_) {
      case JxrColour::kGrey: {
        BYTE level = 0;
        if (depth_ == JxrDepth::kBit) {
          level = (stored[x / 8] >> (7 - x % 8) & 1) != 0 ? 255 : 0;
        } else {
          level = Level<Curve::kColour>(stored, x);
        }
        pixels[0] = pixels[1] = pixels[2] = level;
        break;
      }
      case JxrColour::kRgb:
        for (std::size_t i = 0; i < 3; ++i) {
          pixels[2 - i] = Level<Curve::kColour>(stored, x * 3 + i);
        }
        break;
      case JxrColour::kRgbe: {
        const int exponent = stored[x * 4 + 3] - (128 + 8);
        for (std::size_t i = 0; i < 3; ++i) {
          pixels[2 - i] = FromLinear(std::ldexp(stored[x * 4 + i], exponent));
        }
        break;
      }
      case JxrColour::kCmyk: {
        const unsigned light = 255u - Level<Curve::kColour>(stored, x * 4 + 3);
        for (std::size_t i = 0; i < 3; ++i) {
          pixels[2 - i] = Multiply(255u - Level<Curve::kColour>(stored, x * 4 + i), light);
        }
        break;
      }
    }
  }
}

void JxrSamples::ConvertPacked(const BYTE* stored, std::size_t count, BYTE* pixels) const {
  const unsigned low_bits = depth_ == JxrDepth::kTen ? 10 : 5;
  const unsigned green_bits = depth_ == JxrDepth::kFiveSixFive ? 6 : low_bits;
  const unsigned low_mask = (1u << low_bits) - 1;
  const unsigned green_mask = (1u << green_bits) - 1;
  const std::size_t low = swapped_ ? 0 : 2;
  for (std::size_t x = 0; x < count; ++x, pixels += kBytesPerPixel) {
    const unsigned word =
        depth_ == JxrDepth::kTen ? Load<std::uint32_t>(stored, x) : Load<std::uint16_t>(stored, x);
    pixels[low] = FromShare(word & low_mask, low_mask);
    pixels[1] = FromShare(word >> low_bits & green_mask, green_mask);
    pixels[2 - low] = FromShare(word >> (low_bits + green_bits) & low_mask, low_mask);
    pixels[3] = 255;
  }
}

void JxrSamples::ConvertAlpha(const BYTE* stored, std::size_t count, BYTE* pixels) const {
  if (depth_ == JxrDepth::k8) {
    // By words, which compilers turn into vector code.
    for (std::size_t x = 0; x < count; ++x) {
      const std::uint32_t alpha = stored[x];
      const std::uint32_t pixel = (Load<std::uint32_t>(pixels, x) & 0x00FFFFFF) | alpha << 24;
      std::memcpy(pixels + x * kBytesPerPixel, &pixel, sizeof pixel);
    }
    return;
  }
  for (std::size_t x = 0; x < count; ++x) {
    pixels[x * kBytesPerPixel + 3] = Level<Curve::kAlpha>(stored, x);
  }
}

}  // namespace Vantra::Platform
