#include <gtest/gtest.h>
#include <limits>

#include "testing/operation.h"

namespace Vantra::Pixelc {
namespace {

TEST(LoweredArithmetic, ComputesWithFloatsEachComponentForItself) {
  ExpectAll({
      {"OpFNegate", {F(2)}, F(-2)},
      {"OpFAdd", {V2(1, 2), V2(0.5f, -7)}, V2(1.5f, -5)},
      {"OpFAdd", {F(-0.0f), F(0)}, F(0)},
      {"OpFSub", {V3(1, 2, 3), V3(3, 3, 3)}, V3(-2, -1, 0)},
      {"OpFMul", {V2(3, -4), V2(0.5f, 2)}, V2(1.5f, -8)},
      {"OpFDiv", {V2(1, -3), V2(4, 0)}, V2(0.25f, -kInfinity)},
      {"OpFRem", {V2(5.5f, -5.5f), V2(2, 2)}, V2(1.5f, -1.5f)},
      {"OpFMod", {V2(5.5f, -5.5f), V2(2, 2)}, V2(1.5f, 0.5f)},
      {"OpVectorTimesScalar", {V2(1, 2), F(3)}, V2(3, 6)},
      {"OpDot", {V3(1, 2, 3), V3(4, 5, 6)}, F(32)},
  });
}

TEST(LoweredArithmetic, TakesTheSignOfIntegersFromTheOperation) {
  const std::uint32_t minus_seven = static_cast<std::uint32_t>(-7);
  ExpectAll({
      {"OpSNegate", {U(1)}, U(~0u)},
      {"OpIAdd",
       {I(std::numeric_limits<std::int32_t>::max()), I(1)},
       I(std::numeric_limits<std::int32_t>::min())},
      {"OpIAdd", {I(-1), U(3)}, U(2)},
      {"OpISub", {I(3), I(0)}, I(3)},
      {"OpISub", {U(1), U(2)}, U(~0u)},
      {"OpIMul",
       {Words("v2int", {minus_seven, 5}), Words("v2int", {3, 1})},
       Words("v2int", {static_cast<std::uint32_t>(-21), 5})},
      {"OpIMul", {I(7), I(0)}, I(0)},
      {"OpSDiv", {U(minus_seven), U(2)}, U(static_cast<std::uint32_t>(-3))},
      {"OpUDiv", {I(-7), I(2)}, I(static_cast<std::int32_t>(minus_seven / 2))},
      {"OpSRem", {I(-7), I(3)}, I(-1)},
      {"OpSMod", {I(-7), I(3)}, I(2)},
      {"OpSMod", {I(7), I(-3)}, I(-2)},
      {"OpUMod", {U(minus_seven), U(10)}, U(minus_seven % 10)},
      {"OpIAddCarry", {U(~0u), U(2)}, Words("pair_uint", {1, 1})},
      {"OpIAddCarry", {U(5), U(2)}, Words("pair_uint", {7, 0})},
      {"OpISubBorrow", {U(1), U(2)}, Words("pair_uint", {~0u, 1})},
      {"OpUMulExtended", {U(~0u), U(3)}, Words("pair_uint", {~0u - 2, 2})},
      {"OpSMulExtended", {I(-1), I(3)}, Words("pair_int", {~0u - 2, ~0u})},
  });
}

TEST(LoweredArithmetic, HandlesBits) {
  ExpectAll({
      {"OpBitwiseAnd", {U(12), U(10)}, U(8)},
      {"OpBitwiseOr", {U(12), I(10)}, U(14)},
      {"OpBitwiseXor", {I(12), I(10)}, I(6)},
      {"OpNot", {U(1)}, U(~1u)},
      {"OpShiftLeftLogical", {I(-1), U(4)}, I(-16)},
      {"OpShiftRightLogical", {I(-1), U(28)}, I(15)},
      {"OpShiftRightArithmetic", {U(0x80000000), I(30)}, U(static_cast<std::uint32_t>(-2))},
      {"OpBitCount", {I(-1)}, I(32)},
      {"OpBitReverse", {U(6)}, U(0x60000000)},
      {"OpBitFieldInsert", {U(0xFFFF), U(5), U(4), U(4)}, U(0xFF5F)},
      {"OpBitFieldInsert", {U(1), U(7), U(0), U(32)}, U(7)},
      {"OpBitFieldInsert", {U(1), U(7), U(3), U(0)}, U(1)},
      {"OpBitFieldUExtract", {U(0xABCD), U(4), U(8)}, U(0xBC)},
      {"OpBitFieldUExtract", {U(0xABCD), U(0), U(32)}, U(0xABCD)},
      {"OpBitFieldSExtract", {I(0xA5), I(4), I(4)}, I(-6)},
      {"OpBitFieldSExtract", {I(0xA5), I(4), I(0)}, I(0)},
      {"OpBitFieldSExtract", {I(-5), I(0), I(32)}, I(-5)},
      {"OpBitcast", {V2(1, -2)}, Words("v2uint", {0x3F800000, 0xC0000000})},
  });
}

TEST(LoweredArithmetic, ComparesNumbersAsWrittenAndNanAsEachComparisonSays) {
  struct Comparison {
    const char* name;
    bool less;
    bool equal;
    bool greater;
    bool with_nan;
  };
  for (const Comparison& test : {Comparison{"OpFOrdEqual", false, true, false, false},
                                 Comparison{"OpFUnordEqual", false, true, false, true},
                                 Comparison{"OpFOrdNotEqual", true, false, true, false},
                                 Comparison{"OpFUnordNotEqual", true, false, true, true},
                                 Comparison{"OpFOrdLessThan", true, false, false, false},
                                 Comparison{"OpFUnordLessThan", true, false, false, true},
                                 Comparison{"OpFOrdGreaterThan", false, false, true, false},
                                 Comparison{"OpFUnordGreaterThan", false, false, true, true},
                                 Comparison{"OpFOrdLessThanEqual", true, true, false, false},
                                 Comparison{"OpFUnordLessThanEqual", true, true, false, true},
                                 Comparison{"OpFOrdGreaterThanEqual", false, true, true, false},
                                 Comparison{"OpFUnordGreaterThanEqual", false, true, true, true}}) {
    ExpectAll({{test.name, {F(1), F(2)}, B(test.less)},
               {test.name, {F(2), F(2)}, B(test.equal)},
               {test.name, {F(3), F(2)}, B(test.greater)},
               {test.name, {F(kNan), F(2)}, B(test.with_nan)},
               {test.name, {F(2), F(kNan)}, B(test.with_nan)}});
  }
  for (const Comparison& test : {Comparison{"OpIEqual", false, true, false, false},
                                 Comparison{"OpINotEqual", true, false, true, false},
                                 Comparison{"OpSLessThan", true, false, false, false},
                                 Comparison{"OpSLessThanEqual", true, true, false, false},
                                 Comparison{"OpSGreaterThan", false, false, true, false},
                                 Comparison{"OpSGreaterThanEqual", false, true, true, false},
                                 // -1 is the largest without a sign.
                                 Comparison{"OpULessThan", false, false, true, false},
                                 Comparison{"OpULessThanEqual", false, true, true, false},
                                 Comparison{"OpUGreaterThan", true, false, false, false},
                                 Comparison{"OpUGreaterThanEqual", true, true, false, false}}) {
    ExpectAll({{test.name, {I(-1), I(2)}, B(test.less)},
               {test.name, {U(2), I(2)}, B(test.equal)},
               {test.name, {U(2), I(-1)}, B(test.greater)}});
  }
  ExpectAll({{"OpIsNan", {F(kNan)}, B(true)},
             {"OpIsNan", {F(kInfinity)}, B(false)},
             {"OpIsInf", {F(-kInfinity)}, B(true)},
             {"OpIsInf", {F(kNan)}, B(false)}});
}

TEST(LoweredArithmetic, DecidesAndChooses) {
  const TestValue mixed = Words("v2bool", {1, 0});
  ExpectAll({
      {"OpLogicalAnd", {B(true), B(false)}, B(false)},
      {"OpLogicalOr", {B(true), B(false)}, B(true)},
      {"OpLogicalNot", {mixed}, Words("v2bool", {0, 1})},
      {"OpLogicalEqual", {mixed, Words("v2bool", {1, 1})}, mixed},
      {"OpLogicalNotEqual", {mixed, Words("v2bool", {1, 1})}, Words("v2bool", {0, 1})},
      {"OpAny", {mixed}, B(true)},
      {"OpAll", {mixed}, B(false)},
      {"OpSelect", {mixed, V2(1, 2), V2(3, 4)}, V2(1, 4)},
      {"OpSelect", {B(false), V2(1, 2), V2(3, 4)}, V2(3, 4)},
      {"OpSelect", {B(false), B(false), B(true)}, B(true)},
      {"OpSelect", {B(true), B(false), B(true)}, B(false)},
  });
}

TEST(LoweredArithmetic, Converts) {
  ExpectAll({
      {"OpConvertFToS", {V2(-2.9f, 2.9f)}, Words("v2int", {static_cast<std::uint32_t>(-2), 2})},
      {"OpConvertFToU", {F(4e9f)}, U(4'000'000'000)},
      {"OpConvertSToF", {U(static_cast<std::uint32_t>(-3))}, F(-3)},
      {"OpConvertUToF", {I(-1)}, F(4294967296.0f)},
      {"OpQuantizeToF16", {V3(1.0004f, 1e-7f, 1e6f)}, V3(1, 0, kInfinity)},
      {"OpQuantizeToF16", {F(-1e-5f)}, F(-0.0f)},
  });
}

TEST(LoweredComposites, MoveComponentsAbout) {
  const TestValue matrix = Floats("mat3x2", {1, 2, 3, 4, 5, 6});
  ExpectAll({
      {"OpCompositeConstruct", {V2(1, 2), F(3)}, V3(1, 2, 3)},
      {"OpCompositeExtract", {matrix}, F(4), 0, "1 1"},
      {"OpCompositeExtract", {matrix}, V2(5, 6), 0, "2"},
      {"OpCompositeInsert", {F(9), matrix}, Floats("mat3x2", {1, 2, 9, 4, 5, 6}), 0, "1 0"},
      {"OpVectorShuffle", {V2(1, 2), V3(3, 4, 5)}, V4(5, 1, 2, 3), 0, "4 0 1 2"},
      {"OpVectorExtractDynamic", {V3(1, 2, 3), I(2)}, F(3)},
      {"OpVectorInsertDynamic", {V3(1, 2, 3), F(9), U(1)}, V3(1, 9, 3)},
      {"OpCopyObject", {V2(1, 2)}, V2(1, 2)},
  });
}

TEST(LoweredComposites, MultiplyMatricesColumnByColumn) {
  const TestValue two = Floats("mat2", {1, 2, 3, 4});
  ExpectAll({
      {"OpMatrixTimesScalar", {two, F(2)}, Floats("mat2", {2, 4, 6, 8})},
      {"OpMatrixTimesVector", {Floats("mat3x2", {1, 2, 3, 4, 5, 6}), V3(1, 10, 100)}, V2(531, 642)},
      {"OpVectorTimesMatrix", {V2(1, 10), Floats("mat3x2", {1, 2, 3, 4, 5, 6})}, V3(21, 43, 65)},
      {"OpMatrixTimesMatrix",
       {two, Floats("mat3x2", {1, 0, 0, 1, 1, 1})},
       Floats("mat3x2", {1, 2, 3, 4, 4, 6})},
      {"OpOuterProduct", {V2(1, 10), V3(2, 3, 4)}, Floats("mat3x2", {2, 20, 3, 30, 4, 40})},
      {"OpTranspose", {two}, Floats("mat2", {1, 3, 2, 4})},
      {"glsl Determinant", {two}, F(-2)},
      {"glsl MatrixInverse", {two}, Floats("mat2", {-2, 1, 1.5f, -0.5f}), 1},
      {"glsl Determinant", {Floats("mat3", {2, 0, 1, 0, 3, 0, 1, 0, 4})}, F(21)},
      {"glsl MatrixInverse",
       {Floats("mat3", {0, 0, 2, 4, 0, 0, 0, 8, 0})},
       Floats("mat3", {0, 0.25f, 0, 0, 0, 0.125f, 0.5f, 0, 0}),
       1},
      {"glsl Determinant",
       {Floats("mat4", {0, 2, 0, 0, 1, 0, 0, 0, 0, 0, 3, 1, 0, 0, 0, 4})},
       F(-24)},
      {"glsl MatrixInverse",
       {Floats("mat4", {0, 2, 0, 0, 1, 0, 0, 0, 0, 0, 4, 2, 0, 0, 0, 4})},
       Floats("mat4", {0, 1, 0, 0, 0.5f, 0, 0, 0, 0, 0, 0.25f, -0.125f, 0, 0, 0, 0.25f}),
       1},
  });
}

}  // namespace
}  // namespace Vantra::Pixelc
