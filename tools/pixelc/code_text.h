#pragma once

// Lines of C++ on their way into a file.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ir.h"

namespace Vantra::Pixelc {

class CodeText {
 public:
  void Line(std::string text) { lines_.push_back({0, std::move(text)}); }
  void Append(const CodeText& other, int depth = 0);
  // `head {`, the body one step deeper, and `}`.
  void Block(const std::string& head, const CodeText& body);
  // The same for what is done otherwise, behind such a block.
  void ElseBlock(const CodeText& body);

  // Makes the block before the definition of a structure.
  void EndStructure() { lines_.back().text = "};"; }

  bool Empty() const { return lines_.empty(); }
  bool EndsWith(std::string_view line) const {
    return !lines_.empty() && lines_.back().depth == 0 && lines_.back().text == line;
  }
  void DropLast() { lines_.pop_back(); }
  // Whether a word occurs.
  bool Mentions(std::string_view word) const;
  std::string Print() const;

 private:
  struct Entry {
    int depth = 0;
    std::string text;
  };
  std::vector<Entry> lines_;
};

// `function(first, second)`.
std::string Call(std::string_view function, const std::vector<std::string>& arguments);

// A literal of exactly this value.
std::string Literal(Type type, std::uint32_t bits);

std::string_view ScalarType(Type type);
std::string_view LaneType(Type type);

// The name of an operation's function.
std::string_view FunctionOf(Op op);

}  // namespace Vantra::Pixelc
