// Results of pixel programs on their way into the target.

#if defined(VANTRIX_RENDER_SIMD_STORE_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VANTRIX_RENDER_SIMD_STORE_INL_H_
#undef VANTRIX_RENDER_SIMD_STORE_INL_H_
#else
#define VANTRIX_RENDER_SIMD_STORE_INL_H_
#endif

#include <algorithm>

#include "render/simd/color-inl.h"

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

// Stores the first `count` results, at most `kLanes`, from (x, y) of the target on: NaN as 0, else
// clamped to 0..1, at the nearest step.
HWY_INLINE void StoreResult(const PixelArguments& arguments, std::int32_t x, std::int32_t y,
                            std::int32_t count, const Color& color) {
  if (HWY_LIKELY(count == kLanes && arguments.blend == Blend::kReplace &&
                 arguments.target.format == Format::kBgra8)) {
    std::byte* const to = arguments.target.data +
                          static_cast<std::size_t>(y) * arguments.target.pitch +
                          static_cast<std::size_t>(x) * 4;
    Store(ToWords<true>(color), reinterpret_cast<std::uint32_t*>(to));
    return;
  }
  StoreAnyResult(arguments, x, y, count, color.r, color.g, color.b, color.a);
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VANTRIX_RENDER_SIMD_STORE_INL_H_
