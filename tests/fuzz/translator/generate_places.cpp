#include <algorithm>

#include "generator.h"

namespace Vantra::TranslatorFuzz {

Scalar Generator::RandomScalar() {
  const int dice = Below(10);
  if (dice == 0) return Scalar::kBool;
  if (dice < 4) return Scalar::kInt;
  if (dice < 6) return Scalar::kUint;
  return Scalar::kFloat;
}

Type Generator::RandomType() {
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

float Generator::RandomFloat() {
  if (program_.exact || Chance(40)) return static_cast<float>(Below(129) - 64) / 8;
  return static_cast<float>(Below(160001) - 80000) / 10000;
}

Word Generator::RandomWord(Scalar scalar) {
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

Expr Generator::RandomConstant(const Type& type) {
  std::vector<Word> words;
  for (int i = 0; i < type.Components(); ++i) words.push_back(RandomWord(type.scalar));
  return Constant(type, std::move(words));
}

int Generator::AddVariable(const Type& type, Variable::Kind kind, bool writable) {
  const int id = static_cast<int>(program_.variables.size());
  program_.variables.push_back(
      {.kind = kind, .type = type, .address = static_cast<int>(program_.memory.size())});
  program_.memory.resize(program_.memory.size() + static_cast<std::size_t>(program_.Words(type)));
  writable_.push_back(writable);
  return id;
}

Expr Generator::Use(int variable) const {
  return std::make_shared<Expression>(
      Expression{.kind = Expression::Kind::kVariable, .type = TypeOf(variable), .index = variable});
}

std::vector<int> Generator::WritableVariables() const {
  std::vector<int> found;
  for (const int id : scope_) {
    if (writable_[static_cast<std::size_t>(id)]) found.push_back(id);
  }
  return found;
}

void Generator::MakeStructures() {
  program_.structures.push_back({Vec(Scalar::kFloat, 3), kIntType});
  std::vector<Type> fields;
  const int count = 2 + Below(3);
  for (int i = 0; i < count; ++i) fields.push_back(RandomVector());
  if (Chance(40)) fields.push_back({.scalar = Scalar::kFloat, .rows = 2, .length = 3});
  if (Chance(30)) fields.push_back({.structure = 0});
  program_.structures.push_back(std::move(fields));
}

void Generator::MakeConstants() {
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

void Generator::MakeTables() {
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

Expr Generator::Index(int length, int depth) {
  if (depth <= 0 || Chance(35)) return I(Below(length));
  const Expr index = Chance(30) ? UniformInt() : Integer(kIntType, depth - 1);
  switch (Below(3)) {
    case 0:
      return Operation{Op::kClamp, index, {I(0), I(length - 1)}};
    case 1:
      if ((length & (length - 1)) == 0) return Operation{Op::kAnd, index, {I(length - 1)}};
      [[fallthrough]];
    default:
      return Construct(
          kIntType,
          {Operation{Op::kMod, Construct(kUintType, {index}), {U(static_cast<Word>(length))}}});
  }
}

Expr Generator::Walk(Expr from, const Type& type, int depth) {
  while (from->type != type) {
    const Type& at = from->type;
    if (at.length > 0) {
      from = Element(from, Index(at.length, depth), ElementType(at));
    } else if (at.structure >= 0) {
      const auto& fields = program_.structures[static_cast<std::size_t>(at.structure)];
      const int field = Below(static_cast<int>(fields.size()));
      from =
          std::make_shared<Expression>(Expression{.kind = Expression::Kind::kField,
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

Expr Generator::FromScope(const Type& type, int depth) {
  for (int attempt = 0; attempt < 6; ++attempt) {
    // Locals are more telling than constants, which come first.
    const auto count = static_cast<int>(scope_.size());
    const int at = std::max(Below(count), Below(count));
    const Expr found = Walk(Use(scope_[static_cast<std::size_t>(at)]), type, depth);
    if (found) return found;
  }
  return nullptr;
}

Expr Generator::Target() {
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

}  // namespace Vantra::TranslatorFuzz
