#pragma once

/// Opens picture files of every format that a coder is registered for.

#include <vantrix/platform/wincodec.h>

namespace Vantra::Platform {

/// `IWICImagingFactory2::CreateDecoderFromStream` without its checks of pointers.
HRESULT CreateDecoder(IStream* stream, IWICBitmapDecoder** decoder);

}  // namespace Vantra::Platform
