#pragma once

/// HD Photo pictures: RGB of 8 bits with straight alpha, without loss. The file is put together in
/// memory and written when it is complete.

#include "platform/imaging/picture_writer.h"

namespace Vantra::Platform {

extern const Encoding kJxrEncoding;

}  // namespace Vantra::Platform
