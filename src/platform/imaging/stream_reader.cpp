#include "platform/imaging/stream_reader.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace Vantra::Platform {

HRESULT StreamReader::Open() {
  ULARGE_INTEGER position{};
  if (FAILED(stream_->Seek({0}, STREAM_SEEK_CUR, &position))) return WINCODEC_ERR_STREAMREAD;
  start_ = position.QuadPart;
  Rewind();
  return S_OK;
}

void StreamReader::Rewind() {
  next_ = start_;
  filled_ = 0;
  failure_ = S_OK;
  rest_ = {};
}

void StreamReader::Seek(UINT64 from_start) {
  const UINT64 most = std::numeric_limits<UINT64>::max() - start_;
  const UINT64 position = start_ + std::min(from_start, most);
  // Short steps, such as those over the parts of a header, stay within the block.
  if (position <= next_ && next_ - position <= filled_) {
    const auto left = static_cast<std::size_t>(next_ - position);
    rest_ = {block_.data() + (filled_ - left), left};
    return;
  }
  next_ = position;
  filled_ = 0;
  rest_ = {};
}

std::size_t StreamReader::Read(BYTE* bytes, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    if (rest_.empty() && size - done >= kBlockSize) {
      const std::size_t read = Fetch(bytes + done, size - done);
      if (read == 0) break;
      done += read;
      continue;
    }
    if (rest_.empty()) {
      rest_ = NextBlock();
      if (rest_.empty()) break;
    }
    const std::size_t count = std::min(size - done, rest_.size());
    std::memcpy(bytes + done, rest_.data(), count);
    rest_ = rest_.subspan(count);
    done += count;
  }
  return done;
}

std::span<const BYTE> StreamReader::NextBlock() {
  if (!rest_.empty()) return std::exchange(rest_, {});
  const std::size_t read = Fetch(block_.data(), kBlockSize);
  filled_ = read;
  return {block_.data(), read};
}

std::size_t StreamReader::Fetch(BYTE* bytes, std::size_t size) {
  filled_ = 0;
  if (FAILED(failure_)) return 0;
  constexpr std::size_t kMost = std::size_t{1} << 30;
  const auto asked = static_cast<ULONG>(std::min(size, kMost));
  // The position belongs to whoever holds the stream, who may have moved it since the last time.
  ULONG read = 0;
  if (!MoveTo(next_) || FAILED(stream_->Read(bytes, asked, &read)) || read > asked) {
    failure_ = WINCODEC_ERR_STREAMREAD;
    return 0;
  }
  next_ += read;
  return read;
}

std::optional<UINT64> StreamReader::Size() {
  ULARGE_INTEGER end{};
  if (FAILED(stream_->Seek({0}, STREAM_SEEK_END, &end)) || end.QuadPart < start_) {
    return std::nullopt;
  }
  return end.QuadPart - start_;
}

bool StreamReader::MoveTo(UINT64 position) {
  if (position > static_cast<UINT64>(std::numeric_limits<std::int64_t>::max())) return false;
  const LARGE_INTEGER move{static_cast<std::int64_t>(position)};
  return SUCCEEDED(stream_->Seek(move, STREAM_SEEK_SET, nullptr));
}

}  // namespace Vantra::Platform
