#include <algorithm>
#include <random>
#include <utility>

#include "program.h"

namespace Vantra::TranslatorFuzz {
namespace {

using Kind = Expression::Kind;
using Direction = Function::Direction;

constexpr Type Vec(Scalar scalar, int rows) { return {.scalar = scalar, .rows = rows}; }
constexpr Type kFloatType = Vec(Scalar::kFloat, 1);
constexpr Type kIntType = Vec(Scalar::kInt, 1);
constexpr Type kUintType = Vec(Scalar::kUint, 1);
constexpr Type kBoolType = Vec(Scalar::kBool, 1);

Expr Constant(const Type& type, std::vector<Word> words) {
  return std::make_shared<Expression>(
      Expression{.kind = Kind::kConstant, .type = type, .words = std::move(words)});
}
Expr F(float value) { return Constant(kFloatType, {ToWord(value)}); }
Expr I(int value) { return Constant(kIntType, {static_cast<Word>(value)}); }
Expr U(Word value) { return Constant(kUintType, {value}); }

Expr Make(Op op, const Type& type, std::vector<Expr> operands, int index = 0) {
  return std::make_shared<Expression>(Expression{.kind = Kind::kOperation,
                                                 .type = type,
                                                 .op = op,
                                                 .index = index,
                                                 .operands = std::move(operands)});
}
// For operations whose result has the type of their first operand.
Expr Make(Op op, Expr first, std::vector<Expr> rest = {}) {
  const Type type = first->type;
  rest.insert(rest.begin(), std::move(first));
  return Make(op, type, std::move(rest));
}
Expr Construct(const Type& type, std::vector<Expr> operands) {
  return std::make_shared<Expression>(
      Expression{.kind = Kind::kConstruct, .type = type, .operands = std::move(operands)});
}
Expr Element(const Expr& of, Expr index, const Type& type) {
  return std::make_shared<Expression>(
      Expression{.kind = Kind::kElement, .type = type, .operands = {of, std::move(index)}});
}
Expr Swizzle(const Expr& of, const std::vector<int>& components) {
  Expression e{.kind = Kind::kSwizzle, .type = of->type, .operands = {of}};
  e.type.rows = static_cast<int>(components.size());
  for (std::size_t i = 0; i < components.size(); ++i) {
    e.swizzle[i] = static_cast<std::uint8_t>(components[i]);
  }
  return std::make_shared<Expression>(std::move(e));
}
// A vector of `rows` times the scalar, since not all functions take one for all.
Expr Spread(const Expr& scalar, const Type& type) {
  return type.rows > 1 ? Construct(Vec(scalar->type.scalar, type.rows), {scalar}) : scalar;
}

Type ElementType(Type type) {
  if (type.length > 0) {
    type.length = 0;
  } else if (type.columns > 1) {
    type.columns = 1;
  } else {
    type.rows = 1;
  }
  return type;
}

class Generator {
 public:
  explicit Generator(std::uint64_t seed) : random_(seed) { program_.seed = seed; }

  Program Run() {
    program_.exact = Chance(55);
    program_.sampler_register = Chance(20) ? 1 : 0;
    budget_ = 30 + Below(70);
    MakeStructures();
    MakeConstants();
    MakeTables();
    const int functions = Below(4);
    for (int i = 0; i < functions; ++i) MakeFunction();
    MakeShade();
    return std::move(program_);
  }

 private:
  // Chance.

  int Below(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }
  bool Chance(int percent) { return Below(100) < percent; }
  template <typename T>
  const T& Pick(const std::vector<T>& choices) {
    return choices[static_cast<std::size_t>(Below(static_cast<int>(choices.size())))];
  }

  Scalar RandomScalar() {
    const int dice = Below(10);
    if (dice == 0) return Scalar::kBool;
    if (dice < 4) return Scalar::kInt;
    if (dice < 6) return Scalar::kUint;
    return Scalar::kFloat;
  }
  Type RandomVector() { return Vec(RandomScalar(), Chance(50) ? 1 : 1 + Below(4)); }
  Type RandomType() {
    const int dice = Below(20);
    if (dice == 0) {
      const int size = 2 + Below(3);
      return {.scalar = Scalar::kFloat, .rows = size, .columns = size};
    }
    if (dice == 1) return {.structure = Below(static_cast<int>(program_.structures.size()))};
    Type type = RandomVector();
    if (dice <= 3) type.length = 2 + Below(6);
    return type;
  }

  float RandomFloat() {
    if (program_.exact || Chance(40)) return static_cast<float>(Below(129) - 64) / 8;
    return static_cast<float>(Below(160001) - 80000) / 10000;
  }
  Word RandomWord(Scalar scalar) {
    switch (scalar) {
      case Scalar::kBool:
        return static_cast<Word>(Below(2));
      case Scalar::kFloat:
        return ToWord(RandomFloat());
      default:
        break;
    }
    static const std::vector<Word> kSpecial = {0, 1, 0xFFFFFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFF};
    if (Chance(8)) return Pick(kSpecial);
    if (Chance(8)) return static_cast<Word>(random_());
    return static_cast<Word>(Below(100) - (scalar == Scalar::kInt ? 30 : 0));
  }
  Expr RandomConstant(const Type& type) {
    std::vector<Word> words;
    for (int i = 0; i < type.Components(); ++i) words.push_back(RandomWord(type.scalar));
    return Constant(type, std::move(words));
  }

  // Variables.

  int AddVariable(const Type& type, Variable::Kind kind = Variable::Kind::kLocal,
                  bool writable = true) {
    const int id = static_cast<int>(program_.variables.size());
    program_.variables.push_back(
        {.kind = kind, .type = type, .address = static_cast<int>(program_.memory.size())});
    program_.memory.resize(program_.memory.size() + static_cast<std::size_t>(program_.Words(type)));
    writable_.push_back(writable);
    return id;
  }
  const Type& TypeOf(int variable) const {
    return program_.variables[static_cast<std::size_t>(variable)].type;
  }
  Expr Use(int variable) const {
    return std::make_shared<Expression>(
        Expression{.kind = Kind::kVariable, .type = TypeOf(variable), .index = variable});
  }
  std::vector<int> WritableVariables() const {
    std::vector<int> found;
    for (const int id : scope_) {
      if (writable_[static_cast<std::size_t>(id)]) found.push_back(id);
    }
    return found;
  }

