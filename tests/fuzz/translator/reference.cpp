#include "reference.h"

#include <algorithm>
#include <cmath>

namespace Vantra::TranslatorFuzz {
namespace {

using Kind = Expression::Kind;

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

Word PackHalf(float value) {
  const Word sign = ToWord(value) >> 16 & 0x8000;
  const double magnitude = std::fabs(value);
  if (magnitude == 0) return sign;
  if (magnitude >= 65520) return sign | 0x7C00;
  const int exponent = std::max(std::ilogb(magnitude), -14);
  const double mantissa = std::nearbyint(std::ldexp(magnitude, 10 - exponent));
  return sign | ((static_cast<Word>(exponent + 14) << 10) + static_cast<Word>(mantissa));
}
float UnpackHalf(Word half) {
  const int exponent = static_cast<int>(half >> 10 & 31);
  const int mantissa = static_cast<int>(half & 1023);
  const double magnitude =
      exponent > 0 ? std::ldexp(1024 + mantissa, exponent - 25) : std::ldexp(mantissa, -24);
  return static_cast<float>(half & 0x8000 ? -magnitude : magnitude);
}

int Extended(int index, int count, Render::Extend extend) {
  switch (extend) {
    case Render::Extend::kClamp:
      break;
    case Render::Extend::kWrap:
      return (index % count + count) % count;
    case Render::Extend::kMirror: {
      const int at = (index % (2 * count) + 2 * count) % (2 * count);
      return at < count ? at : 2 * count - 1 - at;
    }
  }
  return std::clamp(index, 0, count - 1);
}

bool IsRootedInVariable(const Expression& e) {
  return e.kind == Kind::kVariable || (e.kind >= Kind::kElement && e.kind <= Kind::kSwizzle &&
                                       IsRootedInVariable(*e.operands[0]));
}

}  // namespace

Reference::Reference(const Program& program, const Inputs& inputs)
    : program_(program), inputs_(inputs), start_(program.memory) {
  std::copy(inputs.constants.begin(), inputs.constants.end(), start_.begin());
}

Color Reference::Evaluate(int x, int y, float strength, std::uint32_t noise) {
  memory_ = start_;
  strength_ = strength;
  noise_ = (std::uint64_t{noise} << 40 ^ static_cast<std::uint64_t>(y) << 20 ^
            static_cast<std::uint64_t>(x)) *
               0x9E3779B97F4A7C15u |
           1;
  position_x_ = static_cast<float>(x) + 0.5F + inputs_.origin_x;
  position_y_ = static_cast<float>(y) + 0.5F + inputs_.origin_y;
  const Function& shade = program_.functions.back();
  Word* const uv = &At(shade.parameters[0]);
  uv[0] = ToWord(Noisy(double{position_x_} * inputs_.pixel_size_x));
  uv[1] = ToWord(Noisy(double{position_y_} * inputs_.pixel_size_y));
  Run(shade.body);
  Color color;
  for (std::size_t i = 0; i < 4; ++i) color[i] = ToFloat(returned_[i]);
  return color;
}

float Reference::Noisy(double exact, double ulps, double absolute) {
  const auto rounded = static_cast<float>(exact);
  if (strength_ == 0 || !std::isfinite(rounded)) return rounded;
  // Compilers reorder sums and products, but a result without rounding tells of none.
  if (rounded == exact && ulps == 1) return rounded;
  noise_ ^= noise_ << 13;
  noise_ ^= noise_ >> 7;
  noise_ ^= noise_ << 17;
  const double random = static_cast<double>(noise_ >> 11) * 0x1p-52 - 1;
  const double step = rounded == 0 ? 0 : std::ldexp(1.0, std::max(std::ilogb(rounded), -126) - 23);
  return static_cast<float>(exact + random * double{strength_} * (ulps * step + absolute));
}

// Statements.

Reference::Flow Reference::Run(const Block& block) {
  for (const Statement& statement : block) {
    if (const Flow flow = Run(statement); flow != Flow::kNext) return flow;
  }
  return Flow::kNext;
}

Reference::Flow Reference::Run(const Statement& s) {
  switch (s.kind) {
    case Statement::Kind::kDeclare: {
      const Value value = Evaluate(*s.value);
      std::copy_n(value.begin(), program_.Words(s.value->type), &At(s.variable));
      break;
    }
    case Statement::Kind::kAssign:
      Store(*s.target, Evaluate(*s.value));
      break;
    case Statement::Kind::kEvaluate:
      Evaluate(*s.value);
      break;
    case Statement::Kind::kCall:
      Call(s);
      break;
    case Statement::Kind::kIf:
      if (Evaluate(*s.value)[0]) return Run(s.blocks[0]);
      return s.blocks.size() > 1 ? Run(s.blocks[1]) : Flow::kNext;
    case Statement::Kind::kFor:
    case Statement::Kind::kWhile:
    case Statement::Kind::kDoWhile:
      return RunLoop(s);
    case Statement::Kind::kSwitch: {
      const std::int32_t on = ToInt(Evaluate(*s.value)[0]);
      auto found = std::find(s.labels.begin(), s.labels.end(), on);
      if (found == s.labels.end()) found = std::find(s.labels.begin(), s.labels.end(), -1);
      for (auto i = Index(static_cast<int>(found - s.labels.begin())); i < s.blocks.size(); ++i) {
        const Flow flow = Run(s.blocks[i]);
        if (flow == Flow::kBreak) break;
        if (flow != Flow::kNext) return flow;
        if (!s.falls_through[i]) break;
      }
      break;
    }
    case Statement::Kind::kBreak:
      return Flow::kBreak;
    case Statement::Kind::kContinue:
      return Flow::kContinue;
    case Statement::Kind::kReturn:
      if (s.value) returned_ = Evaluate(*s.value);
      return Flow::kReturn;
  }
  return Flow::kNext;
}

Reference::Flow Reference::RunLoop(const Statement& s) {
  Word& counter = At(s.variable);
  counter = 0;
  const bool is_for = s.kind == Statement::Kind::kFor;
  const auto holds = [&] {
    if (is_for) return ToInt(counter) < ToInt(Evaluate(*s.value)[0]);
    return ToInt(counter) < s.limit && Evaluate(*s.value)[0] != 0;
  };
  bool again = s.kind == Statement::Kind::kDoWhile || holds();
  while (again) {
    if (!is_for) ++counter;
    const Flow flow = Run(s.blocks[0]);
    if (flow == Flow::kReturn) return flow;
    if (flow == Flow::kBreak) break;
    if (is_for) ++counter;
    again = holds();
  }
  return Flow::kNext;
}

void Reference::Call(const Statement& s) {
  const Function& function = program_.functions[Index(s.function)];
  const auto words = [&](std::size_t i) {
    return program_.Words(program_.variables[Index(function.parameters[i])].type);
  };
  for (std::size_t i = 0; i < function.parameters.size(); ++i) {
    if (function.directions[i] == Function::Direction::kOut) continue;
    const Value value = Evaluate(*s.arguments[i]);
    std::copy_n(value.begin(), words(i), &At(function.parameters[i]));
  }
  Run(function.body);
  for (std::size_t i = 0; i < function.parameters.size(); ++i) {
    if (function.directions[i] == Function::Direction::kIn) continue;
    std::copy_n(&At(function.parameters[i]), words(i), &At(s.arguments[i]->index));
  }
  if (s.variable >= 0) {
    std::copy_n(returned_.begin(), program_.Words(function.result), &At(s.variable));
  }
}

// Places.

Reference::Place Reference::Find(const Expression& e) {
  if (e.kind == Kind::kVariable) {
    return {Index(program_.variables[Index(e.index)].address), false};
  }
  Place place = Find(*e.operands[0]);
  const Type& of = e.operands[0]->type;
  if (e.kind == Kind::kElement) {
    place.address += Evaluate(*e.operands[1])[0] * Index(program_.Words(e.type));
  } else if (e.kind == Kind::kField) {
    const auto& fields = program_.structures[Index(of.structure)];
    for (int i = 0; i < e.index; ++i) place.address += Index(program_.Words(fields[Index(i)]));
  } else {
    place.swizzled = true;
  }
  return place;
}

void Reference::Store(const Expression& target, const Value& value) {
  const Place place = Find(target);
  const auto count = Index(program_.Words(target.type));
  for (std::size_t i = 0; i < count; ++i) {
    memory_[place.address + (place.swizzled ? target.swizzle[i] : i)] = value[i];
  }
}

// Expressions.

Reference::Value Reference::Evaluate(const Expression& e) {
  Value value;
  switch (e.kind) {
    case Kind::kConstant:
      std::copy(e.words.begin(), e.words.end(), value.begin());
      return value;
    case Kind::kConstruct:
      return Construct(e);
    case Kind::kOperation:
      return Operate(e);
    default:
      break;
  }
  const auto count = Index(program_.Words(e.type));
  if (!IsRootedInVariable(e)) {
    const Value whole = Evaluate(*e.operands[0]);
    for (std::size_t i = 0; i < count; ++i) value[i] = whole[e.swizzle[i]];
    return value;
  }
  const Place place = Find(e);
  for (std::size_t i = 0; i < count; ++i) {
    value[i] = memory_[place.address + (place.swizzled ? e.swizzle[i] : i)];
  }
  return value;
}

Word Reference::Convert(Word word, Scalar from, Scalar to) {
  if (from == to) return word;
  if (to == Scalar::kBool) return from == Scalar::kFloat ? ToFloat(word) != 0 : word != 0;
  if (to == Scalar::kFloat) {
    return ToWord(Noisy(from == Scalar::kInt ? double{static_cast<double>(ToInt(word))} : word));
  }
  if (from != Scalar::kFloat) return word;
  return static_cast<Word>(static_cast<std::int64_t>(ToFloat(word)));
}

Reference::Value Reference::Construct(const Expression& e) {
  Value value;
  std::size_t count = 0;
  const bool whole = e.type.length > 0 || e.type.structure >= 0;
  for (const Expr& operand : e.operands) {
    const Value part = Evaluate(*operand);
    const auto words = Index(program_.Words(operand->type));
    for (std::size_t i = 0; i < words; ++i) {
      value[count++] = whole ? part[i] : Convert(part[i], operand->type.scalar, e.type.scalar);
    }
  }
  if (!whole && count == 1) {
    const Word scalar = value[0];
    for (int i = 0; i < e.type.Components(); ++i) {
      value[Index(i)] = e.type.columns > 1 && i % (e.type.rows + 1) != 0 ? 0 : scalar;
    }
  }
  return value;
}

Reference::Value Reference::Operate(const Expression& e) {
  if (e.op == Op::kSelect) return Evaluate(*e.operands[Evaluate(*e.operands[0])[0] ? 1 : 2]);
  std::array<Value, 4> operands;
  for (std::size_t i = 0; i < e.operands.size(); ++i) operands[i] = Evaluate(*e.operands[i]);
  Value result;
  if (OperateOnWhole(e, operands, result) || OperateOnMatrices(e, operands, result)) return result;

  const Scalar scalar = e.operands[0]->type.scalar;
  for (int i = 0; i < e.type.Components(); ++i) {
    std::array<Word, 4> in = {};
    for (std::size_t k = 0; k < e.operands.size(); ++k) {
      in[k] = operands[k][e.operands[k]->type.Components() > 1 ? Index(i) : 0];
    }
    Word& out = result[Index(i)];
    if (e.op == Op::kMixBool) {
      out = in[2] ? in[1] : in[0];
    } else if (e.op == Op::kLdexp) {
      out = ToWord(std::ldexp(ToFloat(in[0]), ToInt(in[1])));
    } else if (scalar == Scalar::kFloat) {
      out = OperateOnFloats(e.op, ToFloat(in[0]), ToFloat(in[1]), ToFloat(in[2]));
    } else {
      out = OperateOnIntegers(e.op, scalar == Scalar::kInt, in[0], in[1], in[2], in[3]);
    }
    // Functions with more than one result.
    Word second = 0;
    switch (e.op) {
      case Op::kModf:
        second = ToWord(std::trunc(ToFloat(in[0])));
        break;
      case Op::kFrexp: {
        int exponent = 0;
        out = ToWord(std::frexp(ToFloat(in[0]), &exponent));
        second = static_cast<Word>(exponent);
        break;
      }
      case Op::kAddCarry:
        second = in[0] + in[1] < in[0];
        break;
      case Op::kSubBorrow:
        second = in[0] < in[1];
        break;
      case Op::kMulExtended: {
        const std::uint64_t product =
            scalar == Scalar::kInt
                ? static_cast<std::uint64_t>(std::int64_t{ToInt(in[0])} * ToInt(in[1]))
                : std::uint64_t{in[0]} * in[1];
        operands[2][Index(i)] = static_cast<Word>(product >> 32);
        second = static_cast<Word>(product);
        break;
      }
      default:
        continue;
    }
    operands[e.operands.size() - 1][Index(i)] = second;
  }
  if (e.op >= Op::kModf && e.op <= Op::kMulExtended) {
    for (std::size_t k = 2; k < e.operands.size(); ++k) Store(*e.operands[k], operands[k]);
    if (e.op <= Op::kFrexp) Store(*e.operands[1], operands[1]);
  }
  return result;
}

float Reference::Dot(const Value& a, const Value& b, int count) {
  float sum = 0;
  for (std::size_t i = 0; i < Index(count); ++i) {
    const float product = Noisy(double{ToFloat(a[i])} * ToFloat(b[i]));
    sum = i == 0 ? product : Noisy(double{sum} + product);
  }
  return sum;
}

// Operations on vectors as wholes, and those of the pixel program's interface.
bool Reference::OperateOnWhole(const Expression& e, const std::array<Value, 4>& in, Value& result) {
  const int count = e.operands.empty() ? 0 : e.operands[0]->type.Components();
  const auto store = [&](const Color& color) {
    for (std::size_t i = 0; i < 4; ++i) result[i] = ToWord(Noisy(color[i], 2));
  };
  const auto scaled = [&](const Value& value, float by, std::size_t i) {
    return Noisy(double{ToFloat(value[i])} * by);
  };
  // Parts of a word, of `bits` bits each, as fractions.
  const auto pack = [&](int parts, bool is_signed) {
    const int bits = 32 / parts;
    const double scale = is_signed ? (1 << (bits - 1)) - 1 : (1 << bits) - 1;
    result[0] = 0;
    for (int i = 0; i < parts; ++i) {
      const double part = std::clamp(double{ToFloat(in[0][Index(i)])}, is_signed ? -1.0 : 0.0, 1.0);
      const auto word =
          static_cast<Word>(static_cast<std::int32_t>(std::nearbyint(Noisy(part * scale, 1.01))));
      result[0] |= (word & ((1U << bits) - 1)) << (i * bits);
    }
  };
  const auto unpack = [&](int parts, bool is_signed) {
    const int bits = 32 / parts;
    const double scale = is_signed ? (1 << (bits - 1)) - 1 : (1 << bits) - 1;
    for (int i = 0; i < parts; ++i) {
      const Word word = in[0][0] << (32 - bits - i * bits);
      const double part =
          is_signed ? ToInt(word) >> (32 - bits) : static_cast<double>(word >> (32 - bits));
      result[Index(i)] = ToWord(Noisy(std::max(part / scale, -1.0)));
    }
  };
  switch (e.op) {
    case Op::kEqual:
    case Op::kNotEqual: {
      if (e.type.rows > 1 || count == 1) return false;
      bool equal = true;
      for (std::size_t i = 0; i < Index(count); ++i) {
        equal = equal && (e.operands[0]->type.scalar == Scalar::kFloat
                              ? ToFloat(in[0][i]) == ToFloat(in[1][i])
                              : in[0][i] == in[1][i]);
      }
      result[0] = equal == (e.op == Op::kEqual);
      return true;
    }
    case Op::kAny:
    case Op::kAll: {
      const auto set = std::count(in[0].begin(), in[0].begin() + count, Word{1});
      result[0] = e.op == Op::kAny ? set > 0 : set == count;
      return true;
    }
    case Op::kDot:
      result[0] = ToWord(Dot(in[0], in[1], count));
      return true;
    case Op::kLength:
    case Op::kDistance: {
      Value vector = in[0];
      for (std::size_t i = 0; e.op == Op::kDistance && i < Index(count); ++i) {
        vector[i] = ToWord(Noisy(double{ToFloat(in[0][i])} - ToFloat(in[1][i])));
      }
      result[0] = ToWord(Noisy(std::sqrt(double{Dot(vector, vector, count)}), 2));
      return true;
    }
    case Op::kNormalize: {
      const double length = std::sqrt(double{Dot(in[0], in[0], count)});
      for (std::size_t i = 0; i < Index(count); ++i) {
        result[i] = ToWord(Noisy(ToFloat(in[0][i]) / length, 4));
      }
      return true;
    }
    case Op::kCross:
      for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        const std::size_t k = (i + 2) % 3;
        result[i] = ToWord(Noisy(double{scaled(in[0], ToFloat(in[1][k]), j)} -
                                 scaled(in[0], ToFloat(in[1][j]), k)));
      }
      return true;
    case Op::kReflect: {
      const float twice = 2 * Dot(in[1], in[0], count);
      for (std::size_t i = 0; i < Index(count); ++i) {
        result[i] = ToWord(Noisy(double{ToFloat(in[0][i])} - scaled(in[1], twice, i)));
      }
      return true;
    }
    case Op::kRefract: {
      const float eta = ToFloat(in[2][0]);
      const float along = Dot(in[1], in[0], count);
      const float rest = Noisy(1 - double{along} * along, 2);
      const float under = Noisy(1 - double{eta} * eta * rest, 2);
      const float by = Noisy(double{eta} * along + std::sqrt(std::max(double{under}, 0.0)), 4);
      for (std::size_t i = 0; i < Index(count); ++i) {
        const double bent = double{scaled(in[0], eta, i)} - scaled(in[1], by, i);
        result[i] = under < 0 ? 0 : ToWord(Noisy(bent));
      }
      return true;
    }
    case Op::kFaceForward: {
      const bool keeps = Dot(in[2], in[1], count) < 0;
      for (std::size_t i = 0; i < Index(count); ++i)
        result[i] = in[0][i] ^ (keeps ? 0 : 0x80000000);
      return true;
    }
    case Op::kPackHalf:
      result[0] = PackHalf(ToFloat(in[0][0])) | PackHalf(ToFloat(in[0][1])) << 16;
      return true;
    case Op::kUnpackHalf:
      result[0] = ToWord(UnpackHalf(in[0][0] & 0xFFFF));
      result[1] = ToWord(UnpackHalf(in[0][0] >> 16));
      return true;
    case Op::kPackUnorm4:
      pack(4, false);
      return true;
    case Op::kPackSnorm4:
      pack(4, true);
      return true;
    case Op::kPackUnorm2:
      pack(2, false);
      return true;
    case Op::kUnpackUnorm4:
      unpack(4, false);
      return true;
    case Op::kUnpackSnorm4:
      unpack(4, true);
      return true;
    case Op::kUnpackUnorm2:
      unpack(2, false);
      return true;
    case Op::kInputPosition:
      result[0] = ToWord(position_x_);
      result[1] = ToWord(position_y_);
      return true;
    case Op::kInputPixel:
      result[0] = ToWord(inputs_.pixel_size_x);
      result[1] = ToWord(inputs_.pixel_size_y);
      return true;
    case Op::kOwn:
      store(Fetch(inputs_.images[0], static_cast<int>(position_x_), static_cast<int>(position_y_)));
      return true;
    case Op::kFetch:
      store(Fetch(inputs_.images[Index(e.index)], ToInt(in[0][0]), ToInt(in[0][1])));
      return true;
    case Op::kSample:
      store(Sample(inputs_.images[Index(e.index)], ToFloat(in[0][0]), ToFloat(in[0][1])));
      return true;
    case Op::kTextureSize:
      result[0] = static_cast<Word>(inputs_.images[Index(e.index)].width);
      result[1] = static_cast<Word>(inputs_.images[Index(e.index)].height);
      return true;
    default:
      return false;
  }
}

