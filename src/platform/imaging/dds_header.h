#pragma once

/// What the header of a DDS file says about the pixels of its first picture.

#include <vantrix/platform/wincodec.h>

#include <cstddef>

#include "platform/imaging/block_compression.h"
#include "platform/imaging/packed_pixels.h"

namespace Vantra::Platform {

constexpr BYTE kDdsSignature[] = {'D', 'D', 'S', ' '};
constexpr std::size_t kDdsHeaderBytes = 128;
/// Follows the header where `HasDdsExtension` says so.
constexpr std::size_t kDdsExtensionBytes = 20;

struct DdsHeader {
  enum class Storage {
    kPacked,  // at most 32 bits a pixel, in `packed`
    kUnorm,   // channels of 16 bits, 0 to 1
    kHalf,    // channels of 16-bit floats
    kFloat,   // channels of 32-bit floats
    kBlocks,  // compressed, in `decode_block`
  };

  UINT width = 0;
  UINT height = 0;
  Storage storage = Storage::kPacked;
  /// Bytes of a pixel, or of a block.
  std::size_t unit_bytes = 0;
  PackedPixels packed;
  BlockDecoder decode_block = nullptr;
  bool has_alpha = false;
  bool premultiplied = false;
};

/// Whether the header of `kDdsHeaderBytes` is followed by an extension.
bool HasDdsExtension(const BYTE* header);

/// Reads the header and its extension, if it has one. `WINCODEC_ERR_BADHEADER`, or
/// `WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT` for a format that is not read. The size is not judged.
HRESULT ReadDdsHeader(const BYTE* header, const BYTE* extension, DdsHeader* result);

}  // namespace Vantra::Platform