  void MakeStructures() {
    program_.structures.push_back({Vec(Scalar::kFloat, 3), kIntType});
    std::vector<Type> fields;
    const int count = 2 + Below(3);
    for (int i = 0; i < count; ++i) fields.push_back(RandomVector());
    if (Chance(40)) fields.push_back({.scalar = Scalar::kFloat, .rows = 2, .length = 3});
    if (Chance(30)) fields.push_back({.structure = 0});
    program_.structures.push_back(std::move(fields));
  }
  void MakeConstants() {
    static const std::vector<Type> kConstants = {
        kIntType,
        kUintType,
        kFloatType,
        Vec(Scalar::kInt, 3),
        Vec(Scalar::kFloat, 2),
        {.scalar = Scalar::kInt, .length = 6},
        {.scalar = Scalar::kFloat, .rows = 4, .length = 4},
        {.scalar = Scalar::kFloat, .rows = 2, .columns = 2},
        kBoolType,
        {.length = 3, .structure = 0},
        {.scalar = Scalar::kFloat, .rows = 3, .columns = 3},
    };
    for (const Type& type : kConstants) {
      scope_.push_back(AddVariable(type, Variable::Kind::kConstant, false));
    }
    program_.constant_words = static_cast<int>(program_.memory.size());
  }
  void MakeTables() {
    for (const Type& type : {Type{.scalar = Scalar::kInt, .length = 4 + Below(5)},
                             Type{.scalar = Scalar::kFloat, .rows = 2, .length = 3}}) {
      const int id = AddVariable(type, Variable::Kind::kTable, false);
      const auto first =
          static_cast<std::size_t>(program_.variables[static_cast<std::size_t>(id)].address);
      for (std::size_t i = first; i < program_.memory.size(); ++i) {
        program_.memory[i] = RandomWord(type.scalar);
      }
      scope_.push_back(id);
    }
  }

  // Places. What is read or written is found by walking from a variable towards a type.

  // An index below `length`: constant, uniform, or different from lane to lane.
  Expr Index(int length, int depth) {
    if (depth <= 0 || Chance(35)) return I(Below(length));
    const Expr index = Chance(30) ? UniformInt() : Integer(kIntType, depth - 1);
    switch (Below(3)) {
      case 0:
        return Make(Op::kClamp, index, {I(0), I(length - 1)});
      case 1:
        if ((length & (length - 1)) == 0) return Make(Op::kAnd, index, {I(length - 1)});
        [[fallthrough]];
      default:
        return Construct(kIntType, {Make(Op::kMod, Construct(kUintType, {index}),
                                         {U(static_cast<Word>(length))})});
    }
  }
  Expr Walk(Expr from, const Type& type, int depth) {
    while (from->type != type) {
      const Type& at = from->type;
      if (at.length > 0) {
        from = Element(from, Index(at.length, depth), ElementType(at));
      } else if (at.structure >= 0) {
        const auto& fields = program_.structures[static_cast<std::size_t>(at.structure)];
        const int field = Below(static_cast<int>(fields.size()));
        from =
            std::make_shared<Expression>(Expression{.kind = Kind::kField,
                                                    .type = fields[static_cast<std::size_t>(field)],
                                                    .index = field,
                                                    .operands = {from}});
      } else if (at.columns > 1) {
        if (type.columns > 1) return nullptr;
        from = Element(from, Index(at.columns, depth), ElementType(at));
      } else if (at.scalar != type.scalar || at.rows < 2 || type.columns > 1 || type.length > 0 ||
                 type.structure >= 0) {
        return nullptr;
      } else if (type.rows == 1 && Chance(30)) {
        from = Element(from, Index(at.rows, depth), type);
      } else {
        std::vector<int> components;
        for (int i = 0; i < type.rows; ++i) components.push_back(Below(at.rows));
        from = Swizzle(from, components);
      }
    }
    return from;
  }
  Expr FromScope(const Type& type, int depth) {
    for (int attempt = 0; attempt < 6; ++attempt) {
      // Locals are more telling than constants, which come first.
      const auto count = static_cast<int>(scope_.size());
      const int at = std::max(Below(count), Below(count));
      const Expr found = Walk(Use(scope_[static_cast<std::size_t>(at)]), type, depth);
      if (found) return found;
    }
    return nullptr;
  }

  // A place that can be assigned, at any depth of a variable.
  Expr Target() {
    const std::vector<int> variables = WritableVariables();
    if (variables.empty()) return nullptr;
    Expr at = Use(Pick(variables));
    while (Chance(70)) {
      const Type& type = at->type;
      if (type.length > 0 || type.columns > 1) {
        at = Element(at, Index(type.length > 0 ? type.length : type.columns, 2), ElementType(type));
      } else if (type.structure >= 0) {
        const auto& fields = program_.structures[static_cast<std::size_t>(type.structure)];
        at = Walk(at, fields[static_cast<std::size_t>(Below(static_cast<int>(fields.size())))], 2);
        if (!at) return nullptr;
      } else if (type.rows > 1 && Chance(40)) {
        return Element(at, Index(type.rows, 2), ElementType(type));
      } else if (type.rows > 1) {
        std::vector<int> components;
        for (int i = 0; i < type.rows; ++i) components.push_back(i);
        for (std::size_t i = components.size() - 1; i > 0; --i) {
          std::swap(components[i],
                    components[static_cast<std::size_t>(Below(static_cast<int>(i) + 1))]);
        }
        components.resize(static_cast<std::size_t>(1 + Below(type.rows)));
        return Swizzle(at, components);
      } else {
        break;
      }
    }
    return at;
  }

  // Expressions.

