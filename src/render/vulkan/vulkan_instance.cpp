#include "render/vulkan/vulkan_instance.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "render/vulkan/vulkan_engine.h"

namespace Vantra::Render::Vulkan {
namespace {

constexpr const char* kValidationLayer = "VK_LAYER_KHRONOS_validation";

std::atomic<std::uint64_t> validation_messages{0};

VKAPI_ATTR VkBool32 VKAPI_CALL OnMessage(VkDebugUtilsMessageSeverityFlagBitsEXT,
                                         VkDebugUtilsMessageTypeFlagsEXT,
                                         const VkDebugUtilsMessengerCallbackDataEXT* data, void*) {
  validation_messages.fetch_add(1, std::memory_order_relaxed);
  std::fprintf(stderr, "vantrix: Vulkan validation: %s\n", data->pMessage ? data->pMessage : "");
  return VK_FALSE;
}

// Opens the loader, once it succeeds for the rest of the process. The caller holds the mutex.
bool OpenLoader() {
  static bool open = false;
  if (!open) open = volkInitialize() == VK_SUCCESS;
  return open;
}

// Calls a Vulkan enumeration until it is complete, since a list can grow between its two calls.
template <typename Item, typename Enumerate>
std::vector<Item> Enumerated(Enumerate enumerate) {
  std::vector<Item> items;
  VkResult result = VK_INCOMPLETE;
  while (result == VK_INCOMPLETE) {
    std::uint32_t count = 0;
    if (enumerate(&count, static_cast<Item*>(nullptr)) != VK_SUCCESS) return {};
    items.resize(count);
    result = enumerate(&count, items.data());
    items.resize(count);
  }
  if (result != VK_SUCCESS) items.clear();
  return items;
}

bool HasValidationLayer() {
  const auto layers = Enumerated<VkLayerProperties>([](std::uint32_t* count, auto* items) {
    return vkEnumerateInstanceLayerProperties(count, items);
  });
  return std::any_of(layers.begin(), layers.end(), [](const VkLayerProperties& layer) {
    return std::strcmp(layer.layerName, kValidationLayer) == 0;
  });
}

bool LayerHasExtension(const char* layer, const char* name) {
  const auto extensions =
      Enumerated<VkExtensionProperties>([layer](std::uint32_t* count, auto* items) {
        return vkEnumerateInstanceExtensionProperties(layer, count, items);
      });
  return std::any_of(extensions.begin(), extensions.end(),
                     [name](const VkExtensionProperties& extension) {
                       return std::strcmp(extension.extensionName, name) == 0;
                     });
}

VkDebugUtilsMessengerCreateInfoEXT MessengerInfo() {
  VkDebugUtilsMessengerCreateInfoEXT info = {};
  info.sType = VK_STRUCTURE_TYPE_DEBUG_UTILS_MESSENGER_CREATE_INFO_EXT;
  info.messageSeverity = VK_DEBUG_UTILS_MESSAGE_SEVERITY_WARNING_BIT_EXT |
                         VK_DEBUG_UTILS_MESSAGE_SEVERITY_ERROR_BIT_EXT;
  // General messages are the loader's, about drivers that do not concern the device in use.
  info.messageType = VK_DEBUG_UTILS_MESSAGE_TYPE_VALIDATION_BIT_EXT |
                     VK_DEBUG_UTILS_MESSAGE_TYPE_PERFORMANCE_BIT_EXT;
  info.pfnUserCallback = OnMessage;
  return info;
}

// Fills in the features and the driver's name, which exist from version 1.3 on.
void ReadVersion13(VkPhysicalDevice physical, DeviceTraits* traits) {
  VkPhysicalDeviceVulkan13Features features13 = {};
  features13.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_3_FEATURES;
  VkPhysicalDeviceVulkan12Features features12 = {};
  features12.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_2_FEATURES;
  features12.pNext = &features13;
  VkPhysicalDeviceFeatures2 features = {};
  features.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_FEATURES_2;
  features.pNext = &features12;
  vkGetPhysicalDeviceFeatures2(physical, &features);
  traits->dynamic_rendering = features13.dynamicRendering;
  traits->synchronization2 = features13.synchronization2;
  traits->timeline_semaphore = features12.timelineSemaphore;
  traits->scalar_block_layout = features12.scalarBlockLayout;

  VkPhysicalDeviceDriverProperties driver = {};
  driver.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_DRIVER_PROPERTIES;
  VkPhysicalDeviceProperties2 properties = {};
  properties.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_PROPERTIES_2;
  properties.pNext = &driver;
  vkGetPhysicalDeviceProperties2(physical, &properties);
  traits->driver = driver.driverName;
  if (driver.driverInfo[0]) traits->driver += std::string(" ") + driver.driverInfo;
}

// Largest square image of `format` that can be drawn to, read, and copied; 0 when there is none.
std::uint32_t LargestImage(VkPhysicalDevice physical, VkFormat format) {
  constexpr VkFormatFeatureFlags kFeatures =
      VK_FORMAT_FEATURE_SAMPLED_IMAGE_BIT | VK_FORMAT_FEATURE_SAMPLED_IMAGE_FILTER_LINEAR_BIT |
      VK_FORMAT_FEATURE_COLOR_ATTACHMENT_BIT | VK_FORMAT_FEATURE_COLOR_ATTACHMENT_BLEND_BIT |
      VK_FORMAT_FEATURE_TRANSFER_SRC_BIT | VK_FORMAT_FEATURE_TRANSFER_DST_BIT;
  VkFormatProperties support = {};
  vkGetPhysicalDeviceFormatProperties(physical, format, &support);
  if ((support.optimalTilingFeatures & kFeatures) != kFeatures) return 0;
  VkImageFormatProperties image = {};
  const VkResult result = vkGetPhysicalDeviceImageFormatProperties(
      physical, format, VK_IMAGE_TYPE_2D, VK_IMAGE_TILING_OPTIMAL,
      VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT |
          VK_IMAGE_USAGE_TRANSFER_SRC_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT,
      0, &image);
  return result == VK_SUCCESS ? std::min(image.maxExtent.width, image.maxExtent.height) : 0;
}

DeviceTraits ReadTraits(VkPhysicalDevice physical) {
  VkPhysicalDeviceProperties properties = {};
  vkGetPhysicalDeviceProperties(physical, &properties);
  DeviceTraits traits;
  traits.name = properties.deviceName;
  traits.api_version = properties.apiVersion;
  traits.type = properties.deviceType;
  if (properties.apiVersion >= VK_API_VERSION_1_3) ReadVersion13(physical, &traits);

  std::uint32_t count = 0;
  vkGetPhysicalDeviceQueueFamilyProperties(physical, &count, nullptr);
  std::vector<VkQueueFamilyProperties> families(count);
  vkGetPhysicalDeviceQueueFamilyProperties(physical, &count, families.data());
  for (std::uint32_t family = 0; family < count && !traits.graphics_queue; ++family) {
    // A device that draws has a family that computes as well.
    constexpr VkQueueFlags kNeeded = VK_QUEUE_GRAPHICS_BIT | VK_QUEUE_COMPUTE_BIT;
    traits.graphics_queue = (families[family].queueFlags & kNeeded) == kNeeded;
    traits.queue_family = family;
  }

  constexpr std::uint32_t kLargestUseful = 16384;
  const VkPhysicalDeviceLimits& limits = properties.limits;
  traits.maximum_texture_size =
      std::min({kLargestUseful, limits.maxImageDimension2D, limits.maxFramebufferWidth,
                limits.maxFramebufferHeight, limits.maxViewportDimensions[0],
                limits.maxViewportDimensions[1]});
  for (const Format format :
       {Format::kBgra8, Format::kRgba8, Format::kR8, Format::kRg8, Format::kRgba16Float}) {
    traits.maximum_texture_size =
        std::min(traits.maximum_texture_size, LargestImage(physical, ToVkFormat(format)));
  }
  traits.formats = traits.maximum_texture_size > 0;
  return traits;
}

}  // namespace

std::mutex& LoaderMutex() {
  // Never destroyed: engines may be made and listed while the process exits.
  static auto& mutex = *new std::mutex;
  return mutex;
}

bool ValidationInstalled() {
  const std::lock_guard lock(LoaderMutex());
  return OpenLoader() && HasValidationLayer();
}

std::unique_ptr<Instance> Instance::Create(bool validation, std::string* error) {
  if (!OpenLoader()) {
    *error = "The Vulkan loader, libvulkan.so.1, is not installed.";
    return nullptr;
  }
  if (volkGetInstanceVersion() < VK_API_VERSION_1_3) {
    *error = "The Vulkan loader is older than version 1.3.";
    return nullptr;
  }

  VkApplicationInfo application = {};
  application.sType = VK_STRUCTURE_TYPE_APPLICATION_INFO;
  application.pEngineName = "vantrix";
  application.apiVersion = VK_API_VERSION_1_3;
  VkInstanceCreateInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO;
  info.pApplicationInfo = &application;

  // The messenger in the chain hears of faults in making and ending the instance itself.
  VkDebugUtilsMessengerCreateInfoEXT messenger = MessengerInfo();
  const VkValidationFeatureEnableEXT enabled[] = {
      VK_VALIDATION_FEATURE_ENABLE_SYNCHRONIZATION_VALIDATION_EXT};
  VkValidationFeaturesEXT features = {};
  features.sType = VK_STRUCTURE_TYPE_VALIDATION_FEATURES_EXT;
  features.enabledValidationFeatureCount = 1;
  features.pEnabledValidationFeatures = enabled;
  const char* extensions[2] = {VK_EXT_DEBUG_UTILS_EXTENSION_NAME, nullptr};
  const bool validate = validation && HasValidationLayer();
  if (validate) {
    info.pNext = &messenger;
    info.enabledLayerCount = 1;
    info.ppEnabledLayerNames = &kValidationLayer;
    info.enabledExtensionCount = 1;
    info.ppEnabledExtensionNames = extensions;
    if (LayerHasExtension(kValidationLayer, VK_EXT_VALIDATION_FEATURES_EXTENSION_NAME)) {
      extensions[info.enabledExtensionCount++] = VK_EXT_VALIDATION_FEATURES_EXTENSION_NAME;
      messenger.pNext = &features;
    }
  }

  std::unique_ptr<Instance> instance(new Instance);
  const VkResult result = vkCreateInstance(&info, nullptr, &instance->instance_);
  if (result != VK_SUCCESS) {
    instance->instance_ = VK_NULL_HANDLE;
    *error =
        result == VK_ERROR_INCOMPATIBLE_DRIVER
            ? "No Vulkan driver is installed."
            : "The Vulkan loader could not be started (result " + std::to_string(result) + ").";
    return nullptr;
  }
  volkLoadInstanceOnly(instance->instance_);
  instance->destroy_instance_ = vkDestroyInstance;
  if (validate && vkCreateDebugUtilsMessengerEXT) {
    messenger.pNext = nullptr;
    instance->destroy_messenger_ = vkDestroyDebugUtilsMessengerEXT;
    if (vkCreateDebugUtilsMessengerEXT(instance->instance_, &messenger, nullptr,
                                       &instance->messenger_) != VK_SUCCESS) {
      instance->messenger_ = VK_NULL_HANDLE;
    }
  }
  return instance;
}

Instance::~Instance() {
  if (messenger_) destroy_messenger_(instance_, messenger_, nullptr);
  if (instance_) destroy_instance_(instance_, nullptr);
}

std::string WhyRejected(const DeviceTraits& traits) {
  const auto sentence = [&traits](const std::string& reason) {
    return "Vulkan device '" + traits.name + "' " + reason + ".";
  };
  if (traits.api_version < VK_API_VERSION_1_3) {
    return sentence("supports version " + std::to_string(VK_API_VERSION_MAJOR(traits.api_version)) +
                    "." + std::to_string(VK_API_VERSION_MINOR(traits.api_version)) +
                    " but 1.3 is needed");
  }
  std::string missing;
  const auto need = [&missing](bool present, const char* feature) {
    if (!present) missing += (missing.empty() ? "" : ", ") + std::string(feature);
  };
  need(traits.dynamic_rendering, "dynamicRendering");
  need(traits.synchronization2, "synchronization2");
  need(traits.timeline_semaphore, "timelineSemaphore");
  need(traits.scalar_block_layout, "scalarBlockLayout");
  if (!missing.empty()) return sentence("lacks " + missing);
  if (!traits.graphics_queue) return sentence("has no graphics queue");
  if (!traits.formats) return sentence("cannot draw to and read 8-bit BGRA and RGBA images");
  return {};
}

DeviceType ToDeviceType(VkPhysicalDeviceType type) {
  switch (type) {
    case VK_PHYSICAL_DEVICE_TYPE_DISCRETE_GPU:
      return DeviceType::kDiscreteGpu;
    case VK_PHYSICAL_DEVICE_TYPE_INTEGRATED_GPU:
      return DeviceType::kIntegratedGpu;
    case VK_PHYSICAL_DEVICE_TYPE_CPU:
      return DeviceType::kSoftware;
    default:
      return DeviceType::kVirtualGpu;
  }
}

void SortBestFirst(std::vector<Candidate>* candidates) {
  // The enumerators of `DeviceType` stand in order of preference.
  std::stable_sort(
      candidates->begin(), candidates->end(),
      [](const Candidate& a, const Candidate& b) { return a.info.type < b.info.type; });
}

std::vector<Candidate> FindDevices(const Instance& instance, std::vector<std::string>* rejected) {
  const auto physical_devices =
      Enumerated<VkPhysicalDevice>([&instance](std::uint32_t* count, auto* items) {
        return vkEnumeratePhysicalDevices(instance.Handle(), count, items);
      });
  if (physical_devices.empty()) rejected->emplace_back("No Vulkan device is present.");
  std::vector<Candidate> candidates;
  for (const VkPhysicalDevice physical : physical_devices) {
    const DeviceTraits traits = ReadTraits(physical);
    if (std::string reason = WhyRejected(traits); !reason.empty()) {
      rejected->push_back(std::move(reason));
      continue;
    }
    candidates.push_back(
        {physical,
         traits.queue_family,
         {ToDeviceType(traits.type), traits.name, traits.driver, traits.maximum_texture_size}});
  }
  SortBestFirst(&candidates);
  return candidates;
}

}  // namespace Vantra::Render::Vulkan

namespace Vantra::Render {

std::uint64_t ValidationMessageCount() {
  return Vulkan::validation_messages.load(std::memory_order_relaxed);
}

}  // namespace Vantra::Render
