#pragma once

/// Values of metadata.

#include <vantrix/platform/wincodec.h>

#include <span>

namespace Vantra::Platform {

/// Values for `IWICMetadataQueryReader::GetMetadataByName`.
PROPVARIANT MakeBoolValue(bool value);
PROPVARIANT MakeByteValue(BYTE value);
PROPVARIANT MakeWordValue(WORD value);
PROPVARIANT MakeLongValue(ULONG value);
/// A copy of `bytes`. Throws `std::bad_alloc`.
PROPVARIANT MakeBytesValue(std::span<const BYTE> bytes);

}  // namespace Vantra::Platform
