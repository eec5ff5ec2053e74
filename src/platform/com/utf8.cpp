#include "platform/com/utf8.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace Vantra::Platform {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

constexpr bool IsCodePoint(std::uint32_t value) {
  return value < 0xD800 || (value > 0xDFFF && value <= 0x10FFFF);
}

// How a first byte begins a sequence, and the least code point that needs one so long.
struct Lead {
  unsigned char mask;
  unsigned char pattern;
  int followers;
  std::uint32_t least;
};

constexpr Lead kLeads[] = {
    {0x80, 0x00, 0, 0x0},
    {0xE0, 0xC0, 1, 0x80},
    {0xF0, 0xE0, 2, 0x800},
    {0xF8, 0xF0, 3, 0x10000},
};

}  // namespace

std::string ToUtf8(std::wstring_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (const wchar_t character : text) {
    auto code = std::bit_cast<std::uint32_t>(character);
    if (!IsCodePoint(code)) code = kReplacement;
    std::size_t form = 0;
    while (form + 1 < std::size(kLeads) && code >= kLeads[form + 1].least) ++form;
    const Lead& lead = kLeads[form];
    bytes.push_back(static_cast<char>(lead.pattern | (code >> (6 * lead.followers))));
    for (int i = lead.followers - 1; i >= 0; --i) {
      bytes.push_back(static_cast<char>(0x80 | ((code >> (6 * i)) & 0x3F)));
    }
  }
  return bytes;
}

std::optional<std::wstring> FromUtf8(std::string_view text) {
  std::wstring characters;
  characters.reserve(text.size());
  std::size_t at = 0;
  while (at < text.size()) {
    const auto first = static_cast<unsigned char>(text[at++]);
    const Lead* lead = nullptr;
    for (const Lead& candidate : kLeads) {
      if ((first & candidate.mask) == candidate.pattern) lead = &candidate;
    }
    if (lead == nullptr || text.size() - at < static_cast<std::size_t>(lead->followers)) {
      return std::nullopt;
    }
    std::uint32_t code = first & static_cast<unsigned char>(~lead->mask);
    for (int i = 0; i < lead->followers; ++i) {
      const auto next = static_cast<unsigned char>(text[at++]);
      if ((next & 0xC0) != 0x80) return std::nullopt;
      code = code << 6 | (next & 0x3F);
    }
    if (code < lead->least || !IsCodePoint(code)) return std::nullopt;
    characters.push_back(static_cast<wchar_t>(code));
  }
  return characters;
}

}  // namespace Vantra::Platform
