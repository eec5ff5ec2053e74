#pragma once

// The instruction sets that kernels are compiled for. Each file of kernels includes this before
// anything of Highway:
//
//   #include "render/simd/targets.h"
//
//   #undef HWY_TARGET_INCLUDE
//   #define HWY_TARGET_INCLUDE "render/simd/name.cpp"
//   #include "hwy/foreach_target.h"
//   #include "render/simd/program-inl.h"
//
// On x86 they are SSE4, AVX2 and AVX-512. Functions get their instruction set by attributes, so the
// files need no compiler option, and the rest of the library runs where SSE4 is missing. There the
// engine must not call a kernel: `RunsKernels` tells.

#ifdef HIGHWAY_HWY_DETECT_TARGETS_H_
#error "render/simd/targets.h comes before all of Highway"
#endif

#if defined(__x86_64__) || defined(__i386__)
#define HWY_BASELINE_TARGETS HWY_SSE4
#elif defined(__aarch64__)
// Vectors of a size that the compiler knows.
#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#endif

#include "hwy/targets.h"

namespace Vantra::Render::Simd {

// Whether this CPU has one of the instruction sets that kernels are compiled for.
inline bool RunsKernels() { return (hwy::SupportedTargets() & HWY_TARGETS) != 0; }

}  // namespace Vantra::Render::Simd
