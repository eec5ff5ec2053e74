#include "platform/imaging/pixel_formats.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "platform/imaging/pixels.h"

namespace Vantra::Platform {
namespace {

// Numbers are little-endian, as in the textures they come from.
static_assert(std::endian::native == std::endian::little);

struct Colour {
  BYTE red;
  BYTE green;
  BYTE blue;
  BYTE alpha = 255;
};

template <class Word>
Word Get(const BYTE* bytes, std::size_t index = 0) {
  Word word;
  std::memcpy(&word, bytes + index * sizeof word, sizeof word);
  return word;
}

// A whole number of 0 to `most`, at 0 to 255, rounded to nearest.
BYTE FromWhole(std::uint32_t value, std::uint32_t most) {
  return static_cast<BYTE>((value * 255 + most / 2) / most);
}

BYTE FromFloat(float value) {
  // What is no number is 0, too.
  if (!(value > 0)) return 0;
  // Exact in this precision.
  return static_cast<BYTE>(std::lround(static_cast<double>(std::min(value, 1.0f)) * 255));
}

float HalfToFloat(std::uint16_t half) {
  const int exponent = half >> 10 & 31;
  const int fraction = half & 1023;
  const float size = exponent == 0 ? std::ldexp(static_cast<float>(fraction), -24)
                     : exponent == 31
                         ? (fraction == 0 ? HUGE_VALF : NAN)
                         : std::ldexp(static_cast<float>(fraction + 1024), exponent - 25);
  return (half & 0x8000) != 0 ? -size : size;
}

BYTE FromHalf(std::uint16_t half) { return FromFloat(HalfToFloat(half)); }

// A number of 10 bits, of which 384 stands for 0 and 894 for 1.
BYTE FromExtendedRange(std::uint32_t value) {
  constexpr int kZero = 384;
  const int above = static_cast<int>(value) - kZero;
  return static_cast<BYTE>(std::clamp((above + 1) / 2, 0, 255));
}

Colour Grey(BYTE value) { return {value, value, value}; }

template <Colour (*kConvert)(const BYTE*), UINT kBytes>
void ConvertEach(const BYTE* source, std::size_t count, BYTE* bgra) {
  for (std::size_t i = 0; i < count; ++i, source += kBytes, bgra += kBytesPerPixel) {
    const Colour colour = kConvert(source);
    bgra[0] = colour.blue;
    bgra[1] = colour.green;
    bgra[2] = colour.red;
    bgra[3] = colour.alpha;
  }
}

template <bool kBlueFirst, bool kPremultiplied>
void ConvertLayout(const BYTE* source, std::size_t count, BYTE* bgra) {
  std::memcpy(bgra, source, count * kBytesPerPixel);
  ConvertPixels(bgra, count, {.blue_first = kBlueFirst, .premultiplied = kPremultiplied},
                {.blue_first = true, .premultiplied = false});
}

Colour FromBgrx(const BYTE* pixel) { return {pixel[2], pixel[1], pixel[0]}; }
Colour FromRgbx(const BYTE* pixel) { return {pixel[0], pixel[1], pixel[2]}; }

Colour FromRgbaFloat(const BYTE* pixel) {
  return {FromFloat(Get<float>(pixel, 0)), FromFloat(Get<float>(pixel, 1)),
          FromFloat(Get<float>(pixel, 2)), FromFloat(Get<float>(pixel, 3))};
}

Colour FromRgbaHalf(const BYTE* pixel) {
  return {FromHalf(Get<std::uint16_t>(pixel, 0)), FromHalf(Get<std::uint16_t>(pixel, 1)),
          FromHalf(Get<std::uint16_t>(pixel, 2)), FromHalf(Get<std::uint16_t>(pixel, 3))};
}

Colour FromRgba16(const BYTE* pixel) {
  const auto channel = [pixel](std::size_t i) {
    return FromWhole(Get<std::uint16_t>(pixel, i), 0xFFFF);
  };
  return {channel(0), channel(1), channel(2), channel(3)};
}

Colour FromRgba1010102(const BYTE* pixel) {
  const auto word = Get<std::uint32_t>(pixel);
  return {FromWhole(word & 1023, 1023), FromWhole(word >> 10 & 1023, 1023),
          FromWhole(word >> 20 & 1023, 1023), FromWhole(word >> 30, 3)};
}

Colour FromRgba1010102Xr(const BYTE* pixel) {
  const auto word = Get<std::uint32_t>(pixel);
  return {FromExtendedRange(word & 1023), FromExtendedRange(word >> 10 & 1023),
          FromExtendedRange(word >> 20 & 1023), FromWhole(word >> 30, 3)};
}

// Three fractions of 8 bits and their common exponent.
Colour FromRgbe(const BYTE* pixel) {
  const auto channel = [pixel](std::size_t i) {
    constexpr int kBias = 128 + 8;
    return FromFloat(std::ldexp(static_cast<float>(pixel[i]), pixel[3] - kBias));
  };
  return {channel(0), channel(1), channel(2)};
}

Colour FromBgr565(const BYTE* pixel) {
  const auto word = Get<std::uint16_t>(pixel);
  return {FromWhole(word >> 11, 31), FromWhole(word >> 5 & 63, 63), FromWhole(word & 31, 31)};
}

Colour FromBgra5551(const BYTE* pixel) {
  const auto word = Get<std::uint16_t>(pixel);
  return {FromWhole(word >> 10 & 31, 31), FromWhole(word >> 5 & 31, 31), FromWhole(word & 31, 31),
          FromWhole(word >> 15, 1)};
}

Colour FromGreyFloat(const BYTE* pixel) { return Grey(FromFloat(Get<float>(pixel))); }
Colour FromGreyHalf(const BYTE* pixel) { return Grey(FromHalf(Get<std::uint16_t>(pixel))); }
Colour FromGrey16(const BYTE* pixel) { return Grey(FromWhole(Get<std::uint16_t>(pixel), 0xFFFF)); }
Colour FromGrey8(const BYTE* pixel) { return Grey(*pixel); }
Colour FromAlpha(const BYTE* pixel) { return {0, 0, 0, *pixel}; }

const PixelFormat kFormats[] = {
    {GUID_WICPixelFormat32bppBGRA, 4, ConvertLayout<true, false>},
    {GUID_WICPixelFormat32bppPBGRA, 4, ConvertLayout<true, true>},
    {GUID_WICPixelFormat32bppRGBA, 4, ConvertLayout<false, false>},
    {GUID_WICPixelFormat32bppPRGBA, 4, ConvertLayout<false, true>},
    {GUID_WICPixelFormat32bppBGR, 4, ConvertEach<FromBgrx, 4>},
    {GUID_WICPixelFormat32bppRGB, 4, ConvertEach<FromRgbx, 4>},
    {GUID_WICPixelFormat128bppRGBAFloat, 16, ConvertEach<FromRgbaFloat, 16>},
    {GUID_WICPixelFormat64bppRGBAHalf, 8, ConvertEach<FromRgbaHalf, 8>},
    {GUID_WICPixelFormat64bppRGBA, 8, ConvertEach<FromRgba16, 8>},
    {GUID_WICPixelFormat32bppRGBA1010102, 4, ConvertEach<FromRgba1010102, 4>},
    {GUID_WICPixelFormat32bppRGBA1010102XR, 4, ConvertEach<FromRgba1010102Xr, 4>},
    {GUID_WICPixelFormat32bppRGBE, 4, ConvertEach<FromRgbe, 4>},
    {GUID_WICPixelFormat16bppBGR565, 2, ConvertEach<FromBgr565, 2>},
    {GUID_WICPixelFormat16bppBGRA5551, 2, ConvertEach<FromBgra5551, 2>},
    {GUID_WICPixelFormat32bppGrayFloat, 4, ConvertEach<FromGreyFloat, 4>},
    {GUID_WICPixelFormat16bppGrayHalf, 2, ConvertEach<FromGreyHalf, 2>},
    {GUID_WICPixelFormat16bppGray, 2, ConvertEach<FromGrey16, 2>},
    {GUID_WICPixelFormat8bppGray, 1, ConvertEach<FromGrey8, 1>},
    {GUID_WICPixelFormat8bppAlpha, 1, ConvertEach<FromAlpha, 1>},
};

}  // namespace

const PixelFormat* FindPixelFormat(REFWICPixelFormatGUID format) {
  for (const PixelFormat& known : kFormats) {
    if (known.format == format) return &known;
  }
  return nullptr;
}

}  // namespace Vantra::Platform
