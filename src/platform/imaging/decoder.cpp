#include "platform/imaging/decoder.h"

#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/com/com_object.h"
#include "platform/com/guard.h"
#include "platform/imaging/bmp_decoder.h"
#include "platform/imaging/converting_source.h"
#include "platform/imaging/dds_decoder.h"
#include "platform/imaging/gif_decoder.h"
#include "platform/imaging/jpeg_decoder.h"
#include "platform/imaging/jxr_decoder.h"
#include "platform/imaging/picture_file.h"
#include "platform/imaging/png_decoder.h"
#include "platform/imaging/tiff_decoder.h"
#include "platform/imaging/webp_decoder.h"

namespace Vantra::Platform {
namespace {

const Coder* const kCoders[] = {
    &kPngCoder,   //
    &kJpegCoder,  //
    &kBmpCoder,   //
    &kDdsCoder,   //
    &kGifCoder,   //
    &kTiffCoder,  //
    &kWebpCoder,  //
    &kJxrCoder,   //
};

const Coder* FindCoder(std::span<const BYTE> start) {
  for (const Coder* coder : kCoders) {
    if (coder->recognises(start)) return coder;
  }
  return nullptr;
}

HRESULT FillPalette(std::vector<WICColor> colours, IWICPalette* palette) {
  if (colours.empty()) return WINCODEC_ERR_PALETTEUNAVAILABLE;
  return palette->InitializeCustom(colours.data(), static_cast<UINT>(colours.size()));
}

// One frame as its header describes it.
struct FrameHeader {
  UINT index;
  UINT width;
  UINT height;
  PixelLayout layout;
  friend bool operator==(const FrameHeader&, const FrameHeader&) = default;
};

class Decoder final : public ComObject<IWICBitmapDecoder> {
 public:
  explicit Decoder(IStream* stream) : stream_(stream) {}

  HRESULT Open();
  HRESULT GetContainerFormat(GUID* format) override;
  HRESULT GetFrameCount(UINT* count) override;
  HRESULT GetFrame(UINT index, IWICBitmapFrameDecode** frame) override;
  HRESULT CopyPalette(IWICPalette* palette) override;
  HRESULT GetMetadataQueryReader(IWICMetadataQueryReader** reader) override;

  PictureFile& File() { return *file_; }
  HRESULT CopyPixels(const FrameHeader& frame, const WICRect* rect, UINT stride, UINT size,
                     BYTE* buffer, PixelLayout layout);

 private:
  HRESULT OpenReader(UINT index);
  FrameHeader Header() const {
    return {reader_frame_, reader_->Width(), reader_->Height(), reader_->Layout()};
  }
  HRESULT PrepareFor(const FrameHeader& frame, UINT row);
  HRESULT ReadRow(BYTE* row);
  HRESULT ReadArea(const FrameHeader& frame, const Area& area, UINT stride, BYTE* buffer,
                   PixelLayout layout, UINT* rows_done);

  StreamReader stream_;
  const Coder* coder_ = nullptr;
  std::unique_ptr<PictureFile> file_;
  // Of the frame `reader_frame_`, before `next_row_`, so that a caller who copies bands from top to
  // bottom has the frame decoded once. Null when the next copy begins anew.
  std::unique_ptr<PictureReader> reader_;
  UINT reader_frame_ = 0;
  UINT next_row_ = 0;
  // From where on a frame is known not to decode, so that a caller who goes on copying bands does
  // not have it tried for each of them.
  std::optional<UINT> broken_frame_;
  UINT broken_row_ = 0;
};

// What a decoder, or one of its frames, has to tell.
class MetadataReader final : public ComObject<IWICMetadataQueryReader> {
 public:
  static HRESULT Make(Decoder* decoder, bool of_frame, UINT frame,
                      IWICMetadataQueryReader** reader) {
    if (reader == nullptr) return E_POINTER;
    *reader = nullptr;
    if (!decoder->File().HasMetadata()) return WINCODEC_ERR_UNSUPPORTEDOPERATION;
    *reader = MakeCom<MetadataReader>(decoder, of_frame, frame).Detach();
    return *reader == nullptr ? E_OUTOFMEMORY : S_OK;
  }

