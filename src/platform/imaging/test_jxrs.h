#pragma once

/// HD Photo files made from known samples, for the tests and the fuzz targets.

#include <cstdint>
#include <optional>

#include "platform/imaging/jxr_container.h"
#include "platform/imaging/test_pictures.h"

namespace Vantra::Platform {

struct JxrPicture {
  GUID format = GUID_WICPixelFormat32bppBGRA;
  JxrColour colour = JxrColour::kRgb;
  JxrDepth depth = JxrDepth::k8;
  unsigned width = 1;
  unsigned height = 1;
  /// Red, green, blue or as the colours are, of a pixel; one word where they are packed. Bits of
  /// floats. Single bits are 0 and 1.
  std::vector<std::uint32_t> samples;
  /// One sample a pixel, or none.
  std::vector<std::uint32_t> alpha;
  /// 1 is without loss.
  unsigned quantiser = 1;
  /// 0 to 2.
  unsigned overlap = 0;
  unsigned tiles_across = 1;
  bool by_frequency = false;
  /// 3 for 4:4:4, 2 for 4:2:2, 1 for 4:2:0.
  unsigned chroma = 3;
};

/// The pixel format that files tell with the number of one of many.
GUID JxrFormat(BYTE number);
unsigned JxrChannels(const JxrPicture& picture);
Bytes EncodeJxr(const JxrPicture& picture);

}  // namespace Vantra::Platform
