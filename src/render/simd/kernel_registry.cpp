#include "render/simd/kernel_registry.h"

#include <mutex>
#include <string_view>
#include <vector>

namespace Vantra::Render::Simd {
namespace {

// Engines on different threads share it.
struct Registry {
  std::mutex mutex;
  std::vector<std::span<const Kernel>> translated = {GetKernelTable()};
  std::vector<std::span<const Kernel>> native = {GetNativeKernelTable()};
};

Registry& GetRegistry() {
  // Never destroyed: an engine may be used to the end of the process.
  static auto& registry = *new Registry;
  return registry;
}

template <class Match>
const Kernel* Find(const std::vector<std::span<const Kernel>>& tables, Match match) {
  for (const std::span<const Kernel> table : tables) {
    for (const Kernel& kernel : table) {
      if (match(kernel)) return &kernel;
    }
  }
  return nullptr;
}

}  // namespace

void AddKernels(std::span<const Kernel> kernels) {
  Registry& registry = GetRegistry();
  const std::lock_guard lock(registry.mutex);
  registry.translated.push_back(kernels);
}

void AddNativeKernels(std::span<const Kernel> kernels) {
  Registry& registry = GetRegistry();
  const std::lock_guard lock(registry.mutex);
  registry.native.push_back(kernels);
}

std::optional<Kernel> FindKernel(std::uint64_t program_hash, bool use_native) {
  Registry& registry = GetRegistry();
  const std::lock_guard lock(registry.mutex);
  const Kernel* const translated = Find(registry.translated, [&](const Kernel& kernel) {
    return kernel.program_hash == program_hash;
  });
  if (!translated) return std::nullopt;
  Kernel found = *translated;
  if (!use_native || !found.name) return found;
  const std::string_view name = found.name;
  const Kernel* const native =
      Find(registry.native, [&](const Kernel& kernel) { return name == kernel.name; });
  if (native && found.pixel) found.pixel = native->pixel;
  if (native && found.compute) found.compute = native->compute;
  return found;
}

}  // namespace Vantra::Render::Simd
