#pragma once

// The kernels that a CPU engine knows: those of the library's own programs, and those that tests,
// benchmarks and fuzz targets add.

#include <cstdint>
#include <optional>
#include <span>

#include "render/simd/kernel.h"
#include "render/simd/native/native_kernels.h"

namespace Vantra::Render::Simd {

// Of the library's programs, translated when it was built.
std::span<const Kernel> GetKernelTable();

// Adds kernels to those of the library, for programs that are made from now on. They must live to
// the end of the process.
void AddKernels(std::span<const Kernel> kernels);
void AddNativeKernels(std::span<const NativeKernel> kernels);

struct FoundKernel {
  Kernel translated;
  // Of the same name; draws the passes that it accepts in place of the former. May be null.
  const NativeKernel* native = nullptr;
  // Of the same name; runs what it accepts on memory of the host. May be null.
  const NativeComputeKernel* native_compute = nullptr;
};

// The kernel of the program of this hash.
std::optional<FoundKernel> FindKernel(std::uint64_t program_hash);

}  // namespace Vantra::Render::Simd
