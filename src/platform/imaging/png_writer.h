#pragma once

/// Writes PNG files.

#include <vantrix/platform/wincodec.h>

#include <cstddef>
#include <string>

namespace Vantra::Platform {

/// Pixels in memory, as rows `stride` bytes apart.
struct PixelRows {
  const BYTE* pixels;
  std::size_t stride;
  UINT width;
  UINT height;
  /// `GUID_WICPixelFormat32bppRGBA` or `GUID_WICPixelFormat32bppBGRA`.
  WICPixelFormatGUID format;
};

/// Writes a picture to a file with a UTF-8 name, in place of a file that is there. That file stays
/// as it was until the new one is complete. `WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT` for another
/// format, `E_INVALIDARG` for no pixels or too small a stride, else what opening or writing the
/// file failed with.
HRESULT WritePng(const std::string& name, const PixelRows& rows);

}  // namespace Vantra::Platform
