#pragma once

#include <string>
#include <vector>

namespace Vantrix::Command {

// The wide form of an argument. Throws `CommandError` for one that is not UTF-8.
std::wstring Widen(const std::string& text);
std::string Narrow(const std::wstring& text);

struct Size {
  unsigned width;
  unsigned height;
};

// Reads a size as WxH, of 1 to 65500 pixels a side. Throws `CommandError` for anything else.
Size ParseSize(const std::string& text);

// Writes a line to the standard error stream. Where that cannot be written the message is lost, and
// nothing else: what the command was asked for does not depend on it.
void PrintError(const char* message) noexcept;

// How a listing is printed.
enum class Output { kText, kJson, kXml };

// A text as a JSON string, with its quotes.
std::string Quote(const std::string& text);

// Prints the lines as they are, or as the elements of a JSON array.
void PrintLines(const std::vector<std::string>& lines, Output output);

}  // namespace Vantrix::Command
