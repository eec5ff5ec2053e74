#include <vantrix/vantrix.h>

#include <benchmark/benchmark.h>

#include "bench/effects_bench.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  Vantra::Device probe;
  probe.Intialize(nullptr);
  benchmark::AddCustomContext("engine", Vantra::Platform::GetEngineChoice().engine.name);
  Vantra::Bench::RegisterEffectBenchmarks();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
