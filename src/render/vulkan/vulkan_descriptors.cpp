#include "render/vulkan/vulkan_descriptors.h"

#include <algorithm>
#include <functional>

namespace Vantra::Render::Vulkan {
namespace {

constexpr std::uint32_t kSetsPerPool = 64;
// Combinations that no frame uses any more are given up beyond this number.
constexpr std::size_t kLargestCache = 512;
constexpr std::uint32_t kFirstSampler = kRegisterCount;
constexpr std::uint32_t kConstants = 2 * kRegisterCount;
constexpr std::uint32_t kOutput = kConstants + 1;
constexpr std::uint32_t kBindingCount = kOutput + 1;

VkDescriptorType TypeOf(std::uint32_t binding) {
  if (binding < kFirstSampler) return VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE;
  if (binding < kConstants) return VK_DESCRIPTOR_TYPE_SAMPLER;
  return binding == kConstants ? VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC
                               : VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
}

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
  mix(registers.output);
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
    bindings[binding].stageFlags = binding == kOutput
                                       ? VK_SHADER_STAGE_COMPUTE_BIT
                                       : VK_SHADER_STAGE_FRAGMENT_BIT | VK_SHADER_STAGE_COMPUTE_BIT;
    bindings[binding].descriptorType = TypeOf(binding);
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
  if (sets_.size() >= kLargestCache) {
    GiveUp([completed](const auto& entry) { return entry.second.last_use <= completed; });
  }
  VkDescriptorSet handle = VK_NULL_HANDLE;
  if (const Status status = TakeSet(completed, &handle); status != Status::kOk) return status;

  std::array<VkDescriptorImageInfo, kConstants> images = {};
  const VkDescriptorBufferInfo constants = {constants_, 0, kMaximumConstantBytes};
  const VkDescriptorBufferInfo output = {registers.output, 0, VK_WHOLE_SIZE};
  std::array<VkWriteDescriptorSet, kBindingCount> writes = {};
  // Pixel programs have no output buffer, so theirs is left unwritten.
  const std::uint32_t count = registers.output ? kBindingCount : kOutput;
  for (std::uint32_t binding = 0; binding < count; ++binding) {
    VkWriteDescriptorSet& write = writes[binding];
    write.sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET;
    write.dstSet = handle;
    write.dstBinding = binding;
    write.descriptorCount = 1;
    write.descriptorType = TypeOf(binding);
    if (binding < kFirstSampler) {
      images[binding].imageView = registers.views[binding];
      images[binding].imageLayout = VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL;
      write.pImageInfo = &images[binding];
    } else if (binding < kConstants) {
      images[binding].sampler = registers.samplers[binding - kFirstSampler];
      write.pImageInfo = &images[binding];
    } else {
      write.pBufferInfo = binding == kConstants ? &constants : &output;
    }
  }
  api_.vk.vkUpdateDescriptorSets(api_.device, count, writes.data(), 0, nullptr);
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
      {VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC, kSetsPerPool},
      {VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, kSetsPerPool}};
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
  GiveUp([view](const auto& entry) {
    const auto& views = entry.first.views;
    return std::find(views.begin(), views.end(), view) != views.end();
  });
}

void Descriptors::Forget(VkBuffer output) {
  GiveUp([output](const auto& entry) { return entry.first.output == output; });
}

template <class Condition>
void Descriptors::GiveUp(Condition condition) {
  for (auto entry = sets_.begin(); entry != sets_.end();) {
    if (condition(*entry)) {
      free_.push_back(entry->second);
      entry = sets_.erase(entry);
    } else {
      ++entry;
    }
  }
}

}  // namespace Vantra::Render::Vulkan
