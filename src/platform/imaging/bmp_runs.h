#pragma once

/// Run-length coded indices of BMP files.

#include <vector>

#include "platform/imaging/stream_reader.h"

namespace Vantra::Platform {

/// Reads runs of indices of 4 or 8 bits into `indices`, a byte each, in rows of `width` in the
/// file's order; what the runs leave out stays as it is, and what lies beyond a row or the last one
/// is dropped. `WINCODEC_ERR_BADIMAGE` when the file ends before the runs do, unless the last row
/// is complete.
HRESULT ReadBmpRuns(StreamReader& stream, UINT bits, UINT width, UINT height, BYTE* indices);

}  // namespace Vantra::Platform
