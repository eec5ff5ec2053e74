#pragma once

// The state of a lowering. Each SPIR-V value becomes one value a component, so that putting vectors
// together, taking them apart and shuffling them only moves names about. A local variable whose
// elements are known where it is used becomes values as well; the others become arrays.

#include <array>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "builder.h"
#include "ir.h"
#include "spirv_module.h"

namespace Vantra::Pixelc {

class Lowering {
 public:
  Lowering(const SpirvModule& module, Program& program);
  void Run();

 private:
  using Values = std::vector<ValueId>;

  // constant + dynamic, where there is a dynamic part.
  struct Offset {
    std::uint32_t constant = 0;
    ValueId dynamic = kNone;
  };

  // Where a pointer leads. Within a local variable each scalar type has a count of its own, as the
  // elements of a type lie in an array of that type. Within a buffer the first is the offset,
  // in units of so many bytes.
  struct Pointer {
    std::uint32_t variable = 0;
    std::uint32_t type = 0;
    std::array<Offset, 4> offsets;
    std::uint32_t unit = 1;
    // Within a buffer: of a matrix, and of the vector that was taken from one.
    std::uint32_t matrix_stride = 0;
    bool row_major = false;
    std::uint32_t component_stride = 4;
  };

  struct Handle {
    std::uint32_t texture = kNone;
    std::uint32_t sampler = kNone;
  };

  // A local variable, or the program's result: first cells, or arrays, by scalar type.
  struct Local {
    bool is_array = false;
    std::array<std::uint32_t, 4> first = {kNone, kNone, kNone, kNone};
    std::array<std::uint32_t, 4> sizes = {};
  };

  // Control flow (lower.cpp).
  void OrderBlocks();
  void StartBlock(std::uint32_t label);
  void LowerBlock(const SpirvBlock& block);
  void LowerInstruction(const SpirvInstruction& instruction);
  void LowerPhi(const SpirvInstruction& instruction);
  void LowerTerminator(const SpirvInstruction& instruction);
  void LowerSwitch(const SpirvInstruction& instruction);
  void LowerReturn();
  void FinishPhis();
  BlockId BlockOf(const SpirvInstruction& at, std::uint32_t label) const;

  // Memory (lower_memory.cpp).
  void SetUpVariables();
  void AddLocal(std::uint32_t id, bool is_array);
  void InitializeLocals();
  bool LowerMemory(const SpirvInstruction& instruction);
  Pointer PointerOf(const SpirvInstruction& at, std::uint32_t id);
  void LowerAccessChain(const SpirvInstruction& instruction);
  void StepInto(const SpirvInstruction& at, bool in_buffer, std::uint32_t index, Pointer* pointer);
  void LowerLoad(const SpirvInstruction& instruction);
  void Store(const SpirvInstruction& at, const Pointer& pointer, const Values& values);
  Values Load(const SpirvInstruction& at, const Pointer& pointer);
  Values LoadLocal(const Pointer& pointer);
  void StoreLocal(const Pointer& pointer, const Values& values);
  Values LoadInput(const SpirvInstruction& at, const Pointer& pointer);
  // Of all scalars at a place in a buffer, in order.
  std::vector<Offset> BufferOffsets(const Pointer& pointer);
  void AddBufferOffsets(Pointer pointer, std::vector<Offset>* offsets);
  void Advance(Offset* offset, std::uint32_t stride, std::uint32_t index_id);
  ValueId Place(const Offset& offset);
  bool IsIn(std::uint32_t variable, spv::StorageClass storage) const;

  // Arithmetic and composites (lower_arithmetic.cpp, lower_composites.cpp).
  bool LowerArithmetic(const SpirvInstruction& instruction);
  bool LowerSpecialArithmetic(const SpirvInstruction& instruction);
  bool LowerBitField(const SpirvInstruction& instruction);
  bool LowerComposite(const SpirvInstruction& instruction);
  bool LowerMatrix(const SpirvInstruction& instruction);
  void LowerDynamicVector(const SpirvInstruction& instruction);
  std::pair<std::uint32_t, std::uint32_t> ComponentRange(const SpirvInstruction& at,
                                                         std::uint32_t type,
                                                         std::size_t first_index);

