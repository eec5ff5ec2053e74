#pragma once

// Conversion of numbers to and from attribute text. The process's locale has no part in it, so that
// a host's choice of a decimal comma changes nothing.

#include <cstdint>
#include <string>

namespace Vantra {

// Each reads a number at the start of the text, after white space, and passes over what follows it.
// They throw std::invalid_argument without a number and std::out_of_range beyond the type's range.
float ParseFloat(const std::wstring& text);
std::int32_t ParseInteger(const std::wstring& text);
std::uint32_t ParseUnsigned(const std::wstring& text);

// Six digits behind the point.
std::wstring FormatFixed(float value);
// Up to six significant digits.
std::wstring FormatGeneral(float value);
// The nearest whole number, halves away from zero.
std::wstring FormatRounded(float value);

}  // namespace Vantra
