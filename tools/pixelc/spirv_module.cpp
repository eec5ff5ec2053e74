#define SPV_ENABLE_UTILITY_CODE
#include "spirv_module.h"

#include <algorithm>
#include <fmt/format.h>
#include <spirv-tools/libspirv.h>
#include <utility>

namespace Vantra::Pixelc {
namespace {

constexpr std::size_t kHeaderWords = 5;
// Far beyond what a program can use, near enough for a damaged file not to take the memory.
constexpr std::uint32_t kMaximumComponents = 1u << 16;
constexpr std::size_t kMaximumConstantComponents = 1u << 22;
constexpr std::uint32_t kMaximumTypeDepth = 32;

std::uint64_t MemberKey(std::uint32_t structure, std::uint32_t member) {
  return (static_cast<std::uint64_t>(structure) << 32) | member;
}

std::string TextOf(std::span<const std::uint32_t> words) {
  std::string text;
  for (const std::uint32_t word : words) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
      const char letter = static_cast<char>((word >> shift) & 0xFF);
      if (letter == 0) return text;
      text += letter;
    }
  }
  return text;
}

bool IsTerminator(spv::Op op) {
  switch (op) {
    case spv::Op::OpBranch:
    case spv::Op::OpBranchConditional:
    case spv::Op::OpSwitch:
    case spv::Op::OpReturn:
    case spv::Op::OpReturnValue:
    case spv::Op::OpKill:
    case spv::Op::OpTerminateInvocation:
    case spv::Op::OpUnreachable:
      return true;
    default:
      return false;
  }
}

}  // namespace

SpirvModule::SpirvModule(std::string name, std::span<const std::uint32_t> words)
    : name_(std::move(name)) {
  if (words.size() < kHeaderWords || words[0] != spv::MagicNumber) Fail("this is no SPIR-V");
  for (std::size_t at = kHeaderWords; at < words.size();) {
    const std::size_t length = words[at] >> 16;
    SpirvInstruction instruction;
    instruction.op = static_cast<spv::Op>(words[at] & 0xFFFF);
    instruction.offset = at;
    if (length == 0 || length > words.size() - at) Fail(instruction, "its length does not fit");
    bool has_result = false;
    bool has_type = false;
    spv::HasResultAndType(instruction.op, &has_result, &has_type);
    std::size_t first = 1;
    if (length < 1u + (has_type ? 1 : 0) + (has_result ? 1 : 0)) {
      Fail(instruction, "it is too short");
    }
    if (has_type) instruction.type = words[at + first++];
    if (has_result) {
      instruction.result = words[at + first++];
      if (instruction.result == 0 || !defined_.emplace(instruction.result, true).second) {
        Fail(instruction, "its result is 0 or there already");
      }
    }
    instruction.operands.assign(words.begin() + static_cast<std::ptrdiff_t>(at + first),
                                words.begin() + static_cast<std::ptrdiff_t>(at + length));
    at += length;
    ReadInstruction(std::move(instruction));
  }
  if (!has_entry_ || blocks_.empty() || in_block_ || in_function_) {
    Fail("it has no whole entry point");
  }
  CheckGroup();
}

