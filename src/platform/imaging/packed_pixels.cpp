#include "platform/imaging/packed_pixels.h"

#include <bit>
#include <cstring>

namespace Vantra::Platform {
namespace {

template <unsigned kBytes>
UINT Load(const BYTE* stored) {
  UINT pixel = 0;
  for (unsigned i = 0; i < kBytes; ++i) pixel |= static_cast<UINT>(stored[i]) << 8 * i;
  return pixel;
}

template <unsigned kBytes, class Convert>
void ExpandPixels(const BYTE* stored, std::size_t count, BYTE* row, Convert convert) {
  const auto store = [=](std::size_t i, UINT pixel) {
    pixel = convert(pixel);
    std::memcpy(row + i * 4, &pixel, 4);
  };
  std::size_t i = 0;
  // Where a byte follows, a word is loaded at once.
  if (kBytes == 3) {
    for (; i + 1 < count; ++i) store(i, Load<4>(stored + i * 3) & 0x00FFFFFF);
  }
  for (; i < count; ++i) store(i, Load<kBytes>(stored + i * kBytes));
}

}  // namespace

bool PackedPixels::Open(unsigned bytes, const Masks& masks) {
  bytes_ = bytes;
  masks_ = masks;
  whole_bytes_ = true;
  for (std::size_t i = 0; i < masks.size(); ++i) {
    Channel& channel = channels_[i];
    channel = {};
    channel.offset = i == 3 && masks[i] == 0 ? 255 : 0.5;
    if (masks[i] == 0) continue;
    channel.shift = static_cast<UINT>(std::countr_zero(masks[i]));
    channel.most = masks[i] >> channel.shift;
    if ((channel.most & (channel.most + 1)) != 0) return false;
    channel.scale = 255.0 / channel.most;
    whole_bytes_ = whole_bytes_ && channel.most == 0xFF;
  }
  return true;
}

template <class Convert>
void PackedPixels::ForEach(const BYTE* stored, std::size_t count, BYTE* row,
                           Convert convert) const {
  switch (bytes_) {
    case 1:
      return ExpandPixels<1>(stored, count, row, convert);
    case 2:
      return ExpandPixels<2>(stored, count, row, convert);
    case 3:
      return ExpandPixels<3>(stored, count, row, convert);
    default:
      return ExpandPixels<4>(stored, count, row, convert);
  }
}

void PackedPixels::Expand(const BYTE* stored, std::size_t count, BYTE* row) const {
  // A result's bytes, from the lowest, are blue, green, red and alpha. Copies, which writing the
  // row cannot change, let the loops be vector code.
  const Channel red = channels_[0];
  const Channel green = channels_[1];
  const Channel blue = channels_[2];
  const Channel alpha = channels_[3];
  if (whole_bytes_) {
    const UINT filled = HasAlpha() ? 0 : 0xFF000000;
    const bool in_order = masks_ == Masks{0xFF0000, 0xFF00, 0xFF, HasAlpha() ? 0xFF000000 : 0};
    if (in_order) {
      ForEach(stored, count, row, [=](UINT pixel) { return pixel | filled; });
      return;
    }
    ForEach(stored, count, row, [=](UINT pixel) {
      return (pixel >> blue.shift & blue.most) | (pixel >> green.shift & green.most) << 8 |
             (pixel >> red.shift & red.most) << 16 | (pixel >> alpha.shift & alpha.most) << 24 |
             filled;
    });
    return;
  }
  const auto scaled = [](const Channel& channel, UINT pixel) {
    return static_cast<UINT>((pixel >> channel.shift & channel.most) * channel.scale +
                             channel.offset);
  };
  ForEach(stored, count, row, [=](UINT pixel) {
    return scaled(blue, pixel) | scaled(green, pixel) << 8 | scaled(red, pixel) << 16 |
           scaled(alpha, pixel) << 24;
  });
}

}  // namespace Vantra::Platform
