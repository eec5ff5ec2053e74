#pragma once

/// Encodes what the 2D layer draws.

#include <vantrix/platform/wincodec.h>

#include "platform/com/com_object.h"

namespace Vantra::Platform {

class ImageEncoder final : public ComObject<IWICImageEncoder> {
 public:
  explicit ImageEncoder(ID2D1Device* device) : device_(device) {}

  HRESULT WriteFrame(ID2D1Image* image, IWICBitmapFrameEncode* frame,
                     const WICImageParameters* parameters) override;

 private:
  CComPtr<ID2D1Device> device_;
};

}  // namespace Vantra::Platform
