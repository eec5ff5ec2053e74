#pragma once

#include <vector>

#include "render/simd/kernel.h"

namespace Vantra::Pixelc {

// The kernels of the test programs.
struct GeneratedPrograms {
  const char* target = nullptr;
  Render::Simd::ComputeKernel flow = nullptr;
  Render::Simd::ComputeKernel mixed = nullptr;
  Render::Simd::PixelKernel reads = nullptr;
};

// For each instruction set that this machine has.
std::vector<GeneratedPrograms> GeneratedForAllTargets();

}  // namespace Vantra::Pixelc
