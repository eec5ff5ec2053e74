#include <cmath>
#include <gtest/gtest.h>

#include "testing/operation.h"

namespace Vantra::Pixelc {
namespace {

TEST(GlslFunctions, RoundAndSplitNumbers) {
  ExpectAll({
      {"glsl RoundEven", {V3(0.5f, 1.5f, -2.5f)}, V3(0, 2, -2)},
      {"glsl Round", {V2(0.4f, -1.6f)}, V2(0, -2)},
      {"glsl Trunc", {V2(1.9f, -1.9f)}, V2(1, -1)},
      {"glsl Floor", {V2(1.9f, -1.1f)}, V2(1, -2)},
      {"glsl Ceil", {V2(1.1f, -1.9f)}, V2(2, -1)},
      {"glsl Fract", {V2(1.25f, -1.25f)}, V2(0.25f, 0.75f)},
      {"glsl FAbs", {V2(-3, 3)}, V2(3, 3)},
      {"glsl SAbs", {U(static_cast<std::uint32_t>(-3))}, U(3)},
      {"glsl FSign", {V3(-3, 0, 7)}, V3(-1, 0, 1)},
      {"glsl SSign", {I(-9)}, I(-1)},
      {"glsl ModfStruct", {F(-2.75f)}, Floats("pair_float", {-0.75f, -2})},
      {"glsl FrexpStruct", {F(12)}, Words("pair_frexp", {0x3F400000, 4})},
      {"glsl Ldexp", {F(0.75f), I(4)}, F(12)},
  });
}

TEST(GlslFunctions, GiveTheNumberOfANumberAndNan) {
  ExpectAll({
      {"glsl FMin", {V2(1, 4), V2(3, 2)}, V2(1, 2)},
      {"glsl FMax", {V2(1, 4), V2(3, 2)}, V2(3, 4)},
      {"glsl NMin", {V2(kNan, 4), V2(3, kNan)}, V2(3, 4)},
      {"glsl NMax", {V2(kNan, 4), V2(3, kNan)}, V2(3, 4)},
      {"glsl NClamp", {V3(kNan, 2, -1), V3(0, 0, 0), V3(1, 1, 1)}, V3(0, 1, 0)},
      {"glsl FClamp", {F(0.5f), F(0), F(1)}, F(0.5f)},
      {"glsl SMin", {U(~0u), U(1)}, U(~0u)},
      {"glsl UMin", {I(-1), I(1)}, I(1)},
      {"glsl SMax", {U(~0u), U(1)}, U(1)},
      {"glsl UMax", {I(-1), I(1)}, I(-1)},
      {"glsl SClamp", {I(-5), I(-2), I(3)}, I(-2)},
      {"glsl UClamp", {I(-5), I(2), I(3)}, I(3)},
  });
}

TEST(GlslFunctions, BlendAndStep) {
  ExpectAll({
      {"glsl FMix", {V2(1, 2), V2(3, 10), V2(0.5f, 0.25f)}, V2(2, 4)},
      // The definition gives the ends exactly.
      {"glsl FMix", {F(1e8f), F(1), F(1)}, F(1)},
      {"glsl Step", {V3(1, 1, 1), V3(0.5f, 1, 2)}, V3(0, 1, 1)},
      {"glsl SmoothStep", {V3(1, 1, 1), V3(3, 3, 3), V3(0, 1.5f, 9)}, V3(0, 0.15625f, 1)},
      {"glsl Fma", {F(2), F(3), F(4)}, F(10)},
  });
}

TEST(GlslFunctions, AreThoseOfTheirNames) {
  struct Function {
    const char* name;
    double (*function)(double);
    float at;
  };
  const double degree = std::acos(-1.0) / 180;
  for (const Function& test :
       {Function{"glsl Sin", std::sin, 2}, Function{"glsl Cos", std::cos, 2},
        Function{"glsl Tan", std::tan, 2}, Function{"glsl Asin", std::asin, 0.3f},
        Function{"glsl Acos", std::acos, 0.3f}, Function{"glsl Atan", std::atan, 3},
        Function{"glsl Sinh", std::sinh, 2}, Function{"glsl Cosh", std::cosh, 2},
        Function{"glsl Tanh", std::tanh, 0.7f}, Function{"glsl Asinh", std::asinh, 2},
        Function{"glsl Acosh", std::acosh, 2}, Function{"glsl Atanh", std::atanh, 0.3f},
        Function{"glsl Exp", std::exp, 2}, Function{"glsl Log", std::log, 3},
        Function{"glsl Exp2", std::exp2, 2.5f}, Function{"glsl Log2", std::log2, 3},
        Function{"glsl Sqrt", std::sqrt, 3}}) {
    ExpectAll({{test.name, {F(test.at)}, F(static_cast<float>(test.function(test.at))), 1}});
  }
  ExpectAll({
      {"glsl InverseSqrt", {F(4)}, F(0.5f)},
      {"glsl Atan2", {F(1), F(-2)}, F(std::atan2(1.0f, -2.0f)), 1},
      {"glsl Pow", {F(3), F(2.5f)}, F(std::pow(3.0f, 2.5f)), 1},
      {"glsl Radians", {F(90)}, F(static_cast<float>(90 * degree)), 1},
      {"glsl Degrees", {F(2)}, F(static_cast<float>(2 / degree)), 1},
  });
}

TEST(GlslFunctions, FindBits) {
  ExpectAll({
      {"glsl FindILsb", {I(12)}, I(2)},
      {"glsl FindILsb", {U(0)}, I(-1)},
      {"glsl FindSMsb", {I(5)}, I(2)},
      {"glsl FindSMsb", {I(-1)}, I(-1)},
      {"glsl FindSMsb", {I(-5)}, I(2)},
      {"glsl FindUMsb", {U(~0u)}, U(31)},
      {"glsl FindUMsb", {U(0)}, U(~0u)},
  });
}

TEST(GlslFunctions, PackAndUnpack) {
  ExpectAll({
      {"glsl PackUnorm4x8", {V4(0, 0.5f, 1, 7)}, U(0xFFFF8000)},
      {"glsl PackSnorm4x8", {V4(-1, 0, 1, -9)}, U(0x817F0081)},
      {"glsl PackUnorm2x16", {V2(1, 0.25f)}, U(0x4000FFFF)},
      {"glsl PackSnorm2x16", {V2(-1, 1)}, U(0x7FFF8001)},
      {"glsl PackHalf2x16", {V2(1, -2)}, U(0xC0003C00)},
      {"glsl PackHalf2x16", {V2(65520, 5.9604645e-8f)}, U(0x00017C00)},
      {"glsl UnpackUnorm4x8", {U(0xFF330000)}, V4(0, 0, 0.2f, 1)},
      {"glsl UnpackSnorm4x8", {U(0x80817F00)}, V4(0, 1, -1, -1)},
      {"glsl UnpackUnorm2x16", {U(0x3333FFFF)}, V2(1, 0.2f)},
      {"glsl UnpackSnorm2x16", {U(0x80007FFF)}, V2(1, -1)},
      {"glsl UnpackHalf2x16", {U(0xC0003C00)}, V2(1, -2)},
      {"glsl UnpackHalf2x16", {U(0xFC000001)}, V2(5.9604645e-8f, -kInfinity)},
  });
}

TEST(GlslFunctions, ComputeGeometry) {
  ExpectAll({
      {"glsl Length", {V2(3, -4)}, F(5)},
      {"glsl Length", {F(-3)}, F(3)},
      {"glsl Distance", {V3(1, 2, 3), V3(3, 4, 4)}, F(3)},
      {"glsl Cross", {V3(1, 2, 3), V3(4, 5, 7)}, V3(-1, 5, -3)},
      {"glsl Normalize", {V2(3, -4)}, V2(0.6f, -0.8f), 1},
      {"glsl FaceForward", {V2(1, 2), V2(1, 0), V2(-1, 5)}, V2(1, 2)},
      {"glsl FaceForward", {V2(1, 2), V2(1, 0), V2(1, 5)}, V2(-1, -2)},
      {"glsl Reflect", {V2(1, -1), V2(0, 1)}, V2(1, 1)},
      {"glsl Refract", {V2(0, -1), V2(0, 1), F(0.5f)}, V2(0, -1)},
      {"glsl Refract",
       {V2(0.6f, -0.8f), V2(0, 1), F(0.5f)},
       V2(0.3f, -static_cast<float>(std::sqrt(0.91))),
       4},
      // Under a flat angle nothing gets through.
      {"glsl Refract", {V2(0.96f, -0.28f), V2(0, 1), F(1.5f)}, V2(0, 0)},
  });
}

}  // namespace
}  // namespace Vantra::Pixelc
