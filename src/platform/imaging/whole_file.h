#pragma once

/// The whole of a file in memory, for coders whose libraries read it in no order.

#include <vantrix/platform/wincodec.h>

#include <vector>

#include "platform/imaging/stream_reader.h"

namespace Vantra::Platform {

/// Reads from the stream's start up to `size` bytes, as many as there are. Takes memory for what
/// has been read, not for what is claimed. Throws `std::bad_alloc`.
HRESULT ReadWholeFile(StreamReader& stream, UINT64 size, std::vector<BYTE>* bytes);

}  // namespace Vantra::Platform
