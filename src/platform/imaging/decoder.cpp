#include "platform/imaging/decoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>

#include "platform/com/com_object.h"
#include "platform/imaging/bmp_decoder.h"
#include "platform/imaging/jpeg_decoder.h"
#include "platform/imaging/pixels.h"
#include "platform/imaging/png_decoder.h"

namespace Vantra::Platform {
namespace {

const Coder* const kCoders[] = {&kPngCoder, &kJpegCoder, &kBmpCoder};

constexpr std::size_t kLongestSignature = 8;

const Coder* FindCoder(std::span<const BYTE> start) {
  for (const Coder* coder : kCoders) {
    const std::span<const BYTE> signature = coder->signature;
    if (signature.size() <= start.size() &&
        std::equal(signature.begin(), signature.end(), start.begin())) {
      return coder;
    }
  }
  return nullptr;
}

class Decoder final : public ComObject<IWICBitmapDecoder> {
 public:
  explicit Decoder(IStream* stream) : stream_(stream) {}

  HRESULT Open();
  HRESULT GetContainerFormat(GUID* format) override;
  HRESULT GetFrameCount(UINT* count) override;
  HRESULT GetFrame(UINT index, IWICBitmapFrameDecode** frame) override;

  UINT Width() const { return width_; }
  UINT Height() const { return height_; }
  HRESULT CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* buffer);

 private:
  HRESULT PrepareFor(UINT row);
  HRESULT ReadRow(BYTE* row);
  HRESULT ReadArea(const Area& area, UINT stride, BYTE* buffer, UINT* rows_done);

  StreamReader stream_;
  const Coder* coder_ = nullptr;
  UINT width_ = 0;
  UINT height_ = 0;
  // Stands before `next_row_`, so that a caller who copies bands from top to bottom has the file
  // decoded once. Null when the next copy begins anew.
  std::unique_ptr<PictureReader> reader_;
  UINT next_row_ = 0;
};

// The one picture of a file.
class Frame final : public ComObject<Implements<IWICBitmapFrameDecode, IWICBitmapSource>> {
 public:
  explicit Frame(Decoder* decoder) : decoder_(decoder) {}

  HRESULT GetSize(UINT* width, UINT* height) override {
    if (width == nullptr || height == nullptr) return E_POINTER;
    *width = decoder_->Width();
    *height = decoder_->Height();
    return S_OK;
  }

  HRESULT GetPixelFormat(WICPixelFormatGUID* format) override {
    if (format == nullptr) return E_POINTER;
    *format = GUID_WICPixelFormat32bppRGBA;
    return S_OK;
  }

  HRESULT CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* buffer) override {
    return decoder_->CopyPixels(rect, stride, size, buffer);
  }

 private:
  CComPtr<Decoder> decoder_;
};

HRESULT Decoder::Open() {
  HRESULT result = stream_.Open();
  if (FAILED(result)) return result;
  std::array<BYTE, kLongestSignature> start{};
  const std::size_t size = stream_.Read(start.data(), start.size());
  if (FAILED(stream_.Failure())) return stream_.Failure();
  coder_ = FindCoder({start.data(), size});
  if (coder_ == nullptr) return WINCODEC_ERR_UNKNOWNIMAGEFORMAT;
  stream_.Rewind();
  result = coder_->open(stream_, &reader_);
  if (FAILED(result)) return result;
  width_ = reader_->Width();
  height_ = reader_->Height();
  return S_OK;
}

HRESULT Decoder::GetContainerFormat(GUID* format) {
  if (format == nullptr) return E_POINTER;
  *format = coder_->container;
  return S_OK;
}

HRESULT Decoder::GetFrameCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = 1;
  return S_OK;
}

HRESULT Decoder::GetFrame(UINT index, IWICBitmapFrameDecode** frame) {
  if (frame == nullptr) return E_POINTER;
  *frame = nullptr;
  if (index != 0) return WINCODEC_ERR_FRAMEMISSING;
  *frame = MakeCom<Frame>(this).Detach();
  return *frame == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT Decoder::CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* buffer) {
  Area area;
  HRESULT result = CheckCopy(width_, height_, rect, stride, size, buffer, &area);
  if (FAILED(result)) return result;
  UINT rows_done = 0;
  result = ReadArea(area, stride, buffer, &rows_done);
  for (UINT y = rows_done; y < area.height; ++y) {
    std::memset(buffer + std::size_t{y} * stride, 0, area.width * kBytesPerPixel);
  }
  if (FAILED(result)) reader_.reset();
  return result;
}

HRESULT Decoder::ReadArea(const Area& area, UINT stride, BYTE* buffer, UINT* rows_done) {
  HRESULT result = PrepareFor(area.top);
  if (FAILED(result)) return result;

  std::unique_ptr<BYTE[]> row;
  if (area.width != width_ || next_row_ < area.top) {
    row.reset(new (std::nothrow) BYTE[width_ * kBytesPerPixel]);
    if (row == nullptr) return E_OUTOFMEMORY;
  }
  while (next_row_ < area.top) {
    result = ReadRow(row.get());
    if (FAILED(result)) return result;
  }
  for (; *rows_done < area.height; ++*rows_done) {
    BYTE* out = buffer + std::size_t{*rows_done} * stride;
    result = ReadRow(area.width == width_ ? out : row.get());
    if (FAILED(result)) return result;
    if (area.width != width_) {
      std::memcpy(out, row.get() + area.left * kBytesPerPixel, area.width * kBytesPerPixel);
    }
  }
  if (FAILED(reader_->Damage())) return reader_->Damage();
  if (next_row_ < height_) return S_OK;
  result = reader_->Finish();
  // Whatever the coder holds is of no more use.
  reader_.reset();
  return result;
}

HRESULT Decoder::PrepareFor(UINT row) {
  if (reader_ != nullptr && next_row_ <= row) return S_OK;
  reader_.reset();
  next_row_ = 0;
  stream_.Rewind();
  const HRESULT result = coder_->open(stream_, &reader_);
  if (FAILED(result)) return result;
  // The stream may hold another file by now.
  const bool same = reader_->Width() == width_ && reader_->Height() == height_;
  return same ? S_OK : WINCODEC_ERR_BADIMAGE;
}

HRESULT Decoder::ReadRow(BYTE* row) {
  const HRESULT result = reader_->ReadRow(row);
  if (SUCCEEDED(result)) ++next_row_;
  return result;
}

}  // namespace

HRESULT CreateDecoder(IStream* stream, IWICBitmapDecoder** decoder) {
  CComPtr<Decoder> made = MakeCom<Decoder>(stream);
  if (made == nullptr) return E_OUTOFMEMORY;
  const HRESULT result = made->Open();
  if (FAILED(result)) return result;
  *decoder = made.Detach();
  return S_OK;
}

}  // namespace Vantra::Platform
