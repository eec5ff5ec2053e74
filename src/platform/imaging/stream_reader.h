#pragma once

/// Reads a stream in blocks, for the coders. The stream may be the host's own, so nothing
/// that it returns is trusted.

#include <vantrix/platform/wincodec.h>

#include <array>
#include <cstddef>
#include <optional>
#include <span>

namespace Vantra::Platform {

class StreamReader {
 public:
  explicit StreamReader(IStream* stream) : stream_(stream) {}
  StreamReader(const StreamReader&) = delete;
  StreamReader& operator=(const StreamReader&) = delete;

  /// Makes the stream's present position the start. `WINCODEC_ERR_STREAMREAD` when it has none.
  HRESULT Open();

  /// Goes back to the start, and forgets a failure.
  void Rewind();

  /// Goes on at a number of bytes from the start, which may lie beyond the end.
  void Seek(UINT64 from_start);

  /// Where the next byte to be read lies, from the start.
  UINT64 Position() const { return next_ - rest_.size() - start_; }

  /// Copies up to `size` bytes and returns their number: less at the end or after a failure.
  std::size_t Read(BYTE* bytes, std::size_t size);

  /// The next bytes, none at the end or after a failure. They stay valid until the next call.
  std::span<const BYTE> NextBlock();

  /// Number of bytes from the start to the stream's end; empty when the stream does not tell.
  std::optional<UINT64> Size();

  /// `WINCODEC_ERR_STREAMREAD` once the stream failed, else `S_OK`.
  HRESULT Failure() const { return failure_; }

 private:
  static constexpr ULONG kBlockSize = 16384;

  bool MoveTo(UINT64 position);
  // Has the stream store its next bytes, and forgets the block. 0 at the end or after a failure.
  std::size_t Fetch(BYTE* bytes, std::size_t size);

  CComPtr<IStream> stream_;
  UINT64 start_ = 0;
  UINT64 next_ = 0;         // where the bytes after the block lie in the stream
  std::size_t filled_ = 0;  // of the block
  HRESULT failure_ = S_OK;
  std::array<BYTE, kBlockSize> block_;
  std::span<const BYTE> rest_;  // of the block
};

}  // namespace Vantra::Platform
