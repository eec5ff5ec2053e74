#include "platform/imaging/gif_decoder.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <gif_lib.h>

#include "platform/imaging/gif_index.h"
#include "platform/imaging/metadata_value.h"

namespace Vantra::Platform {
namespace {

struct Free {
  void operator()(BYTE* bytes) const { std::free(bytes); }
};

// What the library reads before a frame: a signature and a screen without palette.
constexpr BYTE kHead[] = {'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0, 0, 0};

class GifReader final : public PictureReader {
 public:
  GifReader(StreamReader& stream, const GifFrame& frame) : stream_(stream), frame_(frame) {}
  ~GifReader() override { DGifCloseFile(gif_, nullptr); }

  HRESULT Open(const GifIndex& index);
  // Colours are those of the palette or nothing, so they are premultiplied as they are.
  PixelLayout Layout() const override {
    return {.blue_first = true, .premultiplied = true, .opaque = !frame_.has_transparency};
  }
  HRESULT ReadRow(BYTE* row) override;
  HRESULT Finish() override { return damage_; }

 private:
  static int OnRead(GifFileType* gif, GifByteType* bytes, int size);

  HRESULT ReadColours(const GifIndex& index);
  void ReadInterlaced();
  bool ReadIndexes(BYTE* indexes) {
    return DGifGetLine(gif_, indexes, static_cast<int>(Width())) == GIF_OK;
  }

  // The cause of a failure: `otherwise`, unless it lies outside the file's content.
  HRESULT Cause(HRESULT otherwise) const {
    if (FAILED(stream_.Failure())) return stream_.Failure();
    const bool memory = gif_ != nullptr && gif_->Error == D_GIF_ERR_NOT_ENOUGH_MEM;
    return memory ? E_OUTOFMEMORY : otherwise;
  }

  StreamReader& stream_;
  const GifFrame& frame_;
  std::size_t head_read_ = 0;
  GifFileType* gif_ = nullptr;
  std::array<std::array<BYTE, kBytesPerPixel>, 256> colours_{};
  // A row, or all of an interlaced frame.
  std::unique_ptr<BYTE, Free> indexes_;
  std::vector<bool> rows_present_;  // of an interlaced frame
  UINT next_row_ = 0;
};

int GifReader::OnRead(GifFileType* gif, GifByteType* bytes, int size) {
  auto* reader = static_cast<GifReader*>(gif->UserData);
  auto left = static_cast<std::size_t>(size);
  const std::size_t head = std::min(left, sizeof kHead - reader->head_read_);
  std::memcpy(bytes, kHead + reader->head_read_, head);
  reader->head_read_ += head;
  left -= head;
  const std::size_t read = reader->stream_.Read(bytes + head, left);
  // The end of the file ends the frame's sub-blocks too, which is no damage behind the last pixel.
  if (read == 0 && left == 1 && SUCCEEDED(reader->stream_.Failure())) {
    bytes[head] = 0;
    return size;
  }
  return static_cast<int>(head + read);
}

HRESULT GifReader::Open(const GifIndex& index) {
  HRESULT result = SetSize(frame_.width, frame_.height);
  if (FAILED(result)) return result;
  stream_.Rewind();
  result = ReadColours(index);
  if (FAILED(result)) return result;
  stream_.Seek(frame_.at);
  int error = 0;
  gif_ = DGifOpen(this, OnRead, &error);
  if (gif_ == nullptr) return E_OUTOFMEMORY;
  GifRecordType kind = UNDEFINED_RECORD_TYPE;
  const bool found = DGifGetRecordType(gif_, &kind) == GIF_OK && kind == IMAGE_DESC_RECORD_TYPE &&
                     DGifGetImageDesc(gif_) == GIF_OK;
  if (!found || static_cast<UINT>(gif_->Image.Width) != Width() ||
      static_cast<UINT>(gif_->Image.Height) != Height()) {
    return Cause(WINCODEC_ERR_BADHEADER);
  }
  return S_OK;
}

HRESULT GifReader::ReadColours(const GifIndex& index) {
  std::vector<WICColor> palette;
  const HRESULT result = ReadGifPalette(stream_, index, frame_, &palette);
  if (FAILED(result)) return result;
  // A file without colours leaves them to the reader: the first two black and white.
  if (palette.empty()) palette = {0xFF000000, 0xFFFFFFFF};
  palette.resize(colours_.size(), 0xFF000000);
  if (frame_.has_transparency) palette[frame_.transparent_index] = 0;
  for (std::size_t i = 0; i < colours_.size(); ++i) {
    for (unsigned channel = 0; channel < kBytesPerPixel; ++channel) {
      colours_[i][channel] = static_cast<BYTE>(palette[i] >> 8 * channel);
    }
  }
  return S_OK;
}

HRESULT GifReader::ReadRow(BYTE* row) {
  const bool interlaced = gif_->Image.Interlace;
  if (indexes_ == nullptr) {
    // Zeroed pages cost nothing until a row is written, so a short file that claims a large size
    // takes only what it fills.
    indexes_.reset(static_cast<BYTE*>(std::calloc(interlaced ? Height() : 1, Width())));
    if (indexes_ == nullptr) return E_OUTOFMEMORY;
    if (interlaced) ReadInterlaced();
  }
  const BYTE* indexes = indexes_.get();
  if (interlaced) {
    const UINT y = next_row_++;
    if (!rows_present_[y]) {
      std::memset(row, 0, Width() * kBytesPerPixel);
      return S_OK;
    }
    indexes += std::size_t{y} * Width();
  } else if (!ReadIndexes(indexes_.get())) {
    return Cause(WINCODEC_ERR_BADIMAGE);
  }
  for (UINT x = 0; x < Width(); ++x) {
    std::memcpy(row + x * kBytesPerPixel, colours_[indexes[x]].data(), kBytesPerPixel);
  }
  return S_OK;
}

void GifReader::ReadInterlaced() {
  rows_present_.resize(Height());
  ForEachInterlacedRow(Height(), [this](UINT y) {
    rows_present_[y] = ReadIndexes(indexes_.get() + std::size_t{y} * Width());
    if (!rows_present_[y]) damage_ = Cause(WINCODEC_ERR_BADIMAGE);
    return SUCCEEDED(damage_);
  });
}

class GifFile final : public PictureFile {
 public:
  explicit GifFile(StreamReader& stream) : stream_(stream) {}

  HRESULT Open() { return ReadGifIndex(stream_, &index_); }

  UINT FrameCount() const override { return static_cast<UINT>(index_.frames.size()); }

  HRESULT OpenFrame(UINT index, std::unique_ptr<PictureReader>* reader) override {
    auto made = std::make_unique<GifReader>(stream_, index_.frames[index]);
    const HRESULT result = made->Open(index_);
    if (SUCCEEDED(result)) *reader = std::move(made);
    return result;
  }

  bool HasMetadata() const override { return true; }
  HRESULT ReadMetadata(std::wstring_view name, PROPVARIANT* value) override;
  HRESULT ReadFrameMetadata(UINT index, std::wstring_view name, PROPVARIANT* value) override;

  HRESULT ReadPalette(std::vector<WICColor>* palette) override {
    *palette = index_.palette;
    return S_OK;
  }

  HRESULT ReadFramePalette(UINT index, std::vector<WICColor>* palette) override {
    // A frame may be half read.
    const UINT64 position = stream_.Position();
    const HRESULT result = ReadGifPalette(stream_, index_, index_.frames[index], palette);
    stream_.Seek(position);
    return result;
  }

 private:
  StreamReader& stream_;
  GifIndex index_;
};

HRESULT GifFile::ReadMetadata(std::wstring_view name, PROPVARIANT* value) {
  if (name == L"/logscrdesc/Width") {
    *value = MakeWordValue(index_.width);
  } else if (name == L"/logscrdesc/Height") {
    *value = MakeWordValue(index_.height);
  } else if (name == L"/logscrdesc/GlobalColorTableFlag") {
    *value = MakeBoolValue(index_.has_palette);
  } else if (name == L"/logscrdesc/BackgroundColorIndex") {
    *value = MakeByteValue(index_.background);
  } else if (name == L"/logscrdesc/PixelAspectRatio") {
    *value = MakeByteValue(index_.aspect);
  } else if (name == L"/appext/application" && index_.has_application) {
    *value = MakeBytesValue(index_.application);
  } else if (name == L"/appext/data" && index_.has_application) {
    *value = MakeBytesValue(index_.application_data);
  } else {
    return WINCODEC_ERR_PROPERTYNOTFOUND;
  }
  return S_OK;
}

HRESULT GifFile::ReadFrameMetadata(UINT index, std::wstring_view name, PROPVARIANT* value) {
  const GifFrame& frame = index_.frames[index];
  if (name == L"/imgdesc/Left") {
    *value = MakeWordValue(frame.left);
  } else if (name == L"/imgdesc/Top") {
    *value = MakeWordValue(frame.top);
  } else if (name == L"/imgdesc/Width") {
    *value = MakeWordValue(frame.width);
  } else if (name == L"/imgdesc/Height") {
    *value = MakeWordValue(frame.height);
  } else if (name == L"/grctlext/Delay" && frame.has_control) {
    *value = MakeWordValue(frame.delay);
  } else if (name == L"/grctlext/Disposal" && frame.has_control) {
    *value = MakeByteValue(frame.disposal);
  } else if (name == L"/grctlext/TransparencyFlag" && frame.has_control) {
    *value = MakeBoolValue(frame.has_transparency);
  } else {
    return WINCODEC_ERR_PROPERTYNOTFOUND;
  }
  return S_OK;
}

bool Recognises(std::span<const BYTE> start) {
  constexpr BYTE kFirst[] = {'G', 'I', 'F', '8', '7', 'a'};
  constexpr BYTE kSecond[] = {'G', 'I', 'F', '8', '9', 'a'};
  return BeginsWith(start, kFirst) || BeginsWith(start, kSecond);
}

HRESULT Open(StreamReader& stream, std::unique_ptr<PictureFile>* file) {
  auto made = std::make_unique<GifFile>(stream);
  const HRESULT result = made->Open();
  if (SUCCEEDED(result)) *file = std::move(made);
  return result;
}

}  // namespace

const Coder kGifCoder = {GUID_ContainerFormatGif, Recognises, Open};

}  // namespace Vantra::Platform
