#pragma once

// A program between its parser and its emitters: scalar values in static single assignment form,
// in blocks. Vectors, matrices, structures, pointers and functions are gone; each component is a
// value of its own.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace Vantra::Pixelc {

// All of 32 bits, but for the truth values.
enum class Type : std::uint8_t { kFloat, kInt, kUint, kBool };

using ValueId = std::uint32_t;
using BlockId = std::uint32_t;
constexpr std::uint32_t kNone = 0xFFFFFFFF;

// The name of an operation without its k is the function's name in the generated code, which exists
// for scalars and for lanes. Types follow from the operands and the result where an operation is
// there for more than one.
enum class Op : std::uint8_t {
  // Leaves. `bits` is the value, or for kBool 0 or 1.
  kConstant,
  kUndefined,  // any value will do; taken as 0
  kPixelX,     // centre of the target's pixel, x + 0.5 (float)
  kPixelY,
  kOriginX,  // placement of the pass (float)
  kOriginY,
  kPixelSizeX,
  kPixelSizeY,
  kInvocationX,  // place in the grid of a compute program (uint)
  kInvocationY,
  kPhi,  // operands in the order of the block's predecessors

  // Numbers. kDiv, kRem and kMod of integers by 0 give some value and do not trap.
  kNeg,
  kAdd,
  kSub,
  kMul,
  kDiv,
  kRem,      // with the dividend's sign
  kMod,      // with the divisor's sign
  kMulHigh,  // the upper half of a 64-bit product, int or uint
  kMin,      // of a number and NaN, the number
  kMax,
  kAbs,
  kSign,

  // Comparisons give kBool. Of floats, with NaN all are false but kNotEqual. Of kBool, there are
  // kEqual and kNotEqual.
  kEqual,
  kNotEqual,
  kLess,
  kLessEqual,
  kGreater,
  kGreaterEqual,
  kIsNan,
  kIsInf,

  // Bits, of integers and (the first four) of kBool.
  kAnd,
  kOr,
  kXor,
  kNot,
  kShiftLeft,   // only the lowest five bits of the second operand count; both are of one type
  kShiftRight,  // of int with its sign
  kBitCount,
  kBitReverse,
  kFindLowestBit,   // -1 for 0 (int result)
  kFindHighestBit,  // of int, the highest bit that differs from the sign; -1 for 0 and -1

  kSelect,  // condition, value if true, value if false

  kFloatToInt,  // towards zero; what does not fit, and NaN, give some value
  kFloatToUint,
  kIntToFloat,
  kUintToFloat,
  kBitsToFloat,  // the same bits of another type
  kBitsToInt,
  kBitsToUint,
  kFloatToHalf,  // to the nearest, ties to even: bits of a 16-bit float (uint)
  kHalfToFloat,  // of the lower 16 bits of a uint

  // Functions of floats.
  kFloor,
  kCeil,
  kTrunc,
  kRound,  // ties to even
  kFract,
  kSqrt,
  kInverseSqrt,
  kFma,
  kSin,
  kCos,
  kTan,
  kAsin,
  kAcos,
  kAtan,
  kAtan2,  // y, x
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
  kLdexp,     // float, int
  kMantissa,  // of frexp, in 0.5 to 1
  kExponent,  // of frexp (int)

  // Textures: `index` is the register. Four results, red to alpha.
  kSample,       // u, v (float), filtered by the sampler of register `second_index`
  kFetch,        // x, y (int); transparent black outside
  kTextureSize,  // two results, width and height (int)

  // Memory.
  kLoadConstant,  // byte offset (uint) into the constants; zero beyond their end
  kLoadArray,     // `index` is the array; element (uint). Elements outside give some value
  kStoreArray,    // element, value; no result. Elements outside are lost

  // Effects, no results.
  kResult,    // red, green, blue, alpha of the pixel; once on each way through the program
  kWriteWord  // index (uint), value (uint) into the output of a compute program
};

struct Instruction {
  Op op = Op::kConstant;
  Type type = Type::kFloat;  // of the results
  // Most have one.
  std::vector<ValueId> results = {};
  std::vector<ValueId> operands = {};
  std::uint32_t bits = 0;
  std::uint32_t index = 0;
  std::uint32_t second_index = 0;
  // A sum or product of floats that is rounded by itself, and not together with another.
  bool is_precise = false;
};

struct Terminator {
  enum class Kind : std::uint8_t { kBranch, kBranchIf, kReturn };
  Kind kind = Kind::kReturn;
  ValueId condition = kNone;
  // kBranch: the first; kBranchIf: where true, where false.
  std::array<BlockId, 2> targets = {kNone, kNone};
};

struct Block {
  // Phis first.
  std::vector<Instruction> instructions;
  Terminator terminator;
  // In the order of the phis' operands. A block that branches twice to the same target is there
  // twice.
  std::vector<BlockId> predecessors;
};

// A local array with an index that is not known when the program is built.
struct Array {
  Type type = Type::kFloat;
  std::uint32_t size = 0;
};

struct Program {
  std::string name;
  bool is_compute = false;
  std::vector<Array> arrays;
  // Block 0 is the entry, and has no predecessors. All blocks can be reached, in reverse postorder.
  // The flow is reducible: each loop has one header, and one block goes back to it. A loop's blocks
  // follow its header with no others among them.
  std::vector<Block> blocks;
  // By value.
  std::vector<Type> types;
};

}  // namespace Vantra::Pixelc
