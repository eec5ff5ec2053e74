#include <vantrix/platform/engine.h>

#include <mutex>
#include <utility>

#include "platform/engine/graphics_device.h"
#include "render/simd/cpu_engine.h"
#include "render/vulkan/vulkan_engine.h"

namespace Vantra::Platform {
namespace {

struct State {
  // Devices may be started on several threads at once.
  std::mutex mutex;
  EngineKind kind = EngineKind::kAutomatic;
  unsigned index = 0;
  EngineChoice choice{.running = false, .engine = {}, .reason = "no device was started yet"};
};

// The choice is the process's, as that of a graphics adapter is.
State& GetState() {
  static State state;
  return state;
}

void SetChoice(EngineChoice choice) {
  State& state = GetState();
  const std::lock_guard lock(state.mutex);
  state.choice = std::move(choice);
}

DeviceType ToPublic(Render::DeviceType type) {
  switch (type) {
    case Render::DeviceType::kDiscreteGpu:
      return DeviceType::kDiscreteGpu;
    case Render::DeviceType::kIntegratedGpu:
      return DeviceType::kIntegratedGpu;
    case Render::DeviceType::kVirtualGpu:
      return DeviceType::kVirtualGpu;
    case Render::DeviceType::kSoftware:
      return DeviceType::kSoftware;
  }
  return DeviceType::kSoftware;
}

bool IsGpu(DeviceType type) { return type != DeviceType::kSoftware && type != DeviceType::kCpu; }

const char* Describe(DeviceType type) {
  switch (type) {
    case DeviceType::kDiscreteGpu:
      return "a discrete GPU";
    case DeviceType::kIntegratedGpu:
      return "an integrated GPU";
    case DeviceType::kVirtualGpu:
      return "a virtual GPU";
    case DeviceType::kSoftware:
      return "a software device";
    case DeviceType::kCpu:
      return "the CPU engine";
  }
  return "a device";
}

std::string Join(const std::vector<std::string>& sentences) {
  std::string text;
  for (const std::string& sentence : sentences) text += "; " + sentence;
  return text;
}

// `failures` tell of better engines that did not start.
std::string WhyChosen(bool automatic, const EngineList& list, const EngineInfo& engine,
                      const std::vector<std::string>& failures) {
  if (!automatic) return "it was asked for";
  if (!IsGpu(engine.type)) {
    return (failures.empty() ? "there is no usable GPU" : "no GPU could be started") +
           Join(failures) + Join(list.rejected);
  }
  if (list.engines.size() == 1) {
    return std::string("it is the only usable device, ") + Describe(engine.type);
  }
  return std::string("it is ") + Describe(engine.type) + ", the best kind among " +
         std::to_string(list.engines.size()) + " usable devices" + Join(failures);
}

void AddCpuEngine(EngineList* list) {
  std::string why;
  if (!Render::CpuAvailable(&why)) {
    list->rejected.push_back(std::move(why));
    return;
  }
  Render::DeviceInfo device = Render::CpuDeviceInfo();
  list->engines.push_back({
      .kind = EngineKind::kCpu,
      .index = 0,
      .type = DeviceType::kCpu,
      .name = std::move(device.name),
      .driver = std::move(device.driver),
      .maximumTextureSize = device.maximum_texture_size,
  });
}

// The engines that a choice of this kind is made among.
EngineList ListEngines(EngineKind kind) {
  EngineList list;
  // Vulkan takes a while to look for.
  if (kind == EngineKind::kCpu) {
    AddCpuEngine(&list);
    return list;
  }
  Render::DeviceList devices = Render::ListVulkanDevices();
  list.rejected = std::move(devices.rejected);
  unsigned index = 0;
  bool with_cpu = kind == EngineKind::kAutomatic;
  for (Render::DeviceInfo& device : devices.devices) {
    const DeviceType type = ToPublic(device.type);
    if (with_cpu && !IsGpu(type)) {
      AddCpuEngine(&list);
      with_cpu = false;
    }
    list.engines.push_back({
        .kind = EngineKind::kVulkan,
        .index = index++,
        .type = type,
        .name = std::move(device.name),
        .driver = std::move(device.driver),
        .maximumTextureSize = device.maximum_texture_size,
    });
  }
  if (with_cpu) AddCpuEngine(&list);
  return list;
}

std::unique_ptr<Render::Engine> Start(const EngineInfo& info, std::string* error) {
  if (info.kind == EngineKind::kCpu) return Render::CreateCpuEngine({}, error);
  Render::VulkanOptions options;
#ifndef NDEBUG
  options.validation = true;
#endif
  return Render::CreateVulkanEngine(info.index, options, error);
}

}  // namespace

EngineList ListEngines() { return ListEngines(EngineKind::kAutomatic); }

bool SelectEngine(EngineKind kind, unsigned index) {
  if (kind != EngineKind::kAutomatic && index >= ListEngines(kind).engines.size()) return false;
  State& state = GetState();
  const std::lock_guard lock(state.mutex);
  state.kind = kind;
  state.index = kind == EngineKind::kAutomatic ? 0 : index;
  return true;
}

void SetCpuThreads(unsigned threads) { Render::SetCpuThreads(threads); }

EngineChoice GetEngineChoice() {
  State& state = GetState();
  const std::lock_guard lock(state.mutex);
  return state.choice;
}

std::shared_ptr<GraphicsDevice> StartGraphicsDevice() {
  EngineKind kind = EngineKind::kAutomatic;
  std::size_t first = 0;
  {
    State& state = GetState();
    const std::lock_guard lock(state.mutex);
    kind = state.kind;
    first = state.index;
  }
  const EngineList list = ListEngines(kind);
  const bool automatic = kind == EngineKind::kAutomatic;
  std::vector<std::string> failures;
  for (std::size_t i = first; i < list.engines.size(); ++i) {
    const EngineInfo& info = list.engines[i];
    std::string error;
    if (std::unique_ptr<Render::Engine> engine = Start(info, &error)) {
      SetChoice(
          {.running = true, .engine = info, .reason = WhyChosen(automatic, list, info, failures)});
      return std::make_shared<GraphicsDevice>(std::move(engine));
    }
    failures.push_back(info.name + ": " + error);
    if (!automatic) break;
  }
  std::string reason = "the engine that was chosen is no longer there";
  if (!failures.empty()) {
    reason = "no render engine could be started" + Join(failures);
  } else if (list.engines.empty()) {
    reason = "no usable render engine was found" + Join(list.rejected);
  }
  SetChoice({.running = false, .engine = {}, .reason = std::move(reason)});
  return nullptr;
}

}  // namespace Vantra::Platform
