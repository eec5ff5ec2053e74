#include "flow.h"

#include <array>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

#include "ir_text.h"
#include "lower.h"
#include "testing/assembler.h"
#include "testing/ir_interpreter.h"
#include "tidy.h"

namespace Vantra::Pixelc {
namespace {

std::vector<std::uint32_t> ReadWords(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::vector<char> bytes(std::istreambuf_iterator<char>(stream), {});
  std::vector<std::uint32_t> words(bytes.size() / sizeof(std::uint32_t));
  std::memcpy(words.data(), bytes.data(), words.size() * sizeof(std::uint32_t));
  return words;
}

int Early(int x) {
  for (int i = 0; i < 20; ++i, x += 3) {
    if (x % 7 == 3) return x * 2;
    if (i > x) return -i;
  }
  return x;
}

int Nested(int x) {
  int sum = 0;
  for (int i = 0; i < x && sum <= 200; ++i) {
    if (i % 4 == 2) continue;
    int j = i;
    do {
      sum += j ^ x;
    } while (sum % 5 != 0 && j++ <= i + x);
  }
  return sum;
}

int Chosen(int x) {
  switch (x % 6) {
    case 0:
      return (x + 10) * 3 + 1;
    case 1:
      return x * 3 + 1;
    case 3:
      return 77;
    case 5:
      return (x ^ 5) + 1;
    default:
      return x > 10 ? x + 1 : ((x - 100) ^ 5) + 1;
  }
}

int Table(int x) {
  constexpr std::array<int, 7> kTable = {5, -3, 8, 0, 2, 11, -6};
  return kTable.at(x % 7) * 100 + kTable.at((x * x) % 7);
}

int Parts(int x) {
  struct Part {
    float left, top;
    int kind;
    bool on;
  };
  std::array<Part, 5> list = {};
  for (int i = 0; i < 5; ++i) {
    list.at(i) = {static_cast<float>(i), static_cast<float>(x), i * x, i % 2 == 0};
  }
  list.at(x % 5).kind += 1000;
  list.at((x + 1) % 5).top = 0.5f;
  list.at((x + 2) % 5).on = !list.at((x + 3) % 5).on;
  list.at(x % 3) = Part(list.at(x * 3 % 5));
  int sum = 0;
  for (const Part& part : list) {
    sum = sum * 3 + part.kind + static_cast<int>(part.left * 4 + part.top * 2) + (part.on ? 1 : 0);
  }
  return sum;
}

int Swapped(int x) {
  int a = x;
  int b = 1;
  while (a > 0) {
    const int before = b;
    b = a - 1;
    a = before - 2;
  }
  do {
    b += 2;
  } while (b < 9);
  return a * 100 + b;
}

TEST(LoweredFlow, GoesTheWaysOfTheProgram) {
  const Program program = Lower(SpirvModule("flow", ReadWords(PIXELC_FLOW_PROGRAM)));
  constexpr auto kRows =
      std::to_array<int (*)(int)>({Early, Nested, Chosen, Table, Parts, Swapped});
  constexpr std::uint32_t kWidth = 40;
  Invocation invocation;
  invocation.constants = {kWidth};
  for (invocation.y = 0; invocation.y < kRows.size(); ++invocation.y) {
    for (invocation.x = 0; invocation.x < kWidth; ++invocation.x) {
      const Outcome outcome = Interpret(program, invocation);
      ASSERT_TRUE(outcome.has_ended);
      const std::map<std::uint32_t, std::uint32_t> expected = {
          {invocation.y * kWidth + invocation.x,
           static_cast<std::uint32_t>(kRows.at(invocation.y)(static_cast<int>(invocation.x)))}};
      ASSERT_EQ(outcome.words, expected) << "row " << invocation.y << ", column " << invocation.x;
    }
  }
}

// Each way out has a result of its own, and what a switch falls into is there for two cases.
TEST(LoweredFlow, ReturnsFromTheMiddleWithWhatWasStoredLast) {
  const Program program =
      LowerText(PixelText("%ptr_float = OpTypePointer Output %float\n%f9 = OpConstant %float 9\n"
                          "%ones = OpConstantComposite %v4float %f1 %f1 %f1 %f1",
                          R"(OpStore %result %ones
         %place = OpAccessChain %ptr_word %block %i0 %u0
         %which = OpLoad %uint %place
         OpSelectionMerge %done None
         OpSwitch %which %other 1 %one 2 %two 7 %one
         %other = OpLabel
         OpReturn
         %one = OpLabel
         %green = OpAccessChain %ptr_float %result %i1
         OpStore %green %f9
         OpBranch %two
         %two = OpLabel
         %fallen = OpPhi %float %f0 %entry %f9 %one
         %red = OpAccessChain %ptr_float %result %i0
         OpStore %red %fallen
         OpBranch %done
         %done = OpLabel
         OpReturn)"));
  const auto color_of = [&](std::uint32_t which) {
    Invocation invocation;
    invocation.constants = {which};
    const Outcome outcome = Interpret(program, invocation);
    EXPECT_EQ(outcome.results, 1);
    return outcome.color;
  };
  EXPECT_EQ(color_of(0), (Color{1, 1, 1, 1}));
  EXPECT_EQ(color_of(1), (Color{9, 9, 1, 1}));
  EXPECT_EQ(color_of(2), (Color{0, 1, 1, 1}));
  EXPECT_EQ(color_of(7), (Color{9, 9, 1, 1}));
}

// b0 -> b1 (header) -> b2 | b4 (way out), b2 -> b3 | b5 (way out), b3 -> b1.
TEST(LoweredFlow, KeepsALoopsBlocksTogether) {
  Program program;
  program.types = {Type::kBool};
  program.blocks.resize(6);
  program.blocks[0].instructions.push_back(
      {.op = Op::kUndefined, .type = Type::kBool, .results = {0}});
  const auto branch = [&](BlockId from, BlockId first, BlockId second = kNone) {
    program.blocks[from].terminator = {
        .kind = second == kNone ? Terminator::Kind::kBranch : Terminator::Kind::kBranchIf,
        .condition = second == kNone ? kNone : 0,
        .targets = {first, second}};
  };
  branch(0, 1);
  branch(1, 4, 2);
  branch(2, 5, 3);
  branch(3, 1);
  LinkPredecessors(&program);
  OrderBlocks(&program);
  EXPECT_EQ(FaultOf(program), "") << TextOf(program);
  ASSERT_EQ(program.blocks.size(), 6u);
  EXPECT_EQ(program.blocks[1].predecessors, (std::vector<BlockId>{0, 3}));
  for (const BlockId way_out : {4, 5}) {
    EXPECT_EQ(program.blocks[way_out].terminator.kind, Terminator::Kind::kReturn);
  }

  branch(0, 1, 3);  // a second way into the loop
  LinkPredecessors(&program);
  OrderBlocks(&program);
  EXPECT_EQ(FaultOf(program), "the flow is not reducible");
}

// The block of the branch takes in the one behind it, and leads to `done` by that way only.
TEST(LoweredFlow, KeepsTheValueOfTheWayThatIsDecided) {
  const Program program = LowerText(PixelText("", R"(
      %is_three = OpIEqual %bool %u3 %u3
      OpSelectionMerge %done None
      OpBranchConditional %is_three %yes %done
      %yes = OpLabel
      OpBranch %done
      %done = OpLabel
      %value = OpPhi %float %f0 %entry %f1 %yes
      %color = OpCompositeConstruct %v4float %value %value %value %value
      OpStore %result %color
      OpReturn)"));
  EXPECT_EQ(TextOf(program),
            "pixel test\nb0:\n  float v0 = Constant 1\n  Result v0, v0, v0, v0\n  Return\n");
}

TEST(LoweredFlow, FoldsWhatIsDecidedAndDropsWhatIsUnused) {
  const Program program = LowerText(PixelText("", R"(
      %three = OpIAdd %uint %u1 %u2
      %is_three = OpIEqual %bool %three %u3
      OpSelectionMerge %done None
      OpBranchConditional %is_three %yes %no
      %yes = OpLabel
      OpBranch %done
      %no = OpLabel
      OpBranch %done
      %done = OpLabel
      %value = OpPhi %float %f1 %yes %f0 %no
      %unused = OpFAdd %float %value %value
      %color = OpCompositeConstruct %v4float %value %value %value %value
      OpStore %result %color
      OpReturn)"));
  EXPECT_EQ(TextOf(program),
            "pixel test\nb0:\n  float v0 = Constant 1\n  Result v0, v0, v0, v0\n  Return\n");
}

}  // namespace
}  // namespace Vantra::Pixelc
