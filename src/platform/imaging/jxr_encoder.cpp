#include "platform/imaging/jxr_encoder.h"

#include <cstring>
#include <vector>

#include "platform/imaging/jxr_stream.h"
#include "platform/imaging/pixels.h"

namespace Vantra::Platform {
namespace {

// Rows that the library takes at a time.
constexpr UINT kBandRows = 16;

constexpr float kDotsPerInch = 96;
// The quantiser that leaves values as they are.
constexpr U8 kLossless = 1;

constexpr UINT kTypeByte = 1;
constexpr UINT kTypeLong = 4;
constexpr UINT kTypeFloat = 11;

struct Entry {
  UINT tag;
  UINT type;
  UINT count;
  UINT value;
};

// Encodes one coded picture: the colours, or the alpha.
class BandEncoder {
 public:
  BandEncoder(UINT width, UINT height, bool alpha) {
    info_.cWidth = width;
    info_.cHeight = height;
    info_.bdBitDepth = BD_8;
    info_.cBitsPerUnit = kBytesPerPixel * 8;
    info_.cfColorFormat = alpha ? Y_ONLY : CF_RGB;
    info_.cLeadingPadding = alpha ? 3 : 0;
    info_.oOrientation = O_NONE;
    parameters_.cfColorFormat = alpha ? Y_ONLY : YUV_444;
    parameters_.bdBitDepth = BD_LONG;
    parameters_.bfBitstreamFormat = SPATIAL;
    parameters_.olOverlap = OL_NONE;
    parameters_.sbSubband = SB_ALL;
    parameters_.cChannel = alpha ? 1 : 3;
    parameters_.uiDefaultQPIndex = kLossless;
    parameters_.pWStream = &target_;
  }
  ~BandEncoder() { Finish(); }
  BandEncoder(const BandEncoder&) = delete;
  BandEncoder& operator=(const BandEncoder&) = delete;

  bool Encode(std::vector<BYTE>& band, UINT rows) {
    if (codec_ == nullptr && ImageStrEncInit(&info_, &parameters_, &codec_) != ICERR_OK) {
      codec_ = nullptr;
      return false;
    }
    CWMImageBufferInfo buffer{};
    buffer.pv = band.data();
    buffer.cLine = rows;
    buffer.cbStride = info_.cWidth * kBytesPerPixel;
    return ImageStrEncEncode(codec_, &buffer) == ICERR_OK && !target_.OutOfMemory();
  }

  bool Finish() {
    if (codec_ == nullptr) return false;
    const bool done = ImageStrEncTerm(codec_) == ICERR_OK;
    codec_ = nullptr;
    return done && !target_.OutOfMemory();
  }

  const std::vector<BYTE>& Written() const { return target_.Written(); }

 private:
  JxrTarget target_;
  CWMImageInfo info_{};
  CWMIStrCodecParam parameters_{};
  CTXSTRCODEC codec_ = nullptr;
};

class JxrPictureWriter final : public PictureWriter {
 public:
  JxrPictureWriter(ByteSink sink, UINT width, UINT height)
      : sink_(std::move(sink)),
        width_(width),
        height_(height),
        band_(std::size_t{width} * kBytesPerPixel * kBandRows),
        colours_(width, height, false),
        alpha_(width, height, true) {}

  HRESULT WriteRow(const BYTE* row) override {
    const std::size_t row_bytes = width_ * kBytesPerPixel;
    std::memcpy(&band_[(next_row_ % kBandRows) * row_bytes], row, row_bytes);
    ++next_row_;
    if (next_row_ % kBandRows != 0 && next_row_ != height_) return S_OK;
    const UINT rows = (next_row_ - 1) % kBandRows + 1;
    // What it can fail with is lack of memory.
    return colours_.Encode(band_, rows) && alpha_.Encode(band_, rows) ? S_OK : E_OUTOFMEMORY;
  }

  HRESULT Finish() override {
    if (!colours_.Finish() || !alpha_.Finish()) return E_OUTOFMEMORY;
    const std::vector<BYTE> header = MakeHeader();
    for (const std::vector<BYTE>* part : {&header, &colours_.Written(), &alpha_.Written()}) {
      const HRESULT result = sink_(part->data(), part->size());
      if (FAILED(result)) return result;
    }
    return S_OK;
  }

 private:
  std::vector<BYTE> MakeHeader() const {
    constexpr UINT kDirectory = 8;
    constexpr UINT kEntries = 9;
    constexpr UINT kFormat = kDirectory + 2 + kEntries * 12 + 4;
    constexpr UINT kPicture = kFormat + sizeof(GUID);
    const auto colour_size = static_cast<UINT>(colours_.Written().size());
    UINT resolution = 0;
    std::memcpy(&resolution, &kDotsPerInch, sizeof resolution);
    const Entry entries[kEntries] = {
        {0xBC01, kTypeByte, sizeof(GUID), kFormat},
        {0xBC80, kTypeLong, 1, width_},
        {0xBC81, kTypeLong, 1, height_},
        {0xBC82, kTypeFloat, 1, resolution},
        {0xBC83, kTypeFloat, 1, resolution},
        {0xBCC0, kTypeLong, 1, kPicture},
        {0xBCC1, kTypeLong, 1, colour_size},
        {0xBCC2, kTypeLong, 1, kPicture + colour_size},
        {0xBCC3, kTypeLong, 1, static_cast<UINT>(alpha_.Written().size())},
    };
    std::vector<BYTE> header;
    const auto put = [&header](UINT value, unsigned bytes) {
      for (unsigned i = 0; i < bytes; ++i) header.push_back(static_cast<BYTE>(value >> 8 * i));
    };
    put(0x01BC4949, 4);  // II, the format, its version
    put(kDirectory, 4);
    put(kEntries, 2);
    for (const Entry& entry : entries) {
      put(entry.tag, 2);
      put(entry.type, 2);
      put(entry.count, 4);
      put(entry.value, 4);
    }
    put(0, 4);  // no further directory
    const auto* format = reinterpret_cast<const BYTE*>(&GUID_WICPixelFormat32bppBGRA);
    header.insert(header.end(), format, format + sizeof(GUID));
    return header;
  }

  ByteSink sink_;
  UINT width_;
  UINT height_;
  std::vector<BYTE> band_;
  BandEncoder colours_;
  BandEncoder alpha_;
  UINT next_row_ = 0;
};

HRESULT Open(ByteSink sink, UINT width, UINT height, std::unique_ptr<PictureWriter>* writer) {
  *writer = std::make_unique<JxrPictureWriter>(std::move(sink), width, height);
  return S_OK;
}

}  // namespace

const Encoding kJxrEncoding = {GUID_ContainerFormatWmp, Open};

}  // namespace Vantra::Platform
