#pragma once

/// TIFF files made from known samples, for the tests and the fuzz targets.

#include <cstdint>
#include <optional>
#include <tiffio.h>

#include "platform/imaging/test_pictures.h"

namespace Vantra::Platform {

struct TiffPicture {
  std::uint16_t photometric = PHOTOMETRIC_RGB;
  std::uint16_t kind = SAMPLEFORMAT_UINT;
  std::uint16_t bits = 8;
  /// Of a pixel; alpha is the last.
  std::uint16_t samples = 3;
  /// One of the library's `EXTRASAMPLE_` values for the samples beyond the colours.
  std::uint16_t extra = EXTRASAMPLE_UNSPECIFIED;
  std::uint16_t compression = COMPRESSION_NONE;
  unsigned width = 1;
  unsigned height = 1;
  unsigned rows_per_strip = 4;
  /// Side of the tiles, a multiple of 16; 0 for strips.
  unsigned tile = 0;
  bool planes = false;
  /// The library's letters: byte order, BigTIFF.
  const char* mode = "wl";
  /// As they are stored, of `bits` bits.
  std::vector<std::uint64_t> values;
  /// Red, green and blue of 16 bits.
  std::vector<std::array<std::uint16_t, 3>> palette;

  unsigned Colours() const;
};

/// Fills a picture with noise; floats lie between -0.25 and 1.25. Colours that are multiplied by
/// alpha are not greater than it.
void FillTiff(TiffPicture& picture, std::uint32_t seed);
/// One page for each picture.
Bytes EncodeTiff(std::span<const TiffPicture> pages);
inline Bytes EncodeTiff(const TiffPicture& page) { return EncodeTiff({&page, 1}); }
/// The pixels that a decoder must give, as premultiplied blue, green, red, alpha.
Bytes ExpectedPbgra(const TiffPicture& picture);

}  // namespace Vantra::Platform
