#pragma once

/// DDS pictures of 32 bits a pixel, uncompressed, with straight alpha: one surface without mipmaps.

#include "platform/imaging/picture_writer.h"

namespace Vantra::Platform {

extern const Encoding kDdsEncoding;

}  // namespace Vantra::Platform
