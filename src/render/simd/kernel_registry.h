#pragma once

// The kernels that a CPU engine knows: those of the library's own programs, and those that tests,
// benchmarks and fuzz targets add.

#include <cstdint>
#include <optional>
#include <span>

#include "render/simd/kernel.h"

namespace Vantra::Render::Simd {

// Of the library's programs, translated when it was built.
std::span<const Kernel> GetKernelTable();

// Kernels with an algorithm of their own. Each replaces the translated kernel of its name; hashes
// are not read.
std::span<const Kernel> GetNativeKernelTable();

// Adds kernels to the former or the latter, for programs that are made from now on. The kernels
// must live to the end of the process.
void AddKernels(std::span<const Kernel> kernels);
void AddNativeKernels(std::span<const Kernel> kernels);

// The kernel of the program of this hash. With `use_native`, its functions are those of the native
// kernel of its name, where there is one.
std::optional<Kernel> FindKernel(std::uint64_t program_hash, bool use_native);

}  // namespace Vantra::Render::Simd
