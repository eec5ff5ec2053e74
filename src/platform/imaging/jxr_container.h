#pragma once

/// What the headers of HD Photo files tell, read and checked here: the library believes all that
/// they say.

#include <vantrix/platform/wincodec.h>

#include <optional>

#include "platform/imaging/stream_reader.h"

namespace Vantra::Platform {

enum class JxrColour { kGrey, kRgb, kRgbe, kCmyk };
/// By the values that the files have for them.
enum class JxrDepth {
  kBit = 0,
  k8 = 1,
  k16 = 2,
  kFixed16 = 3,
  kHalf = 4,
  kFixed32 = 6,
  kFloat = 7,
  kFive = 8,
  kTen = 9,
  kFiveSixFive = 10,
};

/// A coded picture inside a file.
struct JxrCodestream {
  UINT64 offset = 0;
  UINT64 size = 0;
  /// Whether the file tells a larger size than it has.
  bool cut = false;
  JxrColour colour{};
  JxrDepth depth{};
  UINT width = 0;
  UINT height = 0;
  /// Of packed samples: the lowest bits hold blue instead of red. Of single bits: set is black.
  bool swapped = false;
};

struct JxrContainer {
  JxrCodestream picture;
  std::optional<JxrCodestream> alpha;
  bool premultiplied = false;
};

/// Reads the file at the stream's start. `WINCODEC_ERR_BADHEADER` for what is not sound,
/// `WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT` for what is not read, `WINCODEC_ERR_IMAGESIZEOUTOFRANGE`.
HRESULT ReadJxrContainer(StreamReader& stream, JxrContainer* container);

}  // namespace Vantra::Platform
