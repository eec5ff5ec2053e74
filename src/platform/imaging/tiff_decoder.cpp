#include "platform/imaging/tiff_decoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "platform/imaging/tiff_samples.h"
#include "platform/imaging/tiff_stream.h"

namespace Vantra::Platform {
namespace {

constexpr std::size_t kSignatureBytes = 4;
constexpr BYTE kSignatures[][kSignatureBytes] = {
    {'I', 'I', 42, 0}, {'M', 'M', 0, 42}, {'I', 'I', 43, 0}, {'M', 'M', 0, 43}};

// Most entries of a directory, as the library has it.
constexpr UINT64 kMaximumEntries = 4096;

// Asks for a tag that has a value always.
template <class Value>
Value Tag(TIFF* tiff, std::uint32_t tag) {
  Value value{};
  TIFFGetFieldDefaulted(tiff, tag, &value);
  return value;
}

// Memory that stays untouched until it is written.
std::unique_ptr<BYTE[]> MakeBuffer(UINT64 size) { return std::unique_ptr<BYTE[]>(new BYTE[size]); }

// What finds the pages of a file. The library, which does that too, has no limit to its liking and
// takes longer the more there are.
class PageList {
 public:
  PageList(StreamReader& stream, UINT64 size) : stream_(stream), size_(size) {}

  HRESULT Read(std::vector<UINT64>* pages) {
    std::array<BYTE, kSignatureBytes> start{};
    if (stream_.Read(start.data(), start.size()) != start.size()) return Cause();
    big_endian_ = start[0] == 'M';
    big_ = start[big_endian_ ? 3 : 2] == 43;
    if (big_) {
      const std::optional<UINT64> offset_size = ReadNumber(2);
      const std::optional<UINT64> zero = ReadNumber(2);
      if (!zero) return Cause();
      if (*offset_size != 8 || *zero != 0) return WINCODEC_ERR_BADHEADER;
    }
    std::optional<UINT64> next = ReadNumber(big_ ? 8 : 4);
    if (!next || *next == 0) return Cause();
    while (next && *next != 0) {
      if (pages->size() == WIC_MAXIMUM_FRAMES) return WINCODEC_ERR_BADHEADER;
      pages->push_back(*next);
      next = Follow(*next);
    }
    return stream_.Failure();
  }

 private:
  HRESULT Cause() const {
    return FAILED(stream_.Failure()) ? stream_.Failure() : WINCODEC_ERR_BADHEADER;
  }

  // Where the directory after the one at `offset` lies: 0 behind the last, nothing when it cannot
  // be told.
  std::optional<UINT64> Follow(UINT64 offset) {
    if (offset >= size_) return std::nullopt;
    stream_.Seek(offset);
    const std::optional<UINT64> entries = ReadNumber(big_ ? 8 : 2);
    if (!entries || *entries == 0 || *entries > kMaximumEntries) return std::nullopt;
    stream_.Seek(stream_.Position() + *entries * (big_ ? 20 : 12));
    return ReadNumber(big_ ? 8 : 4);
  }

  std::optional<UINT64> ReadNumber(std::size_t size) {
    std::array<BYTE, 8> bytes{};
    if (stream_.Read(bytes.data(), size) != size) return std::nullopt;
    UINT64 value = 0;
    for (std::size_t i = 0; i < size; ++i) {
      value = value << 8 | bytes[big_endian_ ? i : size - 1 - i];
    }
    return value;
  }

  StreamReader& stream_;
  UINT64 size_;
  bool big_endian_ = false;
  bool big_ = false;
};

class TiffReader : public PictureReader {
 public:
  TiffReader(StreamReader& stream, UINT64 size) : stream_(stream), size_(size) {}

  HRESULT Open(UINT64 directory);
  PixelLayout Layout() const override {
    const bool premultiplied = !by_library_ && format_.premultiplied;
    const bool opaque = by_library_ ? image_.alpha == 0 : !format_.alpha.has_value();
    return {.blue_first = true, .premultiplied = premultiplied || by_library_, .opaque = opaque};
  }
  HRESULT ReadRow(BYTE* row) override;
  HRESULT Finish() override { return S_OK; }
  ~TiffReader() override {
    if (by_library_) TIFFRGBAImageEnd(&image_);
  }

