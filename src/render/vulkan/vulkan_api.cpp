// The one file that carries volk's code.
#define VOLK_IMPLEMENTATION
#include "render/vulkan/vulkan_api.h"

namespace Vantra::Render::Vulkan {

Status ToStatus(VkResult result) {
  if (result >= VK_SUCCESS) return Status::kOk;
  switch (result) {
    case VK_ERROR_OUT_OF_HOST_MEMORY:
    case VK_ERROR_OUT_OF_DEVICE_MEMORY:
    case VK_ERROR_OUT_OF_POOL_MEMORY:
    case VK_ERROR_FRAGMENTED_POOL:
    case VK_ERROR_TOO_MANY_OBJECTS:
    case VK_ERROR_MEMORY_MAP_FAILED:
      return Status::kOutOfMemory;
    case VK_ERROR_FORMAT_NOT_SUPPORTED:
    case VK_ERROR_FEATURE_NOT_PRESENT:
      return Status::kUnsupported;
    case VK_ERROR_INVALID_SHADER_NV:
      return Status::kInvalidArgument;
    default:
      // A driver that fails in a way that no call is specified to fail in cannot be trusted
      // further.
      return Status::kDeviceLost;
  }
}

}  // namespace Vantra::Render::Vulkan
