#pragma once

/// WebP pictures: lossy and lossless, with alpha, and animations. Profiles and orientation are not
/// applied.
///
/// A frame of an animation is the whole canvas with what has been drawn up to it, on a transparent
/// ground. Frames are best read in order, since each is drawn over the one before. A still picture
/// that is cut short has the rows before the cut; an animation that is cut short is refused.

#include "platform/imaging/picture_file.h"

namespace Vantra::Platform {

/// Largest file in bytes, which is held in memory.
constexpr UINT64 kMaximumWebpBytes = UINT64{1} << 28;
/// Most pixels of a still picture, of which two copies are held, and from how many on a file that
/// has less than a byte for so many of them is refused.
constexpr UINT64 kMaximumWebpPixels = UINT64{1} << 26;
constexpr UINT64 kLargeWebpPixels = UINT64{1} << 24;
constexpr UINT64 kMostWebpPixelsPerByte = 4096;
/// Most pixels of an animation's canvas, of which the library fills up to three copies however
/// little the file has for them.
constexpr UINT64 kMaximumWebpCanvasPixels = UINT64{1} << 24;
/// Most pixels of an animation's canvases together, since the last may have to be drawn over all
/// others.
constexpr UINT64 kMaximumWebpAnimationPixels = UINT64{1} << 30;

extern const Coder kWebpCoder;

}  // namespace Vantra::Platform