void SpirvModule::ReadInstruction(SpirvInstruction instruction) {
  if (in_function_) {
    ReadFunctionInstruction(std::move(instruction));
    return;
  }
  switch (instruction.op) {
    case spv::Op::OpExtInstImport:
      return ReadImport(instruction);
    case spv::Op::OpEntryPoint:
      return ReadEntryPoint(instruction);
    case spv::Op::OpExecutionMode:
    case spv::Op::OpExecutionModeId:
      group_modes_.push_back(std::move(instruction));
      return;
    case spv::Op::OpDecorate:
    case spv::Op::OpMemberDecorate:
      return ReadDecoration(instruction);
    case spv::Op::OpTypeVoid:
    case spv::Op::OpTypeBool:
    case spv::Op::OpTypeInt:
    case spv::Op::OpTypeFloat:
    case spv::Op::OpTypeVector:
    case spv::Op::OpTypeMatrix:
    case spv::Op::OpTypeImage:
    case spv::Op::OpTypeSampler:
    case spv::Op::OpTypeSampledImage:
    case spv::Op::OpTypeArray:
    case spv::Op::OpTypeRuntimeArray:
    case spv::Op::OpTypeStruct:
    case spv::Op::OpTypePointer:
    case spv::Op::OpTypeFunction:
      return ReadType(instruction);
    case spv::Op::OpConstantTrue:
    case spv::Op::OpConstantFalse:
    case spv::Op::OpConstant:
    case spv::Op::OpConstantComposite:
    case spv::Op::OpConstantNull:
    case spv::Op::OpSpecConstantTrue:
    case spv::Op::OpSpecConstantFalse:
    case spv::Op::OpSpecConstant:
    case spv::Op::OpSpecConstantComposite:
      return ReadConstant(instruction);
    case spv::Op::OpUndef:
      TypeOf(instruction.type);
      undefined_.emplace(instruction.result, instruction.type);
      return;
    case spv::Op::OpVariable:
      return ReadVariable(instruction);
    case spv::Op::OpFunction:
      if (!blocks_.empty() || instruction.result != entry_) {
        Fail(instruction, "there is more than one function; inline them first");
      }
      in_function_ = true;
      return;
    case spv::Op::OpNop:
    case spv::Op::OpCapability:
    case spv::Op::OpExtension:
    case spv::Op::OpMemoryModel:
    case spv::Op::OpString:
    case spv::Op::OpSource:
    case spv::Op::OpSourceContinued:
    case spv::Op::OpSourceExtension:
    case spv::Op::OpName:
    case spv::Op::OpMemberName:
    case spv::Op::OpModuleProcessed:
    case spv::Op::OpLine:
    case spv::Op::OpNoLine:
    case spv::Op::OpDecorateString:
    case spv::Op::OpMemberDecorateString:
    case spv::Op::OpDecorateId:
      return;
    case spv::Op::OpExtInst:
      if (IsIgnoredImport(OperandOf(*this, instruction, 0))) return;
      [[fallthrough]];
    default:
      Fail(instruction, "it is not supported");
  }
}

void SpirvModule::ReadImport(const SpirvInstruction& instruction) {
  const std::string set = TextOf(instruction.operands);
  if (set == "GLSL.std.450") {
    glsl_import_ = instruction.result;
  } else if (set.starts_with("NonSemantic.")) {
    ignored_imports_.emplace(instruction.result, true);
  } else {
    Fail(instruction, "the instructions of " + set + " are not supported");
  }
}

void SpirvModule::ReadEntryPoint(const SpirvInstruction& instruction) {
  if (has_entry_) Fail(instruction, "there is more than one entry point");
  const auto model = static_cast<spv::ExecutionModel>(OperandOf(*this, instruction, 0));
  if (model != spv::ExecutionModel::Fragment && model != spv::ExecutionModel::GLCompute) {
    Fail(instruction, "it is neither a pixel nor a compute program");
  }
  has_entry_ = true;
  is_compute_ = model == spv::ExecutionModel::GLCompute;
  entry_ = OperandOf(*this, instruction, 1);
}

void SpirvModule::ReadDecoration(const SpirvInstruction& instruction) {
  const bool of_member = instruction.op == spv::Op::OpMemberDecorate;
  const std::uint32_t target = OperandOf(*this, instruction, 0);
  const std::size_t first = of_member ? 2 : 1;
  SpirvDecorations& decorations =
      of_member ? member_decorations_[MemberKey(target, OperandOf(*this, instruction, 1))]
                : decorations_[target];
  const auto value = [&] { return OperandOf(*this, instruction, first + 1); };
  switch (static_cast<spv::Decoration>(OperandOf(*this, instruction, first))) {
    case spv::Decoration::BuiltIn:
      decorations.built_in = value();
      break;
    case spv::Decoration::Location:
      decorations.location = value();
      break;
    case spv::Decoration::Binding:
      decorations.binding = value();
      break;
    case spv::Decoration::DescriptorSet:
      decorations.descriptor_set = value();
      break;
    case spv::Decoration::Offset:
      decorations.offset = value();
      break;
    case spv::Decoration::ArrayStride:
      decorations.array_stride = value();
      break;
    case spv::Decoration::MatrixStride:
      decorations.matrix_stride = value();
      break;
    case spv::Decoration::RowMajor:
      decorations.row_major = true;
      break;
    case spv::Decoration::NoContraction:
      decorations.no_contraction = true;
      break;
    default:
      break;
  }
}

