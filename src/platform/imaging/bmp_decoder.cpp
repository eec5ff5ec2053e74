#include "platform/imaging/bmp_decoder.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "platform/imaging/bmp_header.h"
#include "platform/imaging/bmp_runs.h"

namespace Vantra::Platform {
namespace {

constexpr BYTE kSignature[] = {'B', 'M'};

// Rows of a file from bottom to top are read so many bytes at a time.
constexpr std::size_t kBandBytes = std::size_t{1} << 17;

struct Free {
  void operator()(BYTE* bytes) const { std::free(bytes); }
};

class BmpReader final : public PictureReader {
 public:
  explicit BmpReader(StreamReader& stream) : stream_(stream) {}

  HRESULT Open() {
    const HRESULT result = ReadBmpHeader(stream_, &header_);
    if (FAILED(result)) return result;
    stored_bytes_ = (std::size_t{header_.width} * header_.bits + 31) / 32 * 4;
    return SetSize(header_.width, header_.height);
  }
  PixelLayout Layout() const override {
    return {.blue_first = true, .premultiplied = false, .opaque = !header_.packed.HasAlpha()};
  }
  HRESULT ReadRow(BYTE* row) override;
  HRESULT Finish() override { return damage_; }

 private:
  HRESULT ReadRuns();
  void ReadBand();
  void ExpandIndices(const BYTE* stored, UINT bits, BYTE* row) const;

  HRESULT Failure() const {
    return FAILED(stream_.Failure()) ? stream_.Failure() : WINCODEC_ERR_BADIMAGE;
  }

  StreamReader& stream_;
  BmpHeader header_;
  std::size_t stored_bytes_ = 0;      // of a row, padding included
  std::unique_ptr<BYTE, Free> runs_;  // the indices of all rows, in the file's order
  std::vector<BYTE> band_;            // rows as they are stored
  UINT band_from_ = 0;                // in the file's order
  UINT band_rows_ = 0;                // those that the file has
  UINT next_row_ = 0;
};

HRESULT BmpReader::ReadRow(BYTE* row) {
  const bool runs = header_.storage == BmpHeader::Storage::kRuns;
  if (next_row_ == 0) {
    stream_.Seek(header_.pixels_at);
    const HRESULT result = runs ? ReadRuns() : S_OK;
    if (FAILED(result)) return result;
  }
  const UINT line = header_.top_down ? next_row_ : Height() - 1 - next_row_;
  ++next_row_;
  if (runs) {
    ExpandIndices(runs_.get() + std::size_t{line} * Width(), 8, row);
    return S_OK;
  }
  const BYTE* stored = nullptr;
  if (header_.top_down) {
    band_.resize(stored_bytes_);
    if (stream_.Read(band_.data(), stored_bytes_) != stored_bytes_) return Failure();
    stored = band_.data();
  } else {
    if (next_row_ == 1 || line < band_from_) ReadBand();
    if (line - band_from_ < band_rows_) stored = &band_[(line - band_from_) * stored_bytes_];
  }
  if (stored == nullptr) {
    std::memset(row, 0, Width() * kBytesPerPixel);
  } else if (header_.storage == BmpHeader::Storage::kPacked) {
    header_.packed.Expand(stored, Width(), row);
  } else {
    ExpandIndices(stored, header_.bits, row);
  }
  return S_OK;
}

// Reads the rows up to and including the one that was asked for last.
void BmpReader::ReadBand() {
  const UINT end = Height() - next_row_ + 1;
  const auto most = static_cast<UINT>(std::max(kBandBytes / stored_bytes_, std::size_t{1}));
  const UINT rows = std::min(most, end);
  band_from_ = end - rows;
  band_.resize(rows * stored_bytes_);
  stream_.Seek(header_.pixels_at + UINT64{band_from_} * stored_bytes_);
  const std::size_t size = stream_.Read(band_.data(), band_.size());
  band_rows_ = static_cast<UINT>(size / stored_bytes_);
  if (band_rows_ < rows) damage_ = Failure();
}

HRESULT BmpReader::ReadRuns() {
  // Zeroed pages cost nothing until they are written, so a short file that claims a large size
  // takes only what it fills.
  runs_.reset(static_cast<BYTE*>(std::calloc(Height(), Width())));
  if (runs_ == nullptr) return E_OUTOFMEMORY;
  damage_ = ReadBmpRuns(stream_, header_.bits, Width(), Height(), runs_.get());
  return S_OK;
}

void BmpReader::ExpandIndices(const BYTE* stored, UINT bits, BYTE* row) const {
  for (UINT x = 0; x < Width(); ++x) {
    const UINT bit = x * bits;
    const UINT index = stored[bit / 8] >> (8 - bits - bit % 8) & ((1u << bits) - 1);
    std::memcpy(row + x * kBytesPerPixel, &header_.palette[index], kBytesPerPixel);
  }
}

bool Recognises(std::span<const BYTE> start) { return BeginsWith(start, kSignature); }

}  // namespace

const Coder kBmpCoder = {GUID_ContainerFormatBmp, Recognises, OpenSinglePicture<BmpReader>};

}  // namespace Vantra::Platform
