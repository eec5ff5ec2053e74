#pragma once

/// Which render engine the library works on. The choice is made by calls alone; it holds for the
/// devices that are started after it.

#include <vantrix/export.h>
#include <vantrix/platform/d3d11.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Vantra::Platform {

enum class EngineKind {
  kAutomatic,  ///< The first engine of `ListEngines`.
  kVulkan,     ///< A Vulkan 1.3 device.
};

enum class DeviceType { kDiscreteGpu, kIntegratedGpu, kVirtualGpu, kSoftware };

struct EngineInfo {
  EngineKind kind;
  /// Number of the device within its kind, in the order of `ListEngines`.
  unsigned index;
  DeviceType type;
  /// The driver's name for the device, in UTF-8.
  std::string name;
  /// The driver's name and version, in UTF-8.
  std::string driver;
  /// Largest width and height of a texture in pixels.
  std::uint32_t maximumTextureSize;
};

struct EngineList {
  /// All usable engines, best first: discrete GPUs, then integrated, then virtual, then software.
  std::vector<EngineInfo> engines;
  /// One sentence for each device or interface that was found and cannot be used, with the cause.
  std::vector<std::string> rejected;
};

/// Looks for engines anew. It never fails: a machine without Vulkan gives an empty list with the
/// cause under `rejected`.
VANTRIX_API EngineList ListEngines();

/// Chooses the engine for devices started from now on. Returns false, with the former choice kept,
/// when there is no such engine. `index` is not read for `kAutomatic`, which always succeeds here;
/// a machine without any engine shows when a device is started.
VANTRIX_API bool SelectEngine(EngineKind kind, unsigned index = 0);

struct EngineChoice {
  /// Whether the last start of a device succeeded.
  bool running;
  /// The engine of the device started last; meaningful when `running`.
  EngineInfo engine;
  /// Why that engine was chosen, or why none could be started, in one sentence.
  std::string reason;
};

/// The engine of the device that was started last.
VANTRIX_API EngineChoice GetEngineChoice();

/// For tests of recovery: the engine call that follows `calls` further ones finds the device lost,
/// as does every later one, until the device is made anew. Returns false for a null device.
VANTRIX_API bool InjectDeviceLoss(ID3D11Device* device, unsigned calls = 0);

}  // namespace Vantra::Platform
