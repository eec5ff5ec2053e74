#pragma once

// A random pixel program as a tree, which is printed as GLSL for the engines and evaluated directly
// by the reference.

#include <array>
#include <bit>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Vantra::TranslatorFuzz {

// All values are 32-bit words; truth values are 0 and 1.
using Word = std::uint32_t;

enum class Scalar : std::uint8_t { kBool, kInt, kUint, kFloat };

struct Type {
  Scalar scalar = Scalar::kFloat;
  int rows = 1;        // of a vector, or of a column
  int columns = 1;     // more than 1 is a matrix
  int length = 0;      // of an array; 0 is none
  int structure = -1;  // in `Program::structures`

  int Components() const { return rows * columns; }
  bool IsScalar() const { return Components() == 1 && length == 0 && structure < 0; }
  friend bool operator==(const Type&, const Type&) = default;
};

enum class Op : std::uint8_t {
  // Written between their operands. On vectors the comparisons are functions.
  kAdd,
  kSub,
  kMul,  // component by component
  kMatrixMul,
  kDiv,
  kMod,  // of integers, as %
  kAnd,
  kOr,
  kXor,
  kShiftLeft,
  kShiftRight,
  kLess,
  kLessEqual,
  kGreater,
  kGreaterEqual,
  kEqual,
  kNotEqual,
  kLogicalAnd,
  kLogicalOr,
  kLogicalXor,
  // Before their operand.
  kNeg,
  kBitNot,
  kLogicalNot,
  // Condition, value if true, value if false.
  kSelect,
  // Written as functions.
  kAbs,
  kSign,
  kMin,
  kMax,
  kClamp,
  kFloor,
  kCeil,
  kTrunc,
  kRoundEven,
  kFract,
  kFloatMod,
  kStep,
  kMix,
  kMixBool,
  kSmoothstep,
  kFma,
  kSqrt,
  kInverseSqrt,
  kSin,
  kCos,
  kTan,
  kAsin,
  kAcos,
  kAtan,
  kAtan2,
  kSinh,
  kCosh,
  kTanh,
  kAsinh,
  kAcosh,
  kAtanh,
  kExp,
  kLog,
  kExp2,
  kLog2,
  kPow,
  kRadians,
  kDegrees,
  kLdexp,
  kDot,
  kLength,
  kDistance,
  kNormalize,
  kCross,
  kReflect,
  kRefract,
  kFaceForward,
  kTranspose,
  kDeterminant,
  kInverse,
  kOuterProduct,
  kMatrixCompMult,
  kAny,
  kAll,
  kNotVector,
  kIsNan,
  kIsInf,
  kBitCount,
  kBitReverse,
  kFindLsb,
  kFindMsb,
  kBitExtract,
  kBitInsert,
  kFloatBitsToInt,
  kFloatBitsToUint,
  kBitsToFloat,  // of int or uint
  kPackHalf,
  kUnpackHalf,
  kPackUnorm4,
  kUnpackUnorm4,
  kPackSnorm4,
  kUnpackSnorm4,
  kPackUnorm2,
  kUnpackUnorm2,
  // The last operand of each is written.
  kModf,
  kFrexp,
  kAddCarry,
  kSubBorrow,
  // The last two operands are written: upper and lower half.
  kMulExtended,
  // The interface of pixel programs. Reads take `Expression::index` as the texture's register.
  kInputPosition,
  kInputPixel,
  kOwn,
  kSample,
  kFetch,
  kTextureSize,
};

struct Expression;
using Expr = std::shared_ptr<const Expression>;

struct Expression {
  enum class Kind {
    kConstant,   // `words`
    kVariable,   // `index`
    kElement,    // of an array, a vector or a matrix: the second operand
    kField,      // `index` of a structure
    kSwizzle,    // `swizzle`, as many as the type has
    kConstruct,  // of operands in order, or a conversion, or a vector of one scalar
    kOperation,
  };
  Kind kind = Kind::kConstant;
  Type type;
  Op op = Op::kAdd;
  int index = 0;
  std::array<std::uint8_t, 4> swizzle = {};
  std::vector<Word> words = {};
  std::vector<Expr> operands = {};
};

struct Statement;
using Block = std::vector<Statement>;

struct Statement {
  enum class Kind {
    kDeclare,   // `variable` starts as `value`
    kAssign,    // `target` becomes `value`
    kEvaluate,  // `value`, for what it writes
    kCall,      // `function` of `arguments`; its result starts `variable` if that is not -1
    kIf,        // `blocks`: one or two
    kFor,       // `variable` counts from 0 while below `value`, which is evaluated each time
    kWhile,     // `variable` counts up to `limit` while `value` holds
    kDoWhile,
    kSwitch,  // a block for each of `labels`, where -1 is the default
    kBreak,
    kContinue,
    kReturn,  // `value`, or null
  };
  Kind kind = Kind::kBreak;
  int variable = -1;
  int function = -1;
  int limit = 0;
  Expr target = {};
  Expr value = {};
  std::vector<Expr> arguments = {};
  std::vector<Block> blocks = {};
  std::vector<int> labels = {};
  std::vector<bool> falls_through = {};  // by label; else the block ends in a break
};

struct Variable {
  enum class Kind { kLocal, kConstant, kTable, kUv };
  Kind kind = Kind::kLocal;
  Type type;
  int address = 0;  // of its first word in the memory of a run
};

struct Function {
  enum class Direction { kIn, kOut, kInOut };
  bool has_result = false;
  Type result = {};
  std::vector<int> parameters = {};
  std::vector<Direction> directions = {};
  Block body = {};
};

struct Program {
  std::uint64_t seed = 0;
  // Each engine must give the reference's bytes: whole numbers, and floats that no operation
  // rounds.
  bool exact = false;
  int sampler_register = 0;
  std::vector<std::vector<Type>> structures;
  // First the constants, in the order of their block.
  std::vector<Variable> variables;
  std::vector<Function> functions;  // the last is `shade`
  // Where a run starts: the constants are to be filled in, the tables are there.
  std::vector<Word> memory;
  int constant_words = 0;
  int statements = 0;

  int Words(const Type& type) const {
    int words = type.Components();
    if (type.structure >= 0) {
      words = 0;
      for (const Type& field : structures[static_cast<std::size_t>(type.structure)]) {
        words += Words(field);
      }
    }
    return type.length > 0 ? words * type.length : words;
  }
};

inline Word ToWord(float value) { return std::bit_cast<Word>(value); }
inline float ToFloat(Word word) { return std::bit_cast<float>(word); }
inline std::int32_t ToInt(Word word) { return static_cast<std::int32_t>(word); }

// The program of a seed.
Program Generate(std::uint64_t seed);
// As GLSL against render/shaders/pixel.glsl.
std::string PrintGlsl(const Program& program);

}  // namespace Vantra::TranslatorFuzz
