#pragma once

/// JPEG pictures of 8 bits a sample: sequential and progressive, in Huffman and arithmetic coding,
/// with any sampling of colours; grey, YCbCr, RGB, and CMYK and YCCK converted without colour
/// profiles. Pixels stay as they are stored, whatever orientation a camera has noted.
///
/// Damage of a sequential picture ends it at the row of pixels it was found in; a picture of
/// several scans is given whole, with what its undamaged scans hold. Both are reported as failures.

#include "platform/imaging/picture_file.h"

namespace Vantra::Platform {

/// Each scan passes over the whole picture, and many scans fit into a short file. Encoders write
/// about ten. A picture with more than this is damaged from there on.
constexpr int kMostJpegScans = 100;

extern const Coder kJpegCoder;

}  // namespace Vantra::Platform
