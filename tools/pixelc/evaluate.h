#pragma once

// What the operations that only compute give, on one value each.

#include <cstdint>
#include <optional>
#include <span>

#include "ir.h"

namespace Vantra::Pixelc {

struct TypedBits {
  Type type = Type::kFloat;
  std::uint32_t bits = 0;
};

// Nothing for an operation that reads or writes anything but its operands. Functions of floats are
// computed in double precision and rounded once.
std::optional<std::uint32_t> Evaluate(Op op, Type result, std::span<const TypedBits> operands);

// Whether every implementation of the operation gives these very bits, so that it can be computed
// when the program is built.
bool IsExact(Op op, Type result, std::span<const TypedBits> operands);

// The bits of the 16-bit float nearest to a value, ties to even, and the value of such bits.
std::uint32_t HalfOfFloat(float value);
float FloatOfHalf(std::uint32_t bits);

}  // namespace Vantra::Pixelc
