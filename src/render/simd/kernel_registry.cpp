#include "render/simd/kernel_registry.h"

#include <mutex>
#include <string_view>
#include <vector>

namespace Vantra::Render::Simd {
namespace {

template <class Entry>
using Tables = std::vector<std::span<const Entry>>;

// Engines on different threads share it.
struct Registry {
  std::mutex mutex;
  Tables<Kernel> translated = {GetKernelTable()};
  Tables<NativeKernel> native = {GetNativeKernelTable()};
  const Tables<NativeComputeKernel> native_compute = {GetNativeComputeTable()};
};

Registry& GetRegistry() {
  // Never destroyed: an engine may be used to the end of the process.
  static auto& registry = *new Registry;
  return registry;
}

template <class Entry, class Match>
const Entry* Find(const Tables<Entry>& tables, Match match) {
  for (const std::span<const Entry> table : tables) {
    for (const Entry& entry : table) {
      if (match(entry)) return &entry;
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

void AddNativeKernels(std::span<const NativeKernel> kernels) {
  Registry& registry = GetRegistry();
  const std::lock_guard lock(registry.mutex);
  registry.native.push_back(kernels);
}

std::optional<FoundKernel> FindKernel(std::uint64_t program_hash) {
  Registry& registry = GetRegistry();
  const std::lock_guard lock(registry.mutex);
  const Kernel* const translated = Find(registry.translated, [&](const Kernel& kernel) {
    return kernel.program_hash == program_hash;
  });
  if (!translated) return std::nullopt;
  const std::string_view name = translated->name ? translated->name : "";
  const auto is_of_name = [&](const auto& kernel) { return name == kernel.name; };
  return FoundKernel{*translated, Find(registry.native, is_of_name),
                     Find(registry.native_compute, is_of_name)};
}

}  // namespace Vantra::Render::Simd
