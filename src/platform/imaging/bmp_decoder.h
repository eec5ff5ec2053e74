#pragma once

/// BMP pictures: with a palette of 1, 2, 4 or 8 bits, also run-length coded, and packed pixels of
/// 16, 24 or 32 bits with any masks, in either order of rows, under every length of header. Alpha
/// is what a mask gives to it; the fourth byte of plain 32 bits means nothing. Pixels that a
/// run-length coding leaves out have the first colour. JPEG and PNG pictures inside a BMP file,
/// Huffman codes and runs of 24 bits are not read.

#include "platform/imaging/picture_file.h"

namespace Vantra::Platform {

extern const Coder kBmpCoder;

}  // namespace Vantra::Platform
