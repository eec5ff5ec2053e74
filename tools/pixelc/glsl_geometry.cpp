#include <spirv/unified1/GLSL.std.450.h>

#include "lowering.h"

namespace Vantra::Pixelc {
namespace {

using Values = std::vector<ValueId>;

// Without a row and a column, column by column as all matrices.
Values Minor(const Values& matrix, std::uint32_t size, std::uint32_t without_column,
             std::uint32_t without_row) {
  Values minor;
  for (std::uint32_t column = 0; column < size; ++column) {
    for (std::uint32_t row = 0; row < size; ++row) {
      if (column != without_column && row != without_row) {
        minor.push_back(matrix[column * size + row]);
      }
    }
  }
  return minor;
}

std::uint32_t SizeOfSquare(std::size_t components) {
  for (std::uint32_t size = 2; size <= 4; ++size) {
    if (components == static_cast<std::size_t>(size) * size) return size;
  }
  return 0;
}

}  // namespace

ValueId Lowering::Length(const Values& vector) {
  return vector.size() == 1 ? builder_.Emit(Op::kAbs, {vector[0]})
                            : builder_.Emit(Op::kSqrt, {builder_.Dot(vector, vector)});
}

ValueId Lowering::Determinant(const Values& matrix, std::uint32_t size) {
  if (size == 1) return matrix[0];
  ValueId sum = kNone;
  for (std::uint32_t column = 0; column < size; ++column) {
    const ValueId term =
        builder_.Mul(matrix[column * size], Determinant(Minor(matrix, size, column, 0), size - 1));
    sum = column == 0 ? term : column % 2 == 0 ? builder_.Add(sum, term) : builder_.Sub(sum, term);
  }
  return sum;
}

Lowering::Values Lowering::Inverse(const Values& matrix, std::uint32_t size) {
  const ValueId factor = builder_.Emit(Op::kDiv, {builder_.Float(1), Determinant(matrix, size)});
  Values inverse;
  for (std::uint32_t column = 0; column < size; ++column) {
    for (std::uint32_t row = 0; row < size; ++row) {
      const ValueId cofactor = Determinant(Minor(matrix, size, row, column), size - 1);
      const ValueId part = builder_.Mul(cofactor, factor);
      inverse.push_back((row + column) % 2 == 0 ? part : builder_.Emit(Op::kNeg, {part}));
    }
  }
  return inverse;
}

bool Lowering::LowerGeometry(const SpirvInstruction& instruction, std::uint32_t function,
                             const std::vector<Values>& arguments) {
  const std::size_t count = arguments[0].size();
  const auto need = [&](std::size_t vectors, std::size_t scalars = 0) {
    bool fits = arguments.size() == vectors + scalars;
    for (std::size_t at = 0; fits && at < arguments.size(); ++at) {
      fits = arguments[at].size() == (at < vectors ? count : 1);
      for (const ValueId value : arguments[at]) {
        fits = fits && builder_.TypeOf(value) == Type::kFloat;
      }
    }
    if (!fits) Fail(instruction, "its operands do not fit each other");
  };
  const ValueId zero = builder_.Float(0);
  const ValueId one = builder_.Float(1);
  Values values;
  switch (function) {
    case GLSLstd450Length:
      need(1);
      values = {Length(arguments[0])};
      break;
    case GLSLstd450Distance: {
      need(2);
      for (std::size_t at = 0; at < count; ++at) {
        values.push_back(builder_.Sub(arguments[0][at], arguments[1][at]));
      }
      values = {Length(values)};
      break;
    }
    case GLSLstd450Normalize: {
      need(1);
      const ValueId factor =
          builder_.Emit(Op::kInverseSqrt, {builder_.Dot(arguments[0], arguments[0])});
      for (const ValueId value : arguments[0]) values.push_back(builder_.Mul(value, factor));
      break;
    }
    case GLSLstd450Cross: {
      need(2);
      if (count != 3) Fail(instruction, "its operands have three components");
      const Values& a = arguments[0];
      const Values& b = arguments[1];
      for (std::size_t at = 0; at < 3; ++at) {
        const std::size_t next = (at + 1) % 3;
        const std::size_t last = (at + 2) % 3;
        values.push_back(
            builder_.Sub(builder_.Mul(a[next], b[last]), builder_.Mul(a[last], b[next])));
      }
      break;
    }
    case GLSLstd450FaceForward: {
      need(3);
      const ValueId faces =
          builder_.Emit(Op::kLess, {builder_.Dot(arguments[2], arguments[1]), zero});
      for (const ValueId value : arguments[0]) {
        values.push_back(builder_.Select(faces, value, builder_.Emit(Op::kNeg, {value})));
      }
      break;
    }
    case GLSLstd450Reflect: {
      need(2);
      const ValueId twice =
          builder_.Mul(builder_.Float(2), builder_.Dot(arguments[1], arguments[0]));
      for (std::size_t at = 0; at < count; ++at) {
        values.push_back(builder_.Sub(arguments[0][at], builder_.Mul(twice, arguments[1][at])));
      }
      break;
    }
    case GLSLstd450Refract: {
      need(2, 1);
      const ValueId ratio = arguments[2][0];
      const ValueId along = builder_.Dot(arguments[1], arguments[0]);
      const ValueId inside = builder_.Sub(
          one,
          builder_.Mul(builder_.Mul(ratio, ratio), builder_.Sub(one, builder_.Mul(along, along))));
      const ValueId is_reflected = builder_.Emit(Op::kLess, {inside, zero});
      const ValueId back =
          builder_.Add(builder_.Mul(ratio, along), builder_.Emit(Op::kSqrt, {inside}));
      for (std::size_t at = 0; at < count; ++at) {
        const ValueId bent = builder_.Sub(builder_.Mul(ratio, arguments[0][at]),
                                          builder_.Mul(back, arguments[1][at]));
        values.push_back(builder_.Select(is_reflected, zero, bent));
      }
      break;
    }
    case GLSLstd450Determinant:
    case GLSLstd450MatrixInverse: {
      need(1);
      const std::uint32_t size = SizeOfSquare(count);
      if (size == 0) Fail(instruction, "its operand is no square matrix");
      if (function == GLSLstd450Determinant) {
        values = {Determinant(arguments[0], size)};
      } else {
        values = Inverse(arguments[0], size);
      }
      break;
    }
    default:
      return false;
  }
  SetResult(instruction, std::move(values));
  return true;
}

}  // namespace Vantra::Pixelc
