#pragma once

/// JPEG pictures of quality 90 with colours at half the resolution, which is 4:2:0, sequential.
///
/// The format has no alpha: what is transparent is written as over black, so that edges stay smooth
/// and colours under full transparency do not come to light.

#include "platform/imaging/picture_writer.h"

namespace Vantra::Platform {

extern const Encoding kJpegEncoding;

}  // namespace Vantra::Platform
