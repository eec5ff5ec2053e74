#pragma once

namespace Vantra::Bench {

// Adds a row for every effect that is made by name. To be called before benchmarks are run.
void RegisterEffectBenchmarks();

}  // namespace Vantra::Bench
