#pragma once

// The Vulkan 1.3 engine. The Vulkan loader is opened at run time; where it is missing, the list of
// devices is empty and says so.

#include "render/engine.h"

namespace Vantra::Render {

// The usable Vulkan devices, best first: discrete GPUs, integrated, virtual, then software.
DeviceList ListVulkanDevices();

struct VulkanOptions {
  // Turns on the validation layer, where it is installed. Its messages of warning and error level
  // are counted in `ValidationMessageCount` and written to the standard error stream.
  bool validation = false;
  // Bytes of the persistently mapped upload ring.
  std::size_t ring_bytes = std::size_t{64} << 20;
};

// Starts an engine on device `index` of `ListVulkanDevices`. Null, with one sentence in `*error`,
// when that fails.
std::unique_ptr<Engine> CreateVulkanEngine(unsigned index, const VulkanOptions& options,
                                           std::string* error);

// Messages of the validation layer in this process so far.
std::uint64_t ValidationMessageCount();

}  // namespace Vantra::Render
