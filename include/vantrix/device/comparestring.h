#pragma once

/// Comparison of wide texts. Letters of both cases are paired as Unicode does, one by one, whatever
/// locale the process has set.

#include <vantrix/export.h>

namespace Vantra {

/// 1 when the texts are equal, else 0. A null argument gives 0; two empty texts are equal.
VANTRIX_API int CompareStringW(const wchar_t* a, const wchar_t* b);
/// The same without regard to case.
VANTRIX_API int CompareStringNoCase(const wchar_t* a, const wchar_t* b);

/// The same over at most the first `n` characters. `n` below 1 gives 1. Equality up to the end of
/// one text needs both to end there.
VANTRIX_API int CompareStringW(const wchar_t* a, const wchar_t* b, long n);
VANTRIX_API int CompareStringNoCase(const wchar_t* a, const wchar_t* b, long n);

}  // namespace Vantra
