#pragma once

// What the tests of the CPU engine look at beyond its public face.

#include <cstdint>

#include "render/engine.h"

namespace Vantra::Render::Simd {

// Blocks of memory that a CPU engine has taken from the system so far.
std::uint64_t BlocksMade(const Engine& engine);

// Threads that share its passes.
unsigned ThreadCount(const Engine& engine);

}  // namespace Vantra::Render::Simd
