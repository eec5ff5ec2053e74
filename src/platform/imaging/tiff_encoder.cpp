#include "platform/imaging/tiff_encoder.h"

#include <algorithm>
#include <vector>

#include "platform/imaging/pixels.h"
#include "platform/imaging/tiff_stream.h"

namespace Vantra::Platform {
namespace {

constexpr std::size_t kStripBytes = 65536;
constexpr float kDotsPerInch = 96;

class TiffPictureWriter final : public PictureWriter {
 public:
  TiffPictureWriter(ByteSink sink, UINT width)
      : sink_(std::move(sink)), row_(width * kBytesPerPixel) {}

  HRESULT Open(UINT height) {
    tiff_ = OpenTiffTarget(target_, "wl");
    if (tiff_ == nullptr) return E_OUTOFMEMORY;
    const auto rows_per_strip =
        static_cast<std::uint32_t>(std::max<std::size_t>(kStripBytes / row_.size(), 1));
    const std::uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
    bool set = true;
    const auto put = [&](std::uint32_t tag, auto... value) {
      set = set && TIFFSetField(tiff_.get(), tag, value...) == 1;
    };
    put(TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(row_.size() / kBytesPerPixel));
    put(TIFFTAG_IMAGELENGTH, std::uint32_t{height});
    put(TIFFTAG_BITSPERSAMPLE, 8);
    put(TIFFTAG_SAMPLESPERPIXEL, 4);
    put(TIFFTAG_EXTRASAMPLES, 1, &alpha);
    put(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    put(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    put(TIFFTAG_COMPRESSION, COMPRESSION_LZW);
    put(TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    put(TIFFTAG_ROWSPERSTRIP, rows_per_strip);
    put(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    put(TIFFTAG_XRESOLUTION, kDotsPerInch);
    put(TIFFTAG_YRESOLUTION, kDotsPerInch);
    return set ? S_OK : E_OUTOFMEMORY;
  }

  HRESULT WriteRow(const BYTE* row) override {
    for (std::size_t i = 0; i < row_.size(); i += kBytesPerPixel) {
      row_[i] = row[i + 2];
      row_[i + 1] = row[i + 1];
      row_[i + 2] = row[i];
      row_[i + 3] = row[i + 3];
    }
    // What it can fail with is lack of memory.
    return TIFFWriteScanline(tiff_.get(), row_.data(), next_row_++, 0) == 1 ? S_OK : E_OUTOFMEMORY;
  }

  HRESULT Finish() override {
    if (TIFFWriteDirectory(tiff_.get()) != 1) return E_OUTOFMEMORY;
    tiff_.reset();
    return sink_(target_.bytes.data(), target_.bytes.size());
  }

 private:
  ByteSink sink_;
  TiffTarget target_;
  TiffHandle tiff_;
  std::vector<BYTE> row_;
  std::uint32_t next_row_ = 0;
};

HRESULT Open(ByteSink sink, UINT width, UINT height, std::unique_ptr<PictureWriter>* writer) {
  auto made = std::make_unique<TiffPictureWriter>(std::move(sink), width);
  const HRESULT result = made->Open(height);
  if (SUCCEEDED(result)) *writer = std::move(made);
  return result;
}

}  // namespace

const Encoding kTiffEncoding = {GUID_ContainerFormatTiff, Open};

}  // namespace Vantra::Platform
