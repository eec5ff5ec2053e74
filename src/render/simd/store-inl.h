// Results of pixel programs on their way into the target.

#if defined(VANTRIX_RENDER_SIMD_STORE_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VANTRIX_RENDER_SIMD_STORE_INL_H_
#undef VANTRIX_RENDER_SIMD_STORE_INL_H_
#else
#define VANTRIX_RENDER_SIMD_STORE_INL_H_
#endif

#include <algorithm>

#include "render/simd/color-inl.h"
#include "render/simd/pairs-inl.h"
#include "render/simd/row_read-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {

// The number of pixels of a row's vector that starts at column x: the first one ends where the
// target's cache lines do, so that no later one lies across.
HWY_INLINE std::int32_t VectorLength(std::int32_t x, std::int32_t end) {
  return std::min(kLanes - (x & (kLanes - 1)), end - x);
}

// Any format, blend and count. The colour comes in registers, so that the short way keeps it there.
void StoreAnyResult(const PixelArguments& arguments, std::int32_t x, std::int32_t y,
                    std::int32_t count, F r, F g, F b, F a);

// A row of the target. Stores the first `count` results, at most `kLanes`, from column x on: NaN as
// 0, else clamped to 0..1, at the nearest step.
class ResultRow {
 public:
  HWY_INLINE ResultRow(const PixelArguments& arguments, std::int32_t y)
      : arguments_(arguments),
        y_(y),
        row_(arguments.target.data + static_cast<std::size_t>(y) * arguments.target.pitch),
        plain_(arguments.blend == Blend::kReplace && arguments.target.format == Format::kBgra8) {}

  HWY_INLINE void Store(std::int32_t x, std::int32_t count, const Color& color) const {
    if (HWY_LIKELY(plain_ && count == kLanes)) {
      Simd::HWY_NAMESPACE::Store(ToWords<true>(color), WordsAt(x));
    } else {
      StoreAnyResult(arguments_, x, y_, count, color.r, color.g, color.b, color.a);
    }
  }

  // For a colour with the alpha that the read gives there, whose bytes need not be taken apart.
  HWY_INLINE void StoreKeepingAlpha(const RowRead& read, std::int32_t x, std::int32_t count,
                                    const Color& color) const {
    if (HWY_LIKELY(plain_ && read.plain && count == kLanes)) {
      Simd::HWY_NAMESPACE::Store(ToWordsWithAlpha(color, LoadPlainWords(read, x)), WordsAt(x));
    } else {
      Store(x, count, color);
    }
  }

  // Whether results replace pixels of `kBgra8`.
  bool IsPlain() const { return plain_; }

  // For a plain row, and a plain read: `kWideLanes` results.
  HWY_INLINE void StorePlain(std::int32_t x, const WideColor& color) const {
    Simd::HWY_NAMESPACE::Store(ToWords<true>(FirstOf(color)), WordsAt(x));
    if constexpr (kWideLanes != kLanes) {
      Simd::HWY_NAMESPACE::Store(ToWords<true>(SecondOf(color)), WordsAt(x + kLanes));
    }
  }
  HWY_INLINE void StorePlainKeepingAlpha(const RowRead& read, std::int32_t x,
                                         const WideColor& color) const {
    Simd::HWY_NAMESPACE::Store(ToWordsWithAlpha(FirstOf(color), LoadPlainWords(read, x)),
                               WordsAt(x));
    if constexpr (kWideLanes != kLanes) {
      Simd::HWY_NAMESPACE::Store(
          ToWordsWithAlpha(SecondOf(color), LoadPlainWords(read, x + kLanes)), WordsAt(x + kLanes));
    }
  }

 private:
  std::uint32_t* WordsAt(std::int32_t x) const {
    return reinterpret_cast<std::uint32_t*>(row_) + x;
  }

  const PixelArguments& arguments_;
  const std::int32_t y_;
  std::byte* const row_;
  const bool plain_;
};

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VANTRIX_RENDER_SIMD_STORE_INL_H_
