#include <vantrix/device/comparestring.h>

#include <climits>
#include <cwctype>
#include <locale.h>

namespace Vantra {
namespace {

// A locale of its own: the process's may map even ASCII letters differently.
wchar_t Fold(wchar_t c) {
  static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return static_cast<wchar_t>(locale ? towlower_l(static_cast<wint_t>(c), locale)
                                     : std::towlower(static_cast<wint_t>(c)));
}

wchar_t Keep(wchar_t c) { return c; }

int Compare(const wchar_t* a, const wchar_t* b, long n, wchar_t (*map)(wchar_t)) {
  if (!a || !b) return 0;
  for (; n > 0; --n, ++a, ++b) {
    if (map(*a) != map(*b)) return 0;
    if (*a == L'\0') return 1;
  }
  return 1;
}

}  // namespace

int CompareStringW(const wchar_t* a, const wchar_t* b) { return Compare(a, b, LONG_MAX, Keep); }

int CompareStringNoCase(const wchar_t* a, const wchar_t* b) {
  return Compare(a, b, LONG_MAX, Fold);
}

int CompareStringW(const wchar_t* a, const wchar_t* b, long n) { return Compare(a, b, n, Keep); }

int CompareStringNoCase(const wchar_t* a, const wchar_t* b, long n) {
  return Compare(a, b, n, Fold);
}

}  // namespace Vantra
