#include "platform/imaging/jxr_decoder.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>

#include "platform/imaging/child_process.h"
#include "platform/imaging/file_part.h"
#include "platform/imaging/jxr_container.h"
#include "platform/imaging/jxr_samples.h"
#include "platform/imaging/jxr_stream.h"

namespace Vantra::Platform {
namespace {

// Rows that the library decodes at a time.
constexpr UINT kBandRows = 16;

bool Recognises(std::span<const BYTE> start) {
  return start.size() >= 4 && start[0] == 'I' && start[1] == 'I' && start[2] == 0xBC &&
         start[3] <= 1;
}

COLORFORMAT FormatOf(JxrColour colour) {
  switch (colour) {
    case JxrColour::kGrey:
      return Y_ONLY;
    case JxrColour::kRgb:
      return CF_RGB;
    case JxrColour::kRgbe:
      return CF_RGBE;
    default:
      return CMYK;
  }
}

// Decodes a coded picture band by band.
class BandDecoder {
 public:
  BandDecoder(const JxrCodestream& codestream, std::span<const BYTE> bytes)
      : codestream_(codestream),
        source_(bytes),
        stride_(
            (std::size_t{codestream.width} * JxrBitsPerPixel(codestream.colour, codestream.depth) +
             31) /
            32 * 4),
        band_(stride_ * kBandRows) {}
  ~BandDecoder() {
    if (codec_ != nullptr) ImageStrDecTerm(codec_);
  }
  BandDecoder(const BandDecoder&) = delete;
  BandDecoder& operator=(const BandDecoder&) = delete;

  bool Start();
  // Decodes the next 16 rows, or those that are left.
  bool Next() { return (decoded_ > 0 || Decode()) && Decode(); }
  const BYTE* Row(UINT in_band) const { return &band_[in_band * stride_]; }

 private:
  bool Decode();

  const JxrCodestream& codestream_;
  JxrSource source_;
  std::size_t stride_;
  std::vector<BYTE> band_;
  CWMImageInfo info_{};
  CWMIStrCodecParam parameters_{};
  CTXSTRCODEC codec_ = nullptr;
  UINT decoded_ = 0;  // bands, which the library gives with a delay of one
};

bool BandDecoder::Start() {
  parameters_.pWStream = &source_;
  info_.cfColorFormat = FormatOf(codestream_.colour);
  info_.cBitsPerUnit = JxrBitsPerPixel(codestream_.colour, codestream_.depth);
  info_.oOrientation = O_NONE;
  // Blue first.
  info_.bRGB = FALSE;
  if (ImageStrDecInit(&info_, &parameters_, &codec_) != ICERR_OK) {
    codec_ = nullptr;
    return false;
  }
  // The library read the header anew, from a stream that may hold something else by now.
  const auto whole_blocks = [](UINT side) { return (side + 15) / 16 * 16; };
  return info_.cWidth == whole_blocks(codestream_.width) &&
         info_.cHeight == whole_blocks(codestream_.height) &&
         info_.cfColorFormat == FormatOf(codestream_.colour) &&
         info_.bdBitDepth == static_cast<BITDEPTH_BITS>(codestream_.depth);
}

bool BandDecoder::Decode() {
  CWMImageBufferInfo buffer{};
  // Single bits the library turns over.
  if (codestream_.depth == JxrDepth::kBit) std::fill(band_.begin(), band_.end(), BYTE{0});
  // It counts rows from the picture's first.
  const std::size_t above = decoded_ == 0 ? 0 : stride_ * kBandRows * (decoded_ - 1);
  buffer.pv = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(band_.data()) - above);
  buffer.cLine = kBandRows;
  buffer.cbStride = stride_;
  buffer.uiFirstMBRow = decoded_;
  buffer.uiLastMBRow = decoded_;
  std::size_t lines = 0;
  const bool done = ImageStrDecDecode(codec_, &buffer, &lines) == ICERR_OK;
  ++decoded_;
  return done && !source_.Overrun();
}

// What the headers say, and the bytes of the coded pictures.
struct JxrFile {
  JxrContainer container;
  std::vector<BYTE> picture;
  std::vector<BYTE> alpha;
};

// Decodes and converts all rows as far as they are sound, and hands each on.
void DecodeRows(const JxrFile& file, const ChildProcess::Send& send) {
  const JxrCodestream& picture = file.container.picture;
  const bool premultiplied = file.container.premultiplied;
  JxrSamples samples(picture.colour, picture.depth, picture.swapped);
  BandDecoder colours(picture, file.picture);
  std::optional<BandDecoder> alpha;
  if (file.container.alpha) alpha.emplace(*file.container.alpha, file.alpha);
  if (!colours.Start() || (alpha && !alpha->Start())) return;
  const std::size_t row_bytes = picture.width * kBytesPerPixel;
  std::vector<BYTE> band(row_bytes * kBandRows);
  for (UINT y = 0; y < picture.height; y += kBandRows) {
    if (!colours.Next() || (alpha && !alpha->Next())) return;
    const UINT rows = std::min(kBandRows, picture.height - y);
    for (UINT in_band = 0; in_band < rows; ++in_band) {
      BYTE* row = &band[in_band * row_bytes];
      samples.Convert(colours.Row(in_band), picture.width, row);
      if (alpha) samples.ConvertAlpha(alpha->Row(in_band), picture.width, row);
      // Nothing shines brighter than its alpha.
      for (std::size_t at = 0; premultiplied && at < row_bytes; at += kBytesPerPixel) {
        for (std::size_t i = 0; i < 3; ++i) row[at + i] = std::min(row[at + i], row[at + 3]);
      }
    }
    // Together, since the other side is woken each time.
    send(band.data(), rows * row_bytes);
  }
}

class JxrReader final : public PictureReader {
 public:
  explicit JxrReader(StreamReader& stream) : stream_(stream) {}

