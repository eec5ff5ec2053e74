#pragma once

/// Result codes for failures of the operating system.

#include <vantrix/platform/com.h>

namespace Vantra::Platform {

/// The result code for an `errno` value.
HRESULT ResultFromErrno(int error);

}  // namespace Vantra::Platform
