#pragma once

/// Pictures in memory.

#include <vantrix/platform/wincodec.h>

#include "platform/imaging/pixels.h"

namespace Vantra::Platform {

/// `IWICImagingFactory2::CreateBitmapFromSourceRect` without its checks of pointers.
HRESULT CopyToBitmap(IWICBitmapSource* source, const Area& area, IWICBitmap** bitmap);

}  // namespace Vantra::Platform
