#include <algorithm>

#include "generator.h"

namespace Vantra::TranslatorFuzz {

const Type& Generator::TypeOf(int variable) const {
  return program_.variables[static_cast<std::size_t>(variable)].type;
}

Expr Generator::Any(const Type& type, int depth) {
  if (type.length > 0 || type.structure >= 0) return Aggregate(type, depth);
  if (type.columns > 1) return Matrix(type, depth);
  switch (type.scalar) {
    case Scalar::kBool:
      return Bool(type, depth);
    case Scalar::kFloat:
      return Float(type, depth);
    default:
      return Integer(type, depth);
  }
}

Expr Generator::AnyToKeep(const Type& type, int depth) {
  Expr value = Any(type, depth);
  const bool whole = type.length > 0 || type.structure >= 0;
  return whole || type.scalar != Scalar::kFloat ? value : Fold(value);
}

Expr Generator::Fold(const Expr& value) {
  const Type& type = value->type;
  if (type.columns > 1) {
    // Their components are kept already; products of matrices are scaled down.
    return program_.exact || value->kind != Expression::Kind::kOperation
               ? value
               : Operation{Op::kMul, value, {F(0.03125F)}};
  }
  if (program_.exact) {
    return Operation{
        Op::kMul,
        Operation{Op::kFloor,
                  Operation{Op::kMul, Operation{Op::kClamp, value, {F(-8), F(8)}}, {F(8)}}},
        {F(0.125F)}};
  }
  switch (Below(5)) {
    case 0:
      return Operation{Op::kFloatMod, value, {F(7)}};
    case 1:
      return Operation{Op::kSin, Operation{Op::kClamp, value, {F(-100), F(100)}}};
    case 2:
      return Operation{Op::kDiv, value, {Operation{Op::kAdd, Operation{Op::kAbs, value}, {F(1)}}}};
    default:
      return Operation{Op::kClamp, value, {F(-8), F(8)}};
  }
}

Expr Generator::Aggregate(const Type& type, int depth) {
  if (Chance(50)) {
    if (Expr found = FromScope(type, depth)) return found;
  }
  std::vector<Expr> parts;
  if (type.length > 0) {
    for (int i = 0; i < type.length; ++i) parts.push_back(AnyToKeep(ElementType(type), 1));
  } else {
    const auto fields = program_.structures[static_cast<std::size_t>(type.structure)];
    for (const Type& field : fields) parts.push_back(AnyToKeep(field, 1));
  }
  return Construct(type, std::move(parts));
}

Expr Generator::Matrix(const Type& type, int depth) {
  const int size = type.rows;
  const Type column = Vec(Scalar::kFloat, size);
  // Products of kept values only, so that exact programs stay so.
  const auto leaf = [&] {
    Expr found = FromScope(type, 1);
    return found ? found : Constructed(type);
  };
  if (depth > 0) {
    switch (Below(program_.exact ? 6 : 8)) {
      case 0:
        return Kept(Operation{Op::kMatrixMul, leaf(), {leaf()}});
      case 1:
        return Operation{Op::kTranspose, leaf()};
      case 2:
        return Kept(Operation{Chance(50) ? Op::kAdd : Op::kSub, leaf(), {leaf()}});
      case 3:
        return Kept(Operation{Op::kOuterProduct, type, {FloatLeaf(column), FloatLeaf(column)}});
      case 4:
        return Kept(Operation{Op::kMatrixCompMult, leaf(), {leaf()}});
      case 5:
        return leaf();
      default:
        // Far from singular.
        return Operation{Op::kInverse, Operation{Op::kAdd,
                                                 Operation{Op::kMul, leaf(), {F(0.125F)}},
                                                 {Construct(type, {F(11)})}}};
    }
  }
  return leaf();
}

Expr Generator::Constructed(const Type& type) {
  std::vector<Expr> parts;
  if (Chance(20)) {
    parts.push_back(FloatLeaf(kFloatType));
  } else {
    for (int i = 0; i < type.columns; ++i) {
      parts.push_back(FloatLeaf(Vec(Scalar::kFloat, type.rows)));
    }
  }
  return Construct(type, std::move(parts));
}

Expr Generator::Kept(const Expr& matrix) {
  const int whole = Declare(matrix);
  std::vector<Expr> columns;
  for (int i = 0; i < matrix->type.columns; ++i) {
    columns.push_back(Fold(Element(Use(whole), I(i), ElementType(matrix->type))));
  }
  return Construct(matrix->type, std::move(columns));
}

Expr Generator::UniformInt() {
  const Expr constant = Swizzle(Use(3), {Below(3)});
  switch (Below(4)) {
    case 0:
      return Use(0);
    case 1:
      return Element(Use(5), I(Below(6)), kIntType);
    case 2:
      return Construct(kIntType, {Swizzle(Operation{Op::kInputPosition, Vec(Scalar::kFloat, 2), {}},
                                          {1})});  // uniform over a row
    default:
      return constant;
  }
}

Expr Generator::Position() {
  return Construct(Vec(Scalar::kInt, 2),
                   {Operation{Op::kInputPosition, Vec(Scalar::kFloat, 2), {}}});
}

Expr Generator::Read(int depth) {
  const Type vec2 = Vec(Scalar::kFloat, 2);
  const Type vec4 = Vec(Scalar::kFloat, 4);
  const Type ivec2 = Vec(Scalar::kInt, 2);
  const int texture = Below(3);
  const Expr size = Operation{Op::kTextureSize, ivec2, {}, texture};
  const Expr offset =
      Chance(50) ? Operation{Op::kSub, Operation{Op::kAnd, IntegerLeaf(ivec2), {I(7)}}, {I(3)}}
      : Chance(50)
          ? Construct(ivec2, {Operation{Op::kAnd, UniformInt(), {I(3)}}, I(Below(5) - 2)})
          : Constant(ivec2, {static_cast<Word>(Below(7) - 3), static_cast<Word>(Below(5) - 2)});
  switch (Below(program_.exact ? 6 : 9)) {
    case 0:
      return Operation{Op::kOwn, vec4, {}};
    case 1: {
      const Expr at = Operation{Op::kAdd, Position(), {offset}};
      return Chance(50) ? FetchAnywhere(at, texture)
                        : Operation{Op::kFetch, vec4, {Inside(at, size)}, texture};
    }
    case 2:
      return Operation{Op::kFetch, vec4, {Inside(Integer(ivec2, depth - 1), size)}, texture};
    case 3:
      return FetchAnywhere(
          Operation{Op::kSub, Operation{Op::kAnd, Integer(ivec2, depth - 1), {I(31)}}, {I(3)}},
          texture);
    case 4:
      return Operation{Op::kSample,
                       vec4,
                       {Operation{Op::kMul,
                                  Operation{Op::kAdd,
                                            Operation{Op::kInputPosition, vec2, {}},
                                            {Construct(vec2, {offset})}},
                                  {Operation{Op::kInputPixel, vec2, {}}}}},
                       0};
    case 5: {
      const Expr column =
          Operation{Op::kSub, Operation{Op::kAnd, Integer(ivec2, depth - 1), {I(31)}}, {I(8)}};
      return Operation{Op::kSample,
                       vec4,
                       {Operation{Op::kDiv,
                                  Operation{Op::kAdd, Construct(vec2, {column}), {F(0.5F)}},
                                  {Construct(vec2, {size})}}},
                       texture};
    }
    case 6:
      return Operation{
          Op::kSample,
          vec4,
          {Operation{Op::kMul,
                     Operation{Op::kAdd,
                               Operation{Op::kInputPosition, vec2, {}},
                               {Operation{Op::kMul, Construct(vec2, {offset}), {F(0.5F)}}}},
                     {Operation{Op::kInputPixel, vec2, {}}}}},
          texture};
    case 7:
      return Operation{
          Op::kSample,
          vec4,
          {Operation{Op::kAdd,
                     Operation{Op::kMul,
                               Operation{Op::kInputPosition, vec2, {}},
                               {Operation{Op::kInputPixel, vec2, {}}}},
                     {Constant(vec2, {ToWord(RandomFloat() / 64), ToWord(RandomFloat() / 64)})}}},
          texture};
    default:
      return Operation{Op::kSample, vec4, {Float(vec2, depth - 1)}, texture};
  }
}

Expr Generator::FetchAnywhere(const Expr& at, int texture) {
  const Type vec4 = Vec(Scalar::kFloat, 4);
  return Construct(vec4, {Swizzle(Operation{Op::kFetch, vec4, {at}, texture}, {2, 0, 1}), F(1)});
}

Expr Generator::Inside(const Expr& at, const Expr& size) {
  return Operation{Op::kClamp, at, {Constant(at->type, {0, 0}), Operation{Op::kSub, size, {I(1)}}}};
}

Expr Generator::Bytes(int depth) {
  return Construct(Vec(Scalar::kUint, 4),
                   {Operation{Op::kAdd, Operation{Op::kMul, Read(depth), {F(255)}}, {F(0.5F)}}});
}

Expr Generator::Part(const Expr& of, const Type& type) {
  std::vector<int> components;
  for (int i = 0; i < type.rows; ++i) components.push_back(Below(4));
  const Expr part = Swizzle(of, components);
  return part->type == type ? part : Construct(type, {part});
}

Expr Generator::IntegerLeaf(const Type& type) {
  if (Chance(80)) {
    if (Expr found = FromScope(type, 0)) return found;
  }
  if (Chance(30)) return RandomConstant(type);
  if (Chance(25)) return Part(Construct(Vec(Scalar::kInt, 4), {Position(), Position()}), type);
  if (Chance(30)) return Spread(Convert(UniformInt(), Vec(type.scalar, 1)), type);
  const Type other = Vec(type.scalar == Scalar::kInt ? Scalar::kUint : Scalar::kInt, type.rows);
  const Expr found = FromScope(other, 0);
  return Construct(type, {found ? found : RandomConstant(other)});
}

Expr Generator::Convert(const Expr& value, const Type& type) {
  return value->type == type ? value : Construct(type, {value});
}

Expr Generator::Integer(const Type& type, int depth) {
  if (depth <= 0) return IntegerLeaf(type);
  const auto sub = [&] { return Integer(type, depth - 1); };
  const Type ints = Vec(Scalar::kInt, type.rows);
  const Type floats = Vec(Scalar::kFloat, type.rows);
  const auto constant = [&](int value) {
    return Constant(Vec(type.scalar, 1), {static_cast<Word>(value)});
  };
  const bool is_signed = type.scalar == Scalar::kInt;
  const auto bits = [&](int mask) {
    return Operation{Op::kAnd, Integer(kIntType, depth - 1), {I(mask)}};
  };
  switch (Below(24)) {
    case 0:
    case 1:
    case 2: {
      static const std::vector<Op> kPlain = {Op::kAdd, Op::kSub, Op::kMul, Op::kAnd,
                                             Op::kOr,  Op::kXor, Op::kMin, Op::kMax};
      return Operation{Pick(kPlain), sub(), {sub()}};
    }
    case 3:
      return Operation{
          Chance(50) ? Op::kShiftLeft : Op::kShiftRight,
          sub(),
          {Chance(50) ? constant(Below(32)) : Operation{Op::kAnd, sub(), {constant(31)}}}};
    case 4: {
      const Expr divisor =
          Operation{Op::kAdd, Operation{Op::kAnd, sub(), {constant(15)}}, {constant(1)}};
      // The smallest int by -1 has no quotient.
      if (is_signed) {
        return Operation{Op::kDiv,
                         Operation{Op::kShiftRight, sub(), {constant(1)}},
                         {Operation{Op::kSub, divisor, {constant(Chance(50) ? 20 : 0)}}}};
      }
      return Operation{Op::kDiv, sub(), {divisor}};
    }
    case 5: {
      static const std::vector<int> kDivisors = {3, 7, 8, 10, 255, 1000003, 16};
      // Of negative numbers, devices give what they like.
      const Expr of = is_signed ? Operation{Op::kAnd, sub(), {constant(0x7FFFFFFF)}} : sub();
      const Expr by =
          Operation{Op::kAdd, Operation{Op::kAnd, sub(), {constant(15)}}, {constant(1)}};
      return Operation{
          Chance(30) ? Op::kDiv : Op::kMod, of, {Chance(50) ? constant(Pick(kDivisors)) : by}};
    }
    case 6:
      // Compilers take an unsigned quotient's negative for the quotient by the negative.
      return Operation{is_signed && Chance(50) ? Op::kNeg : Op::kBitNot, sub()};
    case 7:
      if (is_signed) return Operation{Chance(60) ? Op::kAbs : Op::kSign, sub()};
      return Operation{Op::kClamp, sub(), {constant(Below(9)), constant(9 + Below(300))}};
    case 8: {
      static const std::vector<Op> kCounts = {Op::kBitCount, Op::kFindLsb, Op::kFindMsb};
      return Convert(Operation{Pick(kCounts), ints, {sub()}}, type);
    }
    case 9:
      return Operation{Op::kBitReverse, sub()};
    case 10:
      return Operation{Op::kBitExtract, sub(), {bits(15), bits(15)}};
    case 11:
      return Operation{Op::kBitInsert, sub(), {sub(), bits(15), bits(15)}};
    case 12:
      return Operation{Op::kSelect, type, {Bool(kBoolType, depth - 1), sub(), sub()}};
    case 13:
      return Operation{
          Op::kMixBool, type, {sub(), sub(), Bool(Vec(Scalar::kBool, type.rows), depth - 1)}};
    case 14:
      return Construct(type, {Bool(Vec(Scalar::kBool, type.rows), depth - 1)});
    case 15:
      return Construct(type, {Operation{Op::kClamp,
                                        Float(floats, depth - 1),
                                        {F(is_signed ? -1000.0F : 0.0F), F(1000)}}});
    case 16: {
      // Zeros may have either sign.
      const Expr value =
          program_.exact ? Operation{Op::kAbs, FloatLeaf(floats)} : FloatLeaf(floats);
      if (Chance(70)) {
        const Op op = is_signed ? Op::kFloatBitsToInt : Op::kFloatBitsToUint;
        const Expr all = Operation{op, type, {value}};
        return program_.exact ? all : Operation{Op::kShiftRight, all, {constant(12 + Below(12))}};
      }
      const Type pair = Vec(Scalar::kFloat, 2);
      const Expr half =
          program_.exact ? Operation{Op::kAbs, FloatLeaf(pair)} : Float(pair, depth - 1);
      return Spread(Convert(Operation{Op::kPackHalf, kUintType, {half}}, Vec(type.scalar, 1)),
                    type);
    }
    case 17:
      if (program_.exact) break;
      return Spread(
          Convert(Chance(50)
                      ? Operation{Op::kPackUnorm2, kUintType, {Float(Vec(Scalar::kFloat, 2), 1)}}
                      : Operation{Chance(50) ? Op::kPackUnorm4 : Op::kPackSnorm4,
                                  kUintType,
                                  {Float(Vec(Scalar::kFloat, 4), 1)}},
                  Vec(type.scalar, 1)),
          type);
    case 18:
    case 19:
      return Part(Bytes(depth), type);
    case 20: {
      const Expr size = Operation{Op::kTextureSize, Vec(Scalar::kInt, 2), {}, Below(3)};
      return Spread(Convert(Swizzle(size, {Below(2)}), Vec(type.scalar, 1)), type);
    }
    default:
      break;
  }
  Expr found = FromScope(type, depth);
  return found ? found : IntegerLeaf(type);
}

Expr Generator::FloatLeaf(const Type& type) {
  if (Chance(85)) {
    if (Expr found = FromScope(type, 1)) return found;
  }
  if (Chance(40)) return RandomConstant(type);
  const Type ints = Vec(Scalar::kInt, type.rows);
  return Operation{Op::kSub,
                   Operation{Op::kMul,
                             Construct(type, {Operation{Op::kAnd, IntegerLeaf(ints), {I(127)}}}),
                             {F(0.125F)}},
                   {F(8)}};
}

Expr Generator::Float(const Type& type, int depth) {
  if (depth <= 0) return FloatLeaf(type);
  const auto sub = [&] { return Float(type, depth - 1); };
  const auto leaf = [&] { return FloatLeaf(type); };
  const Type bools = Vec(Scalar::kBool, type.rows);
  switch (Below(program_.exact ? 16 : 34)) {
    case 0:
    case 1:
      return Operation{Chance(50) ? Op::kAdd : Op::kSub, sub(), {sub()}};
    case 2:
      return Operation{Op::kMul, leaf(), {leaf()}};
    case 3: {
      static const std::vector<Op> kSteps = {Op::kFloor, Op::kCeil,  Op::kTrunc, Op::kRoundEven,
                                             Op::kFract, Op::kFract, Op::kSign};
      return Operation{Pick(kSteps), sub()};
    }
    case 4:
      return Operation{Chance(50) ? Op::kAbs : Op::kNeg, sub()};
    case 5:
      return Operation{Chance(50) ? Op::kMin : Op::kMax, sub(), {sub()}};
    case 6:
      return Operation{Op::kClamp, sub(), {F(-1 - static_cast<float>(Below(4))), F(2)}};
    case 7:
      return Operation{Op::kFloatMod, leaf(), {F(static_cast<float>(1 << Below(4)) / 2)}};
    case 8:
      return Operation{Op::kStep, leaf(), {sub()}};
    case 9:
      return Operation{Op::kSelect, type, {Bool(kBoolType, depth - 1), sub(), sub()}};
    case 10:
      return Operation{Op::kMixBool, type, {sub(), sub(), Bool(bools, depth - 1)}};
    case 11:
      return Operation{Op::kFma, leaf(), {leaf(), leaf()}};
    case 12:
      if (type.rows > 1) {
        const Type matrix = {.scalar = Scalar::kFloat, .rows = type.rows, .columns = type.rows};
        const Expr by = Matrix(matrix, 0);
        return Operation{
            Op::kMatrixMul, type,
            Chance(50) ? std::vector<Expr>{by, leaf()} : std::vector<Expr>{leaf(), by}};
      } else {
        const Type vector = Vec(Scalar::kFloat, 2 + Below(3));
        return Operation{Op::kDot, type, {FloatLeaf(vector), FloatLeaf(vector)}};
      }
    case 13:
      if (type.rows == 3) return Operation{Op::kCross, leaf(), {leaf()}};
      return Construct(type, {Bool(bools, depth - 1)});
    case 14:
      if (program_.exact) {
        return Operation{Op::kMul,
                         Construct(type, {Part(Bytes(depth), Vec(Scalar::kUint, type.rows))}),
                         {F(0.125F)}};
      }
      return Part(Read(depth), type);
    case 15:
      return Operation{
          Op::kMul,
          Construct(
              type,
              {Operation{Op::kAnd, Integer(Vec(Scalar::kInt, type.rows), depth - 1), {I(63)}}}),
          {F(0.25F)}};
    default:
      return RoundedFloat(type, depth);
  }
}

Expr Generator::RoundedFloat(const Type& type, int depth) {
  const auto sub = [&] { return Float(type, depth - 1); };
  const auto leaf = [&] { return FloatLeaf(type); };
  const auto positive = [&] {
    return Operation{Op::kAdd, Operation{Op::kAbs, sub()}, {F(0.125F)}};
  };
  const auto within = [&](float limit) {
    return Operation{Op::kClamp, sub(), {F(-limit), F(limit)}};
  };
  const Type vec3 = Vec(Scalar::kFloat, 3);
  const auto ball = [&](const Type& vector) {
    return Operation{Op::kAdd, Operation{Op::kAbs, FloatLeaf(vector)}, {F(0.25F)}};
  };
  switch (Below(24)) {
    case 0:
      return Operation{Op::kDiv, sub(), {positive()}};
    case 1:
      return Operation{Chance(50) ? Op::kSqrt : Op::kInverseSqrt, positive()};
    case 2:
    case 3:
      return Operation{Chance(50) ? Op::kSin : Op::kCos, sub()};
    case 4:
      return Operation{Op::kTan, within(1.25F)};
    case 5: {
      static const std::vector<Op> kUnit = {Op::kAsin, Op::kAcos, Op::kAtanh};
      return Operation{Pick(kUnit), within(0.96875F)};
    }
    case 6: {
      static const std::vector<Op> kAll = {Op::kAtan, Op::kAsinh, Op::kTanh, Op::kRadians,
                                           Op::kDegrees};
      return Operation{Pick(kAll), sub()};
    }
    case 7:
      return Operation{Op::kAtan2, sub(), {leaf()}};
    case 8: {
      static const std::vector<Op> kGrowing = {Op::kSinh, Op::kCosh, Op::kExp, Op::kExp2};
      return Operation{Pick(kGrowing), within(4)};
    }
    case 9:
      return Operation{Op::kAcosh, Operation{Op::kAdd, Operation{Op::kAbs, sub()}, {F(1.125F)}}};
    case 10:
      return Operation{Chance(50) ? Op::kLog : Op::kLog2, positive()};
    case 11:
      return Operation{Op::kPow, positive(), {within(2)}};
    case 12:
      return Operation{Op::kMix, leaf(), {leaf(), sub()}};
    case 13:
      return Operation{Op::kSmoothstep,
                       type,
                       {Spread(F(-1 - RandomFloat() / 16), type), Spread(F(2), type), sub()}};
    case 14:
      return Operation{
          Op::kLdexp,
          sub(),
          {Operation{Op::kSub,
                     Operation{Op::kAnd, Integer(Vec(Scalar::kInt, type.rows), 1), {I(7)}},
                     {I(3)}}}};
    case 15:
      if (type.rows == 1) {
        return Chance(50) ? Operation{Op::kLength, type, {ball(vec3)}}
                          : Operation{Op::kDistance, type, {FloatLeaf(vec3), ball(vec3)}};
      }
      return Operation{Op::kNormalize, ball(type)};
    case 16:
      return Operation{Op::kReflect, leaf(), {leaf()}};
    case 17:
      if (type.rows == 1) break;
      return Operation{
          Op::kRefract,
          type,
          {Operation{Op::kNormalize, ball(type)}, Operation{Op::kNormalize, ball(type)}, F(0.75F)}};
    case 18:
      return Operation{Op::kFaceForward, leaf(), {leaf(), leaf()}};
    case 19: {
      if (type.rows > 1) break;
      const int size = 2 + Below(3);
      return Operation{Op::kDeterminant,
                       type,
                       {Matrix({.scalar = Scalar::kFloat, .rows = size, .columns = size}, 1)}};
    }
    case 20: {
      const Type words = Vec(Chance(50) ? Scalar::kInt : Scalar::kUint, type.rows);
      const auto word = [&](Word value) { return Constant(Vec(words.scalar, 1), {value}); };
      return Operation{Op::kBitsToFloat,
                       type,
                       {Operation{Op::kOr,
                                  Operation{Op::kAnd, Integer(words, depth - 1), {word(0x7FFFFF)}},
                                  {word(0x3F800000)}}}};
    }
    case 21: {
      static const std::vector<Op> kFours = {Op::kUnpackUnorm4, Op::kUnpackSnorm4};
      return Part(Operation{Pick(kFours), Vec(Scalar::kFloat, 4), {Integer(kUintType, depth - 1)}},
                  type);
    }
    case 22: {
      const Expr halves =
          Chance(50)
              ? Operation{Op::kUnpackUnorm2,
                          Vec(Scalar::kFloat, 2),
                          {Integer(kUintType, depth - 1)}}  // Within the finite ones.
              : Operation{Op::kUnpackHalf,
                          Vec(Scalar::kFloat, 2),
                          {Operation{Op::kAnd, Integer(kUintType, depth - 1), {U(0xBFFFBFFF)}}}};
      return Part(Construct(Vec(Scalar::kFloat, 4), {halves, halves}), type);
    }
    default:
      break;
  }
  return Part(Construct(Vec(Scalar::kFloat, 4),
                        {Operation{Op::kMul,
                                   Operation{Op::kInputPosition, Vec(Scalar::kFloat, 2), {}},
                                   {Operation{Op::kInputPixel, Vec(Scalar::kFloat, 2), {}}}},
                         Operation{Op::kInputPosition, Vec(Scalar::kFloat, 2), {}}}),
              type);
}

Expr Generator::Bool(const Type& type, int depth) {
  const Type ints = Vec(Chance(70) ? Scalar::kInt : Scalar::kUint, type.rows);
  const Type floats = Vec(Scalar::kFloat, type.rows);
  const auto comparison = [&] { return static_cast<Op>(static_cast<int>(Op::kLess) + Below(6)); };
  if (depth <= 0 || Chance(30)) {
    if (Chance(30)) {
      if (Expr found = FromScope(type, depth)) return found;
    }
    const Expr few = Operation{Op::kAnd,
                               IntegerLeaf(ints),
                               {Constant(Vec(ints.scalar, 1), {static_cast<Word>(1 << Below(4))})}};
    return Operation{
        comparison(),
        type,
        {few, Spread(Constant(Vec(ints.scalar, 1), {static_cast<Word>(Below(4))}), ints)}};
  }
  switch (Below(12)) {
    case 0:
    case 1:
      return Operation{comparison(), type, {Integer(ints, depth - 1), Integer(ints, depth - 1)}};
    case 2:
    case 3:
    case 4:
      return Operation{comparison(), type, {Float(floats, depth - 1), Float(floats, depth - 1)}};
    case 5:
    case 6:
      if (type.rows == 1) {
        static const std::vector<Op> kLogic = {Op::kLogicalAnd, Op::kLogicalOr, Op::kLogicalXor};
        return Operation{Pick(kLogic), Bool(type, depth - 1), {Bool(type, depth - 1)}};
      }
      return Operation{Op::kNotVector, Bool(type, depth - 1)};
    case 7:
      if (type.rows == 1) return Operation{Op::kLogicalNot, Bool(type, depth - 1)};
      return Operation{Chance(50) ? Op::kEqual : Op::kNotEqual,
                       type,
                       {Bool(type, depth - 1), Bool(type, depth - 1)}};
    case 8:
      if (type.rows > 1) break;
      return Operation{Chance(50) ? Op::kAny : Op::kAll,
                       type,
                       {Bool(Vec(Scalar::kBool, 2 + Below(3)), depth - 1)}};
    case 9: {
      if (type.rows > 1) break;
      // Of whole vectors.
      const Type vector = {.scalar = Chance(50) ? Scalar::kInt : Scalar::kFloat,
                           .rows = 2 + Below(3)};
      const Expr one = FromScope(vector, 1);
      if (!one) break;
      return Operation{Chance(50) ? Op::kEqual : Op::kNotEqual, type, {one, Any(vector, 0)}};
    }
    case 10:
      if (program_.exact) break;
      return Operation{Chance(50) ? Op::kIsNan : Op::kIsInf, type, {Float(floats, depth - 1)}};
    case 11: {
      const Type other = Vec(Chance(50) ? Scalar::kInt : Scalar::kUint, type.rows);
      return Construct(
          type,
          {Operation{Op::kAnd, Integer(other, depth - 1), {Constant(Vec(other.scalar, 1), {4})}}});
    }
    default:
      break;
  }
  return Bool(type, 0);
}

}  // namespace Vantra::TranslatorFuzz
