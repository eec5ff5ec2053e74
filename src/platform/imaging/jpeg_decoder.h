#pragma once

/// JPEG pictures: sequential and progressive, grey, YCbCr, RGB, and CMYK and YCCK converted without
/// colour profiles.
///
/// Damage of a sequential picture ends it at the row of pixels it was found in; a picture of
/// several scans is given whole, with what its undamaged scans hold. Both are reported as failures.

#include "platform/imaging/picture_file.h"

namespace Vantra::Platform {

extern const Coder kJpegCoder;

}  // namespace Vantra::Platform
