#pragma once

/// Compressed blocks of 4 by 4 pixels, as DDS files hold them.
///
/// Each decoder stores the pixels of a block as blue, green, red, alpha bytes, in rows `stride`
/// bytes apart. Every block has a meaning. What the formats define as fractions is rounded to the
/// nearest step; BC7 is defined in whole steps.

#include <vantrix/platform/com.h>

#include <cstddef>

namespace Vantra::Platform {

/// Bytes of a block of BC1 or BC4; the other formats take twice as many.
constexpr std::size_t kSmallBlockBytes = 8;
constexpr std::size_t kLargeBlockBytes = 16;
constexpr std::size_t kBlockSide = 4;

using BlockDecoder = void (*)(const BYTE* block, BYTE* pixels, std::size_t stride);

void DecodeBc1(const BYTE* block, BYTE* pixels, std::size_t stride);
void DecodeBc2(const BYTE* block, BYTE* pixels, std::size_t stride);
void DecodeBc3(const BYTE* block, BYTE* pixels, std::size_t stride);
/// One channel, given as grey.
void DecodeBc4(const BYTE* block, BYTE* pixels, std::size_t stride);
/// Red and green; blue is 0.
void DecodeBc5(const BYTE* block, BYTE* pixels, std::size_t stride);
/// The signed kinds hold -1 to 1, which becomes 0 to 255.
void DecodeSignedBc4(const BYTE* block, BYTE* pixels, std::size_t stride);
void DecodeSignedBc5(const BYTE* block, BYTE* pixels, std::size_t stride);
/// A block of the reserved mode is transparent black.
void DecodeBc7(const BYTE* block, BYTE* pixels, std::size_t stride);

}  // namespace Vantra::Platform