// Of the matrix without one row and one column; -1 takes none away. Column by column, `full` high.
float Reference::Determinant(const Value& matrix, int size, int without_row, int without_column,
                             int full) {
  Value minor;
  std::size_t count = 0;
  for (int column = 0; column < full; ++column) {
    for (int row = 0; row < full; ++row) {
      if (row != without_row && column != without_column) {
        minor[count++] = matrix[Index(column * full + row)];
      }
    }
  }
  if (size == 1) return ToFloat(minor[0]);
  float sum = 0;
  for (int row = 0; row < size; ++row) {
    const float part = Determinant(minor, size - 1, row, 0, size);
    const float product = Noisy(double{ToFloat(minor[Index(row)])} * part, 2);
    sum = Noisy(row % 2 ? double{sum} - product : double{sum} + product);
  }
  return sum;
}

bool Reference::OperateOnMatrices(const Expression& e, const std::array<Value, 4>& in,
                                  Value& result) {
  const int size = e.operands.empty() ? 0 : e.operands[0]->type.rows;
  switch (e.op) {
    case Op::kMatrixMul: {
      const int rows = e.operands[0]->type.columns > 1 ? size : 1;  // a vector on the left is a row
      const int columns = e.operands[1]->type.columns;
      const int inner = e.operands[1]->type.rows;
      for (int column = 0; column < columns; ++column) {
        for (int row = 0; row < rows; ++row) {
          Value left;
          Value right;
          for (int k = 0; k < inner; ++k) {
            left[Index(k)] = in[0][Index(k * rows + row)];
            right[Index(k)] = in[1][Index(column * inner + k)];
          }
          result[Index(column * rows + row)] = ToWord(Dot(left, right, inner));
        }
      }
      return true;
    }
    case Op::kTranspose:
    case Op::kOuterProduct:
      for (int column = 0; column < size; ++column) {
        for (int row = 0; row < size; ++row) {
          result[Index(column * size + row)] =
              e.op == Op::kTranspose ? in[0][Index(row * size + column)]
                                     : ToWord(Noisy(double{ToFloat(in[0][Index(row)])} *
                                                    ToFloat(in[1][Index(column)])));
        }
      }
      return true;
    case Op::kDeterminant:
      result[0] = ToWord(Determinant(in[0], size, -1, -1, size));
      return true;
    case Op::kInverse: {
      const double determinant = Determinant(in[0], size, -1, -1, size);
      for (int column = 0; column < size; ++column) {
        for (int row = 0; row < size; ++row) {
          const float cofactor = Determinant(in[0], size - 1, column, row, size);
          result[Index(column * size + row)] =
              ToWord(Noisy(((row + column) % 2 ? -cofactor : cofactor) / determinant, 4));
        }
      }
      return true;
    }
    default:
      return false;
  }
}

