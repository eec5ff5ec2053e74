#include "render/vulkan/vulkan_instance.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>

#include "render/vulkan/vulkan_engine.h"
#include "render/vulkan/vulkan_memory.h"

namespace Vantra::Render::Vulkan {
namespace {

DeviceTraits GoodDevice() {
  DeviceTraits traits;
  traits.name = "Card";
  traits.api_version = VK_API_VERSION_1_3;
  traits.dynamic_rendering = traits.synchronization2 = true;
  traits.timeline_semaphore = traits.scalar_block_layout = true;
  traits.graphics_queue = traits.formats = true;
  return traits;
}

TEST(DeviceChoiceTest, EachThingThatADeviceLacksIsNamedInItsRejection) {
  EXPECT_EQ(WhyRejected(GoodDevice()), "");

  DeviceTraits old = GoodDevice();
  old.api_version = VK_MAKE_API_VERSION(0, 1, 2, 250);
  EXPECT_EQ(WhyRejected(old), "Vulkan device 'Card' supports version 1.2 but 1.3 is needed.");

  DeviceTraits poor = GoodDevice();
  poor.dynamic_rendering = poor.scalar_block_layout = false;
  EXPECT_EQ(WhyRejected(poor), "Vulkan device 'Card' lacks dynamicRendering, scalarBlockLayout.");
  poor = GoodDevice();
  poor.synchronization2 = poor.timeline_semaphore = false;
  EXPECT_EQ(WhyRejected(poor), "Vulkan device 'Card' lacks synchronization2, timelineSemaphore.");

  DeviceTraits compute = GoodDevice();
  compute.graphics_queue = false;
  EXPECT_EQ(WhyRejected(compute), "Vulkan device 'Card' has no graphics queue.");
  DeviceTraits blind = GoodDevice();
  blind.formats = false;
  EXPECT_NE(WhyRejected(blind), "");
}

TEST(DeviceChoiceTest, FasterKindsComeFirstAndTheDriversOrderDecidesWithinAKind) {
  std::vector<Candidate> candidates;
  const auto add = [&candidates](VkPhysicalDeviceType type, const char* name) {
    candidates.push_back({VK_NULL_HANDLE, 0, {ToDeviceType(type), name, "", 1}});
  };
  add(VK_PHYSICAL_DEVICE_TYPE_CPU, "software");
  add(VK_PHYSICAL_DEVICE_TYPE_OTHER, "other");
  add(VK_PHYSICAL_DEVICE_TYPE_INTEGRATED_GPU, "integrated");
  add(VK_PHYSICAL_DEVICE_TYPE_DISCRETE_GPU, "second");
  add(VK_PHYSICAL_DEVICE_TYPE_VIRTUAL_GPU, "virtual");
  add(VK_PHYSICAL_DEVICE_TYPE_DISCRETE_GPU, "first");
  SortBestFirst(&candidates);
  std::vector<std::string> names;
  names.reserve(candidates.size());
  for (const Candidate& candidate : candidates) names.push_back(candidate.info.name);
  EXPECT_EQ(names, (std::vector<std::string>{"second", "first", "integrated", "other", "virtual",
                                             "software"}));
}

TEST(MemoryTypeTest, ChoosesAllRequiredThenMostPreferredThenFewestAvoidedProperties) {
  constexpr VkMemoryPropertyFlags kLocal = VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT;
  constexpr VkMemoryPropertyFlags kVisible = VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT;
  constexpr VkMemoryPropertyFlags kCoherent = VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;
  constexpr VkMemoryPropertyFlags kCached = VK_MEMORY_PROPERTY_HOST_CACHED_BIT;
  VkPhysicalDeviceMemoryProperties memory = {};
  for (const VkMemoryPropertyFlags flags :
       {kLocal, kLocal | kVisible | kCoherent, kVisible | kCoherent, kVisible | kCoherent | kCached,
        kVisible | kCached}) {
    memory.memoryTypes[memory.memoryTypeCount++].propertyFlags = flags;
  }
  EXPECT_EQ(FindMemoryType(memory, 0x1F, 0, kLocal, 0), 0u);
  EXPECT_EQ(FindMemoryType(memory, 0x1F, kVisible | kCoherent, 0, kCached | kLocal), 2u);
  EXPECT_EQ(FindMemoryType(memory, 0x1F, kVisible | kCached, kCoherent, kLocal), 3u);
  EXPECT_EQ(FindMemoryType(memory, 0x12, kVisible, kCached, kLocal), 4u);
  EXPECT_FALSE(FindMemoryType(memory, 0x01, kVisible, 0, 0));
}

// Hides the installed drivers from the loader for the life of the object.
class WithoutDrivers {
 public:
  WithoutDrivers() {
    for (Variable& variable : variables_) {
      if (const char* value = std::getenv(variable.name)) variable.value = value;
      setenv(variable.name, "/nonexistent/driver.json", 1);
    }
  }
  ~WithoutDrivers() {
    for (const Variable& variable : variables_) {
      if (variable.value) {
        setenv(variable.name, variable.value->c_str(), 1);
      } else {
        unsetenv(variable.name);
      }
    }
  }
  WithoutDrivers(const WithoutDrivers&) = delete;
  WithoutDrivers& operator=(const WithoutDrivers&) = delete;

 private:
  struct Variable {
    const char* name;
    std::optional<std::string> value;
  };
  Variable variables_[2] = {{"VK_ICD_FILENAMES", {}}, {"VK_DRIVER_FILES", {}}};
};

TEST(DeviceListTest, AMachineWithoutDriversHasNoDevicesAndSaysWhy) {
  const WithoutDrivers hidden;
  const DeviceList list = ListVulkanDevices();
  EXPECT_TRUE(list.devices.empty());
  ASSERT_FALSE(list.rejected.empty());
  std::string error;
  EXPECT_EQ(CreateVulkanEngine(0, {}, &error), nullptr);
  EXPECT_EQ(error, list.rejected.front());
  EXPECT_TRUE(error.ends_with('.'));
}

TEST(DeviceListTest, AnIndexBeyondTheListIsAnErrorAndListedDevicesAreComplete) {
  const DeviceList list = ListVulkanDevices();
  ASSERT_FALSE(list.devices.empty()) << "The tests need a Vulkan device, be it a software one.";
  for (const DeviceInfo& device : list.devices) {
    EXPECT_FALSE(device.name.empty());
    EXPECT_FALSE(device.driver.empty());
    EXPECT_GE(device.maximum_texture_size, 4096u);
    EXPECT_LE(device.maximum_texture_size, 16384u);
  }
  std::string error;
  EXPECT_EQ(CreateVulkanEngine(static_cast<unsigned>(list.devices.size()), {}, &error), nullptr);
  EXPECT_NE(error, "");
}

}  // namespace
}  // namespace Vantra::Render::Vulkan
