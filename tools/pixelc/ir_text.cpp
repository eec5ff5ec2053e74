#include "ir_text.h"

#include <array>
#include <bit>
#include <charconv>
#include <fmt/format.h>

namespace Vantra::Pixelc {
namespace {

// In the order of `Op`.
constexpr auto kNames = std::to_array<const char*>({
    "Constant",
    "Undefined",
    "PixelX",
    "PixelY",
    "OriginX",
    "OriginY",
    "PixelSizeX",
    "PixelSizeY",
    "InvocationX",
    "InvocationY",
    "Phi",
    "Neg",
    "Add",
    "Sub",
    "Mul",
    "Div",
    "Rem",
    "Mod",
    "MulHigh",
    "Min",
    "Max",
    "Abs",
    "Sign",
    "Equal",
    "NotEqual",
    "Less",
    "LessEqual",
    "Greater",
    "GreaterEqual",
    "IsNan",
    "IsInf",
    "And",
    "Or",
    "Xor",
    "Not",
    "ShiftLeft",
    "ShiftRight",
    "BitCount",
    "BitReverse",
    "FindLowestBit",
    "FindHighestBit",
    "Select",
    "FloatToInt",
    "FloatToUint",
    "IntToFloat",
    "UintToFloat",
    "BitsToFloat",
    "BitsToInt",
    "BitsToUint",
    "FloatToHalf",
    "HalfToFloat",
    "Floor",
    "Ceil",
    "Trunc",
    "Round",
    "Fract",
    "Sqrt",
    "InverseSqrt",
    "Fma",
    "Sin",
    "Cos",
    "Tan",
    "Asin",
    "Acos",
    "Atan",
    "Atan2",
    "Sinh",
    "Cosh",
    "Tanh",
    "Asinh",
    "Acosh",
    "Atanh",
    "Exp",
    "Log",
    "Exp2",
    "Log2",
    "Pow",
    "Ldexp",
    "Mantissa",
    "Exponent",
    "Sample",
    "Fetch",
    "TextureSize",
    "LoadConstant",
    "LoadArray",
    "StoreArray",
    "Result",
    "WriteWord",
});
static_assert(kNames.size() == static_cast<std::size_t>(Op::kWriteWord) + 1);

const char* NameOf(Type type) {
  constexpr std::array<const char*, 4> kTypeNames = {"float", "int", "uint", "bool"};
  return kTypeNames[static_cast<std::size_t>(type)];
}

std::string TextOfConstant(Type type, std::uint32_t bits) {
  std::array<char, 32> text = {};
  std::to_chars_result end = {};
  switch (type) {
    case Type::kFloat:
      end = std::to_chars(text.begin(), text.end(), std::bit_cast<float>(bits));
      break;
    case Type::kInt:
      end = std::to_chars(text.begin(), text.end(), static_cast<std::int32_t>(bits));
      break;
    case Type::kUint:
      end = std::to_chars(text.begin(), text.end(), bits);
      break;
    case Type::kBool:
      return bits != 0 ? "true" : "false";
  }
  return {text.begin(), end.ptr};
}

template <class List>
std::string Listed(const List& values) {
  std::string text;
  for (const auto value : values) text += fmt::format("{}v{}", text.empty() ? "" : ", ", value);
  return text;
}

std::string TextOf(const Instruction& instruction) {
  std::string text = "  ";
  if (!instruction.results.empty()) {
    text += NameOf(instruction.type);
    text += fmt::format(" {} = ", Listed(instruction.results));
  }
  text += NameOf(instruction.op);
  switch (instruction.op) {
    case Op::kConstant:
      text += fmt::format(" {}", TextOfConstant(instruction.type, instruction.bits));
      break;
    case Op::kSample:
      text += fmt::format(" t{} s{}", instruction.index, instruction.second_index);
      break;
    case Op::kFetch:
    case Op::kTextureSize:
      text += fmt::format(" t{}", instruction.index);
      break;
    case Op::kLoadArray:
    case Op::kStoreArray:
      text += fmt::format(" a{}", instruction.index);
      break;
    default:
      break;
  }
  if (!instruction.operands.empty()) text += fmt::format(" {}", Listed(instruction.operands));
  return text + "\n";
}

std::string TextOf(const Terminator& terminator) {
  switch (terminator.kind) {
    case Terminator::Kind::kBranch:
      return fmt::format("  Branch b{}\n", terminator.targets[0]);
    case Terminator::Kind::kBranchIf:
      return fmt::format("  BranchIf v{}, b{}, b{}\n", terminator.condition, terminator.targets[0],
                         terminator.targets[1]);
    case Terminator::Kind::kReturn:
      break;
  }
  return "  Return\n";
}

}  // namespace

const char* NameOf(Op op) { return kNames[static_cast<std::size_t>(op)]; }

std::string TextOf(const Program& program) {
  std::string text = (program.is_compute ? "compute " : "pixel ") + program.name + "\n";
  for (std::size_t index = 0; index < program.arrays.size(); ++index) {
    text += fmt::format("array a{}: {}[{}]\n", index, NameOf(program.arrays[index].type),
                        program.arrays[index].size);
  }
  for (std::size_t index = 0; index < program.blocks.size(); ++index) {
    const Block& block = program.blocks[index];
    text += fmt::format("b{}:", index);
    for (const BlockId predecessor : block.predecessors) text += fmt::format(" b{}", predecessor);
    text += "\n";
    for (const Instruction& instruction : block.instructions) text += TextOf(instruction);
    text += TextOf(block.terminator);
  }
  return text;
}

}  // namespace Vantra::Pixelc
