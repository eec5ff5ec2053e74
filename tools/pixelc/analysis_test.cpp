// What is found out about small programs, and how they are made simpler, on the way to their code.

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "builder.h"
#include "divergence.h"
#include "emit.h"
#include "flatten.h"
#include "flow_regions.h"
#include "normalize.h"
#include "testing/assembler.h"
#include "tidy.h"

namespace Vantra::Pixelc {
namespace {

class Draft : public Builder {
 public:
  Draft() : Builder(program_) { Enter(AddBlock()); }

  ValueId X() { return Leaf(Op::kPixelX, Type::kFloat); }
  ValueId Uniform(std::uint32_t byte_offset = 0) {
    return Load(Op::kLoadConstant, Type::kFloat, 0, Uint(byte_offset));
  }
  ValueId Less(ValueId a, ValueId b) { return Emit(Op::kLess, {a, b}); }
  // In front of all else of the block.
  ValueId PhiOf(Type type, std::vector<ValueId> operands) {
    const ValueId phi = Phi(type);
    program_.blocks[block()].instructions.back().operands = std::move(operands);
    return phi;
  }

  void SetPhi(BlockId block, std::vector<ValueId> operands) {
    program_.blocks[block].instructions.front().operands = std::move(operands);
  }

  // What comes of the two sides of a branch; the condition stands in the current block.
  template <class Yes, class No>
  ValueId Choose(ValueId condition, Yes yes, No no) {
    const BlockId first = AddBlock(), second = AddBlock(), meeting = AddBlock();
    BranchIf(condition, first, second);
    Enter(first);
    const ValueId a = yes();
    Branch(meeting);
    Enter(second);
    const ValueId b = no();
    Branch(meeting);
    Enter(meeting);
    return PhiOf(TypeOf(a), {a, b});
  }

  Program End(ValueId red) {
    const ValueId one = Float(1);
    Effect(Op::kResult, {red, one, one, one});
    Return();
    Finish();
    LinkPredecessors(&program_);
    Normalize(program_);
    return program_;
  }