 private:
  HRESULT OpenHandle(UINT64 directory, TIFF** tiff);
  HRESULT ReadColour(std::optional<std::uint16_t> photometric, std::uint16_t compression);
  HRESULT ReadSampleKind();
  HRESULT ReadPalette();
  void ReadAlpha();
  HRESULT OpenByLibrary();
  HRESULT OpenRows(UINT64 directory);
  HRESULT OpenTiles();
  HRESULT CheckBand(UINT64 rows, UINT64 stored_bytes);

  HRESULT ReadStored(BYTE* row);
  HRESULT ReadTiles();
  HRESULT ReadByLibrary();

  // The cause of a failure: `otherwise`, unless it lies outside the file's content.
  HRESULT Cause(HRESULT otherwise) const {
    return FAILED(stream_.Failure()) ? stream_.Failure() : otherwise;
  }

  TIFF* tiff() const { return handles_.front().get(); }

  StreamReader& stream_;
  UINT64 size_;
  std::vector<std::unique_ptr<TiffSource>> sources_;
  // The one that the header was read with. A picture of strips in planes has a handle for each
  // plane, so that each is decoded from its start to its end.
  std::vector<TiffHandle> handles_;
  TiffFormat format_;
  std::optional<TiffSamples> samples_;
  std::vector<std::uint16_t> planes_;  // in use
  std::vector<std::unique_ptr<BYTE[]>> buffers_;
  bool by_library_ = false;
  TIFFRGBAImage image_{};

