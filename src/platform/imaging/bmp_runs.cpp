#include "platform/imaging/bmp_runs.h"

#include <algorithm>

namespace Vantra::Platform {
namespace {

// What follows a count of 0; anything else is the number of indices that are stored one by one.
enum Escape : BYTE { kEndOfRow = 0, kEnd = 1, kMove = 2 };

class RunReader {
 public:
  RunReader(StreamReader& stream, UINT bits, UINT width, UINT height, BYTE* indices)
      : stream_(stream), bits_(bits), width_(width), height_(height), indices_(indices) {}

  HRESULT Read() {
    while (y_ < height_) {
      const BYTE count = Next();
      const BYTE value = Next();
      if (at_end_) break;
      if (count > 0) {
        Put(count, [=, this](UINT i) { return Index(value, i); });
      } else if (value == kEnd) {
        return S_OK;
      } else if (value == kEndOfRow) {
        x_ = 0;
        ++y_;
      } else if (value == kMove) {
        x_ = std::min(x_ + Next(), width_);
        y_ += Next();
      } else {
        PutStored(value);
      }
    }
    if (!at_end_ || (y_ == height_ - 1 && x_ == width_)) return S_OK;
    return FAILED(stream_.Failure()) ? stream_.Failure() : WINCODEC_ERR_BADIMAGE;
  }

 private:
  // 0 at the end of the file.
  BYTE Next() {
    if (block_.empty()) block_ = stream_.NextBlock();
    at_end_ = block_.empty();
    if (at_end_) return 0;
    const BYTE byte = block_.front();
    block_ = block_.subspan(1);
    return byte;
  }

  // One of the indices in a byte, the first in the highest bits.
  BYTE Index(BYTE byte, UINT i) const {
    if (bits_ == 8) return byte;
    return i % 2 == 0 ? byte >> 4 : byte & 15;
  }

  template <class At>
  void Put(UINT count, At at) {
    count = std::min(count, width_ - x_);
    BYTE* row = indices_ + std::size_t{y_} * width_ + x_;
    for (UINT i = 0; i < count; ++i) row[i] = at(i);
    x_ += count;
  }

  // The bytes are an even number.
  void PutStored(UINT count) {
    BYTE stored[256];
    const UINT bytes = (count * bits_ + 7) / 8;
    for (UINT i = 0; i < bytes + bytes % 2; ++i) stored[i] = Next();
    const UINT there = at_end_ ? 0 : count;
    Put(there, [&](UINT i) { return Index(stored[i * bits_ / 8], i); });
  }

  StreamReader& stream_;
  const UINT bits_;
  const UINT width_;
  const UINT height_;
  BYTE* const indices_;
  std::span<const BYTE> block_;
  bool at_end_ = false;
  UINT x_ = 0;
  UINT y_ = 0;
};

}  // namespace

HRESULT ReadBmpRuns(StreamReader& stream, UINT bits, UINT width, UINT height, BYTE* indices) {
  return RunReader(stream, bits, width, height, indices).Read();
}

}  // namespace Vantra::Platform
