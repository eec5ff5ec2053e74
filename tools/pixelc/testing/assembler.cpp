#include "testing/assembler.h"

#include <spirv-tools/libspirv.hpp>
#include <stdexcept>

#include "lower.h"

namespace Vantra::Pixelc {
namespace {

constexpr char kTypes[] = R"(
  %void = OpTypeVoid
  %main_type = OpTypeFunction %void
  %bool = OpTypeBool
  %float = OpTypeFloat 32
  %int = OpTypeInt 32 1
  %uint = OpTypeInt 32 0
  %v2bool = OpTypeVector %bool 2
  %v2float = OpTypeVector %float 2
  %v3float = OpTypeVector %float 3
  %v4float = OpTypeVector %float 4
  %v2int = OpTypeVector %int 2
  %v2uint = OpTypeVector %uint 2
  %v3uint = OpTypeVector %uint 3
  %v4uint = OpTypeVector %uint 4
  %mat2 = OpTypeMatrix %v2float 2
  %mat3 = OpTypeMatrix %v3float 3
  %mat4 = OpTypeMatrix %v4float 4
  %mat3x2 = OpTypeMatrix %v2float 3
  %pair_float = OpTypeStruct %float %float
  %pair_frexp = OpTypeStruct %float %int
  %pair_int = OpTypeStruct %int %int
  %pair_uint = OpTypeStruct %uint %uint
  %true = OpConstantTrue %bool
  %false = OpConstantFalse %bool
  %f0 = OpConstant %float 0
  %f1 = OpConstant %float 1
  %i0 = OpConstant %int 0
  %i1 = OpConstant %int 1
  %i2 = OpConstant %int 2
  %i3 = OpConstant %int 3
  %i4 = OpConstant %int 4
  %u0 = OpConstant %uint 0
  %u1 = OpConstant %uint 1
  %u2 = OpConstant %uint 2
  %u3 = OpConstant %uint 3
  %u4 = OpConstant %uint 4
  %u64 = OpConstant %uint 64
  %words = OpTypeArray %uint %u64
  %block_type = OpTypeStruct %words
  %ptr_block = OpTypePointer Uniform %block_type
  %ptr_word = OpTypePointer Uniform %uint
  %block = OpVariable %ptr_block Uniform
)";

constexpr char kDecorations[] = R"(
  OpDecorate %words ArrayStride 4
  OpDecorate %block_type Block
  OpMemberDecorate %block_type 0 Offset 0
  OpDecorate %block DescriptorSet 0
  OpDecorate %block Binding 6
)";

std::string Function(const std::string& body) {
  return "%main = OpFunction %void None %main_type\n%entry = OpLabel\n" + body +
         "\nOpFunctionEnd\n";
}

// Decorations stand before types, whoever declares them.
std::string Declared(const std::string& declarations) {
  std::string decorations;
  std::string types;
  for (std::size_t at = 0; at < declarations.size();) {
    const std::size_t end = std::min(declarations.find('\n', at), declarations.size());
    const std::string line = declarations.substr(at, end - at);
    const bool is_decoration = line.find("OpDecorate") != std::string::npos ||
                               line.find("OpMemberDecorate") != std::string::npos;
    (is_decoration ? decorations : types) += line + "\n";
    at = end + 1;
  }
  return decorations + kDecorations + kTypes + types;
}

}  // namespace

std::vector<std::uint32_t> Assemble(const std::string& text) {
  const spvtools::SpirvTools tools(SPV_ENV_VULKAN_1_3);
  std::vector<std::uint32_t> words;
  if (!tools.IsValid() || !tools.Assemble(text, &words)) {
    throw std::invalid_argument("no SPIR-V: " + text);
  }
  return words;
}

std::string PixelText(const std::string& declarations, const std::string& body) {
  return "OpCapability Shader\n%glsl = OpExtInstImport \"GLSL.std.450\"\n"
         "OpMemoryModel Logical GLSL450\n"
         "OpEntryPoint Fragment %main \"main\" %result\nOpExecutionMode %main OriginUpperLeft\n"
         "OpDecorate %result Location 0\n" +
         Declared(declarations +
                  "\n%ptr_result = OpTypePointer Output %v4float\n"
                  "%result = OpVariable %ptr_result Output") +
         Function(body);
}

std::string ComputeText(const std::string& declarations, const std::string& body) {
  return "OpCapability Shader\n%glsl = OpExtInstImport \"GLSL.std.450\"\n"
         "OpMemoryModel Logical GLSL450\n"
         "OpEntryPoint GLCompute %main \"main\"\nOpExecutionMode %main LocalSize 32 16 1\n"
         "OpDecorate %output DescriptorSet 0\nOpDecorate %output Binding 7\n"
         "OpDecorate %output_words ArrayStride 4\nOpDecorate %output_type Block\n"
         "OpMemberDecorate %output_type 0 Offset 0\n" +
         Declared(declarations +
                  "\n%output_words = OpTypeRuntimeArray %uint\n"
                  "%output_type = OpTypeStruct %output_words\n"
                  "%ptr_output = OpTypePointer StorageBuffer %output_type\n"
                  "%ptr_output_word = OpTypePointer StorageBuffer %uint\n"
                  "%output = OpVariable %ptr_output StorageBuffer") +
         Function(body);
}

Program LowerText(const std::string& text) { return Lower(SpirvModule("test", Assemble(text))); }

}  // namespace Vantra::Pixelc
