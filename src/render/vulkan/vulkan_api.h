#pragma once

// What all parts of the Vulkan engine share: the functions of one logical device, its limits, and
// the meaning of Vulkan's results.

#include <cstdint>
#include <volk.h>

#include "render/engine.h"

namespace Vantra::Render::Vulkan {

// A logical device with its own function table, so that engines on several devices do not share
// volk's global pointers.
struct Api {
  VkDevice device = VK_NULL_HANDLE;
  VolkDeviceTable vk = {};
  VkPhysicalDeviceLimits limits = {};
  VkPhysicalDeviceMemoryProperties memory = {};
  // Vulkan objects and memory blocks made so far. It stands still in a steady state.
  std::uint64_t objects_created = 0;
};

// The status that a failed or successful Vulkan call stands for.
Status ToStatus(VkResult result);

// Ends the making of one object: counts it, or makes its handle null where it failed.
template <typename Handle>
Status Created(Api& api, VkResult result, Handle* handle) {
  if (result == VK_SUCCESS) {
    ++api.objects_created;
  } else {
    *handle = VK_NULL_HANDLE;
  }
  return ToStatus(result);
}

constexpr VkFormat ToVkFormat(Format format) {
  switch (format) {
    case Format::kBgra8:
      break;
    case Format::kRgba8:
      return VK_FORMAT_R8G8B8A8_UNORM;
    case Format::kR8:
      return VK_FORMAT_R8_UNORM;
    case Format::kRg8:
      return VK_FORMAT_R8G8_UNORM;
    case Format::kRgba16Float:
      return VK_FORMAT_R16G16B16A16_SFLOAT;
  }
  return VK_FORMAT_B8G8R8A8_UNORM;
}

}  // namespace Vantra::Render::Vulkan
