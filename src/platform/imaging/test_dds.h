#pragma once

/// DDS files made of their parts, for the tests and the fuzz targets.

#include <array>
#include <optional>

#include "platform/imaging/test_pictures.h"

namespace Vantra::Platform {

struct DdsPicture {
  unsigned width = 1;
  unsigned height = 1;
  /// The pixel format's flags, and with them either a code or masks.
  unsigned flags = 4;
  unsigned code = 0;
  unsigned bits = 0;
  std::array<unsigned, 4> masks{};
  /// With the extended header: the number of the DXGI format.
  std::optional<unsigned> dxgi_format;
  unsigned alpha_mode = 0;
  /// What follows the header.
  Bytes data;
};

DdsPicture MakeDxgi(unsigned format, unsigned width, unsigned height, Bytes data);
DdsPicture MakeFourCc(const char (&name)[5], unsigned width, unsigned height, Bytes data);
Bytes EncodeDds(const DdsPicture& picture);

/// Packs numbers into bytes, the first in the lowest bits.
class BitPacker {
 public:
  BitPacker& Put(unsigned value, unsigned bits);
  const Bytes& Packed() const { return bytes_; }

 private:
  Bytes bytes_;
  unsigned size_ = 0;
};

/// Blocks of BC7 of noise, as many of each mode.
Bytes NoisyBc7Blocks(unsigned count);

}  // namespace Vantra::Platform
