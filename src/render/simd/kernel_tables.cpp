#include "render/simd/kernel_registry.h"

namespace Vantra::Render::Simd {

std::span<const NativeKernel> GetNativeKernelTable() { return {}; }

}  // namespace Vantra::Render::Simd
