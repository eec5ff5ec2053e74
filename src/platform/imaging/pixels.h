#pragma once

/// The four pixel formats, and rectangles of pixels in memory.

#include <vantrix/platform/wincodec.h>

#include <cstddef>
#include <optional>

namespace Vantra::Platform {

constexpr std::size_t kBytesPerPixel = 4;

/// How one of the 32-bit formats lays out a pixel.
struct PixelLayout {
  bool blue_first;
  bool premultiplied;
  /// Alpha is 255 in every pixel, so that there is nothing to multiply.
  bool opaque = false;
  friend constexpr bool operator==(const PixelLayout&, const PixelLayout&) = default;
};

/// Empty for a format that is none of the four.
std::optional<PixelLayout> LayoutOf(REFWICPixelFormatGUID format);
/// The format of a layout, opaque or not.
WICPixelFormatGUID FormatOf(PixelLayout layout);

/// Converts `count` pixels in place. Products and quotients are rounded to nearest; a pixel of
/// alpha 0 becomes 0.
void ConvertPixels(BYTE* pixels, std::size_t count, PixelLayout from, PixelLayout to);

/// A rectangle inside a picture.
struct Area {
  UINT left;
  UINT top;
  UINT width;
  UINT height;
};

/// Checks the arguments of `CopyPixels` for a picture of that size and stores the rectangle meant.
HRESULT CheckCopy(UINT picture_width, UINT picture_height, const WICRect* rect, UINT stride,
                  UINT size, const BYTE* buffer, Area* area,
                  std::size_t bytes_per_pixel = kBytesPerPixel);

}  // namespace Vantra::Platform
