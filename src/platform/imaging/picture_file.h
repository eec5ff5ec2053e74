#pragma once

/// What a picture format implements: opening a file and reading its frames.

#include <vantrix/platform/wincodec.h>

#include <algorithm>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/imaging/picture_reader.h"
#include "platform/imaging/stream_reader.h"

namespace Vantra::Platform {

/// An opened file. Its readers use its stream and live no longer than it does; one at a time is in
/// use. Everything here may throw `std::bad_alloc`.
class PictureFile {
 public:
  virtual ~PictureFile() = default;
  PictureFile(const PictureFile&) = delete;
  PictureFile& operator=(const PictureFile&) = delete;

  /// At least 1, and it stays the same.
  virtual UINT FrameCount() const { return 1; }

  /// Reads the header of a frame, for the first time or again. `WINCODEC_ERR_BADHEADER` and the
  /// like. The stream may stand anywhere, have failed before, which `StreamReader::Rewind` forgets,
  /// and hold something else than when the file was opened.
  virtual HRESULT OpenFrame(UINT index, std::unique_ptr<PictureReader>* reader) = 0;

  /// Whether the format has metadata at all.
  virtual bool HasMetadata() const { return false; }
  /// Stores the value of that name in an empty one; `WINCODEC_ERR_PROPERTYNOTFOUND`.
  virtual HRESULT ReadMetadata(std::wstring_view, PROPVARIANT*) {
    return WINCODEC_ERR_PROPERTYNOTFOUND;
  }
  virtual HRESULT ReadFrameMetadata(UINT, std::wstring_view, PROPVARIANT*) {
    return WINCODEC_ERR_PROPERTYNOTFOUND;
  }

  /// Stores up to 256 colours, or none when there is no palette.
  virtual HRESULT ReadPalette(std::vector<WICColor>*) { return S_OK; }
  virtual HRESULT ReadFramePalette(UINT, std::vector<WICColor>*) { return S_OK; }

 protected:
  PictureFile() = default;
};

/// A picture format that can be read.
struct Coder {
  GUID container;
  /// Whether a file that begins so is of the format. `start` holds `kRecognisedBytes`, or the whole
  /// of a file that has less.
  bool (*recognises)(std::span<const BYTE> start);
  /// Reads a file's header from the start of `stream`, which the file goes on using. May throw
  /// `std::bad_alloc`.
  HRESULT (*open)(StreamReader& stream, std::unique_ptr<PictureFile>* file);
};

constexpr std::size_t kRecognisedBytes = 32;

inline bool BeginsWith(std::span<const BYTE> start, std::span<const BYTE> signature) {
  return start.size() >= signature.size() &&
         std::equal(signature.begin(), signature.end(), start.begin());
}

/// A file of one frame. `Reader` is made of a stream and has `HRESULT Open()`, which reads the
/// header from the stream's start.
template <class Reader>
class SinglePicture final : public PictureFile {
 public:
  explicit SinglePicture(StreamReader& stream) : stream_(stream) {}

  HRESULT Open() { return OpenReader(&first_); }

  HRESULT OpenFrame(UINT, std::unique_ptr<PictureReader>* reader) override {
    *reader = std::move(first_);
    return *reader != nullptr ? S_OK : OpenReader(reader);
  }

 private:
  HRESULT OpenReader(std::unique_ptr<PictureReader>* reader) {
    stream_.Rewind();
    auto made = std::make_unique<Reader>(stream_);
    const HRESULT result = made->Open();
    if (SUCCEEDED(result)) *reader = std::move(made);
    return result;
  }

  StreamReader& stream_;
  // What opening the file has read already.
  std::unique_ptr<PictureReader> first_;
};

template <class Reader>
HRESULT OpenSinglePicture(StreamReader& stream, std::unique_ptr<PictureFile>* file) {
  auto made = std::make_unique<SinglePicture<Reader>>(stream);
  const HRESULT result = made->Open();
  if (SUCCEEDED(result)) *file = std::move(made);
  return result;
}

}  // namespace Vantra::Platform
