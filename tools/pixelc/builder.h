#pragma once

// Appends instructions to a program.

#include <array>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

#include "ir.h"

namespace Vantra::Pixelc {

class Builder {
 public:
  explicit Builder(Program& program) : program_(program) {}

  BlockId AddBlock();
  // Where the next instructions go.
  void Enter(BlockId block) { block_ = block; }
  BlockId block() const { return block_; }
  // Whether sums and products to come are rounded by themselves.
  void SetPrecise(bool is_precise) { is_precise_ = is_precise; }

  // Leaves stand once, in the entry.
  ValueId Constant(Type type, std::uint32_t bits);
  ValueId Float(float value);
  ValueId Int(std::int32_t value);
  ValueId Uint(std::uint32_t value) { return Constant(Type::kUint, value); }
  ValueId Leaf(Op op, Type type, std::uint32_t bits = 0);
  ValueId Undefined(Type type) { return Leaf(Op::kUndefined, type); }

  Type TypeOf(ValueId value) const { return program_.types[value]; }

  // The type of the result follows from the operation and its first operand.
  ValueId Emit(Op op, std::initializer_list<ValueId> operands);
  std::array<ValueId, 4> Read(Op op, ValueId x, ValueId y, std::uint32_t texture,
                              std::uint32_t sampler);
  std::array<ValueId, 2> TextureSize(std::uint32_t texture);
  ValueId Load(Op op, Type type, std::uint32_t index, ValueId at);
  void Effect(Op op, std::initializer_list<ValueId> operands, std::uint32_t index = 0);
  ValueId Phi(Type type);

  // Short for what is written most.
  ValueId Add(ValueId a, ValueId b) { return Emit(Op::kAdd, {a, b}); }
  ValueId Sub(ValueId a, ValueId b) { return Emit(Op::kSub, {a, b}); }
  ValueId Mul(ValueId a, ValueId b) { return Emit(Op::kMul, {a, b}); }
  ValueId Clamp(ValueId value, ValueId low, ValueId high) {
    return Emit(Op::kMin, {Emit(Op::kMax, {value, low}), high});
  }
  ValueId Select(ValueId condition, ValueId yes, ValueId no);
  // The same bits as another type; truth values stay what they are.
  ValueId As(ValueId value, Type type);
  // Summed up from the left.
  ValueId Dot(std::span<const ValueId> a, std::span<const ValueId> b);

  void Branch(BlockId target);
  void BranchIf(ValueId condition, BlockId yes, BlockId no);
  void Return();

  std::size_t size() const { return size_; }
  // Puts the leaves into the entry.
  void Finish();

 private:
  Instruction& Append(Instruction instruction, std::size_t results, Type type);

  Program& program_;
  BlockId block_ = 0;
  std::size_t size_ = 0;
  bool is_precise_ = false;
  std::vector<Instruction> leaves_;
  std::map<std::tuple<Op, Type, std::uint32_t>, ValueId> leaf_values_;
};

}  // namespace Vantra::Pixelc
