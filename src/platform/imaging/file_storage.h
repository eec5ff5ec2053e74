#pragma once

/// Files as the bytes behind a stream.

#include <string_view>

#include "platform/imaging/streams.h"

namespace Vantra::Platform {

/// Both take a name that may be written in the platform's manner: the long-path prefix is dropped,
/// and a name that is not there as it stands is tried with its back-slashes as separators.

/// Opens a regular file. `HRESULT_FROM_WIN32` of `ERROR_FILE_NOT_FOUND` or `ERROR_ACCESS_DENIED`,
/// the latter also for a folder, a device or a pipe.
HRESULT OpenFileForReading(std::wstring_view name, std::unique_ptr<Storage>* storage);

/// Makes or replaces a file, as `ReplacementFile` does; `Storage::Commit` gives it its name.
HRESULT OpenFileForWriting(std::wstring_view name, std::unique_ptr<Storage>* storage);

}  // namespace Vantra::Platform
