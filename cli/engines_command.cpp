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
    case Platform::DeviceType::kCpu:
      return "CPU";
  }
  return "unknown";
}

// As `--engine` takes it.
std::string NameOf(const Platform::EngineInfo& engine) {
  if (engine.kind == Platform::EngineKind::kCpu) return "cpu";
  return fmt::format("vulkan:{}", engine.index);
}

}  // namespace

void ListEngines() {
  const Platform::EngineList list = Platform::ListEngines();
  for (const Platform::EngineInfo& engine : list.engines) {
    fmt::print("{}\t{}\t{}\t{}\tup to {} pixels a side{}\n", NameOf(engine), Describe(engine.type),
               engine.name, engine.driver, engine.maximumTextureSize,
               &engine == &list.engines.front() ? "\t(auto)" : "");
  }
  for (const std::string& reason : list.rejected) PrintError(reason.c_str());
  if (list.engines.empty()) throw CommandError(kFailed, "there is no usable render engine");
}

void SelectEngine(const std::string& text) {
  const auto unknown = [&text] {
    return CommandError(kWrongUsage,
                        fmt::format("--engine {}: expected auto, cpu, vulkan or vulkan:N", text));
  };
  constexpr std::string_view kVulkan = "vulkan";
  Platform::EngineKind kind = Platform::EngineKind::kAutomatic;
  unsigned index = 0;
  if (text == "cpu") {
    kind = Platform::EngineKind::kCpu;
  } else if (text.starts_with(kVulkan)) {
    kind = Platform::EngineKind::kVulkan;
    const std::string_view rest = std::string_view(text).substr(kVulkan.size());
    if (!rest.empty()) {
      const char* const end = rest.data() + rest.size();
      const auto [read, error] = std::from_chars(rest.data() + 1, end, index);
      if (rest.front() != ':' || error != std::errc{} || read != end) throw unknown();
    }
  } else if (text != "auto") {
    throw unknown();
  }
  if (kind == Platform::EngineKind::kAutomatic) {
    // Asked here, since the library reports a failed start at length.
    const Platform::EngineList engines = Platform::ListEngines();
    if (engines.engines.empty()) {
      throw CommandError(kFailed, fmt::format("there is no usable render engine: {}",
                                              fmt::join(engines.rejected, "; ")));
    }
  }
  if (!Platform::SelectEngine(kind, index)) {
    throw CommandError(kFailed, fmt::format("--engine {}: there is no such device; `vantrix "
                                            "engines` lists what is there",
                                            text));
  }
}

void StartDevice(Vantra::Device& device) {
  try {
    device.Intialize(nullptr);
  } catch (const Vantra::DException&) {
    throw CommandError(
        kFailed, fmt::format("cannot start a device: {}", Platform::GetEngineChoice().reason));
  }
}

}  // namespace Vantrix::Command
