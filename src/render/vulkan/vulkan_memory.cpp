#include "render/vulkan/vulkan_memory.h"

#include <algorithm>
#include <bit>

namespace Vantra::Render::Vulkan {
namespace {

constexpr VkDeviceSize kBlockBytes = VkDeviceSize{64} << 20;
// A larger image would leave too much of a block unused, and gains nothing from sharing one.
constexpr VkDeviceSize kLargestShared = kBlockBytes / 4;

}  // namespace

std::optional<std::uint32_t> FindMemoryType(const VkPhysicalDeviceMemoryProperties& memory,
                                            std::uint32_t allowed, VkMemoryPropertyFlags required,
                                            VkMemoryPropertyFlags preferred,
                                            VkMemoryPropertyFlags avoided) {
  std::optional<std::uint32_t> best;
  int best_score = 0;
  for (std::uint32_t type = 0; type < memory.memoryTypeCount; ++type) {
    const VkMemoryPropertyFlags flags = memory.memoryTypes[type].propertyFlags;
    if (!(allowed >> type & 1) || (flags & required) != required) continue;
    const int score = std::popcount(flags & preferred) - std::popcount(flags & avoided);
    if (!best || score > best_score) {
      best = type;
      best_score = score;
    }
  }
  return best;
}

ImageAllocator::~ImageAllocator() {
  for (const Block& block : blocks_) api_.vk.vkFreeMemory(api_.device, block.memory, nullptr);
}

Status ImageAllocator::AllocateAndBind(VkImage image, ImageMemory* memory) {
  VkMemoryDedicatedRequirements dedicated = {};
  dedicated.sType = VK_STRUCTURE_TYPE_MEMORY_DEDICATED_REQUIREMENTS;
  VkMemoryRequirements2 needs = {};
  needs.sType = VK_STRUCTURE_TYPE_MEMORY_REQUIREMENTS_2;
  needs.pNext = &dedicated;
  VkImageMemoryRequirementsInfo2 query = {};
  query.sType = VK_STRUCTURE_TYPE_IMAGE_MEMORY_REQUIREMENTS_INFO_2;
  query.image = image;
  api_.vk.vkGetImageMemoryRequirements2(api_.device, &query, &needs);

  // Every device offers memory of its own for images, but not necessarily under that property.
  const std::uint32_t allowed = needs.memoryRequirements.memoryTypeBits;
  const auto type = FindMemoryType(api_.memory, allowed, 0, VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT,
                                   VK_MEMORY_PROPERTY_PROTECTED_BIT);
  if (!type) return Status::kOutOfMemory;

  const bool own = dedicated.requiresDedicatedAllocation || dedicated.prefersDedicatedAllocation ||
                   needs.memoryRequirements.size > kLargestShared;
  Status status = own ? AllocateOwn(image, needs.memoryRequirements.size, *type, memory)
                      : AllocateShared(needs.memoryRequirements, *type, memory);
  if (status != Status::kOk) return status;
  status = ToStatus(api_.vk.vkBindImageMemory(api_.device, image, memory->memory, memory->offset));
  if (status != Status::kOk) {
    Free(*memory);
    *memory = {};
  }
  return status;
}

Status ImageAllocator::AllocateShared(const VkMemoryRequirements& needs, std::uint32_t type,
                                      ImageMemory* memory) {
  for (Block& block : blocks_) {
    if (block.type != type) continue;
    if (const auto offset = block.ranges.Take(needs.size, needs.alignment)) {
      *memory = {block.memory, *offset, needs.size, true};
      return Status::kOk;
    }
  }
  VkMemoryAllocateInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO;
  info.allocationSize = kBlockBytes;
  info.memoryTypeIndex = type;
  Block block{VK_NULL_HANDLE, type, FreeRanges(kBlockBytes)};
  const Status status = Created(
      api_, api_.vk.vkAllocateMemory(api_.device, &info, nullptr, &block.memory), &block.memory);
  if (status == Status::kOutOfMemory) {
    // Where a whole block does not fit any more, the image itself may.
    return AllocateOwn(VK_NULL_HANDLE, needs.size, type, memory);
  }
  if (status != Status::kOk) return status;
  *memory = {block.memory, block.ranges.Take(needs.size, needs.alignment).value_or(0), needs.size,
             true};
  blocks_.push_back(std::move(block));
  return Status::kOk;
}

Status ImageAllocator::AllocateOwn(VkImage image, VkDeviceSize size, std::uint32_t type,
                                   ImageMemory* memory) {
  VkMemoryDedicatedAllocateInfo dedicated = {};
  dedicated.sType = VK_STRUCTURE_TYPE_MEMORY_DEDICATED_ALLOCATE_INFO;
  dedicated.image = image;
  VkMemoryAllocateInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO;
  info.pNext = &dedicated;
  info.allocationSize = size;
  info.memoryTypeIndex = type;
  VkDeviceMemory own = VK_NULL_HANDLE;
  const Status status =
      Created(api_, api_.vk.vkAllocateMemory(api_.device, &info, nullptr, &own), &own);
  if (status == Status::kOk) *memory = {own, 0, size, false};
  return status;
}

void ImageAllocator::Free(const ImageMemory& memory) {
  if (!memory.memory) return;
  if (!memory.shared) {
    api_.vk.vkFreeMemory(api_.device, memory.memory, nullptr);
    return;
  }
  const auto block = std::find_if(blocks_.begin(), blocks_.end(), [&](const Block& candidate) {
    return candidate.memory == memory.memory;
  });
  block->ranges.Give(memory.offset, memory.size);
  if (!block->ranges.AllFree()) return;
  // One empty block is kept, so that a lone image that comes and goes does not allocate each time.
  const auto empty = std::count_if(blocks_.begin(), blocks_.end(), [](const Block& candidate) {
    return candidate.ranges.AllFree();
  });
  if (empty > 1) {
    api_.vk.vkFreeMemory(api_.device, block->memory, nullptr);
    blocks_.erase(block);
  }
}

Status CreateDedicatedBuffer(Api& api, VkDeviceSize size, VkBufferUsageFlags usage,
                             HostAccess access, DedicatedBuffer* buffer) {
  DedicatedBuffer made;
  VkBufferCreateInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO;
  info.size = size;
  info.usage = usage;
  Status status =
      Created(api, api.vk.vkCreateBuffer(api.device, &info, nullptr, &made.buffer), &made.buffer);
  if (status != Status::kOk) return status;

  VkMemoryRequirements needs = {};
  api.vk.vkGetBufferMemoryRequirements(api.device, made.buffer, &needs);
  constexpr VkMemoryPropertyFlags kVisible = VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT;
  constexpr VkMemoryPropertyFlags kCoherent = VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;
  constexpr VkMemoryPropertyFlags kCached = VK_MEMORY_PROPERTY_HOST_CACHED_BIT;
  constexpr VkMemoryPropertyFlags kLocal = VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT;
  // Uncached memory suits a ring that is written in order. Reading needs caches above all; memory
  // of a discrete device is slow to read from the host even so.
  std::optional<std::uint32_t> type;
  if (access == HostAccess::kNone) {
    type = FindMemoryType(api.memory, needs.memoryTypeBits, 0, kLocal,
                          VK_MEMORY_PROPERTY_PROTECTED_BIT);
  } else if (access == HostAccess::kWrite) {
    type =
        FindMemoryType(api.memory, needs.memoryTypeBits, kVisible | kCoherent, 0, kCached | kLocal);
  } else {
    type = FindMemoryType(api.memory, needs.memoryTypeBits, kVisible | kCached, kCoherent, kLocal);
    if (!type) {
      type = FindMemoryType(api.memory, needs.memoryTypeBits, kVisible, kCoherent, kLocal);
    }
  }
  if (!type) {
    DestroyDedicatedBuffer(api, made);
    return Status::kOutOfMemory;
  }
  made.coherent = api.memory.memoryTypes[*type].propertyFlags & kCoherent;

  VkMemoryDedicatedAllocateInfo dedicated = {};
  dedicated.sType = VK_STRUCTURE_TYPE_MEMORY_DEDICATED_ALLOCATE_INFO;
  dedicated.buffer = made.buffer;
  VkMemoryAllocateInfo allocation = {};
  allocation.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO;
  allocation.pNext = &dedicated;
  allocation.allocationSize = needs.size;
  allocation.memoryTypeIndex = *type;
  status = Created(api, api.vk.vkAllocateMemory(api.device, &allocation, nullptr, &made.memory),
                   &made.memory);
  if (status == Status::kOk) {
    status = ToStatus(api.vk.vkBindBufferMemory(api.device, made.buffer, made.memory, 0));
  }
  void* data = nullptr;
  if (status == Status::kOk && access != HostAccess::kNone) {
    status = ToStatus(api.vk.vkMapMemory(api.device, made.memory, 0, VK_WHOLE_SIZE, 0, &data));
  }
  if (status != Status::kOk) {
    DestroyDedicatedBuffer(api, made);
    return status;
  }
  made.data = static_cast<std::byte*>(data);
  *buffer = made;
  return Status::kOk;
}

void DestroyDedicatedBuffer(Api& api, const DedicatedBuffer& buffer) {
  api.vk.vkDestroyBuffer(api.device, buffer.buffer, nullptr);
  api.vk.vkFreeMemory(api.device, buffer.memory, nullptr);
}

}  // namespace Vantra::Render::Vulkan