  Expr Any(const Type& type, int depth) {
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
  // A value to keep: floats stay small and, in exact programs, multiples of 1/8.
  Expr AnyToKeep(const Type& type, int depth) {
    Expr value = Any(type, depth);
    const bool whole = type.length > 0 || type.structure >= 0;
    return whole || type.scalar != Scalar::kFloat ? value : Fold(value);
  }
  Expr Fold(const Expr& value) {
    const Type& type = value->type;
    if (type.columns > 1) {
      // Their components are kept already; products of matrices are scaled down.
      return program_.exact || value->kind != Kind::kOperation
                 ? value
                 : Make(Op::kMul, value, {F(0.03125F)});
    }
    if (program_.exact) {
      return Make(Op::kMul,
                  Make(Op::kFloor, Make(Op::kMul, Make(Op::kClamp, value, {F(-8), F(8)}), {F(8)})),
                  {F(0.125F)});
    }
    switch (Below(5)) {
      case 0:
        return Make(Op::kFloatMod, value, {F(7)});
      case 1:
        return Make(Op::kSin, Make(Op::kClamp, value, {F(-100), F(100)}));
      case 2:
        return Make(Op::kDiv, value, {Make(Op::kAdd, Make(Op::kAbs, value), {F(1)})});
      default:
        return Make(Op::kClamp, value, {F(-8), F(8)});
    }
  }

  Expr Aggregate(const Type& type, int depth) {
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

  Expr Matrix(const Type& type, int depth) {
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
          return Kept(Make(Op::kMatrixMul, leaf(), {leaf()}));
        case 1:
          return Make(Op::kTranspose, leaf());
        case 2:
          return Kept(Make(Chance(50) ? Op::kAdd : Op::kSub, leaf(), {leaf()}));
        case 3:
          return Kept(Make(Op::kOuterProduct, type, {FloatLeaf(column), FloatLeaf(column)}));
        case 4:
          return Kept(Make(Op::kMatrixCompMult, leaf(), {leaf()}));
        case 5:
          return leaf();
        default:
          // Far from singular.
          return Make(Op::kInverse, Make(Op::kAdd, Make(Op::kMul, leaf(), {F(0.125F)}),
                                         {Construct(type, {F(11)})}));
      }
    }
    return leaf();
  }
  Expr Constructed(const Type& type) {
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
  // A matrix, folded column by column through a variable of the block that is being filled.
  Expr Kept(const Expr& matrix) {
    const int whole = Declare(matrix);
    std::vector<Expr> columns;
    for (int i = 0; i < matrix->type.columns; ++i) {
      columns.push_back(Fold(Element(Use(whole), I(i), ElementType(matrix->type))));
    }
    return Construct(matrix->type, std::move(columns));
  }

  Expr UniformInt() {
    const Expr constant = Swizzle(Use(3), {Below(3)});
    switch (Below(4)) {
      case 0:
        return Use(0);
      case 1:
        return Element(Use(5), I(Below(6)), kIntType);
      case 2:
        return Construct(kIntType, {Swizzle(Make(Op::kInputPosition, Vec(Scalar::kFloat, 2), {}),
                                            {1})});  // uniform over a row
      default:
        return constant;
    }
  }
  Expr Position() {
    return Construct(Vec(Scalar::kInt, 2), {Make(Op::kInputPosition, Vec(Scalar::kFloat, 2), {})});
  }

  // A pixel's colour. What exact programs read is a texel's own colour.
  Expr Read(int depth) {
    const Type vec2 = Vec(Scalar::kFloat, 2);
    const Type vec4 = Vec(Scalar::kFloat, 4);
    const Type ivec2 = Vec(Scalar::kInt, 2);
    const int texture = Below(3);
    const Expr size = Make(Op::kTextureSize, ivec2, {}, texture);
    const Expr offset =
        Chance(50) ? Make(Op::kSub, Make(Op::kAnd, IntegerLeaf(ivec2), {I(7)}), {I(3)})
        : Chance(50)
            ? Construct(ivec2, {Make(Op::kAnd, UniformInt(), {I(3)}), I(Below(5) - 2)})
            : Constant(ivec2, {static_cast<Word>(Below(7) - 3), static_cast<Word>(Below(5) - 2)});
    switch (Below(program_.exact ? 6 : 9)) {
      case 0:
        return Make(Op::kOwn, vec4, {});
      case 1: {
        const Expr at = Make(Op::kAdd, Position(), {offset});
        return Chance(50) ? FetchAnywhere(at, texture)
                          : Make(Op::kFetch, vec4, {Inside(at, size)}, texture);
      }
      case 2:
        return Make(Op::kFetch, vec4, {Inside(Integer(ivec2, depth - 1), size)}, texture);
      case 3:
        return FetchAnywhere(
            Make(Op::kSub, Make(Op::kAnd, Integer(ivec2, depth - 1), {I(31)}), {I(3)}), texture);
      case 4:
        return Make(
            Op::kSample, vec4,
            {Make(Op::kMul,
                  Make(Op::kAdd, Make(Op::kInputPosition, vec2, {}), {Construct(vec2, {offset})}),
                  {Make(Op::kInputPixel, vec2, {})})},
            0);
      case 5: {
        const Expr column =
            Make(Op::kSub, Make(Op::kAnd, Integer(ivec2, depth - 1), {I(31)}), {I(8)});
        return Make(Op::kSample, vec4,
                    {Make(Op::kDiv, Make(Op::kAdd, Construct(vec2, {column}), {F(0.5F)}),
                          {Construct(vec2, {size})})},
                    texture);
      }
      case 6:
        return Make(Op::kSample, vec4,
                    {Make(Op::kMul,
                          Make(Op::kAdd, Make(Op::kInputPosition, vec2, {}),
                               {Make(Op::kMul, Construct(vec2, {offset}), {F(0.5F)})}),
                          {Make(Op::kInputPixel, vec2, {})})},
                    texture);
      case 7:
        return Make(
            Op::kSample, vec4,
            {Make(Op::kAdd,
                  Make(Op::kMul, Make(Op::kInputPosition, vec2, {}),
                       {Make(Op::kInputPixel, vec2, {})}),
                  {Constant(vec2, {ToWord(RandomFloat() / 64), ToWord(RandomFloat() / 64)})})},
            texture);
      default:
        return Make(Op::kSample, vec4, {Float(vec2, depth - 1)}, texture);
    }
  }
  // Outside, the alpha of a format without one differs from device to device.
  static Expr FetchAnywhere(const Expr& at, int texture) {
    const Type vec4 = Vec(Scalar::kFloat, 4);
    return Construct(vec4, {Swizzle(Make(Op::kFetch, vec4, {at}, texture), {2, 0, 1}), F(1)});
  }
  static Expr Inside(const Expr& at, const Expr& size) {
    return Make(Op::kClamp, at, {Constant(at->type, {0, 0}), Make(Op::kSub, size, {I(1)})});
  }
  Expr Bytes(int depth) {
    return Construct(Vec(Scalar::kUint, 4),
                     {Make(Op::kAdd, Make(Op::kMul, Read(depth), {F(255)}), {F(0.5F)})});
  }
  // Takes what a type needs out of a vector of four.
  Expr Part(const Expr& of, const Type& type) {
    std::vector<int> components;
    for (int i = 0; i < type.rows; ++i) components.push_back(Below(4));
    const Expr part = Swizzle(of, components);
    return part->type == type ? part : Construct(type, {part});
  }

  Expr IntegerLeaf(const Type& type) {
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
  static Expr Convert(const Expr& value, const Type& type) {
    return value->type == type ? value : Construct(type, {value});
  }

  Expr Integer(const Type& type, int depth) {
    if (depth <= 0) return IntegerLeaf(type);
    const auto sub = [&] { return Integer(type, depth - 1); };
    const Type ints = Vec(Scalar::kInt, type.rows);
    const Type floats = Vec(Scalar::kFloat, type.rows);
    const auto constant = [&](int value) {
      return Constant(Vec(type.scalar, 1), {static_cast<Word>(value)});
    };
    const bool is_signed = type.scalar == Scalar::kInt;
    const auto bits = [&](int mask) {
      return Make(Op::kAnd, Integer(kIntType, depth - 1), {I(mask)});
    };
    switch (Below(24)) {
      case 0:
      case 1:
      case 2: {
        static const std::vector<Op> kPlain = {Op::kAdd, Op::kSub, Op::kMul, Op::kAnd,
                                               Op::kOr,  Op::kXor, Op::kMin, Op::kMax};
        return Make(Pick(kPlain), sub(), {sub()});
      }
      case 3:
        return Make(Chance(50) ? Op::kShiftLeft : Op::kShiftRight, sub(),
                    {Chance(50) ? constant(Below(32)) : Make(Op::kAnd, sub(), {constant(31)})});
      case 4: {
        const Expr divisor = Make(Op::kAdd, Make(Op::kAnd, sub(), {constant(15)}), {constant(1)});
        // The smallest int by -1 has no quotient.
        if (is_signed) {
          return Make(Op::kDiv, Make(Op::kShiftRight, sub(), {constant(1)}),
                      {Make(Op::kSub, divisor, {constant(Chance(50) ? 20 : 0)})});
        }
        return Make(Op::kDiv, sub(), {divisor});
      }
      case 5: {
        static const std::vector<int> kDivisors = {3, 7, 8, 10, 255, 1000003, 16};
        // Of negative numbers, devices give what they like.
        const Expr of = is_signed ? Make(Op::kAnd, sub(), {constant(0x7FFFFFFF)}) : sub();
        const Expr by = Make(Op::kAdd, Make(Op::kAnd, sub(), {constant(15)}), {constant(1)});
        return Make(Chance(30) ? Op::kDiv : Op::kMod, of,
                    {Chance(50) ? constant(Pick(kDivisors)) : by});
      }
      case 6:
        return Make(Chance(50) ? Op::kNeg : Op::kBitNot, sub());
      case 7:
        if (is_signed) return Make(Chance(60) ? Op::kAbs : Op::kSign, sub());
        return Make(Op::kClamp, sub(), {constant(Below(9)), constant(9 + Below(300))});
      case 8: {
        static const std::vector<Op> kCounts = {Op::kBitCount, Op::kFindLsb, Op::kFindMsb};
        return Convert(Make(Pick(kCounts), ints, {sub()}), type);
      }
      case 9:
        return Make(Op::kBitReverse, sub());
      case 10:
        return Make(Op::kBitExtract, sub(), {bits(15), bits(15)});
      case 11:
        return Make(Op::kBitInsert, sub(), {sub(), bits(15), bits(15)});
      case 12:
        return Make(Op::kSelect, type, {Bool(kBoolType, depth - 1), sub(), sub()});
      case 13:
        return Make(Op::kMixBool, type,
                    {sub(), sub(), Bool(Vec(Scalar::kBool, type.rows), depth - 1)});
      case 14:
        return Construct(type, {Bool(Vec(Scalar::kBool, type.rows), depth - 1)});
      case 15:
        return Construct(type, {Make(Op::kClamp, Float(floats, depth - 1),
                                     {F(is_signed ? -1000.0F : 0.0F), F(1000)})});
      case 16: {
        // Zeros may have either sign.
        const Expr value = program_.exact ? Make(Op::kAbs, FloatLeaf(floats)) : FloatLeaf(floats);
        if (Chance(70)) {
          const Op op = is_signed ? Op::kFloatBitsToInt : Op::kFloatBitsToUint;
          const Expr all = Make(op, type, {value});
          return program_.exact ? all : Make(Op::kShiftRight, all, {constant(12 + Below(12))});
        }
        const Type pair = Vec(Scalar::kFloat, 2);
        const Expr half = program_.exact ? Make(Op::kAbs, FloatLeaf(pair)) : Float(pair, depth - 1);
        return Spread(Convert(Make(Op::kPackHalf, kUintType, {half}), Vec(type.scalar, 1)), type);
      }
      case 17:
        if (program_.exact) break;
        return Spread(Convert(Chance(50) ? Make(Op::kPackUnorm2, kUintType,
                                                {Float(Vec(Scalar::kFloat, 2), 1)})
                                         : Make(Chance(50) ? Op::kPackUnorm4 : Op::kPackSnorm4,
                                                kUintType, {Float(Vec(Scalar::kFloat, 4), 1)}),
                              Vec(type.scalar, 1)),
                      type);
      case 18:
      case 19:
        return Part(Bytes(depth), type);
      case 20:
        return Spread(
            Convert(Swizzle(Make(Op::kTextureSize, Vec(Scalar::kInt, 2), {}, Below(3)), {Below(2)}),
                    Vec(type.scalar, 1)),
            type);
      default:
        break;
    }
    Expr found = FromScope(type, depth);
    return found ? found : IntegerLeaf(type);
  }

  // What is kept, so small.
  Expr FloatLeaf(const Type& type) {
    if (Chance(85)) {
      if (Expr found = FromScope(type, 1)) return found;
    }
    if (Chance(40)) return RandomConstant(type);
    const Type ints = Vec(Scalar::kInt, type.rows);
    return Make(
        Op::kSub,
        Make(Op::kMul, Construct(type, {Make(Op::kAnd, IntegerLeaf(ints), {I(127)})}), {F(0.125F)}),
        {F(8)});
  }

  Expr Float(const Type& type, int depth) {
    if (depth <= 0) return FloatLeaf(type);
    const auto sub = [&] { return Float(type, depth - 1); };
    const auto leaf = [&] { return FloatLeaf(type); };
    const Type bools = Vec(Scalar::kBool, type.rows);
    switch (Below(program_.exact ? 16 : 34)) {
      case 0:
      case 1:
        return Make(Chance(50) ? Op::kAdd : Op::kSub, sub(), {sub()});
      case 2:
        return Make(Op::kMul, leaf(), {leaf()});
      case 3: {
        static const std::vector<Op> kSteps = {Op::kFloor, Op::kCeil,  Op::kTrunc, Op::kRoundEven,
                                               Op::kFract, Op::kFract, Op::kSign};
        return Make(Pick(kSteps), sub());
      }
      case 4:
        return Make(Chance(50) ? Op::kAbs : Op::kNeg, sub());
      case 5:
        return Make(Chance(50) ? Op::kMin : Op::kMax, sub(), {sub()});
      case 6:
        return Make(Op::kClamp, sub(), {F(-1 - static_cast<float>(Below(4))), F(2)});
      case 7:
        return Make(Op::kFloatMod, leaf(), {F(static_cast<float>(1 << Below(4)) / 2)});
      case 8:
        return Make(Op::kStep, leaf(), {sub()});
      case 9:
        return Make(Op::kSelect, type, {Bool(kBoolType, depth - 1), sub(), sub()});
      case 10:
        return Make(Op::kMixBool, type, {sub(), sub(), Bool(bools, depth - 1)});
      case 11:
        return Make(Op::kFma, leaf(), {leaf(), leaf()});
      case 12:
        if (type.rows > 1) {
          const Type matrix = {.scalar = Scalar::kFloat, .rows = type.rows, .columns = type.rows};
          const Expr by = Matrix(matrix, 0);
          return Make(Op::kMatrixMul, type,
                      Chance(50) ? std::vector<Expr>{by, leaf()} : std::vector<Expr>{leaf(), by});
        } else {
          const Type vector = Vec(Scalar::kFloat, 2 + Below(3));
          return Make(Op::kDot, type, {FloatLeaf(vector), FloatLeaf(vector)});
        }
      case 13:
        if (type.rows == 3) return Make(Op::kCross, leaf(), {leaf()});
        return Construct(type, {Bool(bools, depth - 1)});
      case 14:
        if (program_.exact) {
          return Make(Op::kMul,
                      Construct(type, {Part(Bytes(depth), Vec(Scalar::kUint, type.rows))}),
                      {F(0.125F)});
        }
        return Part(Read(depth), type);
      case 15:
        return Make(
            Op::kMul,
            Construct(type,
                      {Make(Op::kAnd, Integer(Vec(Scalar::kInt, type.rows), depth - 1), {I(63)})}),
            {F(0.25F)});
      default:
        return RoundedFloat(type, depth);
    }
  }
  // Operations whose results are rounded.
  Expr RoundedFloat(const Type& type, int depth) {
    const auto sub = [&] { return Float(type, depth - 1); };
    const auto leaf = [&] { return FloatLeaf(type); };
    const auto positive = [&] { return Make(Op::kAdd, Make(Op::kAbs, sub()), {F(0.125F)}); };
    const auto within = [&](float limit) { return Make(Op::kClamp, sub(), {F(-limit), F(limit)}); };
    const Type vec3 = Vec(Scalar::kFloat, 3);
    const auto ball = [&](const Type& vector) {
      return Make(Op::kAdd, Make(Op::kAbs, FloatLeaf(vector)), {F(0.25F)});
    };
    switch (Below(24)) {
      case 0:
        return Make(Op::kDiv, sub(), {positive()});
      case 1:
        return Make(Chance(50) ? Op::kSqrt : Op::kInverseSqrt, positive());
      case 2:
      case 3:
        return Make(Chance(50) ? Op::kSin : Op::kCos, sub());
      case 4:
        return Make(Op::kTan, within(1.25F));
      case 5: {
        static const std::vector<Op> kUnit = {Op::kAsin, Op::kAcos, Op::kAtanh};
        return Make(Pick(kUnit), within(0.96875F));
      }
      case 6: {
        static const std::vector<Op> kAll = {Op::kAtan, Op::kAsinh, Op::kTanh, Op::kRadians,
                                             Op::kDegrees};
        return Make(Pick(kAll), sub());
      }
      case 7:
        return Make(Op::kAtan2, sub(), {leaf()});
      case 8: {
        static const std::vector<Op> kGrowing = {Op::kSinh, Op::kCosh, Op::kExp, Op::kExp2};
        return Make(Pick(kGrowing), within(4));
      }
      case 9:
        return Make(Op::kAcosh, Make(Op::kAdd, Make(Op::kAbs, sub()), {F(1.125F)}));
      case 10:
        return Make(Chance(50) ? Op::kLog : Op::kLog2, positive());
      case 11:
        return Make(Op::kPow, positive(), {within(2)});
      case 12:
        return Make(Op::kMix, leaf(), {leaf(), sub()});
      case 13:
        return Make(Op::kSmoothstep, type,
                    {Spread(F(-1 - RandomFloat() / 16), type), Spread(F(2), type), sub()});
      case 14:
        return Make(
            Op::kLdexp, sub(),
            {Make(Op::kSub, Make(Op::kAnd, Integer(Vec(Scalar::kInt, type.rows), 1), {I(7)}),
                  {I(3)})});
      case 15:
        if (type.rows == 1) {
          return Chance(50) ? Make(Op::kLength, type, {ball(vec3)})
                            : Make(Op::kDistance, type, {FloatLeaf(vec3), ball(vec3)});
        }
        return Make(Op::kNormalize, ball(type));
      case 16:
        return Make(Op::kReflect, leaf(), {leaf()});
      case 17:
        if (type.rows == 1) break;
        return Make(Op::kRefract, type,
                    {Make(Op::kNormalize, ball(type)), Make(Op::kNormalize, ball(type)), F(0.75F)});
      case 18:
        return Make(Op::kFaceForward, leaf(), {leaf(), leaf()});
      case 19: {
        if (type.rows > 1) break;
        const int size = 2 + Below(3);
        return Make(Op::kDeterminant, type,
                    {Matrix({.scalar = Scalar::kFloat, .rows = size, .columns = size}, 1)});
      }
      case 20: {
        const Type words = Vec(Chance(50) ? Scalar::kInt : Scalar::kUint, type.rows);
        const auto word = [&](Word value) { return Constant(Vec(words.scalar, 1), {value}); };
        return Make(Op::kBitsToFloat, type,
                    {Make(Op::kOr, Make(Op::kAnd, Integer(words, depth - 1), {word(0x7FFFFF)}),
                          {word(0x3F800000)})});
      }
      case 21: {
        static const std::vector<Op> kFours = {Op::kUnpackUnorm4, Op::kUnpackSnorm4};
        return Part(Make(Pick(kFours), Vec(Scalar::kFloat, 4), {Integer(kUintType, depth - 1)}),
                    type);
      }
      case 22: {
        const Expr halves =
            Chance(50)
                ? Make(Op::kUnpackUnorm2, Vec(Scalar::kFloat, 2), {Integer(kUintType, depth - 1)})
                // Within the finite ones.
                : Make(Op::kUnpackHalf, Vec(Scalar::kFloat, 2),
                       {Make(Op::kAnd, Integer(kUintType, depth - 1), {U(0xBFFFBFFF)})});
        return Part(Construct(Vec(Scalar::kFloat, 4), {halves, halves}), type);
      }
      default:
        break;
    }
    return Part(Construct(Vec(Scalar::kFloat, 4),
                          {Make(Op::kMul, Make(Op::kInputPosition, Vec(Scalar::kFloat, 2), {}),
                                {Make(Op::kInputPixel, Vec(Scalar::kFloat, 2), {})}),
                           Make(Op::kInputPosition, Vec(Scalar::kFloat, 2), {})}),
                type);
  }

  Expr Bool(const Type& type, int depth) {
    const Type ints = Vec(Chance(70) ? Scalar::kInt : Scalar::kUint, type.rows);
    const Type floats = Vec(Scalar::kFloat, type.rows);
    const auto comparison = [&] { return static_cast<Op>(static_cast<int>(Op::kLess) + Below(6)); };
    if (depth <= 0 || Chance(30)) {
      if (Chance(30)) {
        if (Expr found = FromScope(type, depth)) return found;
      }
      const Expr few = Make(Op::kAnd, IntegerLeaf(ints),
                            {Constant(Vec(ints.scalar, 1), {static_cast<Word>(1 << Below(4))})});
      return Make(
          comparison(), type,
          {few, Spread(Constant(Vec(ints.scalar, 1), {static_cast<Word>(Below(4))}), ints)});
    }
    switch (Below(12)) {
      case 0:
      case 1:
        return Make(comparison(), type, {Integer(ints, depth - 1), Integer(ints, depth - 1)});
      case 2:
      case 3:
      case 4:
        return Make(comparison(), type, {Float(floats, depth - 1), Float(floats, depth - 1)});
      case 5:
      case 6:
        if (type.rows == 1) {
          static const std::vector<Op> kLogic = {Op::kLogicalAnd, Op::kLogicalOr, Op::kLogicalXor};
          return Make(Pick(kLogic), Bool(type, depth - 1), {Bool(type, depth - 1)});
        }
        return Make(Op::kNotVector, Bool(type, depth - 1));
      case 7:
        if (type.rows == 1) return Make(Op::kLogicalNot, Bool(type, depth - 1));
        return Make(Chance(50) ? Op::kEqual : Op::kNotEqual, type,
                    {Bool(type, depth - 1), Bool(type, depth - 1)});
      case 8:
        if (type.rows > 1) break;
        return Make(Chance(50) ? Op::kAny : Op::kAll, type,
                    {Bool(Vec(Scalar::kBool, 2 + Below(3)), depth - 1)});
      case 9: {
        if (type.rows > 1) break;
        // Of whole vectors.
        const Type vector = Vec(Chance(50) ? Scalar::kInt : Scalar::kFloat, 2 + Below(3));
        const Expr one = FromScope(vector, 1);
        if (!one) break;
        return Make(Chance(50) ? Op::kEqual : Op::kNotEqual, type, {one, Any(vector, 0)});
      }
      case 10:
        if (program_.exact) break;
        return Make(Chance(50) ? Op::kIsNan : Op::kIsInf, type, {Float(floats, depth - 1)});
      case 11: {
        const Type other = Vec(Chance(50) ? Scalar::kInt : Scalar::kUint, type.rows);
        return Construct(type, {Make(Op::kAnd, Integer(other, depth - 1),
                                     {Constant(Vec(other.scalar, 1), {4})})});
      }
      default:
        break;
    }
    return Bool(type, 0);
  }

  // Statements.

  void Emit(Statement statement) {
    --budget_;
    ++program_.statements;
    block_->push_back(std::move(statement));
  }
  // A new variable, which starts as `value`.
  int Declare(const Expr& value) {
    const int id = AddVariable(value->type);
    Emit({.kind = Statement::Kind::kDeclare, .variable = id, .value = value});
    return id;
  }
  int DeclareInScope(const Type& type, int depth) {
    const int id = Declare(AnyToKeep(type, depth));
    scope_.push_back(id);
    return id;
  }
  template <typename Fill>
  Block Nested(const Fill& fill) {
    Block block;
    Block* const outer = std::exchange(block_, &block);
    const std::size_t visible = scope_.size();
    ++depth_;
    fill();
    --depth_;
    scope_.resize(visible);
    block_ = outer;
    return block;
  }
  Block Nested() {
    return Nested([&] {
      const int count = 1 + Below(4);
      for (int i = 0; i < count; ++i) AddStatement();
    });
  }
  // The condition of a statement is evaluated in its own place, with all that it declares before.
  Expr Condition() {
    if (Chance(25)) {
      return Make(Chance(50) ? Op::kLess : Op::kNotEqual, kBoolType,
                  {Make(Op::kAnd, UniformInt(), {I(3)}), I(1 + Below(2))});
    }
    return Bool(kBoolType, 2);
  }

  void AddStatement() {
    const int dice = budget_ < 0 || depth_ > 4 ? Below(40) : Below(100);
    if (dice < 18) {
      DeclareInScope(RandomType(), 3);
    } else if (dice < 40) {
      Assign();
    } else if (dice < 46) {
      MixIntoHash();
    } else if (dice < 64) {
      Expr condition = Condition();
      std::vector<Block> blocks;
      blocks.push_back(Nested());
      if (Chance(50)) blocks.push_back(Nested());
      Emit({.kind = Statement::Kind::kIf, .value = condition, .blocks = std::move(blocks)});
    } else if (dice < 75) {
      Loop();
    } else if (dice < 81) {
      Switch();
    } else if (dice < 88) {
      Leave();
    } else if (dice < 94) {
      Call();
    } else {
      TwoResults();
    }
  }

  void Assign() {
    const Expr target = Target();
    if (!target) {
      DeclareInScope(RandomVector(), 2);
      return;
    }
    const Expr value = AnyToKeep(target->type, 3);
    Emit({.kind = Statement::Kind::kAssign, .target = target, .value = value});
  }

  void MixIntoHash() {
    if (hash_ < 0) return Assign();
    const Expr with = Make(Op::kXor, Make(Op::kMul, Use(hash_), {U(31)}), {Integer(kUintType, 1)});
    Emit({.kind = Statement::Kind::kAssign, .target = Use(hash_), .value = with});
  }

  void Loop() {
    static constexpr int kMaximumRuns = 60;
    const int limit = 2 + Below(6);
    if (runs_ * limit > kMaximumRuns) return Assign();
    Statement loop;
    loop.kind = Chance(60)   ? Statement::Kind::kFor
                : Chance(50) ? Statement::Kind::kWhile
                             : Statement::Kind::kDoWhile;
    loop.limit = limit;
    if (loop.kind == Statement::Kind::kFor) {
      const int mask = limit < 4 ? 1 : 3;
      loop.value = Chance(35)   ? I(limit)
                   : Chance(50) ? Make(Op::kAdd, Make(Op::kAnd, UniformInt(), {I(mask)}), {I(1)})
                                : Make(Op::kAnd, Integer(kIntType, 1), {I(mask * 2 + 1)});
    } else {
      loop.value = Condition();
    }
    const int counter = AddVariable(kIntType, Variable::Kind::kLocal, false);
    loop.variable = counter;
    runs_ *= limit;
    const auto context = std::exchange(context_, {.in_loop = true, .in_switch = false});
    loop.blocks.push_back(Nested([&] {
      scope_.push_back(counter);
      const int count = 1 + Below(4);
      for (int i = 0; i < count; ++i) AddStatement();
    }));
    context_ = context;
    runs_ /= limit;
    Emit(std::move(loop));
  }

  void Switch() {
    Statement choice;
    choice.kind = Statement::Kind::kSwitch;
    const Expr on = Chance(30) ? UniformInt() : Integer(kIntType, 2);
    choice.value = Make(Op::kAnd, on, {I(Chance(50) ? 3 : 7)});
    const auto context = context_;
    context_.in_switch = true;
    const int defaults = Chance(70) ? Below(4) : -1;
    for (int label = 0; label < 4; ++label) {
      choice.labels.push_back(label == defaults ? -1 : label + Below(2) * 4);
      choice.blocks.push_back(Nested());
      choice.falls_through.push_back(label < 3 && Chance(35));
    }
    context_ = context;
    Emit(std::move(choice));
  }

  // A break, continue or return of some lanes.
  void Leave() {
    Statement::Kind kind = Statement::Kind::kReturn;
    if (context_.in_loop && Chance(40)) {
      kind = Statement::Kind::kContinue;
    } else if ((context_.in_loop || context_.in_switch) && Chance(70)) {
      kind = Statement::Kind::kBreak;
    }
    const Expr condition = Condition();
    std::vector<Block> blocks;
    blocks.push_back(Nested([&] {
      if (Chance(40)) Assign();
      EmitLeave(kind);
    }));
    Emit({.kind = Statement::Kind::kIf, .value = condition, .blocks = std::move(blocks)});
  }
  void EmitLeave(Statement::Kind kind) {
    Expr value;
    if (kind == Statement::Kind::kReturn) {
      if (hash_ >= 0) {
        value = Result();
      } else if (function_.has_result) {
        value = AnyToKeep(function_.result, 2);
      }
    }
    Emit({.kind = kind, .value = value});
  }

  void Call() {
    if (program_.functions.empty() || runs_ > 8) return Assign();
    const int index = Below(static_cast<int>(program_.functions.size()));
    const Function& function = program_.functions[static_cast<std::size_t>(index)];
    Statement call;
    call.kind = Statement::Kind::kCall;
    call.function = index;
    std::vector<int> written;
    for (std::size_t i = 0; i < function.parameters.size(); ++i) {
      const Type type = TypeOf(function.parameters[i]);
      if (function.directions[i] == Direction::kIn) {
        call.arguments.push_back(AnyToKeep(type, 2));
        continue;
      }
      int variable = -1;
      for (const int id : WritableVariables()) {
        const bool taken = std::find(written.begin(), written.end(), id) != written.end();
        if (TypeOf(id) == type && !taken) variable = id;
      }
      if (variable < 0) variable = DeclareInScope(type, 1);
      written.push_back(variable);
      call.arguments.push_back(Use(variable));
    }
    if (function.has_result) call.variable = AddVariable(function.result);
    const int result = call.variable;
    Emit(std::move(call));
    if (result >= 0) scope_.push_back(result);
  }

  // The functions that write to their operands.
  void TwoResults() {
    const int rows = 1 + Below(4);
    const Type ints = Vec(Scalar::kInt, rows);
    const Type uints = Vec(Scalar::kUint, rows);
    const Type floats = Vec(Scalar::kFloat, rows);
    switch (Below(4)) {
      case 0: {
        const int whole = DeclareInScope(floats, 0);
        const Expr value = Make(Op::kModf, floats, {Fold(Float(floats, 1)), Use(whole)});
        scope_.push_back(Declare(value));
        break;
      }
      case 1: {
        if (program_.exact) return Assign();
        const int exponent = DeclareInScope(ints, 0);
        scope_.push_back(Declare(Make(Op::kFrexp, floats, {Float(floats, 1), Use(exponent)})));
        break;
      }
      case 2: {
        const int carry = DeclareInScope(uints, 0);
        const Op op = Chance(50) ? Op::kAddCarry : Op::kSubBorrow;
        scope_.push_back(
            Declare(Make(op, uints, {Integer(uints, 1), Integer(uints, 1), Use(carry)})));
        break;
      }
      default: {
        const Type type = Chance(50) ? ints : uints;
        const int upper = DeclareInScope(type, 0);
        const int lower = DeclareInScope(type, 0);
        Emit({.kind = Statement::Kind::kEvaluate,
              .value = Make(Op::kMulExtended, type,
                            {Integer(type, 1), Integer(type, 1), Use(upper), Use(lower)})});
      }
    }
  }

  // Functions.

  void MakeFunction() {
    const auto scope = scope_;
    function_ = {};
    function_.has_result = Chance(70);
    if (function_.has_result) function_.result = RandomType();
    const int count = 1 + Below(3);
    function_.body = Nested([&] {
      for (int i = 0; i < count; ++i) {
        const int id = AddVariable(RandomType());
        const Direction direction = Chance(60)   ? Direction::kIn
                                    : Chance(50) ? Direction::kOut
                                                 : Direction::kInOut;
        function_.parameters.push_back(id);
        function_.directions.push_back(direction);
        if (direction == Direction::kOut) {
          const Expr start = AnyToKeep(TypeOf(id), 1);
          Emit({.kind = Statement::Kind::kAssign, .target = Use(id), .value = start});
        }
        scope_.push_back(id);
      }
      runs_ = 8;  // since it may be called in a loop
      const int statements = 2 + Below(5);
      for (int i = 0; i < statements; ++i) AddStatement();
      runs_ = 1;
      if (function_.has_result) EmitLeave(Statement::Kind::kReturn);
    });
    program_.functions.push_back(std::move(function_));
    scope_ = scope;
  }

  void MakeShade() {
    function_ = {.has_result = true, .result = Vec(Scalar::kFloat, 4)};
    const int uv = AddVariable(Vec(Scalar::kFloat, 2), Variable::Kind::kUv, false);
    function_.parameters.push_back(uv);
    function_.directions.push_back(Direction::kIn);
    budget_ = std::max(budget_, 25);
    function_.body = Nested([&] {
      // Its own rounding differs from engine to engine.
      if (!program_.exact) scope_.push_back(uv);
      hash_ = Declare(Construct(kUintType, {Swizzle(Position(), {0})}));
      scope_.push_back(hash_);
      while (budget_ > 0) AddStatement();
      const std::vector<int> variables = WritableVariables();
      for (const int id : variables) {
        if (Expr found = Walk(Use(id), kUintType, 0)) {
          MixIn(found);
        } else if (Expr number = Walk(Use(id), kIntType, 0)) {
          MixIn(Construct(kUintType, {number}));
        } else if (Expr real = Walk(Use(id), kFloatType, 0)) {
          MixIn(Construct(kUintType, {Construct(kIntType, {Make(Op::kMul, real, {F(8)})})}));
        }
      }
      EmitLeave(Statement::Kind::kReturn);
    });
    program_.functions.push_back(std::move(function_));
  }
  void MixIn(const Expr& value) {
    // Whole numbers of floats that are no multiples of 1/8 hang on their last bits.
    if (!program_.exact && Chance(70)) return;
    Emit({.kind = Statement::Kind::kAssign,
          .target = Use(hash_),
          .value = Make(Op::kXor, Make(Op::kMul, Use(hash_), {U(37)}), {value})});
  }

  // A colour from 0 to 1 that shows what was computed.
  Expr Result() {
    const Type vec4 = Vec(Scalar::kFloat, 4);
    if (program_.exact) {
      std::vector<Expr> parts = {Use(hash_)};
      for (int i = 0; i < 3; ++i) parts.push_back(Integer(kUintType, 1));
      const Expr all = Construct(Vec(Scalar::kUint, 4), std::move(parts));
      const Expr folded = Make(Op::kXor, all, {Make(Op::kShiftRight, all, {U(8)})});
      return Make(Op::kDiv, Construct(vec4, {Make(Op::kAnd, folded, {U(255)})}), {F(255)});
    }
    std::vector<Expr> parts;
    for (int i = 0; i < 4; ++i) {
      const Expr value = Float(kFloatType, 1);
      switch (Below(5)) {
        case 0:
          parts.push_back(Make(Op::kFract, value));
          break;
        case 1:
          parts.push_back(value);
          break;
        case 2:
          parts.push_back(Make(
              Op::kDiv, Construct(kFloatType, {Make(Op::kAnd, Use(hash_), {U(255)})}), {F(255)}));
          break;
        default:
          parts.push_back(
              Make(Op::kAdd, Make(Op::kMul, Make(Op::kSin, value), {F(0.5F)}), {F(0.5F)}));
      }
    }
    return Construct(vec4, std::move(parts));
  }

  struct Context {
    bool in_loop = false;
    bool in_switch = false;
  };

  std::mt19937_64 random_;
  Program program_;
  std::vector<bool> writable_;  // by variable
  std::vector<int> scope_;      // what can be read here
  Block* block_ = nullptr;      // the one being filled
  Function function_;           // the one being made
  Context context_;
  int hash_ = -1;  // the variable that gathers results, in shade
  int depth_ = 0;
  int budget_ = 0;  // of statements
  int runs_ = 1;    // of a statement here at most, by the loops around it
};

}  // namespace

Program Generate(std::uint64_t seed) { return Generator(seed).Run(); }

}  // namespace Vantra::TranslatorFuzz
