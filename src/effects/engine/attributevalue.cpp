#include "effects/engine/attributevalue.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cwchar>
#include <limits>
#include <locale.h>
#include <stdexcept>

namespace Vantra {
namespace {

locale_t ClassicLocale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

// Runs a C conversion and turns its two kinds of failure into exceptions.
template <class Convert>
auto Parse(const std::wstring& text, const char* invalid, const char* range, Convert convert) {
  wchar_t* end = nullptr;
  errno = 0;
  const auto value = convert(text.c_str(), &end);
  if (end == text.c_str()) throw std::invalid_argument(invalid);
  if (errno == ERANGE) throw std::out_of_range(range);
  return value;
}

template <class... Form>
std::wstring Format(float value, Form... form) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof(buffer), value, form...);
  return std::wstring(buffer, result.ptr);
}

long long ParseLong(const wchar_t* text, wchar_t** end) { return std::wcstoll(text, end, 10); }

}  // namespace

float ParseFloat(const std::wstring& text) {
  return Parse(
      text, "invalid stof argument", "stof argument out of range",
      [](const wchar_t* start, wchar_t** end) { return wcstof_l(start, end, ClassicLocale()); });
}

std::int32_t ParseInteger(const std::wstring& text) {
  constexpr const char* kRange = "stoi argument out of range";
  const long long value = Parse(text, "invalid stoi argument", kRange, ParseLong);
  using Limits = std::numeric_limits<std::int32_t>;
  if (value < Limits::min() || value > Limits::max()) throw std::out_of_range(kRange);
  return static_cast<std::int32_t>(value);
}

std::uint32_t ParseUnsigned(const std::wstring& text) {
  constexpr const char* kRange = "stoul argument out of range";
  const long long value = Parse(text, "invalid stoul argument", kRange, ParseLong);
  // A negative number wraps round, as the C conversion has it.
  constexpr long long kMaximum = std::numeric_limits<std::uint32_t>::max();
  if (value > kMaximum || value < -kMaximum) throw std::out_of_range(kRange);
  return static_cast<std::uint32_t>(value);
}

std::wstring FormatFixed(float value) { return Format(value, std::chars_format::fixed, 6); }

std::wstring FormatGeneral(float value) { return Format(value, std::chars_format::general, 6); }

std::wstring FormatRounded(float value) {
  // Adding zero turns a rounded -0 into 0.
  return Format(std::round(value) + 0.0f, std::chars_format::fixed, 0);
}

}  // namespace Vantra
