#include "cli/text.h"

#include <charconv>
#include <cstdio>
#include <fmt/format.h>
#include <optional>
#include <system_error>
#include <utility>

#include "cli/command_error.h"
#include "platform/com/utf8.h"

namespace Vantrix::Command {

std::wstring Widen(const std::string& text) {
  std::optional<std::wstring> wide = Vantra::Platform::FromUtf8(text);
  if (!wide) throw CommandError(kWrongUsage, fmt::format("{}: the text is not UTF-8", text));
  return *std::move(wide);
}

std::string Narrow(const std::wstring& text) { return Vantra::Platform::ToUtf8(text); }

Size ParseSize(const std::string& text) {
  constexpr unsigned kMaximum = 65500;
  Size size{};
  const char* const end = text.data() + text.size();
  const auto width = std::from_chars(text.data(), end, size.width);
  const bool split = width.ec == std::errc{} && width.ptr != end && *width.ptr == 'x';
  const auto height = split ? std::from_chars(width.ptr + 1, end, size.height) : width;
  if (!split || height.ec != std::errc{} || height.ptr != end || size.width < 1 ||
      size.height < 1 || size.width > kMaximum || size.height > kMaximum) {
    throw CommandError(kWrongUsage, fmt::format("--size {}: expected WxH, of 1 to {} pixels a side",
                                                text, kMaximum));
  }
  return size;
}

void PrintError(const char* message) noexcept { std::fprintf(stderr, "vantrix: %s\n", message); }

std::string Quote(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      quoted += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}

void PrintLines(const std::vector<std::string>& lines, Output output) {
  if (output == Output::kJson) {
    fmt::print("[{}{}\n]\n", lines.empty() ? "" : "\n  ", fmt::join(lines, ",\n  "));
  } else {
    for (const std::string& line : lines) fmt::print("{}\n", line);
  }
}

}  // namespace Vantrix::Command
