#pragma once

// The loader, instances with their validation, and the choice of a device.

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "render/vulkan/vulkan_api.h"

namespace Vantra::Render::Vulkan {

// Guards the loader and volk's global pointers, which each new instance sets anew. Held while an
// instance is made and while the functions of physical devices are called.
std::mutex& LoaderMutex();

// Whether the validation layer is installed.
bool ValidationInstalled();

class Instance {
 public:
  // Null, with one sentence in `*error`, when there is no usable loader or driver. The caller holds
  // the loader's mutex.
  static std::unique_ptr<Instance> Create(bool validation, std::string* error);
  ~Instance();
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  VkInstance Handle() const { return instance_; }

 private:
  Instance() = default;

  VkInstance instance_ = VK_NULL_HANDLE;
  VkDebugUtilsMessengerEXT messenger_ = VK_NULL_HANDLE;
  // Kept here because the global pointers may belong to another instance by the time of the end.
  PFN_vkDestroyInstance destroy_instance_ = nullptr;
  PFN_vkDestroyDebugUtilsMessengerEXT destroy_messenger_ = nullptr;
};

// What decides whether, and how gladly, a device is used.
struct DeviceTraits {
  std::string name;
  std::string driver;
  std::uint32_t api_version = 0;
  VkPhysicalDeviceType type = VK_PHYSICAL_DEVICE_TYPE_OTHER;
  bool dynamic_rendering = false;
  bool synchronization2 = false;
  bool timeline_semaphore = false;
  bool scalar_block_layout = false;
  bool graphics_queue = false;
  std::uint32_t queue_family = 0;
  bool formats = false;
  std::uint32_t maximum_texture_size = 0;
};

// A sentence that says why a device cannot be used, or nothing when it can.
std::string WhyRejected(const DeviceTraits& traits);

DeviceType ToDeviceType(VkPhysicalDeviceType type);

struct Candidate {
  VkPhysicalDevice physical = VK_NULL_HANDLE;
  std::uint32_t queue_family = 0;
  DeviceInfo info;
};

// Brings the best kinds of devices to the front and keeps the driver's order within a kind.
void SortBestFirst(std::vector<Candidate>* candidates);

// The usable devices of `instance`, best first; a sentence for each other one is added to
// `*rejected`. The caller holds the loader's mutex.
std::vector<Candidate> FindDevices(const Instance& instance, std::vector<std::string>* rejected);

}  // namespace Vantra::Render::Vulkan