Color Reference::Fetch(const Image& image, int x, int y) {
  if (x < 0 || y < 0 || x >= image.width || y >= image.height) return {};
  return image.texels[Index(y * image.width + x)];
}

Color Reference::Sample(const Image& image, float u, float v) {
  const Render::Sampler& sampler = inputs_.sampler;
  const auto whole = [](double at) { return static_cast<int>(std::clamp(at, -1e9, 1e9)); };
  const auto fetch = [&](double x, double y) {
    return Fetch(image, Extended(whole(x), image.width, sampler.extend_x),
                 Extended(whole(y), image.height, sampler.extend_y));
  };
  const float x = Noisy(double{u} * image.width, 1.01);
  const float y = Noisy(double{v} * image.height, 1.01);
  if (sampler.filter == Render::Filter::kNearest) return fetch(std::floor(x), std::floor(y));

  // A fraction within 1/512 of a texel counts as exact.
  const auto split = [](float at, double* texel) {
    *texel = std::floor(at - 0.5);
    const double fraction = at - 0.5 - *texel;
    if (fraction < 1.0 / 512) return 0.0;
    if (fraction <= 1 - 1.0 / 512) return fraction;
    *texel += 1;
    return 0.0;
  };
  double left = 0;
  double top = 0;
  const double right_weight = split(x, &left);
  const double bottom_weight = split(y, &top);
  Color result;
  const Color a = fetch(left, top);
  const Color b = fetch(left + 1, top);
  const Color c = fetch(left, top + 1);
  const Color d = fetch(left + 1, top + 1);
  for (std::size_t i = 0; i < 4; ++i) {
    const double upper = a[i] + (double{b[i]} - a[i]) * right_weight;
    const double lower = c[i] + (double{d[i]} - c[i]) * right_weight;
    result[i] = Noisy(upper + (lower - upper) * bottom_weight, 4, 1e-7);
  }
  return result;
}

}  // namespace Vantra::TranslatorFuzz
