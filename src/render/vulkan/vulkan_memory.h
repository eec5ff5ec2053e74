#pragma once

// Device memory: images share large blocks, buffers have memory of their own.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "render/vulkan/vulkan_api.h"
#include "render/vulkan/vulkan_space.h"

namespace Vantra::Render::Vulkan {

// The type of memory, among those in the bit set `allowed`, that has all `required` properties,
// most of the `preferred` and fewest of the `avoided` ones; the earliest wins a tie.
std::optional<std::uint32_t> FindMemoryType(const VkPhysicalDeviceMemoryProperties& memory,
                                            std::uint32_t allowed, VkMemoryPropertyFlags required,
                                            VkMemoryPropertyFlags preferred,
                                            VkMemoryPropertyFlags avoided);

// The memory of one image.
struct ImageMemory {
  VkDeviceMemory memory = VK_NULL_HANDLE;
  VkDeviceSize offset = 0;
  VkDeviceSize size = 0;
  bool shared = false;  // a range of a block, else an allocation of its own
};

// Memory for images. Owned by the device and used by one thread at a time.
class ImageAllocator {
 public:
  explicit ImageAllocator(Api& api) : api_(api) {}
  ~ImageAllocator();
  ImageAllocator(const ImageAllocator&) = delete;
  ImageAllocator& operator=(const ImageAllocator&) = delete;

  // Allocates memory of the device for `image` and binds it.
  Status AllocateAndBind(VkImage image, ImageMemory* memory);
  // The image must be destroyed or not in use.
  void Free(const ImageMemory& memory);

 private:
  struct Block {
    VkDeviceMemory memory;
    std::uint32_t type;
    FreeRanges ranges;
  };

  Status AllocateShared(const VkMemoryRequirements& needs, std::uint32_t type, ImageMemory* memory);
  Status AllocateOwn(VkImage image, VkDeviceSize size, std::uint32_t type, ImageMemory* memory);

  Api& api_;
  std::vector<Block> blocks_;
};

// A buffer with memory of its own. Where the host has access, it stays mapped for its whole life.
struct DedicatedBuffer {
  VkBuffer buffer = VK_NULL_HANDLE;
  VkDeviceMemory memory = VK_NULL_HANDLE;
  std::byte* data = nullptr;
  bool coherent = true;
};

enum class HostAccess {
  kNone,   // in memory of the device
  kWrite,  // written in order by the host, read by the device; coherent
  kRead,   // written by the device, read by the host, possibly through caches to be invalidated
};

Status CreateDedicatedBuffer(Api& api, VkDeviceSize size, VkBufferUsageFlags usage,
                             HostAccess access, DedicatedBuffer* buffer);
void DestroyDedicatedBuffer(Api& api, const DedicatedBuffer& buffer);

}  // namespace Vantra::Render::Vulkan
