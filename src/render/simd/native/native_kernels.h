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
bool RunConvolveMatrix(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom);
bool AcceptsConvolveMatrix(const PixelArguments& arguments, Bands* bands);
bool RunGaussianLine(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom);
bool AcceptsGaussianLine(const PixelArguments& arguments, Bands* bands);
bool RunMorphology(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom);
bool AcceptsMorphology(const PixelArguments& arguments, Bands* bands);
bool RunTransform(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom);
bool AcceptsTransform(const PixelArguments& arguments, Bands* bands);

// A compute program run from planes of the host to a picture of the host: it writes rows `top` up
// to and without `bottom`, a pixel for a word.
using HostKernel = void (*)(const HostComputation& computation, std::int32_t top,
                            std::int32_t bottom);

struct NativeComputeKernel {
  const char* name;
  HostKernel run;
  // Whether the planes are those of a frame of the picture's size.
  bool (*accepts)(const HostComputation& computation);
};

void RunNv12(const HostComputation& frame, std::int32_t top, std::int32_t bottom);
bool AcceptsNv12(const HostComputation& frame);
void RunPlanar(const HostComputation& frame, std::int32_t top, std::int32_t bottom);
bool AcceptsPlanar(const HostComputation& frame);
void RunYuy2(const HostComputation& frame, std::int32_t top, std::int32_t bottom);
bool AcceptsYuy2(const HostComputation& frame);

// Whether (x, y) is the direction of rows, (1, 0), or that of columns, (0, 1).
constexpr bool IsAxis(std::int32_t x, std::int32_t y) {
  return (x == 1 && y == 0) || (x == 0 && y == 1);
}

// Whether the program's places are pixels of the target, moved by whole pixels.
bool IsWholeOffset(const PixelArguments& arguments);

std::span<const NativeKernel> GetNativeKernelTable();
std::span<const NativeComputeKernel> GetNativeComputeTable();

}  // namespace Vantra::Render::Simd
