#include "platform/imaging/memory_bitmap.h"

#include <cstring>
#include <memory>
#include <new>

#include "platform/com/com_object.h"
#include "platform/imaging/converting_source.h"

namespace Vantra::Platform {
namespace {

class MemoryBitmap final
    : public ComObject<Implements<IWICBitmap, IWICBitmapSource>, IConvertingSource> {
 public:
  HRESULT Copy(IWICBitmapSource* source, const Area& area) {
    UINT width = 0;
    UINT height = 0;
    HRESULT result = source->GetSize(&width, &height);
    if (SUCCEEDED(result)) result = source->GetPixelFormat(&format_);
    if (FAILED(result)) return result;
    const std::optional<PixelLayout> layout = LayoutOf(format_);
    if (!layout) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
    layout_ = *layout;
    if (area.width == 0 || area.height == 0 || UINT64{area.left} + area.width > width ||
        UINT64{area.top} + area.height > height) {
      return E_INVALIDARG;
    }
    const UINT64 pixels = UINT64{area.width} * area.height;
    if (pixels > WIC_MAXIMUM_PIXELS) return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
    width_ = area.width;
    height_ = area.height;
    pixels_.reset(new (std::nothrow) BYTE[pixels * kBytesPerPixel]);
    if (pixels_ == nullptr) return E_OUTOFMEMORY;
    const WICRect rect{static_cast<INT>(area.left), static_cast<INT>(area.top),
                       static_cast<INT>(area.width), static_cast<INT>(area.height)};
    return source->CopyPixels(&rect, Stride(), Stride() * height_, pixels_.get());
  }

  HRESULT GetSize(UINT* width, UINT* height) override {
    if (width == nullptr || height == nullptr) return E_POINTER;
    *width = width_;
    *height = height_;
    return S_OK;
  }

  HRESULT GetPixelFormat(WICPixelFormatGUID* format) override {
    if (format == nullptr) return E_POINTER;
    *format = format_;
    return S_OK;
  }

  HRESULT CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* buffer) override {
    return CopyPixelsAs(rect, stride, size, buffer, layout_);
  }

  PixelLayout Layout() override { return layout_; }

  HRESULT CopyPixelsAs(const WICRect* rect, UINT stride, UINT size, BYTE* buffer,
                       PixelLayout layout) override {
    Area area;
    const HRESULT result = CheckCopy(width_, height_, rect, stride, size, buffer, &area);
    if (FAILED(result)) return result;
    const BYTE* from =
        &pixels_[std::size_t{area.top} * Stride() + std::size_t{area.left} * kBytesPerPixel];
    for (UINT y = 0; y < area.height; ++y) {
      BYTE* row = buffer + std::size_t{y} * stride;
      std::memcpy(row, from + std::size_t{y} * Stride(), area.width * kBytesPerPixel);
      ConvertPixels(row, area.width, layout_, layout);
    }
    return S_OK;
  }

 private:
  UINT Stride() const { return width_ * UINT{kBytesPerPixel}; }

  WICPixelFormatGUID format_{};
  PixelLayout layout_{};
  UINT width_ = 0;
  UINT height_ = 0;
  std::unique_ptr<BYTE[]> pixels_;
};

}  // namespace

HRESULT CopyToBitmap(IWICBitmapSource* source, const Area& area, IWICBitmap** bitmap) {
  CComPtr<MemoryBitmap> made = MakeCom<MemoryBitmap>();
  if (made == nullptr) return E_OUTOFMEMORY;
  const HRESULT result = made->Copy(source, area);
  if (SUCCEEDED(result)) *bitmap = made.Detach();
  return result;
}

}  // namespace Vantra::Platform
