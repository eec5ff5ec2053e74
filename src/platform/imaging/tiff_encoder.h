#pragma once

/// TIFF pictures of one page: RGB of 8 bits with unassociated alpha, in strips, with LZW after
/// horizontal differences, which every reader of the format knows. The file is put together in
/// memory and written when it is complete.

#include "platform/imaging/picture_writer.h"

namespace Vantra::Platform {

extern const Encoding kTiffEncoding;

}  // namespace Vantra::Platform
