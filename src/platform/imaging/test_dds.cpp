#include "platform/imaging/test_dds.h"

#include <cstring>

namespace Vantra::Platform {

DdsPicture MakeDxgi(unsigned format, unsigned width, unsigned height, Bytes data) {
  DdsPicture picture = MakeFourCc("DX10", width, height, std::move(data));
  picture.dxgi_format = format;
  return picture;
}

DdsPicture MakeFourCc(const char (&name)[5], unsigned width, unsigned height, Bytes data) {
  DdsPicture picture;
  picture.width = width;
  picture.height = height;
  std::memcpy(&picture.code, name, 4);
  picture.data = std::move(data);
  return picture;
}

Bytes EncodeDds(const DdsPicture& picture) {
  std::vector<unsigned> words(32);
  std::memcpy(words.data(), "DDS ", 4);
  words[1] = 124;
  words[2] = 0x1007;
  words[3] = picture.height;
  words[4] = picture.width;
  words[19] = 32;
  words[20] = picture.flags;
  words[21] = picture.code;
  words[22] = picture.bits;
  std::copy(picture.masks.begin(), picture.masks.end(), words.begin() + 23);
  words[27] = 0x1000;
  if (picture.dxgi_format) {
    words.insert(words.end(), {*picture.dxgi_format, 3, 0, 1, picture.alpha_mode});
  }
  Bytes file(words.size() * 4);
  std::memcpy(file.data(), words.data(), file.size());
  file.insert(file.end(), picture.data.begin(), picture.data.end());
  return file;
}

BitPacker& BitPacker::Put(unsigned value, unsigned bits) {
  for (unsigned i = 0; i < bits; ++i, ++size_) {
    if (size_ % 8 == 0) bytes_.push_back(0);
    bytes_.back() |= static_cast<BYTE>((value >> i & 1) << size_ % 8);
  }
  return *this;
}

Bytes NoisyBc7Blocks(unsigned count) {
  constexpr unsigned kBlock = 16;
  Noise noise(77);
  Bytes blocks(std::size_t{count} * kBlock);
  for (BYTE& byte : blocks) byte = static_cast<BYTE>(noise.Below(256));
  for (unsigned i = 0; i < count; ++i) {
    const unsigned mode = i % 8;
    BYTE& first = blocks[i * kBlock];
    first = static_cast<BYTE>((first << 1 | 1) << mode);
  }
  return blocks;
}

}  // namespace Vantra::Platform
