#pragma once

/// The pixel formats that encoders take, as textures hold them.

#include <vantrix/platform/wincodec.h>

#include <cstddef>

namespace Vantra::Platform {

struct PixelFormat {
  WICPixelFormatGUID format;
  UINT bytes_per_pixel;
  /// Converts `count` pixels to blue, green, red, alpha bytes, straight alpha.
  void (*to_bgra)(const BYTE* source, std::size_t count, BYTE* bgra);
};

/// Null for a format that encoders do not take.
const PixelFormat* FindPixelFormat(REFWICPixelFormatGUID format);

}  // namespace Vantra::Platform
