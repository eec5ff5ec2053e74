#pragma once

/// TIFF pictures, BigTIFF too: strips and tiles, interleaved or in planes, in either byte order,
/// with every compression that the library was built with except the withdrawn form of JPEG. Grey,
/// palette, RGB and CMYK samples of 1 to 16 or 32 bits or floats of 16, 32 and 64 bits, with alpha;
/// and what the library makes RGB of: YCbCr, CIE L*a*b* of 8 bits, LogL and LogLuv. Samples beyond
/// the colours that are not marked as alpha are not read. Profiles are not applied, orientation is
/// left as stored.
///
/// Each page of the file's list is a frame; reduced copies and directories below a page are not
/// looked at. A list of pages that goes in a circle has more than `WIC_MAXIMUM_FRAMES`. A page
/// whose directory is damaged is counted, and fails when it is opened.

#include "platform/imaging/picture_file.h"

namespace Vantra::Platform {

/// Most samples of a pixel.
constexpr UINT kMaximumTiffSamples = 32;
/// Largest memory for what is decoded at once: a row of strips or a tile as stored, of each plane,
/// and the row of tiles as pixels. Few bytes may stand for all of it.
constexpr UINT64 kMaximumTiffBlockBytes = UINT64{3} << 26;
/// Largest memory that the library may take at once, such as for the compressed bytes of a strip or
/// the values of a tag.
constexpr UINT64 kMaximumTiffAllocation = UINT64{1} << 28;

extern const Coder kTiffCoder;

}  // namespace Vantra::Platform
