#pragma once

/// Writing a file so that a failure loses nothing.

#include <vantrix/platform/com.h>

#include <cstdio>
#include <functional>
#include <string>

namespace Vantra::Platform {

/// Makes or replaces the file with a UTF-8 name by what `write` writes. A file that is there stays
/// as it was until the new one is complete; its permissions are kept, a link stays a link, and a
/// device or a pipe is written to as it is. Returns what `write` returned, or what opening, writing
/// or renaming failed with.
HRESULT ReplaceFile(std::string name, const std::function<HRESULT(std::FILE*)>& write);

}  // namespace Vantra::Platform
