#include <algorithm>
#include <bit>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "render/simd/targets.h"
// After the choice of targets.
#include "render/simd/target_tests.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "render/simd/lanes_test.cpp"
#include "hwy/foreach_target.h"
#include "render/simd/math-inl.h"
#include "render/simd/memory-inl.h"

#ifndef VANTRIX_LANES_TEST_COMMON
#define VANTRIX_LANES_TEST_COMMON
namespace Vantra::Render::Simd {
namespace {

// Bits of numbers that have something special about them as floats or as whole numbers, and others.
std::vector<std::uint32_t> Operands() {
  std::vector<std::uint32_t> bits = {0,          1,          2,          31,         32,
                                     33,         0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFFF,
                                     0x7F800000, 0xFF800000, 0x7FC00000, 0x3F800000, 0xBF800000,
                                     0x3F000000, 0x40200000, 0xC0200000, 0x4B000001, 0x4F000000,
                                     0xCF000000, 0x4F800000, 0x00800000, 0x7F7FFFFF, 0x42F70000};
  std::uint32_t state = 1;
  while (bits.size() < 64) {
    state = state * 1664525 + 1013904223;
    bits.push_back(state ^ state >> 15);
    // Near 1, where sums and products of floats are not all lost.
    bits.push_back((state >> 9 & 0x83FFFFFF) | 0x3D000000);
  }
  return bits;
}

template <class T>
bool SameNumber(T a, T b) {
  if constexpr (std::same_as<T, float>) {
    if (std::isnan(a)) return std::isnan(b);
  }
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

}  // namespace
}  // namespace Vantra::Render::Simd
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {
namespace {

template <class T>
auto LanesOf(const T* values) {
  return Load(values);
}

bool Lane(M mask, std::int32_t lane) {
  std::int32_t lanes[kLanes];
  Store(Select(mask, Broadcast(1), Broadcast(0)), lanes);
  return lanes[lane] != 0;
}
template <class T>
T Lane(Lanes<T> value, std::int32_t lane) {
  T lanes[kLanes];
  Store(value, lanes);
  return lanes[lane];
}

// Compares an operation's lanes and its scalar form with plain C++, for all pairs of operands.
template <class T, class Operation, class Expected>
void CheckPairs(const char* name, Operation operation, Expected expected) {
  const std::vector<std::uint32_t> operands = Operands();
  for (const std::uint32_t first : operands) {
    const T a = std::bit_cast<T>(first);
    for (std::size_t start = 0; start < operands.size(); start += kLanes) {
      T others[kLanes];
      std::memcpy(others, &operands[start], sizeof(others));
      const auto lanes = operation(Broadcast(a), LanesOf(others));
      for (std::int32_t i = 0; i < kLanes; ++i) {
        const auto wanted = expected(a, others[i]);
        ASSERT_TRUE(
            SameNumber(Lane(lanes, i), wanted) &&
            SameNumber<std::remove_const_t<decltype(wanted)>>(operation(a, others[i]), wanted))
            << name << " of " << a << " and " << others[i] << " gives " << Lane(lanes, i) << ", as "
            << "a scalar " << operation(a, others[i]) << ", not " << wanted;
      }
    }
  }
}
template <class T, class Operation, class Expected>
void CheckEach(const char* name, Operation operation, Expected expected) {
  CheckPairs<T>(
      name, [&](auto, auto b) HWY_ATTR { return operation(b); },
      [&](T, T b) { return expected(b); });
}

// The operation is a set of overloads, which a lambda takes along.
#define PAIRS(T, Name, expected)                                 \
  CheckPairs<T>(                                                 \
      #Name, [](auto x, auto y) HWY_ATTR { return Name(x, y); }, \
      [](T a, T b) {                                             \
        (void)a;                                                 \
        (void)b;                                                 \
        return expected;                                         \
      })
#define EACH(T, Name, expected) \
  CheckEach<T>(                 \
      #Name, [](auto x) HWY_ATTR { return Name(x); }, [](T a) { return expected; })

// Of two zeros the result may be either.
F Unsigned(F number) { return Add(number, Broadcast(0.0f)); }
float Unsigned(float number) { return number + 0.0f; }
template <class T>
T LeastOf(T a, T b) {
  return Unsigned(Min(a, b));
}
template <class T>
T MostOf(T a, T b) {
  return Unsigned(Max(a, b));
}

void CheckFloats() {
  PAIRS(float, Add, a + b);
  PAIRS(float, Sub, a - b);
  PAIRS(float, Mul, a* b);
  PAIRS(float, Div, a / b);
  PAIRS(float, LeastOf, (std::isnan(b) || a < b ? a : b) + 0.0f);
  PAIRS(float, MostOf, (std::isnan(b) || a > b ? a : b) + 0.0f);
  PAIRS(float, Rem, a - b * std::trunc(a / b));
  PAIRS(float, Mod, a - b * std::floor(a / b));
  PAIRS(float, Equal, a == b);
  PAIRS(float, NotEqual, a != b);
  PAIRS(float, Less, a < b);
  PAIRS(float, LessEqual, a <= b);
  PAIRS(float, Greater, a > b);
  PAIRS(float, GreaterEqual, a >= b);
  EACH(float, Neg, -a);
  EACH(float, Abs, std::fabs(a));
  EACH(float, Sign, (a > 0 ? 1.0f : a < 0 ? -1.0f : 0.0f));
  EACH(float, IsNan, std::isnan(a));
  EACH(float, IsInf, std::isinf(a));
  EACH(float, Floor, std::floor(a));
  EACH(float, Ceil, std::ceil(a));
  EACH(float, Trunc, std::trunc(a));
  EACH(float, Round, std::nearbyint(a));
  EACH(float, Fract, a - std::floor(a));
  EACH(float, Sqrt, std::sqrt(a));
  EACH(float, InverseSqrt, 1 / std::sqrt(a));
  EACH(float, BitsToUint, std::bit_cast<std::uint32_t>(a));
  constexpr std::int32_t kSmallest = std::numeric_limits<std::int32_t>::min();
  EACH(float, FloatToInt,
       (std::fabs(a) < 2147483648.0f ? static_cast<std::int32_t>(a) : kSmallest));
  // Numbers that fit, and the same bits for those that do not.
  CheckEach<float>(
      "FloatToUint", [](auto x) HWY_ATTR { return FloatToUint(x); },
      [](float a) HWY_ATTR {
        return a > -1 && a < 4294967296.0f ? static_cast<std::uint32_t>(a) : FloatToUint(a);
      });
  for (const float c : {0.0f, -1.0f, 1e30f, 0x1p-140f, -0x1.8p-24f}) {
    CheckPairs<float>(
        "Fma",
        [&](auto x, auto y) HWY_ATTR {
          if constexpr (std::same_as<decltype(x), float>) {
            return Fma(x, y, c);
          } else {
            return Fma(x, y, Broadcast(c));
          }
        },
        [&](float a, float b) { return std::fma(a, b, c); });
  }
}

template <class T>
void CheckWhole() {
  using Wide = std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>;
  const auto wrap = [](Wide value) { return static_cast<T>(static_cast<std::uint32_t>(value)); };
  const auto mod = [](Wide a, Wide b) {
    return b == 0 ? 0 : a % b != 0 && ((a % b < 0) != (b < 0)) ? a % b + b : a % b;
  };
#define WIDE_PAIRS(Name, expected)                               \
  CheckPairs<T>(                                                 \
      #Name, [](auto x, auto y) HWY_ATTR { return Name(x, y); }, \
      [&](T first, T second) {                                   \
        const Wide a = first;                                    \
        const Wide b = second;                                   \
        return wrap(expected);                                   \
      })
  WIDE_PAIRS(Add, a + b);
  WIDE_PAIRS(Sub, a - b);
  WIDE_PAIRS(Mul, static_cast<Wide>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b)));
  WIDE_PAIRS(MulHigh, a * b >> 32);
  WIDE_PAIRS(Div, b == 0 ? a : a / b);
  WIDE_PAIRS(Rem, b == 0 ? 0 : a % b);
  WIDE_PAIRS(Mod, mod(a, b));
  WIDE_PAIRS(Min, std::min(a, b));
  WIDE_PAIRS(Max, std::max(a, b));
  WIDE_PAIRS(And, a & b);
  WIDE_PAIRS(Or, a | b);
  WIDE_PAIRS(Xor, a ^ b);
  WIDE_PAIRS(ShiftLeft, static_cast<Wide>(static_cast<std::uint64_t>(a) << (b & 31)));
  WIDE_PAIRS(ShiftRight, a >> (b & 31));
#undef WIDE_PAIRS
  CheckPairs<T>(
      "ShiftLeft by one count for all", [](auto x, auto) HWY_ATTR { return ShiftLeft(x, T{35}); },
      [&](T a, T) { return wrap(static_cast<Wide>(static_cast<std::uint64_t>(a) << 3)); });
  EACH(T, Neg, static_cast<T>(0u - static_cast<std::uint32_t>(a)));
  EACH(T, Not, static_cast<T>(~a));
  PAIRS(T, Equal, a == b);
  PAIRS(T, NotEqual, a != b);
  PAIRS(T, Less, a < b);
  PAIRS(T, LessEqual, a <= b);
  PAIRS(T, Greater, a > b);
  PAIRS(T, GreaterEqual, a >= b);
  EACH(T, BitCount, static_cast<T>(std::popcount(static_cast<std::uint32_t>(a))));
  EACH(T, BitReverse, [](std::uint32_t bits) {
    std::uint32_t reversed = 0;
    for (int i = 0; i < 32; ++i) reversed |= (bits >> i & 1) << (31 - i);
    return static_cast<T>(reversed);
  }(static_cast<std::uint32_t>(a)));
  EACH(T, FindLowestBit, [](T number) {
    for (int i = 0; i < 32; ++i) {
      if ((number >> i & 1) != 0) return i;
    }
    return -1;
  }(a));
  EACH(T, FindHighestBit, [](T number) {
    for (int i = 31; i >= 0; --i) {
      if ((number >> i & 1) != (number < 0 ? 1 : 0)) return i;
    }
    return -1;
  }(a));
}

void CheckConversions() {
  EACH(std::int32_t, IntToFloat, static_cast<float>(a));
  EACH(std::uint32_t, UintToFloat, static_cast<float>(a));
  EACH(std::int32_t, Sign, (a > 0) - (a < 0));
  EACH(std::int32_t, Abs,
       (a < 0 ? static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(a)) : a));
}

// Every 16-bit float, and what lies a quarter of a step, a half and three quarters above it.
void CheckHalves() {
  const auto value = [](std::uint32_t half) {
    const double sign = half & 0x8000 ? -1 : 1;
    const int exponent = static_cast<int>(half >> 10 & 31);
    const double mantissa = half & 0x3FF;
    if (exponent == 0) return sign * std::ldexp(mantissa, -24);
    return sign * std::ldexp(1024 + mantissa, exponent - 25);
  };
  for (std::uint32_t half = 0; half < 0x10000; ++half) {
    const bool negative = half >= 0x8000;
    const std::uint32_t magnitude = half & 0x7FFF;
    const float number = HalfToFloat(half);
    if (magnitude > 0x7C00) {
      ASSERT_TRUE(std::isnan(number));
      ASSERT_GT(FloatToHalf(number) & 0x7FFF, 0x7C00u);
      continue;
    }
    ASSERT_TRUE(magnitude == 0x7C00 ? std::isinf(number) && std::signbit(number) == negative
                                    : SameNumber(number, static_cast<float>(value(half))))
        << half;
    ASSERT_EQ(FloatToHalf(number), half);
    if (magnitude >= 0x7C00) continue;
    for (int quarter = 1; quarter < 4; ++quarter) {
      const double between = value(half) + (value(half + 1) - value(half)) * quarter / 4;
      const bool up = quarter > 2 || (quarter == 2 && (half & 1) != 0);
      ASSERT_EQ(FloatToHalf(static_cast<float>(between)), half + (up ? 1 : 0)) << between;
    }
  }
}

void CheckMasks() {
  for (std::int32_t count = 0; count <= kLanes; ++count) {
    const M first = FirstLanes(count);
    EXPECT_EQ(Any(first), count > 0);
    EXPECT_EQ(All(first), count == kLanes);
    for (std::int32_t i = 0; i < kLanes; ++i) {
      EXPECT_EQ(Lane(first, i), i < count);
      EXPECT_EQ(Lane(Select(first, Iota(7), Broadcast(-1)), i), i < count ? 7 + i : -1);
      EXPECT_EQ(Lane(AndNot(first, Broadcast(true)), i), i >= count);
      EXPECT_EQ(Lane(Equal(first, Broadcast(false)), i), i >= count);
      EXPECT_EQ(Lane(Select(first, Broadcast(false), Broadcast(true)), i), i >= count);
    }
  }
}

void CheckMemory() {
  alignas(64) std::byte constants[kMaximumConstantBytes];
  for (std::uint32_t i = 0; i < kMaximumConstantBytes / 4; ++i)
    std::memcpy(constants + 4 * i, &i, 4);
  const U offsets = BitsToUint(ShiftLeft(Iota(1024 - kLanes / 2), 2));
  LocalArray<I, 3> array;
  const M odd = Equal(And(Iota(0), Broadcast(1)), Broadcast(1));
  array.Store(1u, Iota(100), odd);
  array.Store(BitsToUint(Iota(0)), Iota(200), Broadcast(true));
  array.Store(5u, Broadcast(1), Broadcast(true));
  for (std::int32_t i = 0; i < kLanes; ++i) {
    const auto offset = 4 * static_cast<std::uint32_t>(1024 - kLanes / 2 + i);
    const std::uint32_t expected = offset < kMaximumConstantBytes ? offset / 4 : 0;
    EXPECT_EQ(Lane(LoadUint(constants, offsets), i), expected);
    EXPECT_EQ(LoadUint(constants, offset), expected);
    EXPECT_EQ(Lane(LoadBool(constants, offsets), i), expected != 0);
    EXPECT_EQ(Lane(array.Load(1u), i), i == 1 ? 201 : i % 2 ? 100 + i : 0);
    EXPECT_EQ(Lane(array.Load(BitsToUint(Iota(0))), i), i == 0   ? 200
                                                        : i == 1 ? 201
                                                        : i == 2 ? 202
                                                                 : Lane(array.Load(2u), i));
  }
  EXPECT_EQ(LoadUint(constants, 0xFFFFFFFF), 0u);
  EXPECT_EQ(LoadFloat(constants, 4), std::bit_cast<float>(1));
}

void CheckWords() {
  std::vector<std::uint32_t> words(40, 7);
  ComputeArguments arguments;
  arguments.output = words.data();
  arguments.output_words = 39;
  WriteWords(arguments, Broadcast(0xFFFFFFF0u), Broadcast(1u), Broadcast(true));
  WriteWords(arguments, BitsToUint(Iota(0)), BitsToUint(Iota(100)), Broadcast(true));
  WriteWords(arguments, BitsToUint(Iota(39 - kLanes / 2)), BitsToUint(Iota(200)),
             Not(FirstLanes(1)));
  for (int i = 0; i < 40; ++i) {
    const bool in_last = i > 39 - kLanes / 2 && i < 39;
    EXPECT_EQ(words[static_cast<std::size_t>(i)],
              static_cast<std::uint32_t>(i < kLanes ? 100 + i
                                         : in_last  ? 200 + i - (39 - kLanes / 2)
                                                    : 7));
  }
}

}  // namespace

