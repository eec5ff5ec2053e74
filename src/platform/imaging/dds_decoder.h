#pragma once

/// DDS pictures: packed pixels of any masks, 16-bit and float channels, and BC1 to BC5 and BC7.
/// BC6H and formats of video are not read.
///
/// The picture is the first surface of the file in its full size: of an array the first item, of a
/// cube the first face, of a volume the first slice. Mipmaps are not frames. A channel that is
/// alone is grey. Floats are taken from 0 to 1 without a tone curve, and bytes marked as sRGB as
/// they are.

#include "platform/imaging/picture_file.h"

namespace Vantra::Platform {

extern const Coder kDdsCoder;

}  // namespace Vantra::Platform
