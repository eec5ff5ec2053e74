#include "png_file.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace Vantra::Textures {
namespace {

// Highest byte first.
std::string Word(std::uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
  return bytes;
}

std::uint32_t Crc(const std::string& bytes) {
  std::uint32_t crc = ~0u;
  for (const char byte : bytes) {
    crc ^= static_cast<std::uint8_t>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320 : 0);
  }
  return ~crc;
}

std::uint32_t Adler(const std::string& bytes) {
  constexpr std::uint32_t kPrime = 65521;
  std::uint32_t a = 1;
  std::uint32_t b = 0;
  for (const char byte : bytes) {
    a = (a + static_cast<std::uint8_t>(byte)) % kPrime;
    b = (b + a) % kPrime;
  }
  return b << 16 | a;
}

std::string Chunk(const std::string& type, const std::string& data) {
  return Word(static_cast<std::uint32_t>(data.size())) + type + data + Word(Crc(type + data));
}

// A zlib stream of stored blocks.
std::string Store(const std::string& bytes) {
  constexpr std::size_t kLargest = 65535;
  std::string stream = "\x78\x01";
  for (std::size_t at = 0; at < bytes.size(); at += kLargest) {
    const std::size_t size = std::min(kLargest, bytes.size() - at);
    stream += at + size == bytes.size() ? '\1' : '\0';
    // The length and its complement, lowest byte first.
    for (const std::size_t number : {size, ~size}) {
      stream += static_cast<char>(number);
      stream += static_cast<char>(number >> 8);
    }
    stream.append(bytes, at, size);
  }
  return stream + Word(Adler(bytes));
}

}  // namespace

std::string ToPng(const Texture& texture) {
  constexpr std::array<char, 5> kColorTypes = {0, 0, 4, 2, 6};  // by channels
  std::string header = Word(static_cast<std::uint32_t>(texture.width)) +
                       Word(static_cast<std::uint32_t>(texture.height));
  header += '\x08';
  header += kColorTypes[static_cast<std::size_t>(texture.channels)];
  header.append(3, '\0');
  const auto row = static_cast<std::ptrdiff_t>(texture.width) * texture.channels;
  std::string rows;
  for (auto byte = texture.bytes.begin(); byte != texture.bytes.end(); byte += row) {
    rows += '\0';  // no filter
    rows.append(byte, byte + row);
  }
  return "\x89PNG\r\n\x1A\n" + Chunk("IHDR", header) + Chunk("IDAT", Store(rows)) +
         Chunk("IEND", "");
}

}  // namespace Vantra::Textures
