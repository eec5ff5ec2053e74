#include "render/simd/native/native_kernels.h"

#include <array>
#include <cmath>

namespace Vantra::Render::Simd {

bool IsWholeOffset(const PixelArguments& arguments) {
  // Beyond, floats are no longer exact for all whole numbers and a half.
  constexpr float kFarthest = 1 << 22;
  const auto is_whole = [](float value) {
    return std::abs(value) < kFarthest && value == std::floor(value);
  };
  return is_whole(arguments.origin_x) && is_whole(arguments.origin_y);
}

std::span<const NativeKernel> GetNativeKernelTable() {
  static constexpr std::array<NativeKernel, 3> kTable = {{
      {"platform_d2d_builtin_gaussian_line", RunGaussianLine, AcceptsGaussianLine},
      {"platform_d2d_builtin_morphology", RunMorphology, AcceptsMorphology},
      {"platform_d2d_transform_samples", RunTransform, AcceptsTransform},
  }};
  return kTable;
}

}  // namespace Vantra::Render::Simd
