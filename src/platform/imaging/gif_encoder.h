#pragma once

/// GIF pictures of one frame. They are reduced to 256 colours, one of which is for the pixels with
/// an alpha below 128; the others are opaque.

#include "platform/imaging/picture_writer.h"

namespace Vantra::Platform {

extern const Encoding kGifEncoding;

}  // namespace Vantra::Platform
