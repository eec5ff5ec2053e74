#pragma once

/// Writes picture files of every format that an encoding is registered for.

#include <vantrix/platform/wincodec.h>

namespace Vantra::Platform {

/// `IWICImagingFactory2::CreateEncoder` without its checks of pointers.
HRESULT CreateEncoder(REFGUID container, IWICBitmapEncoder** encoder);

}  // namespace Vantra::Platform
