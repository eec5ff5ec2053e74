#include <algorithm>
#include <fmt/format.h>

#include "lowering.h"

namespace Vantra::Pixelc {
namespace {

// Local variables of up to so many scalars become values where their elements are known.
constexpr std::uint32_t kMaximumCells = 256;
constexpr std::uint32_t kMaximumCellsOfAll = 2048;

constexpr std::uint32_t kConstantsBinding = 6;
constexpr std::uint32_t kOutputBinding = 7;
constexpr std::int32_t kGroupWidth = 32;
constexpr std::int32_t kGroupHeight = 16;

std::size_t IndexOf(Type type) { return static_cast<std::size_t>(type); }

bool IsLocalClass(spv::StorageClass storage) {
  return storage == spv::StorageClass::Function || storage == spv::StorageClass::Private ||
         storage == spv::StorageClass::Output;
}

std::array<std::uint32_t, 4> Count(const std::vector<Type>& types) {
  std::array<std::uint32_t, 4> counts = {};
  for (const Type type : types) ++counts[IndexOf(type)];
  return counts;
}

bool IsAccessChain(spv::Op op) {
  return op == spv::Op::OpAccessChain || op == spv::Op::OpInBoundsAccessChain;
}

}  // namespace

bool Lowering::IsIn(std::uint32_t variable, spv::StorageClass storage) const {
  return module_.FindVariable(variable)->storage == storage;
}

void Lowering::SetUpVariables() {
  // Variables with an element that is found only when the program runs.
  std::unordered_map<std::uint32_t, std::uint32_t> root_of;
  std::unordered_map<std::uint32_t, bool> is_indexed;
  for (const std::uint32_t label : order_) {
    for (const SpirvInstruction& instruction : states_[label].source->instructions) {
      if (!IsAccessChain(instruction.op) && instruction.op != spv::Op::OpCopyObject) continue;
      const std::uint32_t base = Operand(instruction, 0);
      const auto found = root_of.find(base);
      const std::uint32_t root = found == root_of.end() ? base : found->second;
      root_of[instruction.result] = root;
      for (std::size_t at = 1; at < instruction.operands.size(); ++at) {
        if (module_.FindConstant(instruction.operands[at]) == nullptr) is_indexed[root] = true;
      }
    }
  }
  for (const std::uint32_t id : module_.variable_ids()) {
    const SpirvVariable& variable = *module_.FindVariable(id);
    if (!IsLocalClass(variable.storage)) continue;
    if (variable.storage == spv::StorageClass::Output) {
      const std::vector<Type> types = module_.ComponentTypes(variable.type);
      if (module_.DecorationsOf(id).location != 0u || result_variable_ != 0 ||
          Count(types)[IndexOf(Type::kFloat)] != 4 || types.size() != 4) {
        module_.Fail("the only output is a vec4 at location 0");
      }
      result_variable_ = id;
    }
    const std::uint32_t components = module_.TypeOf(variable.type).components;
    AddLocal(id, is_indexed[id] || components > kMaximumCells ||
                     cell_types_.size() + components > kMaximumCellsOfAll);
  }
  if (program_.is_compute != (result_variable_ == 0)) {
    module_.Fail(program_.is_compute ? "a compute program has no pixel as its result"
                                     : "a pixel program has a result");
  }
  for (const Type type : cell_types_) cells_.push_back(builder_.Undefined(type));
  InitializeLocals();
}

void Lowering::AddLocal(std::uint32_t id, bool is_array) {
  const std::vector<Type> types = module_.ComponentTypes(module_.FindVariable(id)->type);
  if (types.empty()) module_.Fail(fmt::format("%{}: there is no such variable", id));
  Local local;
  local.is_array = is_array;
  local.sizes = Count(types);
  for (std::size_t type = 0; type < local.sizes.size(); ++type) {
    if (local.sizes[type] == 0) continue;
    if (is_array) {
      local.first[type] = static_cast<std::uint32_t>(program_.arrays.size());
      program_.arrays.push_back({static_cast<Type>(type), local.sizes[type]});
    } else {
      local.first[type] = static_cast<std::uint32_t>(cell_types_.size());
      cell_types_.insert(cell_types_.end(), local.sizes[type], static_cast<Type>(type));
    }
  }
  locals_[id] = local;
  local_ids_.push_back(id);
}

void Lowering::InitializeLocals() {
  for (const std::uint32_t id : local_ids_) {
    const SpirvVariable& variable = *module_.FindVariable(id);
    if (variable.initializer == 0 || module_.IsUndefined(variable.initializer)) continue;
    Pointer pointer;
    pointer.variable = id;
    pointer.type = variable.type;
    const SpirvInstruction at{
        .op = spv::Op::OpVariable, .result = id, .operands = {}, .offset = variable.offset};
    StoreLocal(pointer, ValuesOf(at, variable.initializer));
  }
}

bool Lowering::LowerMemory(const SpirvInstruction& instruction) {
  switch (instruction.op) {
    case spv::Op::OpAccessChain:
    case spv::Op::OpInBoundsAccessChain:
      LowerAccessChain(instruction);
      return true;
    case spv::Op::OpLoad:
      LowerLoad(instruction);
      return true;
    case spv::Op::OpStore:
      Store(instruction, PointerOf(instruction, Operand(instruction, 0)),
            ValuesOf(instruction, Operand(instruction, 1)));
      return true;
    case spv::Op::OpCopyMemory: {
      const Values values = Load(instruction, PointerOf(instruction, Operand(instruction, 1)));
      Store(instruction, PointerOf(instruction, Operand(instruction, 0)), values);
      return true;
    }
    default:
      return false;
  }
}

Lowering::Pointer Lowering::PointerOf(const SpirvInstruction& at, std::uint32_t id) {
  if (const auto found = pointers_.find(id); found != pointers_.end()) return found->second;
  const SpirvVariable* variable = module_.FindVariable(id);
  if (variable == nullptr) Fail(at, fmt::format("%{} is no pointer here", id));
  Pointer pointer;
  pointer.variable = id;
  pointer.type = variable->type;
  // The output is counted in words, as it is written.
  pointer.unit = variable->storage == spv::StorageClass::StorageBuffer ? 4 : 1;
  return pointer;
}

void Lowering::LowerAccessChain(const SpirvInstruction& instruction) {
  Pointer pointer = PointerOf(instruction, Operand(instruction, 0));
  const spv::StorageClass storage = module_.FindVariable(pointer.variable)->storage;
  const bool in_buffer = !IsLocalClass(storage) && storage != spv::StorageClass::Input;
  for (std::size_t at = 1; at < instruction.operands.size(); ++at) {
    StepInto(instruction, in_buffer, instruction.operands[at], &pointer);
  }
  pointers_[instruction.result] = pointer;
}

void Lowering::Advance(Offset* offset, std::uint32_t stride, std::uint32_t index_id) {
  if (stride == 0) return;
  if (const SpirvConstant* constant = module_.FindConstant(index_id)) {
    offset->constant += constant->bits[0] * stride;
    return;
  }
  const ValueId index = builder_.As(values_.at(index_id)[0], Type::kUint);
  const ValueId scaled = stride == 1 ? index : builder_.Mul(index, builder_.Uint(stride));
  offset->dynamic = offset->dynamic == kNone ? scaled : builder_.Add(offset->dynamic, scaled);
}

void Lowering::StepInto(const SpirvInstruction& at, bool in_buffer, std::uint32_t index_id,
                        Pointer* pointer) {
  using Kind = SpirvType::Kind;
  const Values& index = ValuesOf(at, index_id);
  const Type index_type = builder_.TypeOf(index[0]);
  if (index.size() != 1 || (index_type != Type::kInt && index_type != Type::kUint)) {
    Fail(at, "an index is no whole number");
  }
  const std::uint32_t outer = pointer->type;
  const SpirvType& type = module_.TypeOf(outer);
  if (type.kind == Kind::kStruct) {
    const SpirvConstant* constant = module_.FindConstant(index_id);
    if (constant == nullptr || constant->bits[0] >= type.members.size()) {
      Fail(at, "there is no such member");
    }
    const std::uint32_t member = constant->bits[0];
    pointer->type = type.members[member];
    if (in_buffer) {
      const SpirvDecorations& decorations = module_.DecorationsOf(outer, member);
      pointer->offsets[0].constant += decorations.offset / pointer->unit;
      pointer->matrix_stride = decorations.matrix_stride;
      pointer->row_major = decorations.row_major;
    } else {
      for (std::uint32_t before = 0; before < member; ++before) {
        const auto counts = Count(module_.ComponentTypes(type.members[before]));
        for (std::size_t scalar = 0; scalar < counts.size(); ++scalar) {
          pointer->offsets[scalar].constant += counts[scalar];
        }
      }
    }
    return;
  }
  if (type.kind != Kind::kArray && type.kind != Kind::kRuntimeArray && type.kind != Kind::kVector &&
      type.kind != Kind::kMatrix) {
    Fail(at, "it leads into what has no parts");
  }
  pointer->type = type.element;
  if (!in_buffer) {
    const auto counts = Count(module_.ComponentTypes(type.element));
    for (std::size_t scalar = 0; scalar < counts.size(); ++scalar) {
      Advance(&pointer->offsets[scalar], counts[scalar], index_id);
    }
    return;
  }
  std::uint32_t stride = module_.DecorationsOf(outer).array_stride;
  if (type.kind == Kind::kMatrix) {
    stride = pointer->row_major ? 4 : pointer->matrix_stride;
    pointer->component_stride = pointer->row_major ? pointer->matrix_stride : 4;
  } else if (type.kind == Kind::kVector) {
    stride = pointer->component_stride;
  }
  if (stride == 0) Fail(at, "the layout of a buffer is not told");
  Advance(&pointer->offsets[0], stride / pointer->unit, index_id);
}

void Lowering::LowerLoad(const SpirvInstruction& instruction) {
  const Pointer pointer = PointerOf(instruction, Operand(instruction, 0));
  if (IsIn(pointer.variable, spv::StorageClass::UniformConstant)) {
    LoadHandle(instruction, pointer.variable);
    return;
  }
  SetResult(instruction, Load(instruction, pointer));
}

Lowering::Values Lowering::Load(const SpirvInstruction& at, const Pointer& pointer) {
  const SpirvDecorations& decorations = module_.DecorationsOf(pointer.variable);
  const std::vector<Type> types = module_.ComponentTypes(pointer.type);
  Values values;
  switch (module_.FindVariable(pointer.variable)->storage) {
    case spv::StorageClass::Function:
    case spv::StorageClass::Private:
    case spv::StorageClass::Output:
      return LoadLocal(pointer);
    case spv::StorageClass::Input:
      return LoadInput(at, pointer);
    case spv::StorageClass::Uniform: {
      if (decorations.descriptor_set != 0 || decorations.binding != kConstantsBinding) {
        Fail(at, "constants lie in set 0, binding 6");
      }
      const std::vector<Offset> offsets = BufferOffsets(pointer);
      for (std::size_t index = 0; index < offsets.size(); ++index) {
        values.push_back(builder_.Load(Op::kLoadConstant, types[index], 0, Place(offsets[index])));
      }
      return values;
    }
    case spv::StorageClass::PushConstant: {
      constexpr Op kPlacement[] = {Op::kOriginX, Op::kOriginY, Op::kPixelSizeX, Op::kPixelSizeY};
      for (const Offset& offset : BufferOffsets(pointer)) {
        const std::uint32_t word = offset.constant / 4;
        if (offset.dynamic != kNone || word >= std::size(kPlacement)) {
          Fail(at, "of pushed constants there is the placement alone");
        }
        values.push_back(builder_.Leaf(kPlacement[word], Type::kFloat));
      }
      return values;
    }
    default:
      Fail(at, "nothing is read from there");
  }
}

void Lowering::Store(const SpirvInstruction& at, const Pointer& pointer, const Values& values) {
  if (values.size() != module_.TypeOf(pointer.type).components) {
    Fail(at, "the value is not of the type that is there");
  }
  const SpirvDecorations& decorations = module_.DecorationsOf(pointer.variable);
  const spv::StorageClass storage = module_.FindVariable(pointer.variable)->storage;
  if (IsLocalClass(storage)) {
    StoreLocal(pointer, values);
    return;
  }
  if (storage != spv::StorageClass::StorageBuffer || decorations.descriptor_set != 0 ||
      decorations.binding != kOutputBinding || !program_.is_compute) {
    Fail(at, "nothing is written there");
  }
  const std::vector<Offset> offsets = BufferOffsets(pointer);
  for (std::size_t index = 0; index < offsets.size(); ++index) {
    builder_.Effect(Op::kWriteWord,
                    {Place(offsets[index]), builder_.As(values[index], Type::kUint)});
  }
}

Lowering::Values Lowering::LoadLocal(const Pointer& pointer) {
  const Local& local = locals_.at(pointer.variable);
  std::array<std::uint32_t, 4> seen = {};
  Values values;
  for (const Type type : module_.ComponentTypes(pointer.type)) {
    Offset offset = pointer.offsets[IndexOf(type)];
    offset.constant += seen[IndexOf(type)]++;
    const std::uint32_t first = local.first[IndexOf(type)];
    if (local.is_array) {
      values.push_back(builder_.Load(Op::kLoadArray, type, first, Place(offset)));
    } else if (offset.constant < local.sizes[IndexOf(type)]) {
      values.push_back(cells_[first + offset.constant]);
    } else {
      values.push_back(builder_.Undefined(type));
    }
  }
  return values;
}

void Lowering::StoreLocal(const Pointer& pointer, const Values& values) {
  const Local& local = locals_.at(pointer.variable);
  const std::vector<Type> types = module_.ComponentTypes(pointer.type);
  std::array<std::uint32_t, 4> seen = {};
  for (std::size_t index = 0; index < types.size(); ++index) {
    const std::size_t type = IndexOf(types[index]);
    Offset offset = pointer.offsets[type];
    offset.constant += seen[type]++;
    const ValueId value = builder_.As(values[index], types[index]);
    if (builder_.TypeOf(value) != types[index]) {
      module_.Fail(fmt::format("%{} is given a value of another type", pointer.variable));
    }
    if (local.is_array) {
      builder_.Effect(Op::kStoreArray, {Place(offset), value}, local.first[type]);
    } else if (offset.constant < local.sizes[type]) {
      cells_[local.first[type] + offset.constant] = value;
    }
  }
}

Lowering::Values Lowering::LoadInput(const SpirvInstruction& at, const Pointer& pointer) {
  const auto leaf = [&](Op op) {
    return builder_.Leaf(op, program_.is_compute ? Type::kUint : Type::kFloat);
  };
  const auto in_group = [&](Op op, std::int32_t size) {
    return builder_.Emit(Op::kAnd, {leaf(op), builder_.Uint(static_cast<std::uint32_t>(size - 1))});
  };
  const auto group = [&](Op op, std::uint32_t shift) {
    return builder_.Emit(Op::kShiftRight, {leaf(op), builder_.Uint(shift)});
  };
  const std::optional<std::uint32_t> built_in = module_.DecorationsOf(pointer.variable).built_in;
  const auto kind = built_in ? static_cast<spv::BuiltIn>(*built_in) : spv::BuiltIn::Max;
  if (program_.is_compute == (kind == spv::BuiltIn::FragCoord)) {
    Fail(at, "this input is not supported");
  }
  Values all;
  switch (kind) {
    case spv::BuiltIn::FragCoord:
      all = {leaf(Op::kPixelX), leaf(Op::kPixelY), builder_.Float(0), builder_.Float(1)};
      break;
    case spv::BuiltIn::GlobalInvocationId:
      all = {leaf(Op::kInvocationX), leaf(Op::kInvocationY), builder_.Uint(0)};
      break;
    case spv::BuiltIn::LocalInvocationId:
      all = {in_group(Op::kInvocationX, kGroupWidth), in_group(Op::kInvocationY, kGroupHeight),
             builder_.Uint(0)};
      break;
    case spv::BuiltIn::LocalInvocationIndex:
      all = {builder_.Add(
          builder_.Mul(in_group(Op::kInvocationY, kGroupHeight), builder_.Uint(kGroupWidth)),
          in_group(Op::kInvocationX, kGroupWidth))};
      break;
    case spv::BuiltIn::WorkgroupId:
      all = {group(Op::kInvocationX, 5), group(Op::kInvocationY, 4), builder_.Uint(0)};
      break;
    default:
      Fail(at, "this input is not supported");
  }
  const Offset& offset = pointer.offsets[IndexOf(builder_.TypeOf(all[0]))];
  const std::uint32_t count = module_.TypeOf(pointer.type).components;
  if (offset.dynamic != kNone || offset.constant > all.size() ||
      count > all.size() - offset.constant) {
    Fail(at, "this input has no such component");
  }
  const auto first = all.begin() + offset.constant;
  return {first, first + count};
}

std::vector<Lowering::Offset> Lowering::BufferOffsets(const Pointer& pointer) {
  std::vector<Offset> offsets;
  AddBufferOffsets(pointer, &offsets);
  return offsets;
}

void Lowering::AddBufferOffsets(Pointer pointer, std::vector<Offset>* offsets) {
  using Kind = SpirvType::Kind;
  const SpirvType& type = module_.TypeOf(pointer.type);
  if (type.components == 0) return;
  if (type.kind == Kind::kScalar) {
    offsets->push_back(pointer.offsets[0]);
    return;
  }
  const std::uint32_t base = pointer.offsets[0].constant;
  const std::uint32_t count =
      type.kind == Kind::kStruct ? static_cast<std::uint32_t>(type.members.size()) : type.count;
  const std::uint32_t outer = pointer.type;
  if (type.kind == Kind::kMatrix) {
    pointer.component_stride = pointer.row_major ? pointer.matrix_stride : 4;
  }
  for (std::uint32_t index = 0; index < count; ++index) {
    if (type.kind == Kind::kStruct) {
      const SpirvDecorations& member = module_.DecorationsOf(outer, index);
      pointer.type = type.members[index];
      pointer.offsets[0].constant = base + member.offset / pointer.unit;
      pointer.matrix_stride = member.matrix_stride;
      pointer.row_major = member.row_major;
    } else {
      std::uint32_t stride = module_.DecorationsOf(outer).array_stride;
      if (type.kind == Kind::kMatrix) {
        stride = pointer.row_major ? 4 : pointer.matrix_stride;
      } else if (type.kind == Kind::kVector) {
        stride = pointer.component_stride;
      }
      pointer.type = type.element;
      pointer.offsets[0].constant = base + index * (stride / pointer.unit);
    }
    AddBufferOffsets(pointer, offsets);
  }
}

ValueId Lowering::Place(const Offset& offset) {
  if (offset.dynamic == kNone) return builder_.Uint(offset.constant);
  return offset.constant == 0 ? offset.dynamic
                              : builder_.Add(offset.dynamic, builder_.Uint(offset.constant));
}

}  // namespace Vantra::Pixelc