  UINT next_row_ = 0;
  // Pixels of the rows that were decoded together: a row of tiles, or what the library converts.
  std::unique_ptr<BYTE[]> band_;
  UINT band_rows_ = 0;  // 0 when rows come one by one
  UINT tile_width_ = 0;
};

HRESULT TiffReader::OpenHandle(UINT64 directory, TIFF** tiff) {
  stream_.Rewind();
  sources_.push_back(std::make_unique<TiffSource>(TiffSource{stream_, size_}));
  TiffHandle handle = OpenTiffSource(*sources_.back(), kMaximumTiffAllocation);
  if (handle == nullptr || TIFFSetSubDirectory(handle.get(), directory) != 1) {
    return Cause(WINCODEC_ERR_BADHEADER);
  }
  *tiff = handle.get();
  handles_.push_back(std::move(handle));
  return S_OK;
}

HRESULT TiffReader::Open(UINT64 directory) {
  TIFF* tiff = nullptr;
  HRESULT result = OpenHandle(directory, &tiff);
  if (FAILED(result)) return result;
  result = SetSize(Tag<std::uint32_t>(tiff, TIFFTAG_IMAGEWIDTH),
                   Tag<std::uint32_t>(tiff, TIFFTAG_IMAGELENGTH));
  if (FAILED(result)) return result;
  const auto compression = Tag<std::uint16_t>(tiff, TIFFTAG_COMPRESSION);
  // What the library reads the withdrawn form of JPEG with follows offsets all over the file.
  if (compression == COMPRESSION_OJPEG || TIFFIsCODECConfigured(compression) == 0) {
    return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  }
  format_.samples = Tag<std::uint16_t>(tiff, TIFFTAG_SAMPLESPERPIXEL);
  if (format_.samples == 0 || format_.samples > kMaximumTiffSamples ||
      Tag<std::uint32_t>(tiff, TIFFTAG_IMAGEDEPTH) != 1) {
    return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  }
  format_.planes = format_.samples > 1 &&
                   Tag<std::uint16_t>(tiff, TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;

  std::optional<std::uint16_t> photometric = std::uint16_t{};
  if (TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &*photometric) != 1) photometric.reset();
  result = ReadColour(photometric, compression);
  if (FAILED(result)) return result;
  if (by_library_) {
    by_library_ = false;
    return OpenByLibrary();
  }

  result = ReadSampleKind();
  if (FAILED(result)) return result;
  ReadAlpha();
  for (unsigned plane = 0; plane < (format_.planes ? format_.Colours() : 1u); ++plane) {
    planes_.push_back(static_cast<std::uint16_t>(plane));
  }
  if (format_.planes && format_.alpha)
    planes_.push_back(static_cast<std::uint16_t>(*format_.alpha));
  samples_.emplace(format_);
  return TIFFIsTiled(tiff) != 0 ? OpenTiles() : OpenRows(directory);
}

HRESULT TiffReader::ReadColour(std::optional<std::uint16_t> photometric,
                               std::uint16_t compression) {
  const bool fax = compression == COMPRESSION_CCITTRLE || compression == COMPRESSION_CCITTRLEW ||
                   compression == COMPRESSION_CCITTFAX3 || compression == COMPRESSION_CCITTFAX4;
  if (!photometric) {
    photometric = fax                   ? PHOTOMETRIC_MINISWHITE
                  : format_.samples < 3 ? PHOTOMETRIC_MINISBLACK
                                        : PHOTOMETRIC_RGB;
  }
  switch (*photometric) {
    case PHOTOMETRIC_MINISWHITE:
      format_.white_is_zero = true;
      break;
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MASK:
      break;
    case PHOTOMETRIC_PALETTE:
      format_.colour = TiffColour::kPalette;
      break;
    case PHOTOMETRIC_RGB:
      format_.colour = TiffColour::kRgb;
      break;
    case PHOTOMETRIC_SEPARATED:
      if (Tag<std::uint16_t>(tiff(), TIFFTAG_INKSET) != INKSET_CMYK) {
        return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
      }
      format_.colour = TiffColour::kCmyk;
      break;
    case PHOTOMETRIC_YCBCR:
      if (compression == COMPRESSION_JPEG && !format_.planes) {
        TIFFSetField(tiff(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        format_.colour = TiffColour::kRgb;
        break;
      }
      by_library_ = true;
      return S_OK;
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_LOGL:
    case PHOTOMETRIC_LOGLUV:
      by_library_ = true;
      return S_OK;
    default:
      return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  }
  return format_.samples >= format_.Colours() ? S_OK : WINCODEC_ERR_BADHEADER;
}

HRESULT TiffReader::ReadSampleKind() {
  format_.bits = Tag<std::uint16_t>(tiff(), TIFFTAG_BITSPERSAMPLE);
  switch (Tag<std::uint16_t>(tiff(), TIFFTAG_SAMPLEFORMAT)) {
    case SAMPLEFORMAT_UINT:
    case SAMPLEFORMAT_VOID:
      format_.kind = TiffSampleKind::kUnsigned;
      break;
    case SAMPLEFORMAT_INT:
      format_.kind = TiffSampleKind::kSigned;
      break;
    case SAMPLEFORMAT_IEEEFP:
      format_.kind = TiffSampleKind::kFloat;
      break;
    default:
      return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  }
  const unsigned bits = format_.bits;
  const bool readable = format_.kind == TiffSampleKind::kFloat
                            ? bits == 16 || bits == 32 || bits == 64
                            : (bits >= 1 && bits <= 16) || bits == 32;
  if (!readable) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  return format_.colour == TiffColour::kPalette ? ReadPalette() : S_OK;
}

HRESULT TiffReader::ReadPalette() {
  if (format_.kind != TiffSampleKind::kUnsigned || format_.bits > 16) {
    return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  }
  std::array<std::uint16_t*, 3> channels{};
  if (TIFFGetField(tiff(), TIFFTAG_COLORMAP, &channels[0], &channels[1], &channels[2]) != 1) {
    return WINCODEC_ERR_BADHEADER;
  }
  format_.palette.resize(std::size_t{1} << format_.bits);
  // Some writers give bytes where the format has 16 bits.
  unsigned greatest = 0;
  for (const std::uint16_t* channel : channels) {
    greatest =
        std::max<unsigned>(greatest, *std::max_element(channel, channel + format_.palette.size()));
  }
  const unsigned full = greatest < 256 ? 255 : 65535;
  for (std::size_t i = 0; i < format_.palette.size(); ++i) {
    for (std::size_t channel = 0; channel < 3; ++channel) {
      const unsigned value = channels[channel][i];
      format_.palette[i][channel] = static_cast<BYTE>((value * 255 + full / 2) / full);
    }
  }
  return S_OK;
}

void TiffReader::ReadAlpha() {
  std::uint16_t count = 0;
  std::uint16_t* kinds = nullptr;
  if (TIFFGetFieldDefaulted(tiff(), TIFFTAG_EXTRASAMPLES, &count, &kinds) != 1) return;
  const unsigned colours = format_.Colours();
  for (unsigned i = 0; i < count && colours + i < format_.samples; ++i) {
    if (kinds[i] != EXTRASAMPLE_ASSOCALPHA && kinds[i] != EXTRASAMPLE_UNASSALPHA) continue;
    format_.alpha = colours + i;
    // Inks and inverted grey would have to be multiplied as what they stand for.
    format_.premultiplied = kinds[i] == EXTRASAMPLE_ASSOCALPHA &&
                            (format_.colour == TiffColour::kRgb ||
                             (format_.colour == TiffColour::kGrey && !format_.white_is_zero));
    return;
  }
}

HRESULT TiffReader::CheckBand(UINT64 rows, UINT64 stored_bytes) {
  band_rows_ = static_cast<UINT>(std::min<UINT64>(rows, Height()));
  const UINT64 band_bytes = UINT64{Width()} * kBytesPerPixel * band_rows_;
  const bool fits =
      stored_bytes <= kMaximumTiffBlockBytes && stored_bytes + band_bytes <= kMaximumTiffBlockBytes;
  return fits ? S_OK : WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
}

HRESULT TiffReader::OpenByLibrary() {
  const bool tiled = TIFFIsTiled(tiff()) != 0;
  const UINT64 rows = Tag<std::uint32_t>(tiff(), tiled ? TIFFTAG_TILELENGTH : TIFFTAG_ROWSPERSTRIP);
  if (rows == 0) return WINCODEC_ERR_BADHEADER;
  const HRESULT result = CheckBand(rows, tiled ? TIFFTileSize64(tiff()) : TIFFStripSize64(tiff()));
  if (FAILED(result)) return result;
  std::array<char, 1024> message{};
  if (TIFFRGBAImageOK(tiff(), message.data()) != 1 ||
      TIFFRGBAImageBegin(&image_, tiff(), 1, message.data()) != 1) {
    return Cause(WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
  }
  by_library_ = true;
  image_.orientation = ORIENTATION_TOPLEFT;
  image_.req_orientation = ORIENTATION_TOPLEFT;
  return S_OK;
}

HRESULT TiffReader::OpenRows(UINT64 directory) {
  const UINT64 row_bytes = TIFFScanlineSize64(tiff());
  const UINT64 samples = UINT64{Width()} * (format_.planes ? 1 : format_.samples);
  if (row_bytes > kMaximumTiffBlockBytes / planes_.size()) return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
  if (row_bytes < (samples * format_.bits + 7) / 8) return WINCODEC_ERR_BADHEADER;
  for (std::size_t i = 0; i < planes_.size(); ++i) {
    buffers_.push_back(std::make_unique<BYTE[]>(row_bytes + TiffSamples::kPadding));
    if (i == 0) continue;
    TIFF* tiff = nullptr;
    const HRESULT result = OpenHandle(directory, &tiff);
    if (FAILED(result)) return result;
  }
  return S_OK;
}

HRESULT TiffReader::OpenTiles() {
  tile_width_ = Tag<std::uint32_t>(tiff(), TIFFTAG_TILEWIDTH);
  const auto tile_height = Tag<std::uint32_t>(tiff(), TIFFTAG_TILELENGTH);
  if (tile_width_ == 0 || tile_height == 0 || Tag<std::uint32_t>(tiff(), TIFFTAG_TILEDEPTH) != 1) {
    return WINCODEC_ERR_BADHEADER;
  }
  const UINT64 samples = UINT64{tile_width_} * (format_.planes ? 1 : format_.samples);
  const UINT64 row_bytes = TIFFTileRowSize64(tiff());
  const UINT64 tile_bytes = TIFFTileSize64(tiff());
  if (tile_bytes > kMaximumTiffBlockBytes) return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
  if (row_bytes < (samples * format_.bits + 7) / 8 || tile_bytes < row_bytes * tile_height) {
    return WINCODEC_ERR_BADHEADER;
  }
  const HRESULT result = CheckBand(tile_height, tile_bytes * planes_.size());
  if (FAILED(result)) return result;
  for (std::size_t i = 0; i < planes_.size(); ++i) {
    buffers_.push_back(std::make_unique<BYTE[]>(tile_bytes + TiffSamples::kPadding));
  }
  return S_OK;
}

HRESULT TiffReader::ReadRow(BYTE* row) {
  if (band_rows_ == 0) return ReadStored(row);
  const UINT in_band = next_row_ % band_rows_;
  if (in_band == 0) {
    const HRESULT result = by_library_ ? ReadByLibrary() : ReadTiles();
    if (FAILED(result)) return result;
  }
  const std::size_t row_bytes = Width() * kBytesPerPixel;
  std::memcpy(row, &band_[in_band * row_bytes], row_bytes);
  ++next_row_;
  return S_OK;
}

HRESULT TiffReader::ReadStored(BYTE* row) {
  std::array<const BYTE*, 5> rows{};
  for (std::size_t i = 0; i < planes_.size(); ++i) {
    if (TIFFReadScanline(handles_[i].get(), buffers_[i].get(), next_row_, planes_[i]) != 1) {
      return Cause(WINCODEC_ERR_BADIMAGE);
    }
    rows[i] = buffers_[i].get();
  }
  samples_->Convert(rows, Width(), row);
  ++next_row_;
  return S_OK;
}

HRESULT TiffReader::ReadTiles() {
  const std::size_t row_bytes = Width() * kBytesPerPixel;
  if (band_ == nullptr) band_ = MakeBuffer(row_bytes * band_rows_);
  const auto stored_bytes = static_cast<std::size_t>(TIFFTileRowSize64(tiff()));
  const auto tile_bytes = static_cast<tmsize_t>(TIFFTileSize64(tiff()));
  const UINT rows = std::min(band_rows_, Height() - next_row_);
  for (UINT x = 0; x < Width(); x += std::min(tile_width_, Width() - x)) {
    for (std::size_t i = 0; i < planes_.size(); ++i) {
      const std::uint32_t tile = TIFFComputeTile(tiff(), x, next_row_, 0, planes_[i]);
      if (TIFFReadEncodedTile(tiff(), tile, buffers_[i].get(), tile_bytes) != tile_bytes) {
        return Cause(WINCODEC_ERR_BADIMAGE);
      }
    }
    const std::size_t count = std::min(tile_width_, Width() - x);
    for (UINT y = 0; y < rows; ++y) {
      std::array<const BYTE*, 5> stored{};
      for (std::size_t i = 0; i < planes_.size(); ++i) {
        stored[i] = buffers_[i].get() + y * stored_bytes;
      }
      samples_->Convert(stored, count, &band_[y * row_bytes + x * kBytesPerPixel]);
    }
  }
  return S_OK;
}

HRESULT TiffReader::ReadByLibrary() {
  const std::size_t row_bytes = Width() * kBytesPerPixel;
  if (band_ == nullptr) band_ = MakeBuffer(row_bytes * band_rows_);
  const UINT rows = std::min(band_rows_, Height() - next_row_);
  image_.row_offset = static_cast<int>(next_row_);
  auto* raster = reinterpret_cast<std::uint32_t*>(band_.get());
  if (TIFFRGBAImageGet(&image_, raster, Width(), rows) != 1) return Cause(WINCODEC_ERR_BADIMAGE);
  for (std::size_t i = 0; i < rows * row_bytes; i += kBytesPerPixel) {
    std::swap(band_[i], band_[i + 2]);
  }
  return S_OK;
}

class TiffFile final : public PictureFile {
 public:
  explicit TiffFile(StreamReader& stream) : stream_(stream) {}

  HRESULT Open() {
    const std::optional<UINT64> size = stream_.Size();
    if (!size) return WINCODEC_ERR_STREAMREAD;
    size_ = *size;
    stream_.Rewind();
    return PageList(stream_, size_).Read(&pages_);
  }

  UINT FrameCount() const override { return static_cast<UINT>(pages_.size()); }

  HRESULT OpenFrame(UINT index, std::unique_ptr<PictureReader>* reader) override {
    auto made = std::make_unique<TiffReader>(stream_, size_);
    const HRESULT result = made->Open(pages_[index]);
    if (SUCCEEDED(result)) *reader = std::move(made);
    return result;
  }

 private:
  StreamReader& stream_;
  UINT64 size_ = 0;
  std::vector<UINT64> pages_;  // where their directories lie
};

bool Recognises(std::span<const BYTE> start) {
  return std::any_of(std::begin(kSignatures), std::end(kSignatures),
                     [start](const auto& signature) { return BeginsWith(start, signature); });
}

HRESULT Open(StreamReader& stream, std::unique_ptr<PictureFile>* file) {
  auto made = std::make_unique<TiffFile>(stream);
  const HRESULT result = made->Open();
  if (SUCCEEDED(result)) *file = std::move(made);
  return result;
}

}  // namespace

const Coder kTiffCoder = {GUID_ContainerFormatTiff, Recognises, Open};

}  // namespace Vantra::Platform
