#include "platform/imaging/tiff_samples.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "platform/imaging/pixels.h"
#include "platform/imaging/sample_values.h"

namespace Vantra::Platform {
namespace {

constexpr unsigned kTableBits = 16;

template <class Value>
BYTE FromInteger(Value value) {
  constexpr auto kGreatest = static_cast<std::uint64_t>(std::numeric_limits<Value>::max());
  if (value < 0) return 0;
  return static_cast<BYTE>((static_cast<std::uint64_t>(value) * 255 + kGreatest / 2) / kGreatest);
}

BYTE FromNarrow(unsigned value, unsigned bits, TiffSampleKind kind) {
  if (kind == TiffSampleKind::kFloat) return LevelOfShare(HalfToDouble(value));
  unsigned greatest = (1u << bits) - 1;
  if (kind == TiffSampleKind::kSigned) {
    greatest /= 2;
    // Negative, or of one bit, which is a sign alone.
    if (value > greatest || greatest == 0) return 0;
  }
  return static_cast<BYTE>((value * 255 + greatest / 2) / greatest);
}

template <class Value>
Value Load(const BYTE* row, std::size_t index) {
  Value value;
  std::memcpy(&value, row + index * sizeof value, sizeof value);
  return value;
}

// Calls `use` with the place and the value of each sample of up to 16 bits.
template <class Use>
void ForEachNarrow(const BYTE* row, std::size_t first, std::size_t step, unsigned bits,
                   std::size_t count, Use use) {
  if (bits == 8) {
    for (std::size_t x = 0; x < count; ++x) use(x, row[first + x * step]);
  } else if (bits == 16) {
    for (std::size_t x = 0; x < count; ++x) use(x, Load<std::uint16_t>(row, first + x * step));
  } else {
    const unsigned mask = (1u << bits) - 1;
    for (std::size_t x = 0; x < count; ++x) {
      const std::size_t at = (first + x * step) * bits;
      const BYTE* bytes = row + at / 8;
      const unsigned word = unsigned{bytes[0]} << 16 | unsigned{bytes[1]} << 8 | bytes[2];
      use(x, word >> (24 - at % 8 - bits) & mask);
    }
  }
}

// Of pixels of four bytes.
void SwapRedAndBlue(const BYTE* row, std::size_t count, BYTE* pixels) {
  for (std::size_t at = 0; at < count * kBytesPerPixel; at += kBytesPerPixel) {
    const std::uint32_t pixel = Load<std::uint32_t>(row + at, 0);
    const std::uint32_t swapped =
        (pixel & 0xFF00FF00) | (pixel & 0xFF) << 16 | (pixel >> 16 & 0xFF);
    std::memcpy(pixels + at, &swapped, sizeof swapped);
  }
}

template <class Value, class Make>
void StoreWide(const BYTE* row, std::size_t first, std::size_t step, std::size_t count, Make make,
               BYTE* out, std::size_t out_step) {
  for (std::size_t x = 0; x < count; ++x) {
    out[x * out_step] = make(Load<Value>(row, first + x * step));
  }
}

}  // namespace

unsigned TiffFormat::Colours() const {
  switch (colour) {
    case TiffColour::kRgb:
      return 3;
    case TiffColour::kCmyk:
      return 4;
    default:
      return 1;
  }
}

TiffSamples::TiffSamples(TiffFormat format) : format_(std::move(format)) {
  if (format_.bits > kTableBits) return;
  steps_.resize(std::size_t{1} << format_.bits);
  for (unsigned value = 0; value < steps_.size(); ++value) {
    steps_[value] = FromNarrow(value, format_.bits, format_.kind);
  }
}

TiffSamples::Channel TiffSamples::ChannelOf(std::span<const BYTE* const> rows,
                                            unsigned colour) const {
  if (format_.planes) return {rows[colour], 0, 1};
  return {rows[0], colour, format_.samples};
}

TiffSamples::Channel TiffSamples::AlphaChannel(std::span<const BYTE* const> rows) const {
  if (format_.planes) return {rows[format_.Colours()], 0, 1};
  return {rows[0], *format_.alpha, format_.samples};
}

void TiffSamples::Convert(std::span<const BYTE* const> rows, std::size_t count, BYTE* pixels) {
  const bool bytes = format_.bits == 8 && format_.kind == TiffSampleKind::kUnsigned;
  const bool packed = bytes && format_.colour == TiffColour::kRgb && !format_.planes;
  const bool packed_alpha = packed && format_.samples == 4 && format_.alpha == 3u;
  if (packed_alpha) {
    SwapRedAndBlue(rows[0], count, pixels);
  } else if (packed) {
    StorePackedRgb(rows[0], count, pixels);
  } else if (format_.colour == TiffColour::kPalette) {
    StorePalette(ChannelOf(rows, 0), count, pixels);
  } else if (format_.colour == TiffColour::kCmyk) {
    StoreCmyk(rows, count, pixels);
  } else if (format_.colour == TiffColour::kRgb) {
    for (unsigned colour = 0; colour < 3; ++colour) {
      Store(ChannelOf(rows, colour), count, false, pixels + 2 - colour, kBytesPerPixel);
    }
  } else {
    Store(ChannelOf(rows, 0), count, format_.white_is_zero, pixels, kBytesPerPixel);
    for (std::size_t at = 0; at < count * kBytesPerPixel; at += kBytesPerPixel) {
      pixels[at + 1] = pixels[at + 2] = pixels[at];
    }
  }

  if (!format_.alpha) {
    if (packed) return;
    for (std::size_t x = 0; x < count; ++x) pixels[x * kBytesPerPixel + 3] = 255;
    return;
  }
  if (!packed_alpha) Store(AlphaChannel(rows), count, false, pixels + 3, kBytesPerPixel);
  if (!format_.premultiplied) return;
  // Nothing shines brighter than its alpha.
  for (std::size_t at = 0; at < count * kBytesPerPixel; at += kBytesPerPixel) {
    for (std::size_t channel = 0; channel < 3; ++channel) {
      pixels[at + channel] = std::min(pixels[at + channel], pixels[at + 3]);
    }
  }
}

void TiffSamples::Store(Channel channel, std::size_t count, bool inverted, BYTE* out,
                        std::size_t out_step) {
  const auto [row, first, step] = channel;
  if (format_.bits <= kTableBits) {
    ForEachNarrow(row, first, step, format_.bits, count,
                  [&](std::size_t x, unsigned value) { out[x * out_step] = steps_[value]; });
  } else if (format_.kind == TiffSampleKind::kFloat && format_.bits == 64) {
    StoreWide<double>(row, first, step, count, LevelOfShare, out, out_step);
  } else if (format_.kind == TiffSampleKind::kFloat) {
    StoreWide<float>(row, first, step, count, LevelOfShare, out, out_step);
  } else if (format_.kind == TiffSampleKind::kSigned) {
    StoreWide<std::int32_t>(row, first, step, count, FromInteger<std::int32_t>, out, out_step);
  } else {
    StoreWide<std::uint32_t>(row, first, step, count, FromInteger<std::uint32_t>, out, out_step);
  }
  if (!inverted) return;
  for (std::size_t x = 0; x < count; ++x) {
    out[x * out_step] = static_cast<BYTE>(255 - out[x * out_step]);
  }
}

void TiffSamples::StorePalette(Channel channel, std::size_t count, BYTE* pixels) const {
  ForEachNarrow(channel.row, channel.first, channel.step, format_.bits, count,
                [&](std::size_t x, unsigned value) {
                  const std::array<BYTE, 3>& colour = format_.palette[value];
                  BYTE* pixel = pixels + x * kBytesPerPixel;
                  pixel[0] = colour[2];
                  pixel[1] = colour[1];
                  pixel[2] = colour[0];
                });
}

void TiffSamples::StoreCmyk(std::span<const BYTE* const> rows, std::size_t count, BYTE* pixels) {
  black_.resize(count);
  for (unsigned ink = 0; ink < 3; ++ink) {
    Store(ChannelOf(rows, ink), count, true, pixels + 2 - ink, kBytesPerPixel);
  }
  Store(ChannelOf(rows, 3), count, true, black_.data(), 1);
  for (std::size_t x = 0; x < count; ++x) {
    for (std::size_t channel = 0; channel < 3; ++channel) {
      BYTE& light = pixels[x * kBytesPerPixel + channel];
      light = static_cast<BYTE>((light * black_[x] + 127) / 255);
    }
  }
}

void TiffSamples::StorePackedRgb(const BYTE* row, std::size_t count, BYTE* pixels) const {
  const std::size_t step = format_.samples;
  // A word, a pixel and a byte behind it, is turned round at once.
  for (; count > 1; --count, row += step, pixels += kBytesPerPixel) {
    std::uint32_t word = 0;
    std::memcpy(&word, row, sizeof word);
    word = (__builtin_bswap32(word) >> 8) | 0xFF000000;
    std::memcpy(pixels, &word, sizeof word);
  }
  if (count == 0) return;
  const BYTE last[] = {row[2], row[1], row[0], 255};
  std::memcpy(pixels, last, sizeof last);
}

}  // namespace Vantra::Platform