void CheckLanes() {
  CheckMasks();
  CheckFloats();
  CheckConversions();
}
void CheckWholeNumbers() {
  CheckWhole<std::int32_t>();
  CheckWhole<std::uint32_t>();
}
void CheckAllHalves() { CheckHalves(); }
void CheckMemoryOfPrograms() {
  CheckMemory();
  CheckWords();
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantra::Render::Simd {
namespace {

TEST_ON_EACH_TARGET(Lanes, FloatsAreComputedAsPlainCodeDoes, CheckLanes);
TEST_ON_EACH_TARGET(Lanes, WholeNumbersWrapAndNeverTrap, CheckWholeNumbers);
TEST_ON_EACH_TARGET(Lanes, HalvesAreRoundedToTheNearest, CheckAllHalves);
TEST_ON_EACH_TARGET(Lanes, MemoryIsReadAndWrittenOnlyWhereItIs, CheckMemoryOfPrograms);

TEST(Tape, GivesBackWhatWasPushedAndKeepsItsMemory) {
  struct Small {
    bool flag;
  };
  struct Large {
    double numbers[20];
  };
  Tape tape;
  for (int run = 0; run < 2; ++run) {
    tape.Clear();
    for (int i = 0; i < 1000; ++i) {
      tape.Push<Small>()->flag = i % 3 == 0;
      tape.Push<Large>()->numbers[19] = i;
    }
    for (int pass = 0; pass < 2; ++pass) {
      Tape::Records records = tape.Read();
      for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(records.Next<Small>()->flag, i % 3 == 0);
        ASSERT_EQ(records.Next<Large>()->numbers[19], i);
      }
    }
  }
  EXPECT_FALSE(tape.Failed());
  // A row that never ends fails before the machine's memory does.
  struct Page {
    std::byte bytes[4080];
  };
  for (int i = 0; i < 100000 && !tape.Failed(); ++i) tape.Push<Page>();
  EXPECT_TRUE(tape.Failed());
  tape.Clear();
  EXPECT_FALSE(tape.Failed());
}

}  // namespace
}  // namespace Vantra::Render::Simd
#endif
