#pragma once

/// PNG pictures of 8 bits a channel with alpha.

#include "platform/imaging/picture_writer.h"

namespace Vantra::Platform {

/// Starts a PNG file. With `blue_first` false, the writer's rows are red, green, blue, alpha.
HRESULT OpenPngWriter(ByteSink sink, UINT width, UINT height, bool blue_first,
                      std::unique_ptr<PictureWriter>* writer);

extern const Encoding kPngEncoding;

}  // namespace Vantra::Platform
