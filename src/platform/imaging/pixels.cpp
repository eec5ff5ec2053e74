#include "platform/imaging/pixels.h"

#include <algorithm>
#include <utility>

namespace Vantra::Platform {
namespace {

BYTE Premultiply(unsigned colour, unsigned alpha) {
  return static_cast<BYTE>((colour * alpha + 127) / 255);
}

BYTE Unpremultiply(unsigned colour, unsigned alpha) {
  if (alpha == 0) return 0;
  return static_cast<BYTE>(std::min((colour * 255 + alpha / 2) / alpha, 255u));
}

template <class ConvertColour>
void ConvertColours(BYTE* pixels, std::size_t count, ConvertColour convert) {
  for (BYTE* pixel = pixels; pixel != pixels + count * kBytesPerPixel; pixel += kBytesPerPixel) {
    for (int channel = 0; channel < 3; ++channel) {
      pixel[channel] = convert(pixel[channel], pixel[3]);
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
  if (from.blue_first != to.blue_first) {
    for (std::size_t i = 0; i < count * kBytesPerPixel; i += kBytesPerPixel) {
      std::swap(pixels[i], pixels[i + 2]);
    }
  }
  if (from.opaque) return;
  if (!from.premultiplied && to.premultiplied) ConvertColours(pixels, count, Premultiply);
  if (from.premultiplied && !to.premultiplied) ConvertColours(pixels, count, Unpremultiply);
}

HRESULT CheckCopy(UINT picture_width, UINT picture_height, const WICRect* rect, UINT stride,
                  UINT size, const BYTE* buffer, Area* area) {
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
  const UINT64 row_bytes = UINT64{area->width} * kBytesPerPixel;
  if (stride < row_bytes) return E_INVALIDARG;
  if (UINT64{stride} * (area->height - 1) + row_bytes > size) {
    return WINCODEC_ERR_INSUFFICIENTBUFFER;
  }
  return S_OK;
}

}  // namespace Vantra::Platform
