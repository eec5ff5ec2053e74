#include <array>
#include <bit>
#include <gtest/gtest.h>

#include "testing/assembler.h"
#include "testing/ir_interpreter.h"

namespace Vantra::Pixelc {
namespace {

// The offsets are what scalar layout gives { mat3x2 columns; row_major mat3x2 rows; vec2 list[3]; }
// but for the strides, which are wider to show that they count.
constexpr char kLayout[] =
    "OpDecorate %matrices Block\nOpDecorate %matrices_in DescriptorSet 0\n"
    "OpDecorate %matrices_in Binding 6\n"
    "OpMemberDecorate %matrices 0 Offset 0\nOpMemberDecorate %matrices 0 ColMajor\n"
    "OpMemberDecorate %matrices 0 MatrixStride 12\n"
    "OpMemberDecorate %matrices 1 Offset 36\nOpMemberDecorate %matrices 1 RowMajor\n"
    "OpMemberDecorate %matrices 1 MatrixStride 16\n"
    "OpMemberDecorate %matrices 2 Offset 68\nOpDecorate %list ArrayStride 12\n"
    "%list = OpTypeArray %v2float %u3\n"
    "%matrices = OpTypeStruct %mat3x2 %mat3x2 %list\n"
    "%ptr_matrices = OpTypePointer Uniform %matrices\n"
    "%ptr_matrix = OpTypePointer Uniform %mat3x2\n"
    "%ptr_vector = OpTypePointer Uniform %v2float\n"
    "%ptr_number = OpTypePointer Uniform %float\n"
    "%matrices_in = OpVariable %ptr_matrices Uniform\n";

Color ColorOf(const std::string& declarations, const std::string& body,
              const Invocation& invocation) {
  const Program program = LowerText(PixelText(declarations, body));
  const Outcome outcome = Interpret(program, invocation);
  EXPECT_EQ(outcome.results, 1);
  return outcome.color;
}

TEST(LoweredMemory, ReadsConstantsByTheirLayout) {
  // Each word holds its own number, but the first, which is the index.
  Invocation invocation;
  for (int word = 0; word < 40; ++word) {
    invocation.constants.push_back(std::bit_cast<std::uint32_t>(static_cast<float>(word)));
  }
  invocation.constants[0] = 2;
  const Color color = ColorOf(kLayout, R"(
      %index_place = OpAccessChain %ptr_word %block %i0 %u0
      %index = OpLoad %uint %index_place
      %columns_place = OpAccessChain %ptr_matrix %matrices_in %i0
      %columns = OpLoad %mat3x2 %columns_place
      %red = OpCompositeExtract %float %columns 1 1
      %rows_place = OpAccessChain %ptr_matrix %matrices_in %i1
      %rows = OpLoad %mat3x2 %rows_place
      %green = OpCompositeExtract %float %rows 2 1
      %column_place = OpAccessChain %ptr_vector %matrices_in %i1 %index
      %column = OpLoad %v2float %column_place
      %blue = OpCompositeExtract %float %column 1
      %listed_place = OpAccessChain %ptr_number %matrices_in %i2 %index %i1
      %alpha = OpLoad %float %listed_place
      %color = OpCompositeConstruct %v4float %red %green %blue %alpha
      OpStore %result %color
      OpReturn)",
                              invocation);
  EXPECT_EQ(color, (Color{4, 9 + 2 + 4, 9 + 2 + 4, 17 + 6 + 1}));
}

TEST(LoweredMemory, KnowsThePlacementAndThePixel) {
  Invocation invocation;
  invocation.pixel_x = 7.5f;
  invocation.origin_y = 3;
  invocation.pixel_size_x = 0.25f;
  const Color color = ColorOf(
      "OpDecorate %frag BuiltIn FragCoord\nOpDecorate %placement_type Block\n"
      "OpMemberDecorate %placement_type 0 Offset 0\nOpMemberDecorate %placement_type 1 Offset 8\n"
      "%ptr_frag = OpTypePointer Input %v4float\n%frag = OpVariable %ptr_frag Input\n"
      "%placement_type = OpTypeStruct %v2float %v2float\n"
      "%ptr_placement = OpTypePointer PushConstant %placement_type\n"
      "%placement = OpVariable %ptr_placement PushConstant",
      R"(%pixel = OpLoad %v4float %frag
         %red = OpCompositeExtract %float %pixel 0
         %whole = OpLoad %placement_type %placement
         %green = OpCompositeExtract %float %whole 0 1
         %blue = OpCompositeExtract %float %whole 1 0
         %alpha = OpCompositeExtract %float %pixel 3
         %color = OpCompositeConstruct %v4float %red %green %blue %alpha
         OpStore %result %color
         OpReturn)",
      invocation);
  EXPECT_EQ(color, (Color{7.5f, 3, 0.25f, 1}));
}

