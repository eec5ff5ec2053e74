// Two vectors side by side, and the operations of programs on them. A processor looks only so far
// ahead: steps of two vectors that stand in turn leave it less to wait for than those of one behind
// the other. With as few registers as AVX2 has they would only move to memory and back.

#if defined(VANTRIX_RENDER_SIMD_PAIRS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VANTRIX_RENDER_SIMD_PAIRS_INL_H_
#undef VANTRIX_RENDER_SIMD_PAIRS_INL_H_
#else
#define VANTRIX_RENDER_SIMD_PAIRS_INL_H_
#endif

#include "render/simd/color-inl.h"
#include "render/simd/integers-inl.h"
#include "render/simd/lanes-inl.h"
#include "render/simd/math-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {

template <class T>
struct Pair {
  Pair() = default;
  // The same in both.
  HWY_INLINE Pair(T both) : first(both), second(both) {}
  HWY_INLINE Pair(T a, T b) : first(a), second(b) {}

  T first;
  T second;
};

template <class T>
constexpr bool kIsPair = false;
template <class T>
constexpr bool kIsPair<Pair<T>> = true;

// What stands for either vector alone.
template <class T>
HWY_INLINE const T& FirstOf(const T& both) {
  return both;
}
template <class T>
HWY_INLINE const T& FirstOf(const Pair<T>& pair) {
  return pair.first;
}
template <class T>
HWY_INLINE const T& SecondOf(const T& both) {
  return both;
}
template <class T>
HWY_INLINE const T& SecondOf(const Pair<T>& pair) {
  return pair.second;
}

#define VANTRIX_OF_PAIRS(NAME)                                                           \
  template <class... Operands>                                                           \
  requires(kIsPair<Operands> || ...) HWY_INLINE auto NAME(const Operands&... operands) { \
    return Pair(NAME(FirstOf(operands)...), NAME(SecondOf(operands)...));                \
  }
VANTRIX_OF_PAIRS(Neg)
VANTRIX_OF_PAIRS(Add)
VANTRIX_OF_PAIRS(Sub)
VANTRIX_OF_PAIRS(Mul)
VANTRIX_OF_PAIRS(MulAdd)
VANTRIX_OF_PAIRS(MulSub)
VANTRIX_OF_PAIRS(NegMulAdd)
VANTRIX_OF_PAIRS(Fma)
VANTRIX_OF_PAIRS(Div)
VANTRIX_OF_PAIRS(Rem)
VANTRIX_OF_PAIRS(Mod)
VANTRIX_OF_PAIRS(MulHigh)
VANTRIX_OF_PAIRS(Min)
VANTRIX_OF_PAIRS(Max)
VANTRIX_OF_PAIRS(Abs)
VANTRIX_OF_PAIRS(Sign)
VANTRIX_OF_PAIRS(Equal)
VANTRIX_OF_PAIRS(NotEqual)
VANTRIX_OF_PAIRS(Less)
VANTRIX_OF_PAIRS(LessEqual)
VANTRIX_OF_PAIRS(Greater)
VANTRIX_OF_PAIRS(GreaterEqual)
VANTRIX_OF_PAIRS(IsNan)
VANTRIX_OF_PAIRS(IsInf)
VANTRIX_OF_PAIRS(And)
VANTRIX_OF_PAIRS(AndNot)
VANTRIX_OF_PAIRS(Or)
VANTRIX_OF_PAIRS(Xor)
VANTRIX_OF_PAIRS(Not)
VANTRIX_OF_PAIRS(ShiftLeft)
VANTRIX_OF_PAIRS(ShiftRight)
VANTRIX_OF_PAIRS(BitCount)
VANTRIX_OF_PAIRS(BitReverse)
VANTRIX_OF_PAIRS(FindLowestBit)
VANTRIX_OF_PAIRS(FindHighestBit)
VANTRIX_OF_PAIRS(Select)
VANTRIX_OF_PAIRS(FloatToInt)
VANTRIX_OF_PAIRS(FloatToUint)
VANTRIX_OF_PAIRS(IntToFloat)
VANTRIX_OF_PAIRS(UintToFloat)
VANTRIX_OF_PAIRS(BitsToFloat)
VANTRIX_OF_PAIRS(BitsToInt)
VANTRIX_OF_PAIRS(BitsToUint)
VANTRIX_OF_PAIRS(FloatToHalf)
VANTRIX_OF_PAIRS(HalfToFloat)
VANTRIX_OF_PAIRS(Floor)
VANTRIX_OF_PAIRS(Ceil)
VANTRIX_OF_PAIRS(Trunc)
VANTRIX_OF_PAIRS(Round)
VANTRIX_OF_PAIRS(Fract)
VANTRIX_OF_PAIRS(Sqrt)
VANTRIX_OF_PAIRS(InverseSqrt)
#undef VANTRIX_OF_PAIRS

struct PairOfColors {
  Pair<F> r;
  Pair<F> g;
  Pair<F> b;
  Pair<F> a;
};

HWY_INLINE Color FirstOf(const PairOfColors& pair) {
  return {pair.r.first, pair.g.first, pair.b.first, pair.a.first};
}
HWY_INLINE Color SecondOf(const PairOfColors& pair) {
  return {pair.r.second, pair.g.second, pair.b.second, pair.a.second};
}

// As many vectors as pay on this target.
#if HWY_TARGET == HWY_AVX3
using WideF = Pair<F>;
using WideI = Pair<I>;
using WideU = Pair<U>;
using WideM = Pair<M>;
using WideColor = PairOfColors;
constexpr std::int32_t kWideLanes = 2 * kLanes;

// Of the colours that a function gives for the number of each vector.
template <class Function>
HWY_INLINE WideColor MakeWide(Function color_of) {
  const Color first = color_of(0);
  const Color second = color_of(1);
  return {{first.r, second.r}, {first.g, second.g}, {first.b, second.b}, {first.a, second.a}};
}
#else
using WideF = F;
using WideI = I;
using WideU = U;
using WideM = M;
using WideColor = Color;
constexpr std::int32_t kWideLanes = kLanes;

template <class Function>
HWY_INLINE WideColor MakeWide(Function color_of) {
  return color_of(0);
}
#endif

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VANTRIX_RENDER_SIMD_PAIRS_INL_H_