  HRESULT Open() {
    const HRESULT result = ReadJxrContainer(stream_, &file_.container);
    if (FAILED(result)) return result;
    const JxrCodestream& picture = file_.container.picture;
    if (picture.cut) damage_ = WINCODEC_ERR_BADIMAGE;
    return SetSize(picture.width, picture.height);
  }

  PixelLayout Layout() const override {
    return {.blue_first = true,
            .premultiplied = file_.container.premultiplied,
            .opaque = !file_.container.alpha.has_value()};
  }

  void ExpectMemory(std::span<BYTE> memory) override {
    if (!started_) memory_ = memory;
  }

  HRESULT ReadRow(BYTE* row) override {
    if (!started_) {
      const HRESULT result = Start();
      if (FAILED(result)) return result;
      started_ = true;
    }
    return process_.Receive(row, Width() * kBytesPerPixel) ? S_OK : WINCODEC_ERR_BADIMAGE;
  }

  HRESULT Finish() override { return damage_; }

 private:
  HRESULT Start() {
    const JxrContainer& container = file_.container;
    HRESULT result =
        ReadFilePart(stream_, container.picture.offset, container.picture.size, &file_.picture);
    if (SUCCEEDED(result) && container.alpha) {
      result = ReadFilePart(stream_, container.alpha->offset, container.alpha->size, &file_.alpha);
    }
    if (FAILED(result)) return result;
    result = process_.Start([this](const ChildProcess::Send& send) { DecodeRows(file_, send); },
                            memory_);
    // The other process has a copy.
    file_.picture = {};
    file_.alpha = {};
    return result;
  }

  StreamReader& stream_;
  JxrFile file_;
  std::span<BYTE> memory_;  // of the caller, for the rows
  bool started_ = false;
  ChildProcess process_;
};

}  // namespace

const Coder kJxrCoder = {GUID_ContainerFormatWmp, Recognises, OpenSinglePicture<JxrReader>};

}  // namespace Vantra::Platform
