#include "render/vulkan/vulkan_device.h"

#include <algorithm>
#include <limits>

namespace Vantra::Render::Vulkan {
namespace {

VkResult CreateLogicalDevice(const Candidate& candidate, VkDevice* device) {
  VkPhysicalDeviceVulkan13Features present13 = {};
  present13.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_3_FEATURES;
  VkPhysicalDeviceFeatures2 present = {};
  present.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_FEATURES_2;
  present.pNext = &present13;
  vkGetPhysicalDeviceFeatures2(candidate.physical, &present);

  VkPhysicalDeviceVulkan13Features features13 = {};
  features13.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_3_FEATURES;
  features13.dynamicRendering = VK_TRUE;
  features13.synchronization2 = VK_TRUE;
  // What compilers of pixel programs take for granted in this version.
  features13.maintenance4 = present13.maintenance4;
  features13.shaderTerminateInvocation = present13.shaderTerminateInvocation;
  features13.shaderDemoteToHelperInvocation = present13.shaderDemoteToHelperInvocation;
  // A program that reads outside an image or its constants gets some value, and harms nothing.
  features13.robustImageAccess = present13.robustImageAccess;
  VkPhysicalDeviceVulkan12Features features12 = {};
  features12.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_2_FEATURES;
  features12.pNext = &features13;
  features12.timelineSemaphore = VK_TRUE;
  features12.scalarBlockLayout = VK_TRUE;
  VkPhysicalDeviceFeatures2 features = {};
  features.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_FEATURES_2;
  features.pNext = &features12;
  features.features.robustBufferAccess = present.features.robustBufferAccess;

  const float priority = 1;
  VkDeviceQueueCreateInfo queue = {};
  queue.sType = VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO;
  queue.queueFamilyIndex = candidate.queue_family;
  queue.queueCount = 1;
  queue.pQueuePriorities = &priority;
  VkDeviceCreateInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO;
  info.pNext = &features;
  info.queueCreateInfoCount = 1;
  info.pQueueCreateInfos = &queue;
  return vkCreateDevice(candidate.physical, &info, nullptr, device);
}

}  // namespace

std::shared_ptr<Device> Device::Create(std::unique_ptr<Instance> instance,
                                       const Candidate& candidate, std::string* error) {
  std::shared_ptr<Device> device(new Device);
  device->instance_ = std::move(instance);
  if (device->Start(candidate) != Status::kOk) {
    *error = "Vulkan device '" + candidate.info.name + "' could not be started.";
    return nullptr;
  }
  return device;
}

Status Device::Start(const Candidate& candidate) {
  const Status status = Created(api_, CreateLogicalDevice(candidate, &api_.device), &api_.device);
  if (status != Status::kOk) return status;
  volkLoadDeviceTable(&api_.vk, api_.device);
  VkPhysicalDeviceProperties properties = {};
  vkGetPhysicalDeviceProperties(candidate.physical, &properties);
  api_.limits = properties.limits;
  vkGetPhysicalDeviceMemoryProperties(candidate.physical, &api_.memory);
  maximum_texture_size_ = candidate.info.maximum_texture_size;
  queue_family_ = candidate.queue_family;
  api_.vk.vkGetDeviceQueue(api_.device, queue_family_, 0, &queue_);

  VkSemaphoreTypeCreateInfo type = {};
  type.sType = VK_STRUCTURE_TYPE_SEMAPHORE_TYPE_CREATE_INFO;
  type.semaphoreType = VK_SEMAPHORE_TYPE_TIMELINE;
  VkSemaphoreCreateInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_SEMAPHORE_CREATE_INFO;
  info.pNext = &type;
  return Created(api_, api_.vk.vkCreateSemaphore(api_.device, &info, nullptr, &timeline_),
                 &timeline_);
}

Device::~Device() {
  if (!api_.device) return;
  Close();
  api_.vk.vkDestroySemaphore(api_.device, timeline_, nullptr);
}

Device::OwnedApi::~OwnedApi() {
  if (device) vk.vkDestroyDevice(device, nullptr);
}

Status Device::Submit(VkCommandBuffer commands) {
  VkCommandBufferSubmitInfo command_info = {};
  command_info.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_SUBMIT_INFO;
  command_info.commandBuffer = commands;
  VkSemaphoreSubmitInfo signal = {};
  signal.sType = VK_STRUCTURE_TYPE_SEMAPHORE_SUBMIT_INFO;
  signal.semaphore = timeline_;
  signal.value = Recording();
  signal.stageMask = VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT;
  VkSubmitInfo2 submit = {};
  submit.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO_2;
  submit.commandBufferInfoCount = 1;
  submit.pCommandBufferInfos = &command_info;
  submit.signalSemaphoreInfoCount = 1;
  submit.pSignalSemaphoreInfos = &signal;
  Status status = ToStatus(api_.vk.vkQueueSubmit2(queue_, 1, &submit, VK_NULL_HANDLE));
  if (status == Status::kOutOfMemory && WaitFor(submitted_) == Status::kOk) {
    // The end of earlier work may have freed what was missing.
    status = ToStatus(api_.vk.vkQueueSubmit2(queue_, 1, &submit, VK_NULL_HANDLE));
  }
  if (status == Status::kOk) ++submitted_;
  return status;
}

Status Device::Poll() {
  std::uint64_t value = 0;
  const Status status =
      ToStatus(api_.vk.vkGetSemaphoreCounterValue(api_.device, timeline_, &value));
  if (status != Status::kOk) return status;
  // A device that is being lost may report the largest value.
  completed_ = std::max(completed_, std::min(value, submitted_));
  Collect();
  return Status::kOk;
}

Status Device::WaitFor(std::uint64_t submission) {
  if (submission <= completed_) return Status::kOk;
  VkSemaphoreWaitInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_SEMAPHORE_WAIT_INFO;
  info.semaphoreCount = 1;
  info.pSemaphores = &timeline_;
  info.pValues = &submission;
  const Status status = ToStatus(
      api_.vk.vkWaitSemaphores(api_.device, &info, std::numeric_limits<std::uint64_t>::max()));
  if (status != Status::kOk) return status;
  completed_ = submission;
  return Poll();
}

void Device::Retire(const Garbage& garbage, std::uint64_t submission) {
  // Now, not at the end of the work: another object may be given the same handle in between.
  if (garbage.view) descriptors_.Forget(garbage.view);
  if (garbage.buffer.buffer) descriptors_.Forget(garbage.buffer.buffer);
  if (submission <= completed_) {
    Destroy(garbage);
  } else {
    retired_.push_back({submission, garbage});
  }
}

void Device::Close() {
  // A failure means that the device is lost, and with it the work that could still use anything.
  api_.vk.vkDeviceWaitIdle(api_.device);
  completed_ = std::numeric_limits<std::uint64_t>::max();
  Collect();
}

void Device::Destroy(const Garbage& garbage) {
  api_.vk.vkDestroyImageView(api_.device, garbage.view, nullptr);
  api_.vk.vkDestroyImage(api_.device, garbage.image, nullptr);
  images_.Free(garbage.image_memory);
  DestroyDedicatedBuffer(api_, garbage.buffer);
  for (const VkPipeline pipeline : garbage.pipelines) {
    api_.vk.vkDestroyPipeline(api_.device, pipeline, nullptr);
  }
  api_.vk.vkDestroyShaderModule(api_.device, garbage.module, nullptr);
}

void Device::Collect() {
  std::erase_if(retired_, [this](const Retired& retired) {
    if (retired.submission > completed_) return false;
    Destroy(retired.garbage);
    return true;
  });
}

}  // namespace Vantra::Render::Vulkan