void SpirvModule::AddComponents(SpirvType& type, const SpirvInstruction& instruction) const {
  std::uint64_t components = 0;
  std::uint32_t depth = 0;
  if (type.kind == SpirvType::Kind::kStruct) {
    for (const std::uint32_t member : type.members) {
      components += TypeOf(member).components;
      depth = std::max(depth, TypeOf(member).depth);
    }
  } else {
    components = static_cast<std::uint64_t>(type.count) * TypeOf(type.element).components;
    depth = TypeOf(type.element).depth;
  }
  if (components > kMaximumComponents || depth >= kMaximumTypeDepth) {
    Fail(instruction, "the type is too large");
  }
  type.components = static_cast<std::uint32_t>(components);
  type.depth = depth + 1;
}

void SpirvModule::ReadType(const SpirvInstruction& instruction) {
  using Kind = SpirvType::Kind;
  SpirvType type;
  const auto operand = [&](std::size_t index) { return OperandOf(*this, instruction, index); };
  const auto scalar = [&](Type scalar_type) {
    type.kind = Kind::kScalar;
    type.scalar = scalar_type;
    type.components = 1;
  };
  const auto composite = [&](Kind kind, std::initializer_list<Kind> element_kinds) {
    type.kind = kind;
    type.element = operand(0);
    if (std::ranges::find(element_kinds, TypeOf(type.element).kind) == element_kinds.end()) {
      Fail(instruction, "there is no such type");
    }
  };
  const std::initializer_list<Kind> data = {Kind::kScalar, Kind::kVector, Kind::kMatrix,
                                            Kind::kArray, Kind::kStruct};
  switch (instruction.op) {
    case spv::Op::OpTypeBool:
      scalar(Type::kBool);
      break;
    case spv::Op::OpTypeInt:
    case spv::Op::OpTypeFloat:
      if (operand(0) != 32) Fail(instruction, "only numbers of 32 bits are supported");
      if (instruction.op == spv::Op::OpTypeFloat) {
        scalar(Type::kFloat);
      } else {
        scalar(operand(1) != 0 ? Type::kInt : Type::kUint);
      }
      break;
    case spv::Op::OpTypeVector:
    case spv::Op::OpTypeMatrix:
      if (instruction.op == spv::Op::OpTypeVector) {
        composite(Kind::kVector, {Kind::kScalar});
      } else {
        composite(Kind::kMatrix, {Kind::kVector});
      }
      type.count = operand(1);
      if (type.count < 2 || type.count > 4) Fail(instruction, "there is no such type");
      AddComponents(type, instruction);
      break;
    case spv::Op::OpTypeArray: {
      composite(Kind::kArray, data);
      const SpirvConstant& length = Constant(operand(1));
      type.count = length.bits.size() == 1 ? length.bits[0] : 0;
      if (type.count == 0) Fail(instruction, "an array has no length");
      AddComponents(type, instruction);
      break;
    }
    case spv::Op::OpTypeRuntimeArray:
      composite(Kind::kRuntimeArray, data);
      AddComponents(type, instruction);
      break;
    case spv::Op::OpTypeStruct:
      type.kind = Kind::kStruct;
      type.members = instruction.operands;
      AddComponents(type, instruction);
      break;
    case spv::Op::OpTypePointer:
      type.kind = Kind::kPointer;
      type.storage = static_cast<spv::StorageClass>(operand(0));
      type.element = operand(1);
      TypeOf(type.element);
      break;
    case spv::Op::OpTypeImage:
      type.kind = Kind::kImage;
      if (static_cast<spv::Dim>(operand(1)) != spv::Dim::Dim2D || operand(3) != 0 ||
          operand(4) != 0 || operand(5) != 1 || TypeOf(operand(0)).scalar != Type::kFloat) {
        Fail(instruction, "only plain textures of floats are supported");
      }
      break;
    case spv::Op::OpTypeSampler:
      type.kind = Kind::kSampler;
      break;
    case spv::Op::OpTypeSampledImage:
      type.kind = Kind::kSampledImage;
      break;
    case spv::Op::OpTypeFunction:
      type.kind = Kind::kFunction;
      break;
    default:
      break;
  }
  types_.emplace(instruction.result, std::move(type));
}