TEST(LoweredMemory, ReadsTexturesThroughTheirRegisters) {
  Invocation invocation;
  invocation.sample = [](std::uint32_t texture, std::uint32_t sampler, float u, float v) {
    return Color{static_cast<float>(texture), static_cast<float>(sampler), u, v};
  };
  invocation.fetch = [](std::uint32_t texture, std::int32_t x, std::int32_t y) {
    return Color{static_cast<float>(texture), 0, static_cast<float>(x), static_cast<float>(y)};
  };
  invocation.size = [](std::uint32_t) { return std::array<std::int32_t, 2>{30, 50}; };
  const std::string declarations =
      "OpDecorate %texture DescriptorSet 0\nOpDecorate %texture Binding 2\n"
      "OpDecorate %filter DescriptorSet 0\nOpDecorate %filter Binding 4\n"
      "%image = OpTypeImage %float 2D 0 0 0 1 Unknown\n%sampler = OpTypeSampler\n"
      "%both = OpTypeSampledImage %image\n%ptr_image = OpTypePointer UniformConstant %image\n"
      "%ptr_sampler = OpTypePointer UniformConstant %sampler\n"
      "%texture = OpVariable %ptr_image UniformConstant\n"
      "%filter = OpVariable %ptr_sampler UniformConstant\n%f2 = OpConstant %float 2\n"
      "%uv = OpConstantComposite %v3float %f1 %f0 %f2\n"
      "%place = OpConstantComposite %v2int %i3 %i4\n%shift = OpConstantComposite %v2int %i1 %i0";
  const auto read = [&](const std::string& text) {
    return ColorOf(declarations,
                   "%image_here = OpLoad %image %texture\n%filter_here = OpLoad %sampler %filter\n"
                   "%pair = OpSampledImage %both %image_here %filter_here\n" +
                       text + "\nOpStore %result %color\nOpReturn",
                   invocation);
  };
  EXPECT_EQ(read("%color = OpImageSampleExplicitLod %v4float %pair %uv Lod %f1"),
            (Color{2, 1, 1, 0}));
  EXPECT_EQ(read("%color = OpImageSampleProjImplicitLod %v4float %pair %uv"),
            (Color{2, 1, 0.5f, 0}));
  EXPECT_EQ(read("%plain = OpImage %image %pair\n"
                 "%color = OpImageFetch %v4float %plain %place Lod|ConstOffset %i0 %shift"),
            (Color{2, 0, 4, 4}));
  EXPECT_EQ(read("%size = OpImageQuerySizeLod %v2int %image_here %i0\n"
                 "%levels = OpImageQueryLevels %int %image_here\n"
                 "%numbers = OpConvertSToF %v2float %size\n%level = OpConvertSToF %float %levels\n"
                 "%color = OpCompositeConstruct %v4float %numbers %level %f0"),
            (Color{30, 50, 1, 0}));
}

TEST(LoweredMemory, DerivesThePlaceInTheGroup) {
  Invocation invocation;
  invocation.x = 32 * 3 + 5;
  invocation.y = 16 * 2 + 9;
  std::string body;
  int count = 0;
  const auto write = [&](const std::string& input, int component) {
    const std::string id = std::to_string(count++);
    body += "%in" + id + " = OpLoad %v3uint %" + input + "\n%part" + id +
            " = OpCompositeExtract %uint %in" + id + " " + std::to_string(component) + "\n%p" + id +
            " = OpAccessChain %ptr_output_word %output %i0 %u" + id + "\nOpStore %p" + id +
            " %part" + id + "\n";
  };
  write("local", 0);
  write("local", 1);
  write("group", 0);
  write("group", 1);
  write("group", 2);
  const Program program = LowerText(ComputeText(
      "OpDecorate %local BuiltIn LocalInvocationId\nOpDecorate %group BuiltIn WorkgroupId\n"
      "%ptr_in = OpTypePointer Input %v3uint\n%local = OpVariable %ptr_in Input\n"
      "%group = OpVariable %ptr_in Input",
      body + "OpReturn"));
  EXPECT_EQ(Interpret(program, invocation).words,
            (std::map<std::uint32_t, std::uint32_t>{{0, 5}, {1, 9}, {2, 3}, {3, 2}, {4, 0}}));
}

}  // namespace
}  // namespace Vantra::Pixelc
