#include "bench/engines.h"

#include <vantrix/platform/engine.h>

#include <charconv>

namespace Vantra::Bench {
namespace {

using Platform::EngineKind;

EngineKind s_kind = EngineKind::kAutomatic;
unsigned s_index = 0;

}  // namespace

bool ChooseEngine(std::string_view text) {
  EngineKind kind = EngineKind::kAutomatic;
  unsigned index = 0;
  constexpr std::string_view kNumbered = "vulkan:";
  if (text == "cpu") {
    kind = EngineKind::kCpu;
  } else if (text == "vulkan") {
    kind = EngineKind::kVulkan;
  } else if (text.starts_with(kNumbered)) {
    kind = EngineKind::kVulkan;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data() + kNumbered.size(), end, index);
    if (read.ec != std::errc{} || read.ptr != end) return false;
  } else if (text != "auto") {
    return false;
  }
  if (!Platform::SelectEngine(kind, index)) return false;
  s_kind = kind;
  s_index = index;
  return true;
}

void SelectChosenEngine() { Platform::SelectEngine(s_kind, s_index); }

}  // namespace Vantra::Bench
