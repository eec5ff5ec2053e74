#pragma once

/// What stands before the pixels of a BMP file.

#include <array>

#include "platform/imaging/packed_pixels.h"
#include "platform/imaging/stream_reader.h"

namespace Vantra::Platform {

struct BmpHeader {
  enum class Storage {
    kIndices,  // of 1, 2, 4 or 8 bits
    kRuns,     // of such indices, of 4 or 8 bits
    kPacked,
  };

  UINT width = 0;
  UINT height = 0;
  bool top_down = false;
  UINT bits = 0;  // of a pixel
  Storage storage = Storage::kIndices;
  PackedPixels packed;
  /// Blue, green, red, alpha bytes; black where the file has no colour.
  std::array<UINT, 256> palette{};
  /// From the file's start.
  UINT64 pixels_at = 0;
};

/// Reads the start of a file. `WINCODEC_ERR_BADHEADER`, `WINCODEC_ERR_STREAMREAD`, or
/// `WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT` for a variant that is not read. The size is not judged.
HRESULT ReadBmpHeader(StreamReader& stream, BmpHeader* header);

}  // namespace Vantra::Platform
