#pragma once

/// What a picture encoding implements: writing one picture from top to bottom, a row at a time.

#include <vantrix/platform/wincodec.h>

#include <functional>
#include <memory>

namespace Vantra::Platform {

/// Takes the bytes of a file in order.
using ByteSink = std::function<HRESULT(const BYTE* bytes, std::size_t size)>;

class PictureWriter {
 public:
  virtual ~PictureWriter() = default;
  PictureWriter(const PictureWriter&) = delete;
  PictureWriter& operator=(const PictureWriter&) = delete;

  /// Takes the next row, as many times as there are rows: blue, green, red, alpha bytes, straight
  /// alpha. After a failure the writer is of no more use.
  virtual HRESULT WriteRow(const BYTE* row) = 0;

  /// Writes what follows the last row.
  virtual HRESULT Finish() = 0;

 protected:
  PictureWriter() = default;
};

/// A picture format that can be written.
struct Encoding {
  GUID container;
  /// Starts a file of a size within the limits. May throw `std::bad_alloc`.
  HRESULT (*open)(ByteSink sink, UINT width, UINT height, std::unique_ptr<PictureWriter>* writer);
};

}  // namespace Vantra::Platform
