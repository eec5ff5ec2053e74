#include <algorithm>

#include "generator.h"

namespace Vantra::TranslatorFuzz {

namespace {

using Direction = Function::Direction;

}  // namespace

Program Generator::Run() {
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

void Generator::Emit(Statement statement) {
  --budget_;
  ++program_.statements;
  block_->push_back(std::move(statement));
}

int Generator::Declare(const Expr& value) {
  const int id = AddVariable(value->type);
  Emit({.kind = Statement::Kind::kDeclare, .variable = id, .value = value});
  return id;
}

int Generator::DeclareInScope(const Type& type, int depth) {
  const int id = Declare(AnyToKeep(type, depth));
  scope_.push_back(id);
  return id;
}

Block Generator::Nested() {
  return Nested([&] {
    const int count = 1 + Below(4);
    for (int i = 0; i < count; ++i) AddStatement();
  });
}

Expr Generator::Condition() {
  if (Chance(25)) {
    return Operation{Chance(50) ? Op::kLess : Op::kNotEqual,
                     kBoolType,
                     {Operation{Op::kAnd, UniformInt(), {I(3)}}, I(1 + Below(2))}};
  }
  return Bool(kBoolType, 2);
}

void Generator::AddStatement() {
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

void Generator::Assign() {
  const Expr target = Target();
  if (!target) {
    DeclareInScope(RandomVector(), 2);
    return;
  }
  const Expr value = AnyToKeep(target->type, 3);
  Emit({.kind = Statement::Kind::kAssign, .target = target, .value = value});
}

void Generator::MixIntoHash() {
  if (hash_ < 0) return Assign();
  const Expr with =
      Operation{Op::kXor, Operation{Op::kMul, Use(hash_), {U(31)}}, {Integer(kUintType, 1)}};
  Emit({.kind = Statement::Kind::kAssign, .target = Use(hash_), .value = with});
}

void Generator::Loop() {
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
    loop.value = Chance(35) ? I(limit)
                 : Chance(50)
                     ? Operation{Op::kAdd, Operation{Op::kAnd, UniformInt(), {I(mask)}}, {I(1)}}
                     : Operation{Op::kAnd, Integer(kIntType, 1), {I(mask * 2 + 1)}};
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

void Generator::Switch() {
  Statement choice;
  choice.kind = Statement::Kind::kSwitch;
  const Expr on = Chance(30) ? UniformInt() : Integer(kIntType, 2);
  choice.value = Operation{Op::kAnd, on, {I(Chance(50) ? 3 : 7)}};
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

void Generator::Leave() {
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

void Generator::EmitLeave(Statement::Kind kind) {
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

void Generator::Call() {
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

void Generator::TwoResults() {
  const int rows = 1 + Below(4);
  const Type ints = Vec(Scalar::kInt, rows);
  const Type uints = Vec(Scalar::kUint, rows);
  const Type floats = Vec(Scalar::kFloat, rows);
  switch (Below(4)) {
    case 0: {
      const int whole = DeclareInScope(floats, 0);
      const Expr value = Operation{Op::kModf, floats, {Fold(Float(floats, 1)), Use(whole)}};
      scope_.push_back(Declare(value));
      break;
    }
    case 1: {
      if (program_.exact) return Assign();
      const int exponent = DeclareInScope(ints, 0);
      scope_.push_back(Declare(Operation{Op::kFrexp, floats, {Float(floats, 1), Use(exponent)}}));
      break;
    }
    case 2: {
      const int carry = DeclareInScope(uints, 0);
      const Op op = Chance(50) ? Op::kAddCarry : Op::kSubBorrow;
      scope_.push_back(
          Declare(Operation{op, uints, {Integer(uints, 1), Integer(uints, 1), Use(carry)}}));
      break;
    }
    default: {
      const Type type = Chance(50) ? ints : uints;
      const int upper = DeclareInScope(type, 0);
      const int lower = DeclareInScope(type, 0);
      Emit({.kind = Statement::Kind::kEvaluate,
            .value = Operation{Op::kMulExtended,
                               type,
                               {Integer(type, 1), Integer(type, 1), Use(upper), Use(lower)}}});
    }
  }
}

void Generator::MakeFunction() {
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

void Generator::MakeShade() {
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
        MixIn(Construct(kUintType, {Construct(kIntType, {Operation{Op::kMul, real, {F(8)}}})}));
      }
    }
    EmitLeave(Statement::Kind::kReturn);
  });
  program_.functions.push_back(std::move(function_));
}

void Generator::MixIn(const Expr& value) {
  // Whole numbers of floats that are no multiples of 1/8 hang on their last bits.
  if (!program_.exact && Chance(70)) return;
  Emit({.kind = Statement::Kind::kAssign,
        .target = Use(hash_),
        .value = Operation{Op::kXor, Operation{Op::kMul, Use(hash_), {U(37)}}, {value}}});
}

Expr Generator::Result() {
  const Type vec4 = Vec(Scalar::kFloat, 4);
  if (program_.exact) {
    std::vector<Expr> parts = {Use(hash_)};
    for (int i = 0; i < 3; ++i) parts.push_back(Integer(kUintType, 1));
    const Expr all = Construct(Vec(Scalar::kUint, 4), std::move(parts));
    const Expr folded = Operation{Op::kXor, all, {Operation{Op::kShiftRight, all, {U(8)}}}};
    return Operation{Op::kDiv, Construct(vec4, {Operation{Op::kAnd, folded, {U(255)}}}), {F(255)}};
  }
  std::vector<Expr> parts;
  for (int i = 0; i < 4; ++i) {
    const Expr value = Float(kFloatType, 1);
    switch (Below(5)) {
      case 0:
        parts.push_back(Operation{Op::kFract, value});
        break;
      case 1:
        parts.push_back(value);
        break;
      case 2:
        parts.push_back(
            Operation{Op::kDiv,
                      Construct(kFloatType, {Operation{Op::kAnd, Use(hash_), {U(255)}}}),
                      {F(255)}});
        break;
      default:
        parts.push_back(Operation{
            Op::kAdd, Operation{Op::kMul, Operation{Op::kSin, value}, {F(0.5F)}}, {F(0.5F)}});
    }
  }
  return Construct(vec4, std::move(parts));
}

Program Generate(std::uint64_t seed) { return Generator(seed).Run(); }

}  // namespace Vantra::TranslatorFuzz
