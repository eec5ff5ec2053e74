#pragma once

/// A source that converts while it copies, so that pixels are converted while they are in the
/// cache and opaque ones left alone.

#include <vantrix/platform/wincodec.h>

#include "platform/imaging/pixels.h"

namespace Vantra::Platform {

class IConvertingSource : public IUnknown {
 public:
  /// The layout that `CopyPixels` gives, whose format is the source's.
  virtual PixelLayout Layout() = 0;
  /// `IWICBitmapSource::CopyPixels`, to pixels of another layout.
  virtual HRESULT CopyPixelsAs(const WICRect* rect, UINT stride, UINT size, BYTE* buffer,
                               PixelLayout layout) = 0;

 protected:
  ~IConvertingSource() = default;
};

}  // namespace Vantra::Platform

template <>
struct InterfaceId<Vantra::Platform::IConvertingSource> {
  static constexpr IID value = {
      0x2C5E8F0B, 0x61D4, 0x4E0F, {0x9A, 0x37, 0xD0, 0x4B, 0x85, 0x1E, 0xC2, 0x76}};
};
