#include "cli/engines_command.h"

#include <vantrix/device/dexception.h>
#include <vantrix/platform/engine.h>

#include <charconv>
#include <fmt/format.h>
#include <string_view>

#include "cli/command_error.h"
#include "cli/text.h"

namespace Vantrix::Command {
namespace {

namespace Platform = Vantra::Platform;

const char* Describe(Platform::DeviceType type) {
  switch (type) {
    case Platform::DeviceType::kDiscreteGpu:
      return "discrete GPU";
    case Platform::DeviceType::kIntegratedGpu:
      return "integrated GPU";
    case Platform::DeviceType::kVirtualGpu:
      return "virtual GPU";
    case Platform::DeviceType::kSoftware:
      return "software";
  }
  return "unknown";
}

}  // namespace

void ListEngines() {
  const Platform::EngineList list = Platform::ListEngines();
  for (const Platform::EngineInfo& engine : list.engines) {
    fmt::print("vulkan:{}\t{}\t{}\t{}\tup to {} pixels a side{}\n", engine.index,
               Describe(engine.type), engine.name, engine.driver, engine.maximumTextureSize,
               engine.index == 0 ? "\t(auto)" : "");
  }
  for (const std::string& reason : list.rejected) PrintError(reason.c_str());
  if (list.engines.empty()) throw CommandError(kFailed, "there is no usable render engine");
}

void SelectEngine(const std::string& text) {
  if (text == "auto") {
    Platform::SelectEngine(Platform::EngineKind::kAutomatic);
    return;
  }
  constexpr std::string_view kVulkan = "vulkan";
  std::string_view rest = text;
  if (rest.substr(0, kVulkan.size()) != kVulkan) {
    throw CommandError(kWrongUsage,
                       fmt::format("--engine {}: expected auto, vulkan or vulkan:N", text));
  }
  rest.remove_prefix(kVulkan.size());
  unsigned index = 0;
  if (!rest.empty()) {
    const auto [end, error] = std::from_chars(rest.data() + 1, rest.data() + rest.size(), index);
    if (rest.front() != ':' || error != std::errc{} || end != rest.data() + rest.size()) {
      throw CommandError(kWrongUsage,
                         fmt::format("--engine {}: expected auto, vulkan or vulkan:N", text));
    }
  }
  if (!Platform::SelectEngine(Platform::EngineKind::kVulkan, index)) {
    throw CommandError(kFailed, fmt::format("--engine {}: there is no such device; `vantrix "
                                            "engines` lists what is there",
                                            text));
  }
}

void StartDevice(Vantra::Device& device) {
  // Asked first, since the library reports a failed start at length.
  const Platform::EngineList engines = Platform::ListEngines();
  if (engines.engines.empty()) {
    throw CommandError(kFailed, fmt::format("there is no usable render engine: {}",
                                            fmt::join(engines.rejected, "; ")));
  }
  try {
    device.Intialize(nullptr);
  } catch (const Vantra::DException&) {
    throw CommandError(
        kFailed, fmt::format("cannot start a device: {}", Platform::GetEngineChoice().reason));
  }
}

}  // namespace Vantrix::Command
