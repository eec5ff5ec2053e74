#include "testing/operation.h"

#include <bit>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "testing/assembler.h"
#include "testing/ir_interpreter.h"

namespace Vantra::Pixelc {
namespace {

struct Shape {
  std::string column;                // of a matrix, the type of its columns
  std::uint32_t rows = 1;            // of a matrix
  std::vector<std::string> scalars;  // the types of the components
};

Shape ShapeOf(const TestValue& value) {
  if (value.type == "pair_frexp") return {.column = {}, .scalars = {"float", "int"}};
  if (value.type.starts_with("mat")) {
    const auto rows = static_cast<std::uint32_t>(value.type.back() - '0');
    return {.column = fmt::format("v{}float", rows),
            .rows = rows,
            .scalars = std::vector<std::string>(value.bits.size(), "float")};
  }
  std::string scalar = value.type;
  if (scalar.starts_with("pair_")) {
    scalar = scalar.substr(5);
  } else if (scalar[0] == 'v') {
    scalar = scalar.substr(2);
  }
  return {.column = {}, .scalars = std::vector<std::string>(value.bits.size(), scalar)};
}

// The text that makes `%name` of scalars that `scalar` gives.
template <class Scalar>
std::string Construct(const std::string& name, const TestValue& value, Scalar scalar) {
  const Shape shape = ShapeOf(value);
  std::string text;
  std::vector<std::string> parts;
  for (std::size_t at = 0; at < value.bits.size(); ++at) {
    const bool is_all = value.bits.size() == 1;
    parts.push_back(is_all ? name : name + "_" + std::to_string(at));
    text += scalar(parts.back(), shape.scalars[at], value.bits[at]);
  }
  const auto join = [&](const std::string& result, const std::string& type, std::size_t first,
                        std::size_t count) {
    text += "%" + result + " = OpCompositeConstruct %" + type;
    for (std::size_t at = first; at < first + count; ++at) text += " %" + parts[at];
    text += "\n";
  };
  if (!shape.column.empty()) {
    std::vector<std::string> columns;
    for (std::size_t at = 0; at < value.bits.size(); at += shape.rows) {
      columns.push_back(name + "_column" + std::to_string(at));
      join(columns.back(), shape.column, at, shape.rows);
    }
    parts = columns;
    join(name, value.type, 0, parts.size());
  } else if (value.bits.size() > 1) {
    join(name, value.type, 0, parts.size());
  }
  return text;
}

std::string WriteOut(const TestValue& result) {
  const Shape shape = ShapeOf(result);
  std::string text;
  for (std::size_t at = 0; at < result.bits.size(); ++at) {
    const std::string id = std::to_string(at);
    std::string part = "%r";
    if (result.bits.size() > 1) {
      part = "%part" + id;
      const std::string path = shape.column.empty() ? id
                                                    : std::to_string(at / shape.rows) + " " +
                                                          std::to_string(at % shape.rows);
      text += part + " = OpCompositeExtract %" + shape.scalars[at] + " %r " + path + "\n";
    }
    std::string word = "%out" + id;
    if (shape.scalars[at] == "bool") {
      text += word + " = OpSelect %uint " + part + " %u1 %u0\n";
    } else if (shape.scalars[at] == "uint") {
      word = part;
    } else {
      text += word + " = OpBitcast %uint " + part + "\n";
    }
    text += "%place" + id + " = OpAccessChain %ptr_output_word %output %i0 %index" + id +
            "\nOpStore %place" + id + " " + word + "\n";
  }
  return text;
}

bool IsNear(const std::string& type, std::uint32_t a, std::uint32_t b, int steps) {
  if (a == b || type != "float") return a == b;
  if (std::isnan(std::bit_cast<float>(a)) && std::isnan(std::bit_cast<float>(b))) return true;
  if (steps > 0 && std::bit_cast<float>(a) == 0 && std::bit_cast<float>(b) == 0) return true;
  return (a ^ b) >> 31 == 0 &&
         std::abs(static_cast<std::int64_t>(a) - static_cast<std::int64_t>(b)) <= steps;
}

void ExpectResult(const OperationCase& test, const std::string& declarations,
                  const std::string& body, const std::vector<std::uint32_t>& constants) {
  std::string text = declarations;
  for (std::size_t at = 0; at < test.expected.bits.size(); ++at) {
    const std::string id = std::to_string(at);
    text += "%index" + id + " = OpConstant %uint " + id + "\n";
  }
  std::string operation = "%r = " + test.operation + " %" + test.expected.type;
  if (test.operation.starts_with("glsl ")) {
    operation = "%r = OpExtInst %" + test.expected.type + " %glsl " + test.operation.substr(5);
  }
  for (std::size_t at = 0; at < test.operands.size(); ++at) {
    operation += " %operand" + std::to_string(at);
  }
  Invocation invocation;
  invocation.constants = constants;
  const Program program = LowerText(ComputeText(
      text, body + operation + " " + test.literals + "\n" + WriteOut(test.expected) + "OpReturn"));
  const Outcome outcome = Interpret(program, invocation);
  const Shape shape = ShapeOf(test.expected);
  ASSERT_EQ(outcome.words.size(), test.expected.bits.size());
  for (std::uint32_t at = 0; at < test.expected.bits.size(); ++at) {
    EXPECT_TRUE(IsNear(shape.scalars[at], outcome.words.at(at), test.expected.bits[at], test.steps))
        << "component " << at << ": " << std::hex << outcome.words.at(at) << " instead of "
        << test.expected.bits[at];
  }
}

void ExpectOperation(const OperationCase& test) {
  SCOPED_TRACE(test.operation);
  std::string loaded;
  std::string constant;
  std::string constant_types;
  std::vector<std::uint32_t> constants;
  for (std::size_t at = 0; at < test.operands.size(); ++at) {
    const std::string name = "operand" + std::to_string(at);
    loaded += Construct(name, test.operands[at],
                        [&](const std::string& part, const std::string& type, std::uint32_t bits) {
                          const std::string index = "%at" + std::to_string(constants.size());
                          constant_types += index + " = OpConstant %uint " +
                                            std::to_string(constants.size()) + "\n";
                          constants.push_back(bits);
                          const std::string word = type == "uint" ? part : part + "_word";
                          std::string text =
                              "%" + part + "_place = OpAccessChain %ptr_word %block %i0 " + index +
                              "\n%" + word + " = OpLoad %uint %" + part + "_place\n";
                          if (type == "bool") {
                            text += "%" + part + " = OpINotEqual %bool %" + word + " %u0\n";
                          } else if (type != "uint") {
                            text += "%" + part + " = OpBitcast %" + type + " %" + word + "\n";
                          }
                          return text;
                        });
    constant += Construct(name, test.operands[at],
                          [](const std::string& part, const std::string& type, std::uint32_t bits) {
                            return type == "bool" ? "%" + part + " = OpCopyObject %bool " +
                                                        (bits != 0 ? "%true" : "%false") + "\n"
                                                  : "%" + part + " = OpBitcast %" + type +
                                                        " %literal_" + std::to_string(bits) + "\n";
                          });
  }
  std::string literals;
  for (std::size_t at = 0; at < constants.size(); ++at) {
    const std::string line = "%literal_" + std::to_string(constants[at]) + " = OpConstant %uint " +
                             std::to_string(constants[at]) + "\n";
    if (literals.find(line) == std::string::npos) literals += line;
  }
  ExpectResult(test, constant_types, loaded, constants);
  ExpectResult(test, literals, constant, {});
}

}  // namespace

TestValue F(float value) { return {"float", {std::bit_cast<std::uint32_t>(value)}}; }
TestValue I(std::int32_t value) { return {"int", {static_cast<std::uint32_t>(value)}}; }
TestValue U(std::uint32_t value) { return {"uint", {value}}; }
TestValue B(bool value) { return {"bool", {value ? 1u : 0u}}; }

TestValue Floats(const std::string& type, const std::vector<float>& values) {
  TestValue result{type, {}};
  for (const float value : values) result.bits.push_back(std::bit_cast<std::uint32_t>(value));
  return result;
}

TestValue V2(float x, float y) { return Floats("v2float", {x, y}); }
TestValue V3(float x, float y, float z) { return Floats("v3float", {x, y, z}); }
TestValue V4(float x, float y, float z, float w) { return Floats("v4float", {x, y, z, w}); }

TestValue Words(const std::string& type, const std::vector<std::uint32_t>& values) {
  return {type, values};
}

void ExpectAll(const std::vector<OperationCase>& tests) {
  for (const OperationCase& test : tests) ExpectOperation(test);
}

}  // namespace Vantra::Pixelc
