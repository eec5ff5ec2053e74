#pragma once

/// What a picture decoder implements: reading one picture from top to bottom, a row at a time, so
/// that no coder holds a copy of the picture unless its file orders the pixels otherwise.

#include <vantrix/platform/wincodec.h>

#include <span>

#include "platform/imaging/pixels.h"

namespace Vantra::Platform {

class PictureReader {
 public:
  virtual ~PictureReader() = default;
  PictureReader(const PictureReader&) = delete;
  PictureReader& operator=(const PictureReader&) = delete;

  UINT Width() const { return width_; }
  UINT Height() const { return height_; }

  /// How the rows lay out a pixel: what can be given at the least cost.
  virtual PixelLayout Layout() const = 0;

  /// Told before the first of some rows, all of which lie in `memory`: what is there now is not
  /// read.
  virtual void ExpectMemory(std::span<BYTE> memory) { static_cast<void>(memory); }

  /// Stores the next row, as many times as there are rows. After a failure the reader has no
  /// further rows.
  virtual HRESULT ReadRow(BYTE* row) = 0;

  /// Checks the rest of the file after the last row.
  virtual HRESULT Finish() = 0;

  /// What is wrong with a picture that gives rows nevertheless, else `S_OK`.
  HRESULT Damage() const { return damage_; }

 protected:
  PictureReader() = default;

  /// Takes a size from a header: `WINCODEC_ERR_BADHEADER` for none,
  /// `WINCODEC_ERR_IMAGESIZEOUTOFRANGE` beyond the limits.
  HRESULT SetSize(UINT width, UINT height) {
    if (width == 0 || height == 0) return WINCODEC_ERR_BADHEADER;
    if (width > WIC_MAXIMUM_SIDE || height > WIC_MAXIMUM_SIDE ||
        UINT64{width} * height > WIC_MAXIMUM_PIXELS) {
      return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
    }
    width_ = width;
    height_ = height;
    return S_OK;
  }

  HRESULT damage_ = S_OK;

 private:
  UINT width_ = 0;
  UINT height_ = 0;
};

}  // namespace Vantra::Platform