  MetadataReader(Decoder* decoder, bool of_frame, UINT frame)
      : decoder_(decoder), of_frame_(of_frame), frame_(frame) {}

  HRESULT GetMetadataByName(LPCWSTR name, PROPVARIANT* value) override {
    PROPVARIANT found{};
    if (value != nullptr) PropVariantInit(value);
    if (name == nullptr) return E_INVALIDARG;
    const HRESULT result = GuardMemory([&] {
      PictureFile& file = decoder_->File();
      return of_frame_ ? file.ReadFrameMetadata(frame_, name, &found)
                       : file.ReadMetadata(name, &found);
    });
    if (SUCCEEDED(result) && value != nullptr) std::swap(*value, found);
    PropVariantClear(&found);
    return result;
  }

 private:
  CComPtr<Decoder> decoder_;
  bool of_frame_;
  UINT frame_;
};

class Frame final
    : public ComObject<Implements<IWICBitmapFrameDecode, IWICBitmapSource>, IConvertingSource> {
 public:
  Frame(Decoder* decoder, const FrameHeader& header) : decoder_(decoder), header_(header) {}

  HRESULT GetSize(UINT* width, UINT* height) override {
    if (width == nullptr || height == nullptr) return E_POINTER;
    *width = header_.width;
    *height = header_.height;
    return S_OK;
  }

  HRESULT GetPixelFormat(WICPixelFormatGUID* format) override {
    if (format == nullptr) return E_POINTER;
    *format = FormatOf(header_.layout);
    return S_OK;
  }

  HRESULT CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* buffer) override {
    return CopyPixelsAs(rect, stride, size, buffer, header_.layout);
  }

  PixelLayout Layout() override { return header_.layout; }

  HRESULT CopyPixelsAs(const WICRect* rect, UINT stride, UINT size, BYTE* buffer,
                       PixelLayout layout) override {
    return GuardMemory(
        [&] { return decoder_->CopyPixels(header_, rect, stride, size, buffer, layout); });
  }

  HRESULT CopyPalette(IWICPalette* palette) override {
    if (palette == nullptr) return E_INVALIDARG;
    return GuardMemory([&] {
      std::vector<WICColor> colours;
      const HRESULT result = decoder_->File().ReadFramePalette(header_.index, &colours);
      return FAILED(result) ? result : FillPalette(std::move(colours), palette);
    });
  }

  HRESULT GetMetadataQueryReader(IWICMetadataQueryReader** reader) override {
    return MetadataReader::Make(decoder_, true, header_.index, reader);
  }

 private:
  CComPtr<Decoder> decoder_;
  FrameHeader header_;
};

HRESULT Decoder::Open() {
  const HRESULT result = stream_.Open();
  if (FAILED(result)) return result;
  std::array<BYTE, kRecognisedBytes> start{};
  const std::size_t size = stream_.Read(start.data(), start.size());
  if (FAILED(stream_.Failure())) return stream_.Failure();
  coder_ = FindCoder({start.data(), size});
  if (coder_ == nullptr) return WINCODEC_ERR_UNKNOWNIMAGEFORMAT;
  stream_.Rewind();
  return coder_->open(stream_, &file_);
}

HRESULT Decoder::GetContainerFormat(GUID* format) {
  if (format == nullptr) return E_POINTER;
  *format = coder_->container;
  return S_OK;
}

HRESULT Decoder::GetFrameCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = file_->FrameCount();
  return S_OK;
}

HRESULT Decoder::GetFrame(UINT index, IWICBitmapFrameDecode** frame) {
  if (frame == nullptr) return E_POINTER;
  *frame = nullptr;
  if (index >= file_->FrameCount()) return WINCODEC_ERR_FRAMEMISSING;
  return GuardMemory([&] {
    if (reader_ == nullptr || reader_frame_ != index) {
      const HRESULT result = OpenReader(index);
      if (FAILED(result)) return result;
    }
    *frame = MakeCom<Frame>(this, Header()).Detach();
    return *frame == nullptr ? E_OUTOFMEMORY : S_OK;
  });
}

