#pragma once

/// Gives a source's pixels at another size.

#include <vantrix/platform/wincodec.h>

#include "platform/com/com_object.h"
#include "platform/imaging/converting_source.h"
#include "platform/imaging/pixels.h"

namespace Vantra::Platform {

class Scaler final
    : public ComObject<Implements<IWICBitmapScaler, IWICBitmapSource>, IConvertingSource> {
 public:
  HRESULT Initialize(IWICBitmapSource* source, UINT width, UINT height,
                     WICBitmapInterpolationMode mode) override;
  HRESULT GetSize(UINT* width, UINT* height) override;
  HRESULT GetPixelFormat(WICPixelFormatGUID* format) override;
  HRESULT CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* buffer) override;
  PixelLayout Layout() override { return layout_; }
  HRESULT CopyPixelsAs(const WICRect* rect, UINT stride, UINT size, BYTE* buffer,
                       PixelLayout layout) override;

 private:
  /// May throw `std::bad_alloc`.
  HRESULT Scale(const Area& area, UINT stride, BYTE* buffer, PixelLayout layout);

  CComPtr<IWICBitmapSource> source_;
  WICPixelFormatGUID format_{};
  PixelLayout layout_{};
  UINT source_width_ = 0;
  UINT source_height_ = 0;
  UINT width_ = 0;
  UINT height_ = 0;
  WICBitmapInterpolationMode mode_ = WICBitmapInterpolationModeNearestNeighbor;
};

}  // namespace Vantra::Platform
