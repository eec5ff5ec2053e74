#pragma once

/// Wide text, one code point a character, to UTF-8 and back.

#include <optional>
#include <string>
#include <string_view>

namespace Vantra::Platform {

/// A character that is no code point becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);

/// Empty for bytes that are not UTF-8: stray, missing or overlong sequences, surrogates, and code
/// points beyond U+10FFFF.
std::optional<std::wstring> FromUtf8(std::string_view text);

}  // namespace Vantra::Platform
