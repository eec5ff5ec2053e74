#include "platform/imaging/dds_decoder.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#include "platform/imaging/dds_header.h"

namespace Vantra::Platform {
namespace {

BYTE FromFloat(float value) {
  // In this order what is no number is 0, too.
  const double clamped = std::min(std::max(0.0f, value), 1.0f);
  constexpr double kHalf = 0.5;
  return static_cast<BYTE>(clamped * 255 + kHalf);
}

// Below 0, and for what is no number, 0.
float FromHalf(UINT half) {
  constexpr UINT kInfinity = 0x7C00;
  const UINT magnitude = half > kInfinity ? 0 : half;
  // The fields widened; the scale makes up for the exponents' offsets, also below the least normal
  // number.
  constexpr float kScale = 0x1p112f;
  return std::bit_cast<float>(magnitude << 13) * kScale;
}

template <class Number>
Number Load(const BYTE* bytes) {
  Number number;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

BYTE FromUnorm(const BYTE* bytes) {
  constexpr UINT kMost = 0xFFFF;
  return static_cast<BYTE>((Load<std::uint16_t>(bytes) * 255u + kMost / 2) / kMost);
}

class DdsReader final : public PictureReader {
 public:
  explicit DdsReader(StreamReader& stream) : stream_(stream) {}

  HRESULT Open();
  PixelLayout Layout() const override {
    return {
        .blue_first = true, .premultiplied = header_.premultiplied, .opaque = !header_.has_alpha};
  }
  HRESULT ReadRow(BYTE* row) override;
  HRESULT Finish() override { return S_OK; }

 private:
  HRESULT Read(BYTE* bytes, std::size_t size, HRESULT otherwise) {
    if (stream_.Read(bytes, size) == size) return S_OK;
    return FAILED(stream_.Failure()) ? stream_.Failure() : otherwise;
  }

  HRESULT ReadBlocks();
  template <class Convert>
  void ExpandChannels(std::size_t channel_bytes, BYTE* row, Convert convert) const;

  StreamReader& stream_;
  DdsHeader header_;
  std::vector<BYTE> stored_;  // a row of pixels or of blocks
  std::vector<BYTE> lines_;   // the pixels of a row of blocks
  UINT next_row_ = 0;
};

HRESULT DdsReader::Open() {
  BYTE header[kDdsHeaderBytes];
  BYTE extension[kDdsExtensionBytes]{};
  HRESULT result = Read(header, sizeof header, WINCODEC_ERR_BADHEADER);
  if (SUCCEEDED(result) && HasDdsExtension(header)) {
    result = Read(extension, sizeof extension, WINCODEC_ERR_BADHEADER);
  }
  if (SUCCEEDED(result)) result = ReadDdsHeader(header, extension, &header_);
  return FAILED(result) ? result : SetSize(header_.width, header_.height);
}

HRESULT DdsReader::ReadRow(BYTE* row) {
  using Storage = DdsHeader::Storage;
  const UINT line = next_row_++ % kBlockSide;
  if (header_.storage == Storage::kBlocks) {
    const HRESULT result = line == 0 ? ReadBlocks() : S_OK;
    if (FAILED(result)) return result;
    std::memcpy(row, &lines_[line * (lines_.size() / kBlockSide)], Width() * kBytesPerPixel);
  } else {
    stored_.resize(Width() * header_.unit_bytes);
    const HRESULT result = Read(stored_.data(), stored_.size(), WINCODEC_ERR_BADIMAGE);
    if (FAILED(result)) return result;
    switch (header_.storage) {
      case Storage::kUnorm:
        ExpandChannels(2, row, FromUnorm);
        break;
      case Storage::kHalf:
        ExpandChannels(2, row, [](const BYTE* channel) {
          return FromFloat(FromHalf(Load<std::uint16_t>(channel)));
        });
        break;
      case Storage::kFloat:
        ExpandChannels(4, row, [](const BYTE* channel) { return FromFloat(Load<float>(channel)); });
        break;
      default:
        header_.packed.Expand(stored_.data(), Width(), row);
    }
  }
  for (UINT x = 0; !header_.has_alpha && x < Width(); ++x) row[x * kBytesPerPixel + 3] = 255;
  return S_OK;
}

HRESULT DdsReader::ReadBlocks() {
  const std::size_t blocks = (Width() + kBlockSide - 1) / kBlockSide;
  const std::size_t stride = blocks * kBlockSide * kBytesPerPixel;
  stored_.resize(blocks * header_.unit_bytes);
  lines_.resize(kBlockSide * stride);
  const HRESULT result = Read(stored_.data(), stored_.size(), WINCODEC_ERR_BADIMAGE);
  if (FAILED(result)) return result;
  for (std::size_t i = 0; i < blocks; ++i) {
    header_.decode_block(&stored_[i * header_.unit_bytes], &lines_[i * kBlockSide * kBytesPerPixel],
                         stride);
  }
  return S_OK;
}

template <class Convert>
void DdsReader::ExpandChannels(std::size_t channel_bytes, BYTE* row, Convert convert) const {
  const std::size_t channels = header_.unit_bytes / channel_bytes;
  const BYTE* stored = stored_.data();
  for (UINT x = 0; x < Width(); ++x, stored += header_.unit_bytes, row += kBytesPerPixel) {
    const auto channel = [&](std::size_t index) -> BYTE {
      return index < channels ? convert(stored + index * channel_bytes) : 0;
    };
    row[2] = channel(0);
    row[1] = channels == 1 ? row[2] : channel(1);
    row[0] = channels == 1 ? row[2] : channel(2);
    row[3] = channel(3);
  }
}

bool Recognises(std::span<const BYTE> start) { return BeginsWith(start, kDdsSignature); }

}  // namespace

const Coder kDdsCoder = {GUID_ContainerFormatDds, Recognises, OpenSinglePicture<DdsReader>};

}  // namespace Vantra::Platform
