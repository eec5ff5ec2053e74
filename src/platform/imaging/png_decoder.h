#pragma once

/// PNG pictures: all colour types and depths, transparency of all kinds and interlacing. Colour
/// profiles and gamma are not applied.

#include "platform/imaging/picture_file.h"

namespace Vantra::Platform {

extern const Coder kPngCoder;

}  // namespace Vantra::Platform
