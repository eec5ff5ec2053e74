#pragma once

/// HD Photo pictures, known as JPEG XR too: grey and RGB of 8 and 16 bits, fixed point, floats of
/// 16 and 32 bits, packed in 16 and 32 bits, with a shared exponent, and CMYK of 8 and 16 bits;
/// black and white; with alpha as a picture of its own. Fixed point and floats are linear light and
/// become sRGB. Profiles are not applied, orientation is left as stored.
///
/// Not read, as `WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT`: alpha interleaved with the colours, colours
/// without a meaning in RGB, YCbCr as such, and pictures that were cut out of others without being
/// coded anew.
///
/// Headers are checked before the library sees them, but it can crash over what is coded behind
/// them. So it runs in a process of its own, and a crash is damage like any other: the picture ends
/// with the rows before it.

#include "platform/imaging/picture_file.h"

namespace Vantra::Platform {

/// Most bytes of the colours or the alpha of a picture, which are held in memory.
constexpr UINT64 kMaximumJxrBytes = UINT64{1} << 28;
/// Most tiles across and down a picture.
constexpr UINT kMaximumJxrTiles = 256;

extern const Coder kJxrCoder;

}  // namespace Vantra::Platform
