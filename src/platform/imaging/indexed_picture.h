#pragma once

/// Pictures reduced to a palette.

#include <vantrix/platform/wincodec.h>

#include <cstddef>
#include <vector>

namespace Vantra::Platform {

struct IndexedPicture {
  /// At most 256; the transparent colour, if there is one, is the last and 0.
  std::vector<WICColor> palette;
  bool has_transparency = false;
  /// Of the pixels, row by row.
  std::vector<BYTE> indexes;
};

/// Reduces rows of blue, green, red, alpha bytes, straight alpha, `stride` bytes apart. A pixel is
/// transparent below an alpha of 128, and opaque from there on. A picture of few enough colours
/// keeps them exactly; in others the colours are chosen so that the squares of the errors are
/// small, and each pixel's error is spread over its neighbours. May throw `std::bad_alloc`.
IndexedPicture ReduceColours(const BYTE* pixels, std::size_t stride, UINT width, UINT height);

}  // namespace Vantra::Platform