 private:
  Program program_;
};

std::vector<Instruction> All(const Program& program, Op op) {
  std::vector<Instruction> found;
  for (const Block& block : program.blocks) {
    std::copy_if(block.instructions.begin(), block.instructions.end(), std::back_inserter(found),
                 [&](const Instruction& instruction) { return instruction.op == op; });
  }
  return found;
}

Kind KindOfLast(const Program& program, Op op) {
  const FlowRegions flow(program);
  return Divergence(program, flow).KindOf(All(program, op).back().results[0]);
}

bool Flatten(Program& program) {
  const FlowRegions flow(program);
  const bool changed = FlattenBranches(program, Divergence(program, flow));
  Normalize(program);
  return changed;
}

TEST(Analyses, WhereLanesMeetAgainValuesDiffer) {
  for (const bool lanes_part : {false, true}) {
    Draft draft;
    const ValueId condition = draft.Less(lanes_part ? draft.X() : draft.Uniform(8), draft.Float(7));
    const ValueId chosen = draft.Choose(
        condition, [&] { return draft.Uniform(0); }, [&] { return draft.Uniform(4); });
    const Program program = draft.End(chosen);
    EXPECT_EQ(KindOfLast(program, Op::kPhi), lanes_part ? Kind::kVarying : Kind::kUniform);
    const FlowRegions flow(program);
    const Divergence divergence(program, flow);
    EXPECT_EQ(divergence.IsUniformBlock(1), !lanes_part);
    EXPECT_TRUE(divergence.IsUniformBlock(static_cast<BlockId>(program.blocks.size() - 1)));
  }
}

// Counts up to a number: the count is the same for all that are in the loop, but not behind it.
TEST(Analyses, WhatALoopCountsDiffersBehindIt) {
  for (const bool lanes_part : {false, true}) {
    Draft draft;
    const ValueId bound = lanes_part ? draft.X() : draft.Uniform();
    const ValueId zero = draft.Float(0), one = draft.Float(1);
    const BlockId header = draft.AddBlock(), body = draft.AddBlock(), behind = draft.AddBlock();
    draft.Branch(header);
    draft.Enter(header);
    const ValueId next = draft.PhiOf(Type::kFloat, {});
    draft.BranchIf(draft.Less(next, bound), body, behind);
    draft.Enter(body);
    const ValueId sum = draft.Add(next, one);
    draft.Branch(header);
    draft.SetPhi(header, {zero, sum});
    draft.Enter(behind);
    const Program program = draft.End(next);
    const FlowRegions flow(program);
    const Divergence divergence(program, flow);
    ASSERT_EQ(flow.Loops().size(), 2u);
    EXPECT_EQ(divergence.LeavesApart(1), lanes_part);
    const std::vector<Instruction> phis = All(program, Op::kPhi);
    // Behind the loop it goes by a name of its own.
    ASSERT_EQ(phis.size(), 2u);
    EXPECT_TRUE(divergence.IsUniform(phis[0].results[0]));
    EXPECT_EQ(divergence.IsUniform(phis[1].results[0]), !lanes_part);
    EXPECT_EQ(All(program, Op::kResult)[0].operands[0], phis[1].results[0]);
  }
}

TEST(Analyses, PlacesAlongTheRowAreKnown) {
  const auto kind = [](Op op, auto make) {
    Draft draft;
    const ValueId value = make(draft);
    return KindOfLast(draft.End(value), op);
  };
  EXPECT_EQ(kind(Op::kMul, [](Draft& d) { return d.Mul(d.X(), d.Uniform()); }), Kind::kLinear);
  EXPECT_EQ(kind(Op::kMul, [](Draft& d) { return d.Mul(d.X(), d.X()); }), Kind::kVarying);
  EXPECT_EQ(kind(Op::kDiv,
                 [](Draft& d) {
                   return d.Emit(Op::kDiv, {d.Uniform(), d.X()});
                 }),
            Kind::kVarying);
  const auto column = [](Draft& d) {
    return d.Emit(Op::kFloatToInt, {d.Emit(Op::kFloor, {d.Add(d.X(), d.Uniform())})});
  };
  EXPECT_EQ(kind(Op::kFloatToInt, [&](Draft& d) { return d.Emit(Op::kIntToFloat, {column(d)}); }),
            Kind::kColumn);
  EXPECT_EQ(kind(Op::kAdd,
                 [&](Draft& d) {
                   const ValueId x = column(d);
                   return d.Emit(Op::kIntToFloat, {d.Add(x, x)});
                 }),
            Kind::kVarying);
  EXPECT_EQ(kind(Op::kMax,
                 [&](Draft& d) {
                   return d.Emit(Op::kIntToFloat, {d.Emit(Op::kMax, {column(d), d.Int(0)})});
                 }),
            Kind::kColumn);
}

TEST(Flattening, ComputesSmallSidesAlways) {
  Draft draft;
  // The second comparison is made only if the first one holds.
  const ValueId above = draft.Less(draft.Uniform(), draft.X());
  const ValueId both = draft.Choose(
      above, [&] { return draft.Less(draft.X(), draft.Uniform(4)); }, [&] { return above; });
  const ValueId red = draft.Choose(
      both, [&] { return draft.Add(draft.X(), draft.Float(2)); }, [&] { return draft.Uniform(8); });
  Program program = draft.End(red);
  while (Flatten(program)) {
  }
  SimplifyValues(program);
  ASSERT_EQ(program.blocks.size(), 1u);
  const std::vector<Instruction> conditions = All(program, Op::kAnd);
  const std::vector<Instruction> selects = All(program, Op::kSelect);
  ASSERT_EQ(conditions.size(), 1u);
  ASSERT_EQ(selects.size(), 1u);
  EXPECT_EQ(selects[0].operands[0], conditions[0].results[0]);
  EXPECT_EQ(selects[0].operands[1], All(program, Op::kAdd)[0].results[0]);
}

TEST(Flattening, LeavesBranchesThatSpareWork) {
  Draft costly;
  Program program = costly.End(costly.Choose(
      costly.Less(costly.X(), costly.Uniform()),
      [&] {
        const ValueId power = costly.Emit(Op::kPow, {costly.X(), costly.X()});
        return costly.Emit(Op::kPow, {power, costly.Uniform(4)});
      },
      [&] { return costly.X(); }));
  EXPECT_FALSE(Flatten(program));
  EXPECT_EQ(program.blocks.size(), 4u);

  Draft reading;
  program = reading.End(reading.Choose(
      reading.Less(reading.X(), reading.Uniform()),
      [&] { return reading.Read(Op::kSample, reading.X(), reading.X(), 0, 0)[0]; },
      [&] { return reading.X(); }));
  EXPECT_FALSE(Flatten(program));
}

TEST(Flattening, ComputesOnceARowWhatOnlySomeLanesNeed) {
  Draft draft;
  Program program = draft.End(draft.Choose(
      draft.Less(draft.X(), draft.Float(3)),
      [&] {
        const ValueId scale = draft.Mul(draft.Uniform(4), draft.Uniform(8));
        return draft.Read(Op::kSample, draft.Mul(draft.X(), scale), draft.X(), 0, 0)[0];
      },
      [&] { return draft.X(); }));
  const FlowRegions flow(program);
  EXPECT_TRUE(RaiseUniforms(program, flow, Divergence(program, flow)));
  const auto count = [&](BlockId block, Op op) {
    return std::ranges::count(program.blocks[block].instructions, op, &Instruction::op);
  };
  EXPECT_EQ(count(0, Op::kLoadConstant), 2);
  EXPECT_EQ(count(0, Op::kMul), 1);
  EXPECT_EQ(count(1, Op::kMul), 1);
  EXPECT_EQ(count(1, Op::kSample) + count(2, Op::kSample), 1);
}

TEST(Flattening, DropsOnlyTheClampThatStoringRepeats) {
  for (const float top : {1.0f, 0.5f}) {
    Draft draft;
    Program program =
        draft.End(draft.Clamp(draft.Add(draft.X(), draft.X()), draft.Float(0), draft.Float(top)));
    SimplifyValues(program);
    const Instruction result = All(program, Op::kResult)[0];
    EXPECT_EQ(result.operands[0], All(program, top == 1 ? Op::kAdd : Op::kMin)[0].results[0]);
  }
}

TEST(Flattening, DividesByWhatHoldsForTheRowOnceUnlessPlacesHangOnIt) {
  const auto quotients = [](auto make) {
    Draft draft;
    const auto texel = [&](float y) {
      return draft.Read(Op::kSample, draft.X(), draft.Float(y), 0, 0)[0];
    };
    Program program = draft.End(make(draft, texel));
    const FlowRegions flow(program);
    const bool changed = MultiplyByReciprocals(program, Divergence(program, flow));
    Normalize(program);
    EXPECT_EQ(changed, !All(program, Op::kMul).empty());
    return std::pair(changed, KindOfLast(program, Op::kDiv) == Kind::kUniform);
  };
  EXPECT_EQ(quotients([](Draft& d, auto texel) {
              return d.Emit(Op::kDiv, {texel(0), d.Uniform()});
            }),
            std::pair(true, true));
  EXPECT_EQ(quotients([](Draft& d, auto texel) {
              return d.Emit(Op::kDiv, {texel(0), texel(1)});
            }),
            std::pair(false, false));
  EXPECT_EQ(quotients([](Draft& d, auto texel) {
              const ValueId red = texel(0);
              d.SetPrecise(true);
              return d.Emit(Op::kDiv, {red, d.Uniform()});
            }),
            std::pair(false, false));
  EXPECT_EQ(quotients([](Draft& d, auto) {
              return d.Emit(Op::kDiv, {d.X(), d.Uniform()});
            }),
            std::pair(false, false));
}

// What becomes of a sum of a product is told by the functions that the code calls.
TEST(LaneCode, JoinsASumWithAProductThatNothingElseReadsAndNeitherIsPrecise) {
  const auto calls = [](bool is_precise, bool reads_twice, Op sum, std::size_t side) {
    Draft draft;
    const auto texel = draft.Read(Op::kSample, draft.X(), draft.X(), 0, 0);
    draft.SetPrecise(is_precise);
    const ValueId product = draft.Mul(texel[0], texel[1]);
    draft.SetPrecise(false);
    const ValueId result =
        side == 0 ? draft.Emit(sum, {product, texel[2]}) : draft.Emit(sum, {texel[2], product});
    Program program = draft.End(reads_twice ? draft.Emit(Op::kDiv, {result, product}) : result);
    program.name = "test";
    const std::string code = EmitProgram(program, 0);
    std::string found;
    for (const char* const call : {" MulAdd(", " MulSub(", " NegMulAdd(", " Mul("}) {
      if (code.find(call) != std::string::npos) found += call;
    }
    return found;
  };
  EXPECT_EQ(calls(false, false, Op::kAdd, 0), " MulAdd(");
  EXPECT_EQ(calls(false, false, Op::kAdd, 1), " MulAdd(");
  EXPECT_EQ(calls(false, false, Op::kSub, 0), " MulSub(");
  EXPECT_EQ(calls(false, false, Op::kSub, 1), " NegMulAdd(");
  EXPECT_EQ(calls(true, false, Op::kAdd, 0), " Mul(");
  EXPECT_EQ(calls(false, true, Op::kAdd, 0), " Mul(");
}

TEST(LaneCode, CallsTheFunctionOfEachOperationForLanesAndOnceARow) {
  struct Case {
    Op op;
    const char* function;
    Type type = Type::kFloat;
    std::size_t operands = 1;
  };
  const Case cases[] = {{Op::kNeg, "Neg"},
                        {Op::kAdd, "Add", Type::kFloat, 2},
                        {Op::kSub, "Sub", Type::kInt, 2},
                        {Op::kMul, "Mul", Type::kUint, 2},
                        {Op::kDiv, "Div", Type::kFloat, 2},
                        {Op::kRem, "Rem", Type::kInt, 2},
                        {Op::kMod, "Mod", Type::kFloat, 2},
                        {Op::kMulHigh, "MulHigh", Type::kUint, 2},
                        {Op::kMin, "Min", Type::kFloat, 2},
                        {Op::kMax, "Max", Type::kInt, 2},
                        {Op::kAbs, "Abs", Type::kInt},
                        {Op::kSign, "Sign"},
                        {Op::kEqual, "Equal", Type::kUint, 2},
                        {Op::kNotEqual, "NotEqual", Type::kFloat, 2},
                        {Op::kLess, "Less", Type::kInt, 2},
                        {Op::kLessEqual, "LessEqual", Type::kFloat, 2},
                        {Op::kGreater, "Greater", Type::kUint, 2},
                        {Op::kGreaterEqual, "GreaterEqual", Type::kFloat, 2},
                        {Op::kIsNan, "IsNan"},
                        {Op::kIsInf, "IsInf"},
                        {Op::kAnd, "And", Type::kInt, 2},
                        {Op::kOr, "Or", Type::kUint, 2},
                        {Op::kXor, "Xor", Type::kInt, 2},
                        {Op::kNot, "Not", Type::kUint},
                        {Op::kShiftLeft, "ShiftLeft", Type::kUint, 2},
                        {Op::kShiftRight, "ShiftRight", Type::kInt, 2},
                        {Op::kBitCount, "BitCount", Type::kUint},
                        {Op::kBitReverse, "BitReverse", Type::kUint},
                        {Op::kFindLowestBit, "FindLowestBit", Type::kUint},
                        {Op::kFindHighestBit, "FindHighestBit", Type::kInt},
                        {Op::kFloatToHalf, "FloatToHalf"},
                        {Op::kHalfToFloat, "HalfToFloat", Type::kUint},
                        {Op::kBitsToInt, "BitsToInt"},
                        {Op::kBitsToUint, "BitsToUint"},
                        {Op::kBitsToFloat, "BitsToFloat", Type::kInt},
                        {Op::kFma, "Fma", Type::kFloat, 3},
                        {Op::kAtan2, "Atan2", Type::kFloat, 2},
                        {Op::kPow, "Pow", Type::kFloat, 2},
                        {Op::kFloor, "Floor"},
                        {Op::kCeil, "Ceil"},
                        {Op::kTrunc, "Trunc"},
                        {Op::kRound, "Round"},
                        {Op::kFract, "Fract"},
                        {Op::kSqrt, "Sqrt"},
                        {Op::kInverseSqrt, "InverseSqrt"},
                        {Op::kSin, "Sin"},
                        {Op::kCos, "Cos"},
                        {Op::kTan, "Tan"},
                        {Op::kAsin, "Asin"},
                        {Op::kAcos, "Acos"},
                        {Op::kAtan, "Atan"},
                        {Op::kSinh, "Sinh"},
                        {Op::kCosh, "Cosh"},
                        {Op::kTanh, "Tanh"},
                        {Op::kAsinh, "Asinh"},
                        {Op::kAcosh, "Acosh"},
                        {Op::kAtanh, "Atanh"},
                        {Op::kExp, "Exp"},
                        {Op::kLog, "Log"},
                        {Op::kExp2, "Exp2"},
                        {Op::kLog2, "Log2"},
                        {Op::kMantissa, "Mantissa"},
                        {Op::kExponent, "Exponent"}};
  for (const Case& test : cases) {
    for (const bool of_lanes : {true, false}) {
      Draft draft;
      const auto texel = draft.Read(Op::kSample, draft.X(), draft.X(), 0, 0);
      const auto operand = [&](std::uint32_t i) {
        const ValueId number = of_lanes ? texel[i] : draft.Uniform(4 * i);
        if (test.type == Type::kInt) return draft.Emit(Op::kFloatToInt, {number});
        return test.type == Type::kUint ? draft.Emit(Op::kFloatToUint, {number}) : number;
      };
      const ValueId a = operand(0);
      ValueId result = test.operands == 1   ? draft.Emit(test.op, {a})
                       : test.operands == 2 ? draft.Emit(test.op, {a, operand(1)})
                                            : draft.Emit(test.op, {a, operand(1), operand(2)});
      if (draft.TypeOf(result) == Type::kBool) {
        result = draft.Select(result, draft.Float(1), draft.Float(0));
      } else if (draft.TypeOf(result) != Type::kFloat) {
        result = draft.Emit(draft.TypeOf(result) == Type::kInt ? Op::kIntToFloat : Op::kUintToFloat,
                            {result});
      }
      Program program = draft.End(result);
      program.name = "test";
      const std::string code = EmitProgram(program, 0);
      const std::string row = code.substr(0, code.find("static void test_Lanes("));
      const std::string call = std::string(" = ") + test.function + "(";
      EXPECT_EQ(row.find(call) != std::string::npos, !of_lanes) << test.function;
      EXPECT_EQ(code.find(call, row.size()) != std::string::npos, of_lanes) << test.function;
    }
  }
}

TEST(LaneCode, KnowsWhatIsPreciseFromTheModule) {
  const Program program = LowerText(PixelText("OpDecorate %exact NoContraction\n", R"(
      %place = OpAccessChain %ptr_word %block %i0 %u0
      %word = OpLoad %uint %place
      %number = OpBitcast %float %word
      %loose = OpFMul %float %number %number
      %exact = OpFAdd %float %loose %number
      %color = OpCompositeConstruct %v4float %exact %exact %exact %exact
      OpStore %result %color
      OpReturn)"));
  EXPECT_FALSE(All(program, Op::kMul).at(0).is_precise);
  EXPECT_TRUE(All(program, Op::kAdd).at(0).is_precise);
}

}  // namespace
}  // namespace Vantra::Pixelc
