#pragma once

#include <string>

namespace Vantrix::Command {

// The wide form of an argument. Throws `CommandError` for one that is not UTF-8.
std::wstring Widen(const std::string& text);
std::string Narrow(const std::wstring& text);

// A text as a JSON string, with its quotes.
std::string Quote(const std::string& text);

}  // namespace Vantrix::Command
