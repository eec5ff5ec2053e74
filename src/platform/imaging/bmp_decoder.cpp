#include "platform/imaging/bmp_decoder.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace Vantra::Platform {
namespace {

constexpr BYTE kSignature[] = {'B', 'M'};

constexpr std::size_t kFileHeaderBytes = 14;
constexpr UINT kShortestInfoHeader = 40;
constexpr UINT kLongestInfoHeader = 124;
// Masks for the colours follow the shortest header, or are part of a longer one.
constexpr UINT kMasksEnd = 52;
constexpr UINT kAlphaMaskEnd = 56;

constexpr UINT kUncompressed = 0;
constexpr UINT kBitFields = 3;

struct Free {
  void operator()(BYTE* bytes) const { std::free(bytes); }
};

UINT Get32(const BYTE* bytes) {
  return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<UINT>(bytes[3]) << 24;
}

class BmpReader final : public PictureReader {
 public:
  explicit BmpReader(StreamReader& stream) : stream_(stream) {}

  HRESULT Open();
  PixelLayout Layout() const override {
    return {.blue_first = true, .premultiplied = false, .opaque = !has_alpha_};
  }
  HRESULT ReadRow(BYTE* row) override;
  HRESULT Finish() override { return damage_; }

 private:
  HRESULT ReadFormat(const BYTE* info, UINT info_bytes);
  HRESULT ReadBottomUp();
  void Expand(const BYTE* stored, BYTE* row) const;

  // Reads all of `size` bytes, or says why not.
  HRESULT Read(BYTE* bytes, std::size_t size, HRESULT otherwise) {
    position_ += size;
    if (stream_.Read(bytes, size) == size) return S_OK;
    return FAILED(stream_.Failure()) ? stream_.Failure() : otherwise;
  }

