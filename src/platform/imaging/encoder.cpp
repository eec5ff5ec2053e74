#include "platform/imaging/encoder.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

#include "platform/com/com_object.h"
#include "platform/com/guard.h"
#include "platform/imaging/bmp_encoder.h"
#include "platform/imaging/gif_encoder.h"
#include "platform/imaging/pixel_formats.h"
#include "platform/imaging/pixels.h"
#include "platform/imaging/png_encoder.h"

namespace Vantra::Platform {
namespace {

const Encoding* const kEncodings[] = {
    &kPngEncoding,  //
    &kBmpEncoding,  //
    &kGifEncoding,  //
};

// Bytes taken from a source at a time.
constexpr std::size_t kBandBytes = std::size_t{1} << 20;

// Writes all, whatever the stream takes at once.
HRESULT WriteAll(IStream* stream, const BYTE* bytes, std::size_t size) {
  while (size > 0) {
    const auto part =
        static_cast<ULONG>(std::min<std::size_t>(size, std::numeric_limits<ULONG>::max()));
    ULONG written = 0;
    const HRESULT result = stream->Write(bytes, part, &written);
    if (FAILED(result)) return result;
    // The stream may be the host's own, so what it returns is not trusted.
    if (written == 0 || written > part) return WINCODEC_ERR_STREAMWRITE;
    bytes += written;
    size -= written;
  }
  return S_OK;
}

class Encoder final : public ComObject<IWICBitmapEncoder> {
 public:
  explicit Encoder(const Encoding* encoding) : encoding_(encoding) {}

  HRESULT Initialize(IStream* stream, WICBitmapEncoderCacheOption) override {
    if (stream == nullptr) return E_INVALIDARG;
    if (stream_ != nullptr) return WINCODEC_ERR_WRONGSTATE;
    stream_ = stream;
    return S_OK;
  }

  HRESULT CreateNewFrame(IWICBitmapFrameEncode** frame, IPropertyBag2** bag) override;

  HRESULT Commit() override {
    if (stream_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
    if (!frame_complete_) return WINCODEC_ERR_FRAMEMISSING;
    return std::exchange(committed_, true) ? WINCODEC_ERR_WRONGSTATE : S_OK;
  }

  HRESULT OpenWriter(UINT width, UINT height, std::unique_ptr<PictureWriter>* writer) {
    const auto write = [stream = stream_](const BYTE* bytes, std::size_t size) {
      return WriteAll(stream, bytes, size);
    };
    return encoding_->open(write, width, height, writer);
  }

  void OnFrameComplete() { frame_complete_ = true; }

 private:
  const Encoding* encoding_;
  CComPtr<IStream> stream_;
  bool frame_made_ = false;
  bool frame_complete_ = false;
  bool committed_ = false;
};

class FrameEncoder final : public ComObject<IWICBitmapFrameEncode> {
 public:
  explicit FrameEncoder(Encoder* encoder) : encoder_(encoder) {}

  HRESULT Initialize(IPropertyBag2* options) override {
    if (options != nullptr) return E_INVALIDARG;
    if (initialized_) return WINCODEC_ERR_WRONGSTATE;
    initialized_ = true;
    return S_OK;
  }

  HRESULT SetSize(UINT width, UINT height) override {
    if (!initialized_ || writer_ != nullptr || FAILED(failure_)) return WINCODEC_ERR_WRONGSTATE;
    if (width == 0 || height == 0) return E_INVALIDARG;
    if (width > WIC_MAXIMUM_SIDE || height > WIC_MAXIMUM_SIDE ||
        UINT64{width} * height > WIC_MAXIMUM_PIXELS) {
      return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
    }
    width_ = width;
    height_ = height;
    return S_OK;
  }

  HRESULT SetPixelFormat(WICPixelFormatGUID* format) override {
    if (format == nullptr) return E_POINTER;
    if (!initialized_ || writer_ != nullptr) return WINCODEC_ERR_WRONGSTATE;
    if (FindPixelFormat(*format) == nullptr) *format = GUID_WICPixelFormat32bppBGRA;
    format_ = FindPixelFormat(*format);
    return S_OK;
  }

  HRESULT WritePixels(UINT lineCount, UINT stride, UINT size, BYTE* pixels) override {
    if (!CanWrite()) return WINCODEC_ERR_WRONGSTATE;
    if (lineCount == 0) return S_OK;
    if (lineCount > height_ - rows_done_) return WINCODEC_ERR_CODECTOOMANYSCANLINES;
    Area area;
    const HRESULT result = CheckCopy(width_, lineCount, nullptr, stride, size, pixels, &area,
                                     format_->bytes_per_pixel);
    if (FAILED(result)) return result;
    return Keep(GuardMemory([&] { return WriteRows(lineCount, stride, pixels, *format_); }));
  }

