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
  kAutomatic,  ///< A GPU where there is one, else the CPU engine: the first of `ListEngines`.
  kVulkan,     ///< A Vulkan 1.3 device.
  kCpu,        ///< The library's own engine, on the processor's vector instructions.
};

enum class DeviceType {
  kDiscreteGpu,
  kIntegratedGpu,
  kVirtualGpu,
  kSoftware,  ///< A Vulkan device that is a program on the processor.
  kCpu,       ///< The processor itself, as the CPU engine uses it.
};

struct EngineInfo {
  EngineKind kind;
  /// Number of the device within its kind, in the order of `ListEngines`. The CPU engine is 0.
  unsigned index;
  DeviceType type;
  /// The driver's name for the device, or the processor's name with the vector instructions and the
  /// number of threads that the CPU engine uses, in UTF-8.
  std::string name;
  /// The driver's name and version, in UTF-8; of the CPU engine, that it is built in.
  std::string driver;
  /// Largest width and height of a texture in pixels.
  std::uint32_t maximumTextureSize;
};

struct EngineList {
  /// All usable engines, best first: discrete GPUs, then integrated, then virtual, then the CPU
  /// engine, then Vulkan devices in software.
  std::vector<EngineInfo> engines;
  /// One sentence for each device or interface that was found and cannot be used, with the cause.
  std::vector<std::string> rejected;
};

/// Looks for engines anew. It never fails: on a machine without Vulkan the list has the CPU engine
/// alone, and the cause is under `rejected`.
VANTRIX_API EngineList ListEngines();

/// Chooses the engine for devices started from now on. Returns false, with the former choice kept,
/// when there is no such engine. `index` is not read for `kAutomatic`, which always succeeds here;
/// a machine without any engine shows when a device is started.
///
/// The automatic choice is the first engine of the list that starts. It takes a Vulkan device in
/// software only where there is no CPU engine, which is faster: on a processor without SSE4, and in
/// a library that was built without it.
VANTRIX_API bool SelectEngine(EngineKind kind, unsigned index = 0);

/// Sets how many threads, the caller's included, a CPU engine started from now on draws with: 1 for
/// the caller's alone, 0, as at the start, for as many as the processor runs at a time. More than
/// that are not used. Pixels do not depend on it. Other engines are left alone.
VANTRIX_API void SetCpuThreads(unsigned threads);

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

/// Why the device's engine last refused a shader, in one sentence, and forgets it: the CPU engine
/// runs only those that were translated when the library was built. Empty when none was refused
/// since the last call, or nothing is known beyond the result of the loading; also for a null
/// device. The library logs it when it cannot make an effect.
VANTRIX_API std::string TakeRefusal(ID3D11Device* device);

/// For tests of recovery: the engine call that follows `calls` further ones finds the device lost,
/// as does every later one, until the device is made anew. Returns false for a null device.
VANTRIX_API bool InjectDeviceLoss(ID3D11Device* device, unsigned calls = 0);

}  // namespace Vantra::Platform
