#include "platform/imaging/bmp_header.h"

#include <algorithm>
#include <cstring>

namespace Vantra::Platform {
namespace {

constexpr std::size_t kFileHeaderBytes = 14;
constexpr std::size_t kPixelsAt = 10;

// The information header tells its length first. The shortest has 16-bit sizes and a palette
// without padding; the others are one form, cut off somewhere, and what is cut off is 0.
constexpr UINT kCoreHeaderBytes = 12;
constexpr UINT kShortestHeader = 16;
constexpr UINT kPlainHeader = 40;
constexpr UINT kMasksEnd = 52;
constexpr UINT kAlphaMaskEnd = 56;
constexpr UINT kLongestOs2Header = 64;
constexpr UINT kLongestHeader = 124;

enum Compression : UINT {
  kUncompressed = 0,
  kRuns8 = 1,
  kRuns4 = 2,
  kBitFields = 3,
  kAlphaBitFields = 6,
};

constexpr UINT kBlack = 0xFF000000;

UINT Get16(const BYTE* bytes) { return bytes[0] | static_cast<UINT>(bytes[1]) << 8; }
UINT Get32(const BYTE* bytes) { return Get16(bytes) | Get16(bytes + 2) << 16; }

class HeaderReader {
 public:
  HeaderReader(StreamReader& stream, BmpHeader* header) : stream_(stream), header_(*header) {}

  HRESULT Read();

 private:
  HRESULT Read(BYTE* bytes, std::size_t size) {
    if (stream_.Read(bytes, size) == size) return S_OK;
    return FAILED(stream_.Failure()) ? stream_.Failure() : WINCODEC_ERR_BADHEADER;
  }

  HRESULT ReadInfo();
  HRESULT TakeFormat();
  HRESULT TakeMasks();
  HRESULT ReadPalette();

  UINT Compression() const { return Get32(info_ + 16); }

  // Headers of that system give two of the numbers for compression another meaning.
  bool IsOs2() const {
    return info_bytes_ <= kLongestOs2Header && info_bytes_ != kPlainHeader &&
           info_bytes_ != kMasksEnd && info_bytes_ != kAlphaMaskEnd;
  }

  StreamReader& stream_;
  BmpHeader& header_;
  BYTE info_[kLongestHeader]{};
  UINT info_bytes_ = 0;
};

HRESULT HeaderReader::Read() {
  BYTE file_header[kFileHeaderBytes];
  HRESULT result = Read(file_header, sizeof file_header);
  if (SUCCEEDED(result)) result = ReadInfo();
  if (SUCCEEDED(result)) result = TakeFormat();
  if (FAILED(result)) return result;
  header_.pixels_at = Get32(file_header + kPixelsAt);
  const std::optional<UINT64> size = stream_.Size();
  if (header_.pixels_at < stream_.Position() || (size && header_.pixels_at > *size)) {
    return WINCODEC_ERR_BADHEADER;
  }
  return header_.storage == BmpHeader::Storage::kPacked ? S_OK : ReadPalette();
}

HRESULT HeaderReader::ReadInfo() {
  HRESULT result = Read(info_, 4);
  if (FAILED(result)) return result;
  info_bytes_ = Get32(info_);
  const bool core = info_bytes_ == kCoreHeaderBytes;
  if (!core && (info_bytes_ < kShortestHeader || info_bytes_ > kLongestHeader)) {
    return WINCODEC_ERR_BADHEADER;
  }
  result = Read(info_ + 4, info_bytes_ - 4);
  if (FAILED(result)) return result;
  header_.width = core ? Get16(info_ + 4) : Get32(info_ + 4);
  header_.height = core ? Get16(info_ + 6) : Get32(info_ + 8);
  header_.bits = Get16(info_ + (core ? 10 : 14));
  header_.top_down = static_cast<INT>(header_.height) < 0;
  // Without sign, so that the least number has an opposite.
  if (header_.top_down) header_.height = 0u - header_.height;
  return S_OK;
}

HRESULT HeaderReader::TakeFormat() {
  const UINT bits = header_.bits;
  const UINT compression = Compression();
  if (compression > kAlphaBitFields ||
      (compression > kBitFields && compression < kAlphaBitFields) ||
      (compression >= kBitFields && IsOs2())) {
    return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  }
  if (compression == kBitFields || compression == kAlphaBitFields) return TakeMasks();
  if (compression == kRuns8 || compression == kRuns4) {
    header_.storage = BmpHeader::Storage::kRuns;
    return bits == (compression == kRuns8 ? 8 : 4) ? S_OK : WINCODEC_ERR_BADHEADER;
  }
  header_.storage = BmpHeader::Storage::kPacked;
  switch (bits) {
    case 1:
    case 2:
    case 4:
    case 8:
      header_.storage = BmpHeader::Storage::kIndices;
      return S_OK;
    case 16:
      header_.packed.Open(2, {0x7C00, 0x3E0, 0x1F, 0});
      return S_OK;
    case 24:
    case 32:
      header_.packed.Open(bits / 8, {0xFF0000, 0xFF00, 0xFF, 0});
      return S_OK;
    default:
      return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  }
}

// They follow the plain header, or are part of a longer one.
HRESULT HeaderReader::TakeMasks() {
  BYTE stored[16]{};
  if (info_bytes_ == kPlainHeader) {
    const HRESULT result = Read(stored, Compression() == kAlphaBitFields ? 16 : 12);
    if (FAILED(result)) return result;
  } else {
    std::memcpy(stored, info_ + kPlainHeader, info_bytes_ < kAlphaMaskEnd ? 12 : 16);
  }
  PackedPixels::Masks masks{};
  UINT all = 0;
  for (std::size_t i = 0; i < masks.size(); ++i) {
    masks[i] = Get32(stored + 4 * i);
    all |= masks[i];
  }
  const UINT bits = header_.bits;
  if ((bits != 16 && bits != 32) || (bits == 16 && all > 0xFFFF) || (all & ~masks[3]) == 0) {
    return WINCODEC_ERR_BADHEADER;
  }
  header_.storage = BmpHeader::Storage::kPacked;
  return header_.packed.Open(bits / 8, masks) ? S_OK : WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
}

HRESULT HeaderReader::ReadPalette() {
  header_.palette.fill(kBlack);
  const std::size_t colour_bytes = info_bytes_ == kCoreHeaderBytes ? 3 : 4;
  const UINT64 most = UINT64{1} << header_.bits;
  const UINT64 claimed = Get32(info_ + 32);
  const UINT64 room = (header_.pixels_at - stream_.Position()) / colour_bytes;
  const UINT64 count = std::min({claimed == 0 ? most : claimed, most, room});
  BYTE colours[256 * 4];
  const HRESULT result = Read(colours, count * colour_bytes);
  if (FAILED(result)) return result;
  for (std::size_t i = 0; i < count; ++i) {
    const BYTE* colour = colours + i * colour_bytes;
    header_.palette[i] = Get16(colour) | static_cast<UINT>(colour[2]) << 16 | kBlack;
  }
  return S_OK;
}

}  // namespace

HRESULT ReadBmpHeader(StreamReader& stream, BmpHeader* header) {
  return HeaderReader(stream, header).Read();
}

}  // namespace Vantra::Platform
