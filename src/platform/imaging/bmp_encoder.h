#pragma once

/// BMP pictures of 32 bits a pixel, uncompressed, bottom row first. The fourth byte of a pixel
/// holds alpha, which readers of this form ignore.

#include "platform/imaging/picture_writer.h"

namespace Vantra::Platform {

extern const Encoding kBmpEncoding;

}  // namespace Vantra::Platform
