#include "platform/imaging/metadata_value.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace Vantra::Platform {

PROPVARIANT MakeBoolValue(bool value) {
  PROPVARIANT made{};
  made.vt = VT_BOOL;
  made.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
  return made;
}

PROPVARIANT MakeByteValue(BYTE value) {
  PROPVARIANT made{};
  made.vt = VT_UI1;
  made.bVal = value;
  return made;
}

PROPVARIANT MakeWordValue(WORD value) {
  PROPVARIANT made{};
  made.vt = VT_UI2;
  made.uiVal = value;
  return made;
}

PROPVARIANT MakeLongValue(ULONG value) {
  PROPVARIANT made{};
  made.vt = VT_UI4;
  made.ulVal = value;
  return made;
}

PROPVARIANT MakeBytesValue(std::span<const BYTE> bytes) {
  PROPVARIANT made{};
  // Freed by `PropVariantClear`; no bytes take one, so that null means lack of memory.
  auto* copy = static_cast<BYTE*>(std::malloc(std::max<std::size_t>(bytes.size(), 1)));
  if (copy == nullptr) throw std::bad_alloc();
  std::copy(bytes.begin(), bytes.end(), copy);
  made.vt = VT_VECTOR | VT_UI1;
  made.caub = {static_cast<ULONG>(bytes.size()), copy};
  return made;
}

}  // namespace Vantra::Platform