void SpirvModule::ReadConstant(const SpirvInstruction& instruction) {
  const SpirvType& type = TypeOf(instruction.type);
  SpirvConstant constant;
  constant.type = instruction.type;
  switch (instruction.op) {
    case spv::Op::OpConstantTrue:
    case spv::Op::OpSpecConstantTrue:
      constant.bits = {1};
      break;
    case spv::Op::OpConstantFalse:
    case spv::Op::OpSpecConstantFalse:
      constant.bits = {0};
      break;
    case spv::Op::OpConstant:
    case spv::Op::OpSpecConstant:
      constant.bits = {OperandOf(*this, instruction, 0)};
      break;
    case spv::Op::OpConstantNull:
      constant.bits.assign(type.components, 0);
      break;
    default:
      for (const std::uint32_t id : instruction.operands) {
        // What is undefined in a constant is 0.
        if (IsUndefined(id)) {
          constant.bits.resize(constant.bits.size() + TypeOf(UndefinedType(id)).components);
          continue;
        }
        const SpirvConstant& part = Constant(id);
        constant.bits.insert(constant.bits.end(), part.bits.begin(), part.bits.end());
        if (constant.bits.size() > type.components) break;
      }
      break;
  }
  constant_components_ += constant.bits.size();
  if (constant.bits.size() != type.components || type.components == 0 ||
      constant_components_ > kMaximumConstantComponents) {
    Fail(instruction, "the constant does not fit its type");
  }
  constants_.emplace(instruction.result, std::move(constant));
}

void SpirvModule::ReadVariable(const SpirvInstruction& instruction) {
  const SpirvType& pointer = TypeOf(instruction.type);
  if (pointer.kind != SpirvType::Kind::kPointer) Fail(instruction, "its type is no pointer");
  SpirvVariable variable;
  variable.type = pointer.element;
  variable.storage = pointer.storage;
  variable.offset = instruction.offset;
  if (instruction.operands.size() > 1) {
    variable.initializer = instruction.operands[1];
    if (!IsUndefined(variable.initializer) &&
        Constant(variable.initializer).bits.size() != TypeOf(variable.type).components) {
      Fail(instruction, "its value does not fit");
    }
  }
  variables_.emplace(instruction.result, variable);
  variable_ids_.push_back(instruction.result);
}

void SpirvModule::ReadFunctionInstruction(SpirvInstruction instruction) {
  switch (instruction.op) {
    case spv::Op::OpFunctionEnd:
      if (in_block_) Fail(instruction, "a block has no end");
      in_function_ = false;
      return;
    case spv::Op::OpLabel:
      if (in_block_) Fail(instruction, "a block has no end");
      in_block_ = true;
      blocks_.push_back({.label = instruction.result, .instructions = {}});
      return;
    case spv::Op::OpLine:
    case spv::Op::OpNoLine:
    case spv::Op::OpNop:
      return;
    default:
      break;
  }
  if (!in_block_) Fail(instruction, "it is outside of a block");
  if (instruction.op == spv::Op::OpVariable) {
    ReadVariable(instruction);
    return;
  }
  if (instruction.op == spv::Op::OpUndef) {
    TypeOf(instruction.type);
    undefined_.emplace(instruction.result, instruction.type);
    return;
  }
  in_block_ = !IsTerminator(instruction.op);
  blocks_.back().instructions.push_back(std::move(instruction));
}

