#pragma once

// Kernels of programs that have an algorithm of their own on the CPU. The program says what they
// compute; where they do not apply, it is run as it was compiled.

#include <span>

#include "render/simd/kernel.h"

namespace Vantra::Render::Simd {

// How a pass is cut for threads: into bands of rows, or into bands of columns, each with all rows
// of the pass.
enum class Bands { kRows, kColumns };

struct NativeKernel {
  const char* name;
  PixelKernel run;
  // Whether the kernel can draw such a pass, and what it wants to be given.
  bool (*accepts)(const PixelArguments& arguments, Bands* bands);
};

// The kernels, and what they accept.
bool RunGaussianLine(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom);
bool AcceptsGaussianLine(const PixelArguments& arguments, Bands* bands);
bool RunMorphology(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom);
bool AcceptsMorphology(const PixelArguments& arguments, Bands* bands);
bool RunTransform(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom);
bool AcceptsTransform(const PixelArguments& arguments, Bands* bands);

// Whether the program's places are pixels of the target, moved by whole pixels.
bool IsWholeOffset(const PixelArguments& arguments);

std::span<const NativeKernel> GetNativeKernelTable();

}  // namespace Vantra::Render::Simd
