#pragma once

/// GIF pictures and animations. A frame is the patch that the file stores, of its own size and
/// place, with what is transparent in it; frames are not put together here. A file cut short has
/// the frames before the cut, the last of them damaged.

#include "platform/imaging/picture_file.h"

namespace Vantra::Platform {

extern const Coder kGifCoder;

}  // namespace Vantra::Platform
