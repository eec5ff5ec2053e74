#include "code_text.h"

#include <array>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace Vantra::Pixelc {

void CodeText::Append(const CodeText& other, int depth) {
  for (const Entry& line : other.lines_) lines_.push_back({line.depth + depth, line.text});
}

void CodeText::Block(const std::string& head, const CodeText& body) {
  Line(head + " {");
  Append(body, 1);
  Line("}");
}

void CodeText::ElseBlock(const CodeText& body) {
  lines_.back().text = "} else {";
  Append(body, 1);
  Line("}");
}

bool CodeText::Mentions(std::string_view word) const {
  const auto part_of_name = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
  };
  for (const Entry& line : lines_) {
    for (std::size_t at = line.text.find(word); at != std::string::npos;
         at = line.text.find(word, at + 1)) {
      const std::size_t end = at + word.size();
      if ((at == 0 || !part_of_name(line.text[at - 1])) &&
          (end == line.text.size() || !part_of_name(line.text[end]))) {
        return true;
      }
    }
  }
  return false;
}

namespace {

constexpr std::size_t kColumns = 100;

// Breaks a line that is too long behind a comma, or else behind a bracket.
void PrintLine(std::string indent, std::string text, std::ostringstream& out) {
  const bool is_comment = text.starts_with("// ");
  std::string continued = indent + (is_comment ? "// " : "    ");
  while (indent.size() + text.size() > kColumns) {
    const std::size_t room = kColumns - indent.size();
    std::size_t end = text.rfind(' ', room);
    if (!is_comment) {
      while (end != std::string::npos && end > 0 && text[end - 1] != ',' && text[end - 1] != '=') {
        end = text.rfind(' ', end - 1);
      }
    }
    std::size_t next = end + 1;
    if (end == std::string::npos || end < 4) {
      const std::size_t bracket = is_comment ? std::string::npos : text.rfind('(', room - 1);
      if (bracket == std::string::npos || indent == continued) break;
      end = next = bracket + 1;
    }
    out << indent << text.substr(0, end) << '\n';
    text = text.substr(next);
    indent = continued;
  }
  out << indent << text << '\n';
}

}  // namespace

std::string CodeText::Print() const {
  std::ostringstream out;
  for (const Entry& line : lines_) {
    if (line.text.empty() || line.text[0] == '#') {
      out << line.text << '\n';
    } else {
      PrintLine(std::string(static_cast<std::size_t>(line.depth) * 2, ' '), line.text, out);
    }
  }
  return out.str();
}

std::string Call(std::string_view function, const std::vector<std::string>& arguments) {
  std::string text(function);
  text += '(';
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (i != 0) text += ", ";
    text += arguments[i];
  }
  return text + ')';
}

std::string Literal(Type type, std::uint32_t bits) {
  switch (type) {
    case Type::kBool:
      return bits != 0 ? "true" : "false";
    case Type::kUint:
      return std::to_string(bits) + "u";
    case Type::kInt:
      // The smallest has no literal of its own.
      if (bits == 0x80000000u) return "INT32_MIN";
      return std::to_string(static_cast<std::int32_t>(bits));
    case Type::kFloat:
      break;
  }
  const float value = std::bit_cast<float>(bits);
  std::array<char, 40> text;
  if (!std::isfinite(value)) {
    std::snprintf(text.data(), text.size(), "BitsToFloat(0x%08Xu)", bits);
    return text.data();
  }
  // As few digits as give the same value.
  for (int digits = 1; digits <= 9; ++digits) {
    std::snprintf(text.data(), text.size(), "%.*g", digits, static_cast<double>(value));
    if (std::bit_cast<std::uint32_t>(std::strtof(text.data(), nullptr)) == bits) break;
  }
  std::string literal = text.data();
  if (literal.find_first_of(".e") == std::string::npos) literal += ".0";
  return literal + "f";
}

std::string_view ScalarType(Type type) {
  switch (type) {
    case Type::kFloat:
      return "float";
    case Type::kInt:
      return "int32_t";
    case Type::kUint:
      return "uint32_t";
    case Type::kBool:
      break;
  }
  return "bool";
}

std::string_view LaneType(Type type) {
  switch (type) {
    case Type::kFloat:
      return "F";
    case Type::kInt:
      return "I";
    case Type::kUint:
      return "U";
    case Type::kBool:
      break;
  }
  return "M";
}

std::string_view FunctionOf(Op op) {
  // In the order of the operations.
  static constexpr auto kNames = std::to_array<std::string_view>(
      {"Neg",       "Add",        "Sub",         "Mul",         "Div",           "Rem",
       "Mod",       "MulHigh",    "Min",         "Max",         "Abs",           "Sign",
       "Equal",     "NotEqual",   "Less",        "LessEqual",   "Greater",       "GreaterEqual",
       "IsNan",     "IsInf",      "And",         "Or",          "Xor",           "Not",
       "ShiftLeft", "ShiftRight", "BitCount",    "BitReverse",  "FindLowestBit", "FindHighestBit",
       "Select",    "FloatToInt", "FloatToUint", "IntToFloat",  "UintToFloat",   "BitsToFloat",
       "BitsToInt", "BitsToUint", "FloatToHalf", "HalfToFloat", "Floor",         "Ceil",
       "Trunc",     "Round",      "Fract",       "Sqrt",        "InverseSqrt",   "Fma",
       "Sin",       "Cos",        "Tan",         "Asin",        "Acos",          "Atan",
       "Atan2",     "Sinh",       "Cosh",        "Tanh",        "Asinh",         "Acosh",
       "Atanh",     "Exp",        "Log",         "Exp2",        "Log2",          "Pow",
       "Ldexp",     "Mantissa",   "Exponent",    "Sample",      "Fetch"});
  constexpr auto kFirst = static_cast<std::size_t>(Op::kNeg);
  static_assert(kFirst + kNames.size() == static_cast<std::size_t>(Op::kTextureSize));
  return kNames.at(static_cast<std::size_t>(op) - kFirst);
}

}  // namespace Vantra::Pixelc