  StreamReader& stream_;
  UINT64 position_ = 0;
  bool top_down_ = false;
  UINT bits_ = 0;
  bool has_alpha_ = false;
  std::array<std::array<BYTE, 4>, 256> palette_{};  // blue, green, red, unused
  std::size_t stored_bytes_ = 0;                    // of a row, padding included
  std::unique_ptr<BYTE, Free> stored_;              // a row, or all rows of a bottom-up file
  UINT rows_stored_ = 0;                            // those that a bottom-up file has
  UINT next_row_ = 0;
};

HRESULT BmpReader::Open() {
  BYTE head[kFileHeaderBytes + 4];
  BYTE info[kLongestInfoHeader]{};
  HRESULT result = Read(head, sizeof head, WINCODEC_ERR_BADHEADER);
  if (FAILED(result)) return result;
  const UINT pixels_at = Get32(head + 10);
  const UINT info_bytes = Get32(head + kFileHeaderBytes);
  if (info_bytes < kShortestInfoHeader || info_bytes > kLongestInfoHeader) {
    return WINCODEC_ERR_BADHEADER;
  }
  result = Read(info + 4, info_bytes - 4, WINCODEC_ERR_BADHEADER);
  if (SUCCEEDED(result)) result = ReadFormat(info, info_bytes);
  if (FAILED(result)) return result;

  if (pixels_at < position_) return WINCODEC_ERR_BADHEADER;
  if (bits_ <= 8) {
    const UINT64 used = Get32(info + 32) == 0 ? UINT64{1} << bits_ : Get32(info + 32);
    const UINT64 count =
        std::min({used, UINT64{1} << bits_, (pixels_at - position_) / sizeof palette_[0]});
    result = Read(palette_[0].data(), count * sizeof palette_[0], WINCODEC_ERR_BADHEADER);
    if (FAILED(result)) return result;
  }
  while (position_ < pixels_at) {
    BYTE skipped[256];
    result = Read(skipped, std::min<UINT64>(sizeof skipped, pixels_at - position_),
                  WINCODEC_ERR_BADHEADER);
    if (FAILED(result)) return result;
  }
  return S_OK;
}

HRESULT BmpReader::ReadFormat(const BYTE* info, UINT info_bytes) {
  const auto height = static_cast<INT>(Get32(info + 8));
  top_down_ = height < 0;
  // Without sign, so that the least number has an opposite.
  const HRESULT result =
      SetSize(Get32(info + 4), top_down_ ? 0u - Get32(info + 8) : Get32(info + 8));
  if (FAILED(result)) return result;
  bits_ = Get32(info + 12) >> 16;
  const UINT compression = Get32(info + 16);
  if (bits_ != 1 && bits_ != 4 && bits_ != 8 && bits_ != 24 && bits_ != 32) {
    return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  }
  stored_bytes_ = (std::size_t{Width()} * bits_ + 31) / 32 * 4;
  if (compression == kUncompressed) return S_OK;
  if (compression != kBitFields || bits_ != 32) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  BYTE masks[16]{};
  if (info_bytes < kMasksEnd) {
    const HRESULT masks_result = Read(masks, 12, WINCODEC_ERR_BADHEADER);
    if (FAILED(masks_result)) return masks_result;
  } else {
    std::memcpy(masks, info + kShortestInfoHeader, info_bytes < kAlphaMaskEnd ? 12 : 16);
  }
  const UINT alpha = Get32(masks + 12);
  has_alpha_ = alpha != 0;
  const bool usual = Get32(masks) == 0xFF0000 && Get32(masks + 4) == 0xFF00 &&
                     Get32(masks + 8) == 0xFF && (alpha == 0 || alpha == 0xFF000000);
  return usual ? S_OK : WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
}

HRESULT BmpReader::ReadRow(BYTE* row) {
  if (top_down_) {
    if (stored_ == nullptr) stored_.reset(static_cast<BYTE*>(std::malloc(stored_bytes_)));
    if (stored_ == nullptr) return E_OUTOFMEMORY;
    const HRESULT result = Read(stored_.get(), stored_bytes_, WINCODEC_ERR_BADIMAGE);
    if (SUCCEEDED(result)) Expand(stored_.get(), row);
    return result;
  }
  if (stored_ == nullptr) {
    const HRESULT result = ReadBottomUp();
    if (FAILED(result)) return result;
  }
  const UINT stored_row = Height() - 1 - next_row_++;
  if (stored_row < rows_stored_) {
    Expand(stored_.get() + stored_row * stored_bytes_, row);
  } else {
    std::memset(row, 0, Width() * kBytesPerPixel);
  }
  return S_OK;
}

HRESULT BmpReader::ReadBottomUp() {
  // Zeroed pages cost nothing until a row is written, so a short file that claims a large size
  // takes only what it fills.
  stored_.reset(static_cast<BYTE*>(std::calloc(Height(), stored_bytes_)));
  if (stored_ == nullptr) return E_OUTOFMEMORY;
  while (rows_stored_ < Height() && SUCCEEDED(damage_)) {
    damage_ =
        Read(stored_.get() + rows_stored_ * stored_bytes_, stored_bytes_, WINCODEC_ERR_BADIMAGE);
    if (SUCCEEDED(damage_)) ++rows_stored_;
  }
  return S_OK;
}

void BmpReader::Expand(const BYTE* stored, BYTE* row) const {
  const std::size_t step = bits_ / 8;
  for (UINT x = 0; x < Width(); ++x) {
    const BYTE* colour = stored + x * step;
    if (bits_ <= 8) {
      const UINT bit = x * bits_;
      const UINT index = stored[bit / 8] >> (8 - bits_ - bit % 8) & ((1u << bits_) - 1);
      colour = palette_[index].data();
    }
    BYTE* pixel = row + x * kBytesPerPixel;
    std::memcpy(pixel, colour, 3);
    pixel[3] = has_alpha_ ? colour[3] : 255;
  }
}

bool Recognises(std::span<const BYTE> start) { return BeginsWith(start, kSignature); }

}  // namespace

const Coder kBmpCoder = {GUID_ContainerFormatBmp, Recognises, OpenSinglePicture<BmpReader>};

}  // namespace Vantra::Platform
