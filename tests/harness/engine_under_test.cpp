#include "tests/harness/engine_under_test.h"

#include <cstdlib>
#include <optional>
#include <stdexcept>

#include "render/simd/kernel_registry.h"

namespace Vantra::Testing {
namespace {

using Platform::EngineKind;

std::optional<EngineKind> Asked() {
  const char* const text = std::getenv("VANTRIX_TEST_ENGINE");
  if (!text) return std::nullopt;
  for (const EngineKind kind : {EngineKind::kCpu, EngineKind::kVulkan}) {
    if (text == NameOf(kind)) return kind;
  }
  throw std::invalid_argument(std::string("VANTRIX_TEST_ENGINE=") + text +
                              ": expected cpu or vulkan");
}

EngineKind EngineUnderTest() {
  return Asked().value_or(HasCpuEngine() ? EngineKind::kCpu : EngineKind::kVulkan);
}

}  // namespace

bool SelectEngineUnderTest() { return Platform::SelectEngine(EngineUnderTest()); }

bool HasCpuEngine() { return !Render::Simd::GetKernelTable().empty(); }

bool IsOnCpu() { return EngineUnderTest() == EngineKind::kCpu; }

std::vector<EngineKind> EnginesUnderTest() {
  if (const auto asked = Asked()) return {*asked};
  if (!HasCpuEngine()) return {EngineKind::kVulkan};
  return {EngineKind::kCpu, EngineKind::kVulkan};
}

std::string NameOf(EngineKind kind) { return kind == EngineKind::kCpu ? "cpu" : "vulkan"; }

}  // namespace Vantra::Testing
