#pragma once

/// Parts of a file in memory, for coders whose libraries read it in no order.

#include <vantrix/platform/wincodec.h>

#include <vector>

#include "platform/imaging/stream_reader.h"

namespace Vantra::Platform {

/// Reads up to `size` bytes from the stream's start or `offset` bytes behind it, as many as there
/// are. Takes memory for what has been read, not for what is claimed. Throws `std::bad_alloc`.
HRESULT ReadFilePart(StreamReader& stream, UINT64 offset, UINT64 size, std::vector<BYTE>* bytes);

}  // namespace Vantra::Platform
