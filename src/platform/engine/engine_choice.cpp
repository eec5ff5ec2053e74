#include <vantrix/platform/engine.h>

#include <utility>

#include "platform/engine/graphics_device.h"
#include "render/vulkan/vulkan_engine.h"

namespace Vantra::Platform {
namespace {

struct State {
  EngineKind kind = EngineKind::kAutomatic;
  unsigned index = 0;
  EngineChoice choice{.running = false, .engine = {}, .reason = "no device was started yet"};
};

// The choice is the process's, as that of a graphics adapter is.
State& GetState() {
  static State state;
  return state;
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
  }
  return "a device";
}

std::string Join(const std::vector<std::string>& sentences) {
  std::string text;
  for (const std::string& sentence : sentences) text += "; " + sentence;
  return text;
}

std::string WhyChosen(const State& state, const EngineList& list, const EngineInfo& engine) {
  if (state.kind != EngineKind::kAutomatic) return "it was asked for";
  if (list.engines.size() == 1) {
    return std::string("it is the only usable device, ") + Describe(engine.type);
  }
  return std::string("it is ") + Describe(engine.type) + ", the best kind among " +
         std::to_string(list.engines.size()) + " usable devices";
}

}  // namespace

EngineList ListEngines() {
  Render::DeviceList devices = Render::ListVulkanDevices();
  EngineList list;
  for (Render::DeviceInfo& device : devices.devices) {
    list.engines.push_back({
        .kind = EngineKind::kVulkan,
        .index = static_cast<unsigned>(list.engines.size()),
        .type = ToPublic(device.type),
        .name = std::move(device.name),
        .driver = std::move(device.driver),
        .maximumTextureSize = device.maximum_texture_size,
    });
  }
  list.rejected = std::move(devices.rejected);
  return list;
}

bool SelectEngine(EngineKind kind, unsigned index) {
  if (kind == EngineKind::kVulkan && index >= ListEngines().engines.size()) return false;
  GetState().kind = kind;
  GetState().index = kind == EngineKind::kAutomatic ? 0 : index;
  return true;
}

EngineChoice GetEngineChoice() { return GetState().choice; }

std::shared_ptr<GraphicsDevice> StartGraphicsDevice() {
  State& state = GetState();
  const EngineList list = ListEngines();
  if (state.index >= list.engines.size()) {
    state.choice = {.running = false,
                    .engine = {},
                    .reason = list.engines.empty()
                                  ? "no usable render engine was found" + Join(list.rejected)
                                  : "the engine that was chosen is no longer there"};
    return nullptr;
  }
  const EngineInfo& info = list.engines[state.index];
  Render::VulkanOptions options;
#ifndef NDEBUG
  options.validation = true;
#endif
  std::string error;
  std::unique_ptr<Render::Engine> engine = Render::CreateVulkanEngine(state.index, options, &error);
  if (!engine) {
    state.choice = {.running = false, .engine = info, .reason = info.name + ": " + error};
    return nullptr;
  }
  state.choice = {.running = true, .engine = info, .reason = WhyChosen(state, list, info)};
  return std::make_shared<GraphicsDevice>(std::move(engine));
}

}  // namespace Vantra::Platform
