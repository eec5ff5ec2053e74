#pragma once

/// PNG pictures of 8 bits a channel with alpha.

#include "platform/imaging/picture_writer.h"

namespace Vantra::Platform {

extern const Encoding kPngEncoding;

}  // namespace Vantra::Platform
