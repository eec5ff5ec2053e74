#include "spirv_module.h"

#include <gtest/gtest.h>
#include <random>

#include "lower.h"
#include "testing/assembler.h"

namespace Vantra::Pixelc {
namespace {

// Of a program with loops, an array, a texture and constants.
std::vector<std::uint32_t> Sound() {
  return Assemble(
      PixelText("OpDecorate %texture DescriptorSet 0\nOpDecorate %texture Binding 1\n"
                "%image = OpTypeImage %float 2D 0 0 0 1 Unknown\n"
                "%ptr_image = OpTypePointer UniformConstant %image\n"
                "%texture = OpVariable %ptr_image UniformConstant\n"
                "%list = OpTypeArray %float %u4\n%ptr_list = OpTypePointer Function %list\n"
                "%ptr_float = OpTypePointer Function %float",
                R"(%array = OpVariable %ptr_list Function
         OpBranch %header
         %header = OpLabel
         %i = OpPhi %uint %u0 %entry %next %body
         %sum = OpPhi %float %f0 %entry %more %body
         OpLoopMerge %done %body None
         %goes_on = OpULessThan %bool %i %u4
         OpBranchConditional %goes_on %body %done
         %body = OpLabel
         %place = OpAccessChain %ptr_float %array %i
         OpStore %place %sum
         %image_here = OpLoad %image %texture
         %at = OpCompositeConstruct %v2uint %i %u1
         %texel = OpImageFetch %v4float %image_here %at
         %red = OpCompositeExtract %float %texel 0
         %last = OpLoad %float %place
         %more = OpExtInst %float %glsl Pow %red %last
         %next = OpIAdd %uint %i %u1
         OpBranch %header
         %done = OpLabel
         %color = OpCompositeConstruct %v4float %sum %sum %sum %f1
         OpStore %result %color
         OpReturn)"));
}

std::string FaultIn(const std::vector<std::uint32_t>& words) {
  try {
    Lower(SpirvModule("damaged", words));
  } catch (const TranslationError& error) {
    return error.what();
  }
  return "";
}

std::string FaultInText(const std::string& text) { return FaultIn(Assemble(text)); }

TEST(SpirvModules, NameTheProgramThePlaceAndTheReasonOfARefusal) {
  EXPECT_EQ(FaultIn({}), "damaged: this is no SPIR-V");
  EXPECT_EQ(FaultIn(Sound()), "");
  std::vector<std::uint32_t> cut = Sound();
  cut.pop_back();
  EXPECT_EQ(FaultIn(cut), "damaged: it has no whole entry point");
  const std::string kill = FaultInText(PixelText("", "OpKill"));
  EXPECT_TRUE(kill.starts_with("damaged: OpKill (252) at word ")) << kill;
  EXPECT_TRUE(kill.ends_with("it is not supported")) << kill;
}

TEST(SpirvModules, RefuseWhatNoProgramOfTheInterfaceHas) {
  const std::string end = "OpReturn";
  const auto input = [&](const std::string& built_in) {
    return FaultInText(
        ComputeText("OpDecorate %in BuiltIn " + built_in +
                        "\n%ptr_in = OpTypePointer Input %v3uint\n%in = OpVariable %ptr_in Input",
                    "%value = OpLoad %v3uint %in\n" + end));
  };
  EXPECT_EQ(input("LocalInvocationId"), "");
  EXPECT_NE(input("NumWorkgroups").find("input is not supported"), std::string::npos);
  EXPECT_NE(FaultInText(ComputeText("",
                                    "%p = OpAccessChain %ptr_output_word %output %i0 %u0\n"
                                    "%word = OpLoad %uint %p\n" +
                                        end))
                .find("nothing is read"),
            std::string::npos);
  EXPECT_NE(FaultInText(PixelText("%double = OpTypeFloat 64", end)).find("32 bits"),
            std::string::npos);
  std::string groups = ComputeText("", end);
  groups.replace(groups.find("32 16 1"), 7, "8 8 1");
  EXPECT_NE(FaultInText(groups).find("32 x 16"), std::string::npos);
}

// Whatever the words are, the end is a program or a refusal; sanitizers watch over the way there.
TEST(SpirvModules, SurviveDamage) {
  const std::vector<std::uint32_t> sound = Sound();
  std::mt19937 random(1);
  const auto below = [&](std::size_t bound) { return random() % bound; };
  std::size_t refused = 0;
  constexpr std::size_t kRounds = 4000;
  for (std::size_t round = 0; round < kRounds; ++round) {
    std::vector<std::uint32_t> words = sound;
    for (std::size_t change = below(3) + 1; change-- > 0;) {
      std::uint32_t& word = words[below(words.size())];
      switch (below(4)) {
        case 0:
          word = static_cast<std::uint32_t>(random());
          break;
        case 1:
          word = words[below(words.size())];
          break;
        case 2:
          word ^= 1u << below(32);
          break;
        default:
          word = static_cast<std::uint32_t>(below(64));
          break;
      }
    }
    if (below(8) == 0) words.resize(below(words.size()));
    refused += FaultIn(words).empty() ? 0 : 1;
  }
  EXPECT_GT(refused, kRounds / 2);
  EXPECT_LT(refused, kRounds);
}

}  // namespace
}  // namespace Vantra::Pixelc
