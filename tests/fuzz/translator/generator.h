#pragma once

// Makes a random program: places and constants in generate_places.cpp, values in
// generate_expressions.cpp, and what is done with them in generate_statements.cpp.

#include <random>
#include <utility>
#include <vector>

#include "trees.h"

namespace Vantra::TranslatorFuzz {

// A seed makes the same program wherever this is built, as long as each call's arguments draw one
// random number at most; lists in braces may draw any.
class Generator {
 public:
  explicit Generator(std::uint64_t seed) : random_(seed) { program_.seed = seed; }

  Program Run();

 private:
  int Below(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }
  bool Chance(int percent) { return Below(100) < percent; }
  template <typename T>
  const T& Pick(const std::vector<T>& choices) {
    return choices[static_cast<std::size_t>(Below(static_cast<int>(choices.size())))];
  }

  Scalar RandomScalar();
  Type RandomVector() { return {.scalar = RandomScalar(), .rows = Chance(50) ? 1 : 1 + Below(4)}; }
  Type RandomType();

  float RandomFloat();
  Word RandomWord(Scalar scalar);
  Expr RandomConstant(const Type& type);

  // Variables.

  int AddVariable(const Type& type, Variable::Kind kind = Variable::Kind::kLocal,
                  bool writable = true);
  const Type& TypeOf(int variable) const;
  Expr Use(int variable) const;
  std::vector<int> WritableVariables() const;

  void MakeStructures();
  void MakeConstants();
  void MakeTables();

  // Places. What is read or written is found by walking from a variable towards a type.

  // An index below `length`: constant, uniform, or different from lane to lane.
  Expr Index(int length, int depth);
  Expr Walk(Expr from, const Type& type, int depth);
  Expr FromScope(const Type& type, int depth);

  // A place that can be assigned, at any depth of a variable.
  Expr Target();

  // Expressions.

  Expr Any(const Type& type, int depth);
  // A value to keep: floats stay small and, in exact programs, multiples of 1/8.
  Expr AnyToKeep(const Type& type, int depth);
  Expr Fold(const Expr& value);

  Expr Aggregate(const Type& type, int depth);
  Expr Matrix(const Type& type, int depth);
  Expr Constructed(const Type& type);
  // A matrix, folded column by column through a variable of the block that is being filled.
  Expr Kept(const Expr& matrix);

  Expr UniformInt();
  Expr Position();

  // A pixel's colour. What exact programs read is a texel's own colour.
  Expr Read(int depth);
  // Outside, the alpha of a format without one differs from device to device.
  static Expr FetchAnywhere(const Expr& at, int texture);
  static Expr Inside(const Expr& at, const Expr& size);
  Expr Bytes(int depth);
  // Takes what a type needs out of a vector of four.
  Expr Part(const Expr& of, const Type& type);

  Expr IntegerLeaf(const Type& type);
  static Expr Convert(const Expr& value, const Type& type);

  Expr Integer(const Type& type, int depth);

  // What is kept, so small.
  Expr FloatLeaf(const Type& type);

  Expr Float(const Type& type, int depth);
  // Operations whose results are rounded.
  Expr RoundedFloat(const Type& type, int depth);

  Expr Bool(const Type& type, int depth);

  // Statements.

  void Emit(Statement statement);
  // A new variable, which starts as `value`.
  int Declare(const Expr& value);
  int DeclareInScope(const Type& type, int depth);
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
  Block Nested();
  // The condition of a statement is evaluated in its own place, with all that it declares before.
  Expr Condition();

  void AddStatement();
  void Assign();
  void MixIntoHash();
  void Loop();
  void Switch();

  // A break, continue or return of some lanes.
  void Leave();
  void EmitLeave(Statement::Kind kind);

  void Call();

  // The functions that write to their operands.
  void TwoResults();

  // Functions.

  void MakeFunction();
  void MakeShade();
  void MixIn(const Expr& value);

  // A colour from 0 to 1 that shows what was computed.
  Expr Result();

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

}  // namespace Vantra::TranslatorFuzz