  HRESULT WriteSource(IWICBitmapSource* source, WICRect* rect) override {
    if (source == nullptr) return E_INVALIDARG;
    WICPixelFormatGUID format_id{};
    WICRect area{};
    HRESULT result = source->GetPixelFormat(&format_id);
    if (SUCCEEDED(result)) result = Place(source, rect, &area);
    if (FAILED(result)) return result;
    const PixelFormat* format = FindPixelFormat(format_id);
    if (format == nullptr) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
    if (width_ == 0) {
      result = SetSize(static_cast<UINT>(area.Width), static_cast<UINT>(area.Height));
      if (FAILED(result)) return result;
    }
    if (!CanWrite()) return WINCODEC_ERR_WRONGSTATE;
    if (static_cast<UINT>(area.Width) != width_) return E_INVALIDARG;
    if (static_cast<UINT>(area.Height) > height_ - rows_done_) {
      return WINCODEC_ERR_CODECTOOMANYSCANLINES;
    }
    return Keep(GuardMemory([&] { return WriteBands(source, area, *format); }));
  }

  HRESULT Commit() override {
    if (FAILED(failure_)) return failure_;
    if (writer_ == nullptr || rows_done_ != height_) return WINCODEC_ERR_WRONGSTATE;
    const HRESULT result = Keep(GuardMemory([this] { return writer_->Finish(); }));
    writer_.reset();
    width_ = 0;
    if (SUCCEEDED(result)) encoder_->OnFrameComplete();
    // The file is closed to further rows.
    initialized_ = false;
    return result;
  }

 private:
  bool CanWrite() const { return initialized_ && width_ > 0 && SUCCEEDED(failure_); }

  // A file with a fault in it stays faulty.
  HRESULT Keep(HRESULT result) {
    if (FAILED(result)) failure_ = result;
    return result;
  }

  // The part of a source that is meant.
  static HRESULT Place(IWICBitmapSource* source, const WICRect* rect, WICRect* area) {
    UINT width = 0;
    UINT height = 0;
    const HRESULT result = source->GetSize(&width, &height);
    if (FAILED(result)) return result;
    if (width > WIC_MAXIMUM_SIDE || height > WIC_MAXIMUM_SIDE) {
      return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
    }
    *area =
        rect != nullptr ? *rect : WICRect{0, 0, static_cast<INT>(width), static_cast<INT>(height)};
    return area->Width > 0 && area->Height > 0 ? S_OK : E_INVALIDARG;
  }

  HRESULT WriteRows(UINT count, UINT stride, const BYTE* pixels, const PixelFormat& format) {
    if (writer_ == nullptr) {
      const HRESULT result = encoder_->OpenWriter(width_, height_, &writer_);
      if (FAILED(result)) return result;
    }
    row_.resize(width_ * kBytesPerPixel);
    for (UINT y = 0; y < count; ++y) {
      format.to_bgra(pixels + std::size_t{y} * stride, width_, row_.data());
      const HRESULT result = writer_->WriteRow(row_.data());
      if (FAILED(result)) return result;
      ++rows_done_;
    }
    return S_OK;
  }

  HRESULT WriteBands(IWICBitmapSource* source, const WICRect& area, const PixelFormat& format) {
    const UINT stride = width_ * format.bytes_per_pixel;
    const INT most = std::clamp(static_cast<INT>(kBandBytes / stride), 1, area.Height);
    std::vector<BYTE> pixels(std::size_t{stride} * static_cast<UINT>(most));
    for (INT y = 0; y < area.Height; y += most) {
      const WICRect band{area.X, area.Y + y, area.Width, std::min(most, area.Height - y)};
      HRESULT result =
          source->CopyPixels(&band, stride, static_cast<UINT>(pixels.size()), pixels.data());
      if (SUCCEEDED(result)) {
        result = WriteRows(static_cast<UINT>(band.Height), stride, pixels.data(), format);
      }
      if (FAILED(result)) return result;
    }
    return S_OK;
  }

  CComPtr<Encoder> encoder_;
  bool initialized_ = false;
  HRESULT failure_ = S_OK;
  const PixelFormat* format_ = FindPixelFormat(GUID_WICPixelFormat32bppBGRA);
  UINT width_ = 0;
  UINT height_ = 0;
  UINT rows_done_ = 0;
  std::unique_ptr<PictureWriter> writer_;
  std::vector<BYTE> row_;
};

HRESULT Encoder::CreateNewFrame(IWICBitmapFrameEncode** frame, IPropertyBag2** bag) {
  if (frame == nullptr) return E_POINTER;
  *frame = nullptr;
  if (bag != nullptr) *bag = nullptr;
  if (stream_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
  if (frame_made_) return WINCODEC_ERR_UNSUPPORTEDOPERATION;
  *frame = MakeCom<FrameEncoder>(this).Detach();
  if (*frame == nullptr) return E_OUTOFMEMORY;
  frame_made_ = true;
  return S_OK;
}

}  // namespace

HRESULT CreateEncoder(REFGUID container, IWICBitmapEncoder** encoder) {
  for (const Encoding* encoding : kEncodings) {
    if (encoding->container != container) continue;
    *encoder = MakeCom<Encoder>(encoding).Detach();
    return *encoder == nullptr ? E_OUTOFMEMORY : S_OK;
  }
  return WINCODEC_ERR_COMPONENTNOTFOUND;
}

}  // namespace Vantra::Platform