  // Functions (glsl_functions.cpp, glsl_geometry.cpp).
  void LowerFunction(const SpirvInstruction& instruction);
  bool LowerElementwiseFunction(const SpirvInstruction& instruction, std::uint32_t function,
                                const std::vector<Values>& arguments);
  bool LowerPacking(const SpirvInstruction& instruction, std::uint32_t function,
                    const std::vector<Values>& arguments);
  bool LowerSplitting(const SpirvInstruction& instruction, std::uint32_t function,
                      const std::vector<Values>& arguments);
  bool LowerGeometry(const SpirvInstruction& instruction, std::uint32_t function,
                     const std::vector<Values>& arguments);
  ValueId Length(const Values& vector);
  ValueId Determinant(const Values& matrix, std::uint32_t size);
  Values Inverse(const Values& matrix, std::uint32_t size);

  // Textures (lower_images.cpp).
  bool LowerImage(const SpirvInstruction& instruction);
  void LowerSample(const SpirvInstruction& instruction, bool projected);
  void LowerFetch(const SpirvInstruction& instruction);
  void LoadHandle(const SpirvInstruction& instruction, std::uint32_t variable);
  const Handle& HandleOf(const SpirvInstruction& at, std::uint32_t id) const;
  std::size_t CheckImageOperands(const SpirvInstruction& at, std::size_t first);

  // The components of a value; of `count` where the callers need as many.
  const Values& ValuesOf(const SpirvInstruction& at, std::uint32_t id);
  Values OperandValues(const SpirvInstruction& at, std::size_t index, std::size_t count);
  ValueId OperandValue(const SpirvInstruction& at, std::size_t index) {
    return OperandValues(at, index, 1)[0];
  }
  std::uint32_t ValueType(const SpirvInstruction& at, std::uint32_t id) const;
  // Checks the number of components, and converts bits where only the signedness differs.
  void SetResult(const SpirvInstruction& instruction, Values values);
  std::uint32_t Operand(const SpirvInstruction& at, std::size_t index) const {
    return OperandOf(module_, at, index);
  }
  const SpirvType& ResultType(const SpirvInstruction& at) const { return module_.TypeOf(at.type); }
  [[noreturn]] void Fail(const SpirvInstruction& at, const std::string& message) const {
    module_.Fail(at, message);
  }

  struct BlockState {
    const SpirvBlock* source = nullptr;
    std::vector<std::uint32_t> predecessors;
    BlockId block = kNone;
    bool is_done = false;
    // What the cells of local variables hold at the end.
    Values cells;
  };
  struct PendingPhi {
    SpirvInstruction instruction;
    BlockId block = 0;
    Values results;
  };
  struct CellPhis {
    std::uint32_t label = 0;
    Values results;
  };

  const SpirvModule& module_;
  Program& program_;
  Builder builder_;
  std::unordered_map<std::uint32_t, Values> values_;
  // The SPIR-V types of the values.
  std::unordered_map<std::uint32_t, std::uint32_t> value_types_;
  std::unordered_map<std::uint32_t, Pointer> pointers_;
  std::unordered_map<std::uint32_t, Handle> handles_;
  std::unordered_map<std::uint32_t, Local> locals_;
  // In order of declaration, for the same program to give the same code each time.
  std::vector<std::uint32_t> local_ids_;
  std::vector<Type> cell_types_;
  Values cells_;
  std::uint32_t result_variable_ = 0;
  std::unordered_map<std::uint32_t, BlockState> states_;
  std::vector<std::uint32_t> order_;
  // The SPIR-V block that a block was made from.
  std::vector<std::uint32_t> origins_;
  std::uint32_t label_ = 0;
  std::vector<PendingPhi> phis_;
  std::vector<CellPhis> cell_phis_;
};

}  // namespace Vantra::Pixelc
