#pragma once

// A SPIR-V binary taken apart: what the lowering needs of it, checked as far as is needed for the
// lowering never to look outside it.

#include <cstdint>
#include <optional>
#include <span>
#include <spirv/unified1/spirv.hpp11>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "ir.h"

namespace Vantra::Pixelc {

// What makes a program one that cannot be translated, with its name and the place.
class TranslationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct SpirvInstruction {
  spv::Op op = spv::Op::OpNop;
  std::uint32_t type = 0;    // 0 without one
  std::uint32_t result = 0;  // 0 without one
  // The words behind those.
  std::vector<std::uint32_t> operands;
  std::size_t offset = 0;  // in words
};

struct SpirvType {
  enum class Kind : std::uint8_t {
    kVoid,
    kScalar,
    kVector,
    kMatrix,  // of columns
    kArray,
    kRuntimeArray,
    kStruct,
    kPointer,
    kImage,
    kSampler,
    kSampledImage,
    kFunction
  };
  Kind kind = Kind::kVoid;
  Type scalar = Type::kFloat;  // kScalar
  std::uint32_t element = 0;   // of vector, matrix and arrays; a pointer's target
  std::uint32_t count = 0;     // of a vector's components, a matrix's columns, an array's elements
  std::vector<std::uint32_t> members;
  spv::StorageClass storage = spv::StorageClass::Function;  // kPointer
  std::uint32_t depth = 0;                                  // of nesting
  // The scalars that a value is made of, in order. Empty for what holds no scalars alone.
  std::uint32_t components = 0;
};

struct SpirvDecorations {
  std::optional<std::uint32_t> built_in;
  std::optional<std::uint32_t> location;
  std::optional<std::uint32_t> binding;
  std::uint32_t descriptor_set = 0;
  std::uint32_t offset = 0;
  std::uint32_t array_stride = 0;
  std::uint32_t matrix_stride = 0;
  bool row_major = false;
  bool no_contraction = false;
};

struct SpirvConstant {
  std::uint32_t type = 0;
  std::vector<std::uint32_t> bits;  // of each component
};

struct SpirvVariable {
  std::uint32_t type = 0;  // of what it holds
  spv::StorageClass storage = spv::StorageClass::Function;
  std::uint32_t initializer = 0;  // 0 without one
  std::size_t offset = 0;         // of its declaration
};

struct SpirvBlock {
  std::uint32_t label = 0;
  // The last one ends the block.
  std::vector<SpirvInstruction> instructions;
};

class SpirvModule {
 public:
  // Throws `TranslationError`.
  SpirvModule(std::string name, std::span<const std::uint32_t> words);

  const std::string& name() const { return name_; }
  bool is_compute() const { return is_compute_; }

  // These fail when the id is not one of its kind.
  const SpirvType& TypeOf(std::uint32_t id) const;
  const SpirvConstant& Constant(std::uint32_t id) const;

  const SpirvConstant* FindConstant(std::uint32_t id) const;
  // In order of declaration.
  const std::vector<std::uint32_t>& variable_ids() const { return variable_ids_; }
  const SpirvVariable* FindVariable(std::uint32_t id) const;
  bool IsUndefined(std::uint32_t id) const { return undefined_.contains(id); }
  // The type of an undefined value of the module.
  std::uint32_t UndefinedType(std::uint32_t id) const { return undefined_.at(id); }
  const SpirvDecorations& DecorationsOf(std::uint32_t id) const;
  const SpirvDecorations& DecorationsOf(std::uint32_t structure, std::uint32_t member) const;
  bool IsGlslImport(std::uint32_t id) const { return id == glsl_import_ && id != 0; }
  bool IsIgnoredImport(std::uint32_t id) const { return ignored_imports_.contains(id); }

  // Of the one function, in order; the first is the entry.
  const std::vector<SpirvBlock>& blocks() const { return blocks_; }

  // The types of a type's components, in order.
  std::vector<Type> ComponentTypes(std::uint32_t type) const;

  [[noreturn]] void Fail(const std::string& message) const;
  [[noreturn]] void Fail(const SpirvInstruction& at, const std::string& message) const;

 private:
  void ReadInstruction(SpirvInstruction instruction);
  void ReadType(const SpirvInstruction& instruction);
  void ReadConstant(const SpirvInstruction& instruction);
  void ReadDecoration(const SpirvInstruction& instruction);
  void ReadFunctionInstruction(SpirvInstruction instruction);
  void ReadVariable(const SpirvInstruction& instruction);
  void ReadImport(const SpirvInstruction& instruction);
  void ReadEntryPoint(const SpirvInstruction& instruction);
  void CheckGroup() const;
  void AddComponents(SpirvType& type, const SpirvInstruction& instruction) const;

  std::string name_;
  bool is_compute_ = false;
  bool has_entry_ = false;
  std::uint32_t entry_ = 0;
  std::uint32_t glsl_import_ = 0;
  std::unordered_map<std::uint32_t, bool> ignored_imports_;
  std::vector<SpirvInstruction> group_modes_;
  std::unordered_map<std::uint32_t, SpirvType> types_;
  std::unordered_map<std::uint32_t, SpirvConstant> constants_;
  std::size_t constant_components_ = 0;
  std::unordered_map<std::uint32_t, std::uint32_t> undefined_;
  std::unordered_map<std::uint32_t, SpirvVariable> variables_;
  std::vector<std::uint32_t> variable_ids_;
  std::unordered_map<std::uint32_t, SpirvDecorations> decorations_;
  std::unordered_map<std::uint64_t, SpirvDecorations> member_decorations_;
  std::unordered_map<std::uint32_t, bool> defined_;
  std::vector<SpirvBlock> blocks_;
  bool in_function_ = false;
  bool in_block_ = false;
};

// The word at `index` of an instruction's operands; fails when it has fewer.
std::uint32_t OperandOf(const SpirvModule& module, const SpirvInstruction& instruction,
                        std::size_t index);

}  // namespace Vantra::Pixelc
