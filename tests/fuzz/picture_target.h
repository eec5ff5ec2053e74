#pragma once

/// What the fuzz targets of the picture decoders share.

#include <vantrix/platform/wincodec.h>

#include <span>

namespace Vantra::Fuzz {

/// Takes a file through opening, copying and conversion, as a host does, and ends the program when
/// anything comes out that no input may bring about. Files of another format than `container` are
/// left to their own target.
void DecodePictureFile(std::span<const BYTE> file, const GUID& container);

}  // namespace Vantra::Fuzz
