#include "lowering.h"

namespace Vantra::Pixelc {

// The components that a path of constant indices leads to: the first, and the type.
std::pair<std::uint32_t, std::uint32_t> Lowering::ComponentRange(const SpirvInstruction& at,
                                                                 std::uint32_t type,
                                                                 std::size_t first_index) {
  std::uint32_t first = 0;
  for (std::size_t place = first_index; place < at.operands.size(); ++place) {
    const SpirvType& outer = module_.TypeOf(type);
    const std::uint32_t index = at.operands[place];
    if (outer.kind == SpirvType::Kind::kStruct) {
      if (index >= outer.members.size()) Fail(at, "there is no such member");
      for (std::uint32_t before = 0; before < index; ++before) {
        first += module_.TypeOf(outer.members[before]).components;
      }
      type = outer.members[index];
    } else {
      if (index >= outer.count) Fail(at, "there is no such element");
      first += index * module_.TypeOf(outer.element).components;
      type = outer.element;
    }
  }
  return {first, type};
}

bool Lowering::LowerComposite(const SpirvInstruction& instruction) {
  switch (instruction.op) {
    case spv::Op::OpCompositeConstruct: {
      Values values;
      for (const std::uint32_t id : instruction.operands) {
        const Values& part = ValuesOf(instruction, id);
        values.insert(values.end(), part.begin(), part.end());
        if (values.size() > ResultType(instruction).components) {
          Fail(instruction, "it has too many parts");
        }
      }
      SetResult(instruction, std::move(values));
      return true;
    }
    case spv::Op::OpCompositeExtract: {
      const std::uint32_t id = Operand(instruction, 0);
      const Values& all = ValuesOf(instruction, id);
      const auto [first, type] = ComponentRange(instruction, ValueType(instruction, id), 1);
      const auto begin = all.begin() + first;
      SetResult(instruction, {begin, begin + module_.TypeOf(type).components});
      return true;
    }
    case spv::Op::OpCompositeInsert: {
      const std::uint32_t id = Operand(instruction, 1);
      Values all = ValuesOf(instruction, id);
      const auto [first, type] = ComponentRange(instruction, ValueType(instruction, id), 2);
      const Values part = OperandValues(instruction, 0, module_.TypeOf(type).components);
      std::copy(part.begin(), part.end(), all.begin() + first);
      SetResult(instruction, std::move(all));
      return true;
    }
    case spv::Op::OpVectorShuffle: {
      Values both = ValuesOf(instruction, Operand(instruction, 0));
      const Values& second = ValuesOf(instruction, Operand(instruction, 1));
      both.insert(both.end(), second.begin(), second.end());
      Values values;
      for (std::size_t at = 2; at < instruction.operands.size(); ++at) {
        const std::uint32_t index = instruction.operands[at];
        if (index != kNone && index >= both.size()) Fail(instruction, "there is no such component");
        values.push_back(index == kNone ? builder_.Undefined(builder_.TypeOf(both[0]))
                                        : both[index]);
      }
      SetResult(instruction, std::move(values));
      return true;
    }
    case spv::Op::OpCopyObject:
    case spv::Op::OpCopyLogical: {
      const std::uint32_t id = Operand(instruction, 0);
      if (const auto found = pointers_.find(id); found != pointers_.end()) {
        pointers_[instruction.result] = Pointer(found->second);
      } else if (module_.FindVariable(id) != nullptr) {
        pointers_[instruction.result] = PointerOf(instruction, id);
      } else if (const auto handle = handles_.find(id); handle != handles_.end()) {
        handles_[instruction.result] = Handle(handle->second);
      } else {
        SetResult(instruction, Values(ValuesOf(instruction, id)));
      }
      return true;
    }
    case spv::Op::OpVectorExtractDynamic:
    case spv::Op::OpVectorInsertDynamic:
      LowerDynamicVector(instruction);
      return true;
    default:
      return LowerMatrix(instruction);
  }
}

void Lowering::LowerDynamicVector(const SpirvInstruction& instruction) {
  const bool is_insert = instruction.op == spv::Op::OpVectorInsertDynamic;
  Values vector = ValuesOf(instruction, Operand(instruction, 0));
  const ValueId index = builder_.As(OperandValue(instruction, is_insert ? 2 : 1), Type::kUint);
  const auto is_at = [&](std::size_t place) {
    return builder_.Emit(Op::kEqual, {index, builder_.Uint(static_cast<std::uint32_t>(place))});
  };
  if (is_insert) {
    const ValueId part = OperandValue(instruction, 1);
    for (std::size_t at = 0; at < vector.size(); ++at) {
      vector[at] = builder_.Select(is_at(at), part, vector[at]);
    }
    SetResult(instruction, std::move(vector));
    return;
  }
  ValueId value = vector[0];
  for (std::size_t at = 1; at < vector.size(); ++at) {
    value = builder_.Select(is_at(at), vector[at], value);
  }
  SetResult(instruction, {value});
}

// Matrices lie column by column.
bool Lowering::LowerMatrix(const SpirvInstruction& instruction) {
  const auto matrix_type = [&](std::uint32_t type) -> const SpirvType& {
    const SpirvType& matrix = module_.TypeOf(type);
    if (matrix.kind != SpirvType::Kind::kMatrix) Fail(instruction, "an operand is no matrix");
    return matrix;
  };
  const auto operand = [&](std::size_t index) {
    return ValuesOf(instruction, Operand(instruction, index));
  };
  const auto type_of = [&](std::size_t index) {
    operand(index);
    return ValueType(instruction, Operand(instruction, index));
  };
  const auto rows_of = [&](const SpirvType& matrix) {
    return module_.TypeOf(matrix.element).count;
  };
  const auto need = [&](bool fits) {
    if (!fits) Fail(instruction, "its operands do not fit each other");
  };
  // Of a matrix with so many rows, as a vector along the row.
  const auto row = [](const Values& matrix, std::uint32_t rows, std::uint32_t index) {
    Values values;
    for (std::size_t at = index; at < matrix.size(); at += rows) values.push_back(matrix[at]);
    return values;
  };
  const auto column = [](const Values& matrix, std::uint32_t rows, std::uint32_t index) {
    const auto begin = matrix.begin() + static_cast<std::ptrdiff_t>(index) * rows;
    return Values(begin, begin + rows);
  };
  Values values;
  switch (instruction.op) {
    case spv::Op::OpVectorTimesScalar:
    case spv::Op::OpMatrixTimesScalar: {
      const ValueId scalar = OperandValue(instruction, 1);
      for (const ValueId value : operand(0)) values.push_back(builder_.Mul(value, scalar));
      break;
    }
    case spv::Op::OpMatrixTimesVector: {
      const std::uint32_t rows = rows_of(matrix_type(type_of(0)));
      const Values vector = operand(1);
      need(operand(0).size() == rows * vector.size());
      for (std::uint32_t at = 0; at < rows; ++at) {
        values.push_back(builder_.Dot(row(operand(0), rows, at), vector));
      }
      break;
    }
    case spv::Op::OpVectorTimesMatrix: {
      const SpirvType& matrix = matrix_type(type_of(1));
      const std::uint32_t rows = rows_of(matrix);
      need(operand(0).size() == rows);
      for (std::uint32_t at = 0; at < matrix.count; ++at) {
        values.push_back(builder_.Dot(operand(0), column(operand(1), rows, at)));
      }
      break;
    }
    case spv::Op::OpMatrixTimesMatrix: {
      const std::uint32_t rows = rows_of(matrix_type(type_of(0)));
      const SpirvType& right = matrix_type(type_of(1));
      need(matrix_type(type_of(0)).count == rows_of(right));
      for (std::uint32_t at = 0; at < right.count; ++at) {
        for (std::uint32_t place = 0; place < rows; ++place) {
          values.push_back(
              builder_.Dot(row(operand(0), rows, place), column(operand(1), rows_of(right), at)));
        }
      }
      break;
    }
    case spv::Op::OpOuterProduct:
      for (const ValueId right : operand(1)) {
        for (const ValueId left : operand(0)) values.push_back(builder_.Mul(left, right));
      }
      break;
    case spv::Op::OpTranspose: {
      const std::uint32_t rows = rows_of(matrix_type(type_of(0)));
      for (std::uint32_t at = 0; at < rows; ++at) {
        const Values part = row(operand(0), rows, at);
        values.insert(values.end(), part.begin(), part.end());
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
