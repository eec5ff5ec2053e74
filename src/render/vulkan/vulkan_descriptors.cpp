#include "render/vulkan/vulkan_descriptors.h"

#include <algorithm>
#include <functional>

namespace Vantra::Render::Vulkan {
namespace {

constexpr std::uint32_t kSetsPerPool = 64;
// Combinations of textures that no frame uses any more are given up beyond this number.
constexpr std::size_t kLargestCache = 512;
constexpr std::uint32_t kFirstSampler = kRegisterCount;
constexpr std::uint32_t kConstants = 2 * kRegisterCount;
constexpr std::uint32_t kBindingCount = kConstants + 1;

VkSamplerAddressMode ToAddressMode(Extend extend) {
  switch (extend) {
    case Extend::kWrap:
      return VK_SAMPLER_ADDRESS_MODE_REPEAT;
    case Extend::kMirror:
      return VK_SAMPLER_ADDRESS_MODE_MIRRORED_REPEAT;
    case Extend::kClamp:
      break;
  }
  return VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
}

}  // namespace

std::size_t Descriptors::Hash::operator()(const Registers& registers) const {
  std::size_t hash = 0;
  const auto mix = [&hash](auto handle) {
    // Handles are aligned addresses or counters: the multiplication spreads either over the bits.
    hash = (hash ^ std::hash<decltype(handle)>{}(handle)) * std::size_t{0x9E3779B97F4A7C15u};
    hash ^= hash >> 29;
  };
  for (const VkImageView view : registers.views) mix(view);
  for (const VkSampler sampler : registers.samplers) mix(sampler);
  return hash;
}

Descriptors::~Descriptors() {
  for (const VkDescriptorPool pool : pools_) {
    api_.vk.vkDestroyDescriptorPool(api_.device, pool, nullptr);
  }
  for (const VkSampler sampler : samplers_) {
    api_.vk.vkDestroySampler(api_.device, sampler, nullptr);
  }
  api_.vk.vkDestroyDescriptorSetLayout(api_.device, layout_, nullptr);
}

Status Descriptors::Init(VkBuffer constants) {
  constants_ = constants;
  std::array<VkDescriptorSetLayoutBinding, kBindingCount> bindings = {};
  for (std::uint32_t binding = 0; binding < kBindingCount; ++binding) {
    bindings[binding].binding = binding;
    bindings[binding].descriptorCount = 1;
    bindings[binding].stageFlags = VK_SHADER_STAGE_FRAGMENT_BIT;
    bindings[binding].descriptorType = binding < kFirstSampler ? VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE
                                       : binding < kConstants
                                           ? VK_DESCRIPTOR_TYPE_SAMPLER
                                           : VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC;
  }
  VkDescriptorSetLayoutCreateInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO;
  info.bindingCount = kBindingCount;
  info.pBindings = bindings.data();
  return Created(api_, api_.vk.vkCreateDescriptorSetLayout(api_.device, &info, nullptr, &layout_),
                 &layout_);
}

Status Descriptors::FindSampler(const Sampler& sampler, VkSampler* handle) {
  const std::size_t index =
      (static_cast<std::size_t>(sampler.filter) * 3 + static_cast<std::size_t>(sampler.extend_x)) *
          3 +
      static_cast<std::size_t>(sampler.extend_y);
  VkSampler& cached = samplers_[index];
  if (!cached) {
    VkSamplerCreateInfo info = {};
    info.sType = VK_STRUCTURE_TYPE_SAMPLER_CREATE_INFO;
    const VkFilter filter =
        sampler.filter == Filter::kLinear ? VK_FILTER_LINEAR : VK_FILTER_NEAREST;
    info.magFilter = filter;
    info.minFilter = filter;
    info.mipmapMode = VK_SAMPLER_MIPMAP_MODE_NEAREST;
    info.addressModeU = ToAddressMode(sampler.extend_x);
    info.addressModeV = ToAddressMode(sampler.extend_y);
    info.addressModeW = VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
    const Status status =
        Created(api_, api_.vk.vkCreateSampler(api_.device, &info, nullptr, &cached), &cached);
    if (status != Status::kOk) return status;
  }
  *handle = cached;
  return Status::kOk;
}

Status Descriptors::FindSet(const Registers& registers, std::uint64_t use, std::uint64_t completed,
                            VkDescriptorSet* set) {
  if (const auto found = sets_.find(registers); found != sets_.end()) {
    found->second.last_use = use;
    *set = found->second.handle;
    return Status::kOk;
  }
  if (sets_.size() >= kLargestCache) GiveUpIdleSets(completed);
  VkDescriptorSet handle = VK_NULL_HANDLE;
  if (const Status status = TakeSet(completed, &handle); status != Status::kOk) return status;

  std::array<VkDescriptorImageInfo, kConstants> images = {};
  VkDescriptorBufferInfo constants = {constants_, 0, kMaximumConstantBytes};
  std::array<VkWriteDescriptorSet, kBindingCount> writes = {};
  for (std::uint32_t binding = 0; binding < kBindingCount; ++binding) {
    VkWriteDescriptorSet& write = writes[binding];
    write.sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET;
    write.dstSet = handle;
    write.dstBinding = binding;
    write.descriptorCount = 1;
    if (binding < kFirstSampler) {
      write.descriptorType = VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE;
      images[binding].imageView = registers.views[binding];
      images[binding].imageLayout = VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL;
      write.pImageInfo = &images[binding];
    } else if (binding < kConstants) {
      write.descriptorType = VK_DESCRIPTOR_TYPE_SAMPLER;
      images[binding].sampler = registers.samplers[binding - kFirstSampler];
      write.pImageInfo = &images[binding];
    } else {
      write.descriptorType = VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC;
      write.pBufferInfo = &constants;
    }
  }
  api_.vk.vkUpdateDescriptorSets(api_.device, kBindingCount, writes.data(), 0, nullptr);
  sets_.emplace(registers, Set{handle, use});
  *set = handle;
  return Status::kOk;
}

Status Descriptors::TakeSet(std::uint64_t completed, VkDescriptorSet* set) {
  const auto idle = std::find_if(free_.begin(), free_.end(), [completed](const Set& candidate) {
    return candidate.last_use <= completed;
  });
  if (idle != free_.end()) {
    *set = idle->handle;
    *idle = free_.back();
    free_.pop_back();
    return Status::kOk;
  }
  if (left_in_pool_ == 0) {
    if (const Status status = AddPool(); status != Status::kOk) return status;
  }
  VkDescriptorSetAllocateInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO;
  info.descriptorPool = pools_.back();
  info.descriptorSetCount = 1;
  info.pSetLayouts = &layout_;
  const Status status =
      Created(api_, api_.vk.vkAllocateDescriptorSets(api_.device, &info, set), set);
  if (status == Status::kOk) --left_in_pool_;
  return status;
}

Status Descriptors::AddPool() {
  const VkDescriptorPoolSize sizes[] = {
      {VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE, kSetsPerPool * kRegisterCount},
      {VK_DESCRIPTOR_TYPE_SAMPLER, kSetsPerPool * kRegisterCount},
      {VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC, kSetsPerPool}};
  VkDescriptorPoolCreateInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO;
  info.maxSets = kSetsPerPool;
  info.poolSizeCount = std::size(sizes);
  info.pPoolSizes = sizes;
  VkDescriptorPool pool = VK_NULL_HANDLE;
  const Status status =
      Created(api_, api_.vk.vkCreateDescriptorPool(api_.device, &info, nullptr, &pool), &pool);
  if (status != Status::kOk) return status;
  pools_.push_back(pool);
  left_in_pool_ = kSetsPerPool;
  return Status::kOk;
}

void Descriptors::Forget(VkImageView view) {
  for (auto entry = sets_.begin(); entry != sets_.end();) {
    const auto& views = entry->first.views;
    if (std::find(views.begin(), views.end(), view) == views.end()) {
      ++entry;
    } else {
      free_.push_back(entry->second);
      entry = sets_.erase(entry);
    }
  }
}

void Descriptors::GiveUpIdleSets(std::uint64_t completed) {
  for (auto entry = sets_.begin(); entry != sets_.end();) {
    if (entry->second.last_use > completed) {
      ++entry;
    } else {
      free_.push_back(entry->second);
      entry = sets_.erase(entry);
    }
  }
}

}  // namespace Vantra::Render::Vulkan
