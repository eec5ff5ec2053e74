#pragma once

// One operation on values: lowered, run, and its result taken apart.

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace Vantra::Pixelc {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Of one of the types of `PixelText`, by name.
struct TestValue {
  std::string type;
  std::vector<std::uint32_t> bits;
};

TestValue F(float value);
TestValue I(std::int32_t value);
TestValue U(std::uint32_t value);
TestValue B(bool value);
// Vectors, and matrices and structures of floats, by the name of their type.
TestValue Floats(const std::string& type, const std::vector<float>& values);
TestValue V2(float x, float y);
TestValue V3(float x, float y, float z);
TestValue V4(float x, float y, float z, float w);
TestValue Words(const std::string& type, const std::vector<std::uint32_t>& values);

struct OperationCase {
  // "OpFAdd", or "glsl FMix".
  std::string operation;
  std::vector<TestValue> operands;
  TestValue expected;
  // By how many steps of a float the result may miss; if by any, zeros may have either sign.
  int steps = 0;
  // Literals behind the operands.
  std::string literals = {};
};

// Runs each operation on values that are known only when it runs, and once more on constants, and
// expects the same of both.
void ExpectAll(const std::vector<OperationCase>& tests);

}  // namespace Vantra::Pixelc
