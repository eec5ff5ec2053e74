#pragma once

/// The TIFF library's access to files: through streams, and without a word on the standard error
/// stream.

#include <vantrix/platform/wincodec.h>

#include <memory>
#include <tiffio.h>
#include <vector>

#include "platform/imaging/stream_reader.h"

namespace Vantra::Platform {

struct CloseTiff {
  void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using TiffHandle = std::unique_ptr<TIFF, CloseTiff>;

/// A stream as the library reads it, which several handles may do in turn. It must outlive its
/// handle.
struct TiffSource {
  StreamReader& stream;
  UINT64 size;
  UINT64 position = 0;
};

/// Opens a file without reading a directory. Null when the header is wrong or memory is short.
TiffHandle OpenTiffSource(TiffSource& source, UINT64 largest_allocation);

/// A file that is being written, in memory, since its parts point at each other.
struct TiffTarget {
  std::vector<BYTE> bytes;
  std::size_t position = 0;
};

/// Null when memory is short. `mode` is the library's, for writing.
TiffHandle OpenTiffTarget(TiffTarget& target, const char* mode);

}  // namespace Vantra::Platform
