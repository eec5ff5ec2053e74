#pragma once

// What the tests of the Vulkan engine look at beyond its public face.

#include <cstdint>

#include "render/engine.h"

namespace Vantra::Render::Vulkan {

// Vulkan objects and memory blocks that a Vulkan engine has made so far.
std::uint64_t ObjectsCreated(const Engine& engine);

}  // namespace Vantra::Render::Vulkan
