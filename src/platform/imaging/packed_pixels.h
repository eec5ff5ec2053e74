#pragma once

/// Pixels that hold their channels as runs of bits in a little-endian number.

#include <vantrix/platform/com.h>

#include <array>
#include <cstddef>

namespace Vantra::Platform {

class PackedPixels {
 public:
  /// Masks of red, green, blue and alpha, 0 for a channel that the pixels lack: then a colour is 0
  /// and alpha is 255. Masks may share bits.
  using Masks = std::array<UINT, 4>;

  /// Pixels of 1 to 4 bytes. False unless each mask is one run of bits.
  bool Open(unsigned bytes, const Masks& masks);

  unsigned Bytes() const { return bytes_; }
  bool HasAlpha() const { return channels_[3].most != 0; }

  /// Makes blue, green, red, alpha bytes, each scaled from all values of its channel and rounded to
  /// nearest.
  void Expand(const BYTE* stored, std::size_t count, BYTE* row) const;

 private:
  struct Channel {
    UINT shift = 0;
    UINT most = 0;
    double scale = 0;
    double offset = 0;
  };

  template <class Convert>
  void ForEach(const BYTE* stored, std::size_t count, BYTE* row, Convert convert) const;

  unsigned bytes_ = 0;
  Masks masks_{};
  std::array<Channel, 4> channels_;
  bool whole_bytes_ = false;  // every channel is one byte
};

}  // namespace Vantra::Platform
