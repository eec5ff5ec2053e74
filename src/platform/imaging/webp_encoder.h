#pragma once

/// WebP pictures, without loss and with alpha; colours under transparent pixels are kept. A picture
/// has at most 16383 pixels a side: `WINCODEC_ERR_IMAGESIZEOUTOFRANGE` beyond.

#include <optional>

#include "platform/imaging/picture_writer.h"

namespace Vantra::Platform {

extern const Encoding kWebpEncoding;

/// How an animation is written.
struct WebpAnimationOptions {
  /// How often it is shown, up to 65535; 0 is without end.
  UINT loops = 0;
  /// 0 to 100, of the lossy encoding; without it frames are written without loss.
  std::optional<float> quality;
};

/// Writes an animation. The file goes to the sink when it is complete. Everything may throw
/// `std::bad_alloc`.
class WebpAnimationWriter {
 public:
  virtual ~WebpAnimationWriter() = default;

  /// `E_INVALIDARG` for options out of range or a side of 0,
  /// `WINCODEC_ERR_IMAGESIZEOUTOFRANGE` beyond 16383 pixels a side.
  static HRESULT Open(ByteSink sink, UINT width, UINT height, const WebpAnimationOptions& options,
                      std::unique_ptr<WebpAnimationWriter>* writer);

  /// Takes the next frame, rows `stride` bytes apart of blue, green, red, alpha bytes, straight
  /// alpha, and the milliseconds that it is shown. Equal frames in a row may be made one.
  /// `E_INVALIDARG` for no pixels, a stride below the row, a duration of 2^24 or more, or more than
  /// 2^31 - 1 milliseconds of all frames; `WINCODEC_ERR_UNSUPPORTEDOPERATION` beyond
  /// `WIC_MAXIMUM_FRAMES`.
  virtual HRESULT AddFrame(const BYTE* pixels, std::size_t stride, UINT duration) = 0;

  /// Writes the file. `WINCODEC_ERR_FRAMEMISSING` without frames, else what the sink failed with.
  virtual HRESULT Finish() = 0;
};

}  // namespace Vantra::Platform