// The groups' size is part of the interface, as local places are derived from it.
void SpirvModule::CheckGroup() const {
  if (!is_compute_) return;
  constexpr std::uint32_t kSize[] = {32, 16, 1};
  for (const SpirvInstruction& mode : group_modes_) {
    const auto kind = static_cast<spv::ExecutionMode>(OperandOf(*this, mode, 1));
    if (kind != spv::ExecutionMode::LocalSize && kind != spv::ExecutionMode::LocalSizeId) continue;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const std::uint32_t word = OperandOf(*this, mode, axis + 2);
      const std::uint32_t size =
          kind == spv::ExecutionMode::LocalSize ? word : Constant(word).bits[0];
      if (size != kSize[axis]) {
        Fail(mode, "the groups of a compute program have 32 x 16 invocations");
      }
    }
  }
}

const SpirvType& SpirvModule::TypeOf(std::uint32_t id) const {
  const auto found = types_.find(id);
  if (found == types_.end()) Fail(fmt::format("%{} is no type", id));
  return found->second;
}

const SpirvConstant& SpirvModule::Constant(std::uint32_t id) const {
  const SpirvConstant* constant = FindConstant(id);
  if (constant == nullptr) Fail(fmt::format("%{} is no constant", id));
  return *constant;
}

const SpirvConstant* SpirvModule::FindConstant(std::uint32_t id) const {
  const auto found = constants_.find(id);
  return found == constants_.end() ? nullptr : &found->second;
}

const SpirvVariable* SpirvModule::FindVariable(std::uint32_t id) const {
  const auto found = variables_.find(id);
  return found == variables_.end() ? nullptr : &found->second;
}

const SpirvDecorations& SpirvModule::DecorationsOf(std::uint32_t id) const {
  static const SpirvDecorations kNoDecorations;
  const auto found = decorations_.find(id);
  return found == decorations_.end() ? kNoDecorations : found->second;
}

const SpirvDecorations& SpirvModule::DecorationsOf(std::uint32_t structure,
                                                   std::uint32_t member) const {
  static const SpirvDecorations kNoDecorations;
  const auto found = member_decorations_.find(MemberKey(structure, member));
  return found == member_decorations_.end() ? kNoDecorations : found->second;
}

std::vector<Type> SpirvModule::ComponentTypes(std::uint32_t id) const {
  const SpirvType& type = TypeOf(id);
  if (type.kind == SpirvType::Kind::kScalar) return {type.scalar};
  std::vector<Type> types;
  // Nested structures of nothing would take forever.
  if (type.components == 0) return types;
  types.reserve(type.components);
  if (type.kind == SpirvType::Kind::kStruct) {
    for (const std::uint32_t member : type.members) {
      const std::vector<Type> part = ComponentTypes(member);
      types.insert(types.end(), part.begin(), part.end());
    }
  } else {
    const std::vector<Type> part = ComponentTypes(type.element);
    for (std::uint32_t index = 0; index < type.count; ++index) {
      types.insert(types.end(), part.begin(), part.end());
    }
  }
  return types;
}

void SpirvModule::Fail(const std::string& message) const {
  throw TranslationError(name_ + ": " + message);
}

void SpirvModule::Fail(const SpirvInstruction& at, const std::string& message) const {
  std::string place =
      fmt::format("Op{} ({}) at word {}", spvOpcodeString(static_cast<std::uint32_t>(at.op)),
                  static_cast<std::uint32_t>(at.op), at.offset);
  if (at.result != 0) place += fmt::format(", %{}", at.result);
  Fail(place + ": " + message);
}

std::uint32_t OperandOf(const SpirvModule& module, const SpirvInstruction& instruction,
                        std::size_t index) {
  if (index >= instruction.operands.size()) module.Fail(instruction, "it is too short");
  return instruction.operands[index];
}

}  // namespace Vantra::Pixelc