HRESULT Decoder::CopyPalette(IWICPalette* palette) {
  if (palette == nullptr) return E_INVALIDARG;
  return GuardMemory([&] {
    std::vector<WICColor> colours;
    const HRESULT result = file_->ReadPalette(&colours);
    return FAILED(result) ? result : FillPalette(std::move(colours), palette);
  });
}

HRESULT Decoder::GetMetadataQueryReader(IWICMetadataQueryReader** reader) {
  return MetadataReader::Make(this, false, 0, reader);
}

HRESULT Decoder::CopyPixels(const FrameHeader& frame, const WICRect* rect, UINT stride, UINT size,
                            BYTE* buffer, PixelLayout layout) {
  Area area;
  HRESULT result = CheckCopy(frame.width, frame.height, rect, stride, size, buffer, &area);
  if (FAILED(result)) return result;
  UINT rows_done = 0;
  if (broken_frame_ == frame.index && area.top >= broken_row_) {
    result = WINCODEC_ERR_BADIMAGE;
  } else {
    result = GuardMemory([&] { return ReadArea(frame, area, stride, buffer, layout, &rows_done); });
  }
  for (UINT y = rows_done; y < area.height; ++y) {
    std::memset(buffer + std::size_t{y} * stride, 0, area.width * kBytesPerPixel);
  }
  // A reader that only tells of damage has further rows.
  if (FAILED(result) && rows_done < area.height) reader_.reset();
  return result;
}

HRESULT Decoder::ReadArea(const FrameHeader& frame, const Area& area, UINT stride, BYTE* buffer,
                          PixelLayout layout, UINT* rows_done) {
  HRESULT result = PrepareFor(frame, area.top);
  if (FAILED(result)) return result;

  const bool whole_rows = area.width == frame.width;
  std::vector<BYTE> row;
  if (!whole_rows || next_row_ < area.top) row.resize(frame.width * kBytesPerPixel);
  if (whole_rows) {
    reader_->ExpectMemory(
        {buffer, std::size_t{area.height - 1} * stride + area.width * kBytesPerPixel});
  }
  while (next_row_ < area.top) {
    result = ReadRow(row.data());
    if (FAILED(result)) return result;
  }
  for (; *rows_done < area.height; ++*rows_done) {
    BYTE* out = buffer + std::size_t{*rows_done} * stride;
    result = ReadRow(whole_rows ? out : row.data());
    if (FAILED(result)) return result;
    if (!whole_rows) {
      std::memcpy(out, row.data() + area.left * kBytesPerPixel, area.width * kBytesPerPixel);
    }
    ConvertPixels(out, area.width, frame.layout, layout);
  }
  result = reader_->Damage();
  if (next_row_ < frame.height) return result;
  if (SUCCEEDED(result)) result = reader_->Finish();
  // Whatever the coder holds is of no more use.
  reader_.reset();
  return result;
}

HRESULT Decoder::OpenReader(UINT index) {
  reader_.reset();
  reader_frame_ = index;
  next_row_ = 0;
  return file_->OpenFrame(index, &reader_);
}

HRESULT Decoder::PrepareFor(const FrameHeader& frame, UINT row) {
  if (reader_ == nullptr || reader_frame_ != frame.index || next_row_ > row) {
    const HRESULT result = OpenReader(frame.index);
    if (FAILED(result)) return result;
  }
  // The stream may hold another file by now.
  return Header() == frame ? S_OK : WINCODEC_ERR_BADIMAGE;
}

HRESULT Decoder::ReadRow(BYTE* row) {
  const HRESULT result = reader_->ReadRow(row);
  if (SUCCEEDED(result)) {
    ++next_row_;
  } else if (result == WINCODEC_ERR_BADIMAGE) {
    broken_frame_ = reader_frame_;
    broken_row_ = next_row_;
  }
  return result;
}

}  // namespace

HRESULT CreateDecoder(IStream* stream, IWICBitmapDecoder** decoder) {
  CComPtr<Decoder> made = MakeCom<Decoder>(stream);
  if (made == nullptr) return E_OUTOFMEMORY;
  const HRESULT result = GuardMemory([&] { return made->Open(); });
  if (FAILED(result)) return result;
  *decoder = made.Detach();
  return S_OK;
}

}  // namespace Vantra::Platform
