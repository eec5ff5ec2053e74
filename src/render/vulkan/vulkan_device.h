#pragma once

// The logical device: its queue, the timeline that numbers submissions, and the objects that wait
// for the end of their last use. Textures and programs share it with their engine.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "render/vulkan/vulkan_api.h"
#include "render/vulkan/vulkan_descriptors.h"
#include "render/vulkan/vulkan_instance.h"
#include "render/vulkan/vulkan_memory.h"

namespace Vantra::Render::Vulkan {

// Blending and format: all that distinguishes the pipelines of one program.
constexpr std::size_t kPipelineVariants = kFormatCount * kBlendCount;

// Objects to destroy together; null ones are passed over.
struct Garbage {
  VkImageView view = VK_NULL_HANDLE;
  VkImage image = VK_NULL_HANDLE;
  ImageMemory image_memory;
  DedicatedBuffer buffer;
  VkShaderModule module = VK_NULL_HANDLE;
  std::array<VkPipeline, kPipelineVariants> pipelines = {};
};

class Device {
 public:
  // Null, with one sentence in `*error`, when the device cannot be started. The caller holds the
  // loader's mutex.
  static std::shared_ptr<Device> Create(std::unique_ptr<Instance> instance,
                                        const Candidate& candidate, std::string* error);
  ~Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  Api& GetApi() { return api_; }
  const VolkDeviceTable& Vk() const { return api_.vk; }
  VkDevice Handle() const { return api_.device; }
  std::uint32_t QueueFamily() const { return queue_family_; }
  std::uint32_t MaximumTextureSize() const { return maximum_texture_size_; }
  ImageAllocator& Images() { return images_; }
  Descriptors& Sets() { return descriptors_; }

  // Submissions are numbered from 1. What is being recorded is the submission after the last one.
  std::uint64_t Submitted() const { return submitted_; }
  std::uint64_t Recording() const { return submitted_ + 1; }
  // Submissions up to this one are known to be done.
  std::uint64_t Completed() const { return completed_; }

  Status Submit(VkCommandBuffer commands);
  // Looks up, or waits for, the end of submissions, and destroys what waited for them.
  Status Poll();
  Status WaitFor(std::uint64_t submission);

  // Destroys objects whose last use is in `submission`, once that is done.
  void Retire(const Garbage& garbage, std::uint64_t submission);

  // Waits for all work and destroys all that waits: what is retired later is destroyed at once.
  // Recorded work that was not submitted must never be.
  void Close();

 private:
  struct Retired {
    std::uint64_t submission;
    Garbage garbage;
  };

  Device() : images_(api_), descriptors_(api_) {}
  Status Start(const Candidate& candidate);
  void Destroy(const Garbage& garbage);
  void Collect();

  // Destroys the logical device after all members that hold objects of it.
  struct OwnedApi : Api {
    OwnedApi() = default;
    ~OwnedApi();
    OwnedApi(const OwnedApi&) = delete;
    OwnedApi& operator=(const OwnedApi&) = delete;
  };

  std::unique_ptr<Instance> instance_;
  OwnedApi api_;
  std::uint32_t queue_family_ = 0;
  std::uint32_t maximum_texture_size_ = 0;
  VkQueue queue_ = VK_NULL_HANDLE;
  VkSemaphore timeline_ = VK_NULL_HANDLE;
  std::uint64_t submitted_ = 0;
  std::uint64_t completed_ = 0;
  std::vector<Retired> retired_;
  ImageAllocator images_;
  Descriptors descriptors_;
};

}  // namespace Vantra::Render::Vulkan
