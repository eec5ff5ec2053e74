#include "platform/imaging/format_converter.h"

namespace Vantra::Platform {

HRESULT FormatConverter::Initialize(IWICBitmapSource* source, REFWICPixelFormatGUID format,
                                    WICBitmapDitherType dither, IWICPalette* palette, double,
                                    WICBitmapPaletteType) {
  if (source_ != nullptr) return WINCODEC_ERR_WRONGSTATE;
  if (source == nullptr || dither != WICBitmapDitherTypeNone || palette != nullptr) {
    return E_INVALIDARG;
  }
  WICPixelFormatGUID source_format{};
  const HRESULT result = source->GetPixelFormat(&source_format);
  if (FAILED(result)) return result;
  const std::optional<PixelLayout> from = LayoutOf(source_format);
  const std::optional<PixelLayout> to = LayoutOf(format);
  if (!from || !to) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  source_ = source;
  source_.QueryInterface(&converting_);
  format_ = format;
  from_ = *from;
  to_ = *to;
  return S_OK;
}

HRESULT FormatConverter::GetSize(UINT* width, UINT* height) {
  if (source_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
  return source_->GetSize(width, height);
}

HRESULT FormatConverter::GetPixelFormat(WICPixelFormatGUID* format) {
  if (source_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
  if (format == nullptr) return E_POINTER;
  *format = format_;
  return S_OK;
}

HRESULT FormatConverter::CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* buffer) {
  if (source_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
  if (converting_ != nullptr) return converting_->CopyPixelsAs(rect, stride, size, buffer, to_);
  UINT width = 0;
  UINT height = 0;
  HRESULT result = source_->GetSize(&width, &height);
  if (FAILED(result)) return result;
  Area area;
  result = CheckCopy(width, height, rect, stride, size, buffer, &area);
  if (FAILED(result)) return result;
  result = source_->CopyPixels(rect, stride, size, buffer);
  // A failed copy may still have given the upper part of a picture.
  for (UINT y = 0; y < area.height; ++y) {
    ConvertPixels(buffer + std::size_t{y} * stride, area.width, from_, to_);
  }
  return result;
}

}  // namespace Vantra::Platform
