#pragma once

/// BMP pictures: uncompressed, of 1, 4 or 8 bits with a palette, of 24 or 32 bits, in either order
/// of rows. The fourth byte of 32 bits is alpha where the file says so.

#include "platform/imaging/picture_file.h"

namespace Vantra::Platform {

extern const Coder kBmpCoder;

}  // namespace Vantra::Platform
