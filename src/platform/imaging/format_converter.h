#pragma once

/// Converts the pixels of a source as they are copied.

#include <vantrix/platform/wincodec.h>

#include "platform/com/com_object.h"
#include "platform/imaging/converting_source.h"
#include "platform/imaging/pixels.h"

namespace Vantra::Platform {

class FormatConverter final : public ComObject<Implements<IWICFormatConverter, IWICBitmapSource>> {
 public:
  HRESULT Initialize(IWICBitmapSource* source, REFWICPixelFormatGUID format,
                     WICBitmapDitherType dither, IWICPalette* palette, double alphaThreshold,
                     WICBitmapPaletteType paletteType) override;
  HRESULT GetSize(UINT* width, UINT* height) override;
  HRESULT GetPixelFormat(WICPixelFormatGUID* format) override;
  HRESULT CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* buffer) override;

 private:
  CComPtr<IWICBitmapSource> source_;
  CComPtr<IConvertingSource> converting_;  // the same, if it is one
  WICPixelFormatGUID format_{};
  PixelLayout from_{};
  PixelLayout to_{};
};

}  // namespace Vantra::Platform
