#pragma once

// The engine that benchmarks run on.

#include <string_view>

namespace Vantra::Bench {

/// Chooses the engine for benchmarks: auto, cpu, vulkan or vulkan:N. Returns false when there is no
/// such engine.
bool ChooseEngine(std::string_view text);

/// Makes devices start on the chosen engine again, after a benchmark has selected others.
void SelectChosenEngine();

}  // namespace Vantra::Bench
