#pragma once

// The SIMD instructions that kernels run with: the best of those that they are compiled for and the
// CPU has, or the one that the environment variable VANTRIX_SIMD_TARGET names (sse4, avx2, avx512,
// neon), for tests and comparisons.

#include <string>

namespace Vantra::Render::Simd {

// Sets what kernels run with from now on, in the whole process, and gives its name, such as "AVX2".
// Null, with one sentence in `*error`, when the CPU lacks even the least, or the variable names
// what is not known or not there.
const char* ChooseInstructionSet(std::string* error);

// The name that the CPU's maker gave it.
std::string CpuName();

}  // namespace Vantra::Render::Simd
