#pragma once

// Conversion of numbers to and from attribute text. The process's locale has no part in it, so that
// a host's choice of a decimal comma changes nothing.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

namespace Vantra {

// Each reads a number at the start of the text, after white space, and passes over what follows it.
// They throw std::invalid_argument without a number and std::out_of_range beyond the type's range.
float ParseFloat(const std::wstring& text);
std::int32_t ParseInteger(const std::wstring& text);
std::uint32_t ParseUnsigned(const std::wstring& text);

// The whole part of a number that may lie anywhere: the nearest of the type's values, 0 for what is
// no number.
template <class Integer>
Integer WholePart(float value) {
  using Limits = std::numeric_limits<Integer>;
  if (std::isnan(value)) return 0;
  return static_cast<Integer>(std::clamp(std::trunc(static_cast<double>(value)),
                                         static_cast<double>(Limits::min()),
                                         static_cast<double>(Limits::max())));
}

// Six digits behind the point.
std::wstring FormatFixed(float value);
// Up to six significant digits.
std::wstring FormatGeneral(float value);
// The nearest whole number, halves away from zero.
std::wstring FormatRounded(float value);

}  // namespace Vantra
