#include "cli/text.h"

#include <fmt/format.h>
#include <optional>
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

}  // namespace Vantrix::Command
