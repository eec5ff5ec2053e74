#include "platform/imaging/pixels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace Vantra::Platform {
namespace {

// The loops work on whole pixels as little-endian words, two channels at a time, which compilers
// turn into vector code.

constexpr std::uint32_t kEven = 0x00FF00FF;

std::uint32_t SwapRedAndBlue(std::uint32_t pixel) {
  return (pixel & ~kEven) | (pixel & 0xFF) << 16 | (pixel >> 16 & 0xFF);
}

// Divides two numbers of 16 bits below 0xFFFF by 255, rounding down.
std::uint32_t DivideBoth(std::uint32_t numbers) {
  return (numbers + 0x00010001 + (numbers >> 8 & kEven)) >> 8 & kEven;
}

std::uint32_t Premultiply(std::uint32_t pixel) {
  const std::uint32_t alpha = pixel >> 24;
  const std::uint32_t even = DivideBoth((pixel & kEven) * alpha + 0x007F007F);
  const std::uint32_t green = DivideBoth((pixel >> 8 & 0xFF) * alpha + 0x007F);
  return even | green << 8 | (pixel & 0xFF000000);
}

template <class Convert>
void ConvertEach(BYTE* pixels, std::size_t count, Convert convert) {
  for (std::size_t i = 0; i < count; ++i) {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, pixels + i * kBytesPerPixel, kBytesPerPixel);
    pixel = convert(pixel);
    std::memcpy(pixels + i * kBytesPerPixel, &pixel, kBytesPerPixel);
  }
}

// 2^24 / alpha, rounded up: numbers below 2^16 times this are divided by alpha, to the byte.
constexpr auto kReciprocals = [] {
  std::array<std::uint32_t, 256> reciprocals{};
  for (std::uint32_t alpha = 1; alpha < 256; ++alpha) {
    reciprocals[alpha] = ((std::uint32_t{1} << 24) + alpha - 1) / alpha;
  }
  return reciprocals;
}();

void Unpremultiply(BYTE* pixels, std::size_t count) {
  for (BYTE* pixel = pixels; pixel != pixels + count * kBytesPerPixel; pixel += kBytesPerPixel) {
    const std::uint32_t alpha = pixel[3];
    if (alpha == 255) continue;
    for (int channel = 0; channel < 3; ++channel) {
      const std::uint64_t number = pixel[channel] * 255u + alpha / 2;
      const auto quotient = static_cast<std::uint32_t>(number * kReciprocals[alpha] >> 24);
      pixel[channel] = static_cast<BYTE>(std::min(quotient, 255u));
    }
  }
}

}  // namespace

std::optional<PixelLayout> LayoutOf(REFWICPixelFormatGUID format) {
  if (format == GUID_WICPixelFormat32bppBGRA) return PixelLayout{true, false};
  if (format == GUID_WICPixelFormat32bppPBGRA) return PixelLayout{true, true};
  if (format == GUID_WICPixelFormat32bppRGBA) return PixelLayout{false, false};
  if (format == GUID_WICPixelFormat32bppPRGBA) return PixelLayout{false, true};
  return std::nullopt;
}

WICPixelFormatGUID FormatOf(PixelLayout layout) {
  if (layout.blue_first) {
    return layout.premultiplied ? GUID_WICPixelFormat32bppPBGRA : GUID_WICPixelFormat32bppBGRA;
  }
  return layout.premultiplied ? GUID_WICPixelFormat32bppPRGBA : GUID_WICPixelFormat32bppRGBA;
}

void ConvertPixels(BYTE* pixels, std::size_t count, PixelLayout from, PixelLayout to) {
  static_assert(std::endian::native == std::endian::little);
  const bool swap = from.blue_first != to.blue_first;
  if (!from.opaque && !from.premultiplied && to.premultiplied) {
    if (swap) {
      ConvertEach(pixels, count, [](auto pixel) { return Premultiply(SwapRedAndBlue(pixel)); });
    } else {
      ConvertEach(pixels, count, Premultiply);
    }
    return;
  }
  if (swap) ConvertEach(pixels, count, SwapRedAndBlue);
  if (!from.opaque && from.premultiplied && !to.premultiplied) Unpremultiply(pixels, count);
}

HRESULT CheckCopy(UINT picture_width, UINT picture_height, const WICRect* rect, UINT stride,
                  UINT size, const BYTE* buffer, Area* area, std::size_t bytes_per_pixel) {
  if (buffer == nullptr) return E_INVALIDARG;
  *area = {0, 0, picture_width, picture_height};
  if (rect != nullptr) {
    if (rect->X < 0 || rect->Y < 0 || rect->Width <= 0 || rect->Height <= 0 ||
        std::int64_t{rect->X} + rect->Width > picture_width ||
        std::int64_t{rect->Y} + rect->Height > picture_height) {
      return E_INVALIDARG;
    }
    *area = {static_cast<UINT>(rect->X), static_cast<UINT>(rect->Y), static_cast<UINT>(rect->Width),
             static_cast<UINT>(rect->Height)};
  }
  const UINT64 row_bytes = UINT64{area->width} * bytes_per_pixel;
  if (stride < row_bytes) return E_INVALIDARG;
  if (UINT64{stride} * (area->height - 1) + row_bytes > size) {
    return WINCODEC_ERR_INSUFFICIENTBUFFER;
  }
  return S_OK;
}

}  // namespace Vantra::Platform
