#pragma once

/// Writes GIF files: a picture, or an animation frame by frame.

#include <vantrix/platform/wincodec.h>

#include <memory>
#include <optional>
#include <vector>

#include "platform/imaging/picture_writer.h"

struct GifFileType;

namespace Vantra::Platform {

/// What happens to a frame when the next one comes.
enum class GifDisposal : BYTE { kNone = 0, kKeep = 1, kClear = 2, kRestorePrevious = 3 };

/// A frame to be written. With a delay, or another disposal than none, the file says so.
struct GifFrameToWrite {
  /// Blue, green, red, alpha bytes, straight alpha, as rows `stride` bytes apart. Reduced to 256
  /// colours, one of which is for pixels with an alpha below 128.
  const BYTE* pixels;
  std::size_t stride;
  /// Of the screen; within it.
  UINT left = 0;
  UINT top = 0;
  UINT width = 0;
  UINT height = 0;
  WORD delay = 0;  // in hundredths of a second
  GifDisposal disposal = GifDisposal::kNone;
};

class GifWriter {
 public:
  /// Starts a file of a screen of that size, both 1 to 65535. An animation says how often it is to
  /// be repeated, 0 for without end. Failures are the sink's, `E_INVALIDARG` or `E_OUTOFMEMORY`.
  static HRESULT Open(ByteSink sink, UINT width, UINT height, std::optional<WORD> repetitions,
                      std::unique_ptr<GifWriter>* writer);
  ~GifWriter();
  GifWriter(const GifWriter&) = delete;
  GifWriter& operator=(const GifWriter&) = delete;

  /// After a failure other than `E_INVALIDARG` the writer is of no more use.
  HRESULT AddFrame(const GifFrameToWrite& frame);
  /// Ends the file. `WINCODEC_ERR_FRAMEMISSING` when it has no frame.
  HRESULT Finish();

 private:
  GifWriter(ByteSink sink, UINT width, UINT height, std::optional<WORD> repetitions);

  static int OnWrite(GifFileType* gif, const BYTE* bytes, int size);
  HRESULT Flush();
  // The library does not look at what every write gives, so failures are kept here.
  HRESULT Check(int result) const;
  HRESULT WriteFrame(const GifFrameToWrite& frame);
  int PutRepetitions();

  ByteSink sink_;
  UINT width_;
  UINT height_;
  std::optional<WORD> repetitions_;
  GifFileType* gif_ = nullptr;
  bool started_ = false;
  HRESULT failure_ = S_OK;
  std::vector<BYTE> pending_;
};

}  // namespace Vantra::Platform
