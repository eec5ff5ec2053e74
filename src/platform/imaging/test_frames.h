#pragma once

/// Single frames of picture files, and files written by an encoder, for the tests.

#include "platform/imaging/test_pictures.h"

namespace Vantra::Platform {

/// What opening a file, one of its frames and copying that gave.
struct DecodedFrame {
  HRESULT opened = E_FAIL;
  HRESULT frame = E_FAIL;
  HRESULT copied = E_FAIL;
  UINT count = 0;
  UINT width = 0;
  UINT height = 0;
  Bytes pixels;
};

/// A picture of more than `most_pixels` is only opened.
DecodedFrame DecodeFrame(std::span<const BYTE> file, UINT index = 0,
                         const WICPixelFormatGUID& format = GUID_WICPixelFormat32bppPBGRA,
                         UINT64 most_pixels = UINT64{1} << 22);

/// A file of one frame of straight alpha, red first. Empty when a step fails.
Bytes EncodeRgba(const GUID& container, UINT width, UINT height, Bytes pixels);

}  // namespace Vantra::Platform
