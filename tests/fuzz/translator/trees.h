#pragma once

// Short ways to write the trees of expressions.

#include <utility>

#include "program.h"

namespace Vantra::TranslatorFuzz {

constexpr Type Vec(Scalar scalar, int rows) { return {.scalar = scalar, .rows = rows}; }
inline constexpr Type kFloatType = Vec(Scalar::kFloat, 1);
inline constexpr Type kIntType = Vec(Scalar::kInt, 1);
inline constexpr Type kUintType = Vec(Scalar::kUint, 1);
inline constexpr Type kBoolType = Vec(Scalar::kBool, 1);

inline Expr Constant(const Type& type, std::vector<Word> words) {
  return std::make_shared<Expression>(
      Expression{.kind = Expression::Kind::kConstant, .type = type, .words = std::move(words)});
}
inline Expr F(float value) { return Constant(kFloatType, {ToWord(value)}); }
inline Expr I(int value) { return Constant(kIntType, {static_cast<Word>(value)}); }
inline Expr U(Word value) { return Constant(kUintType, {value}); }

// Written with braces, in which operands are made in the order of the text: a seed makes the same
// program with every compiler.
struct Operation : Expr {
  Operation(Op op, const Type& type, std::vector<Expr> operands, int index = 0)
      : Expr(std::make_shared<Expression>(Expression{.kind = Expression::Kind::kOperation,
                                                     .type = type,
                                                     .op = op,
                                                     .index = index,
                                                     .operands = std::move(operands)})) {}
  // For operations whose result has the type of their first operand.
  Operation(Op op, const Expr& first, std::vector<Expr> rest = {})
      : Operation(op, first->type, Joined(first, std::move(rest))) {}

 private:
  static std::vector<Expr> Joined(const Expr& first, std::vector<Expr> rest) {
    rest.insert(rest.begin(), first);
    return rest;
  }
};
inline Expr Construct(const Type& type, std::vector<Expr> operands) {
  return std::make_shared<Expression>(Expression{
      .kind = Expression::Kind::kConstruct, .type = type, .operands = std::move(operands)});
}
inline Expr Element(const Expr& of, Expr index, const Type& type) {
  return std::make_shared<Expression>(Expression{
      .kind = Expression::Kind::kElement, .type = type, .operands = {of, std::move(index)}});
}
inline Expr Swizzle(const Expr& of, const std::vector<int>& components) {
  Expression e{.kind = Expression::Kind::kSwizzle, .type = of->type, .operands = {of}};
  e.type.rows = static_cast<int>(components.size());
  for (std::size_t i = 0; i < components.size(); ++i) {
    e.swizzle[i] = static_cast<std::uint8_t>(components[i]);
  }
  return std::make_shared<Expression>(std::move(e));
}
// A vector of `rows` times the scalar, since not all functions take one for all.
inline Expr Spread(const Expr& scalar, const Type& type) {
  return type.rows > 1 ? Construct(Vec(scalar->type.scalar, type.rows), {scalar}) : scalar;
}

inline Type ElementType(Type type) {
  if (type.length > 0) {
    type.length = 0;
  } else if (type.columns > 1) {
    type.columns = 1;
  } else {
    type.rows = 1;
  }
  return type;
}

}  // namespace Vantra::TranslatorFuzz
