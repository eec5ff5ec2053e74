// vantrix_bench [--engine=auto|cpu|vulkan|vulkan:N] [options of the benchmark library]

#include <vantrix/vantrix.h>

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <string_view>

#include "bench/effects_bench.h"
#include "bench/engines.h"
#include "bench/pictures/pictures_bench.h"

namespace {

// Takes the option off the arguments. False for an engine that is not there.
bool TakeEngineOption(int* argc, char** argv) {
  constexpr std::string_view kOption = "--engine=";
  char** const end = argv + *argc;
  char** const option = std::find_if(argv + 1, end, [](const char* argument) {
    return std::string_view(argument).starts_with(kOption);
  });
  if (option == end) return true;
  const std::string_view engine = std::string_view(*option).substr(kOption.size());
  std::rotate(option, option + 1, end);
  --*argc;
  return Vantra::Bench::ChooseEngine(engine);
}

}  // namespace

int main(int argc, char** argv) {
  if (!TakeEngineOption(&argc, argv)) {
    std::fprintf(stderr,
                 "--engine: expected auto, cpu, vulkan or vulkan:N, as the machine has it\n");
    return 1;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  Vantra::Device probe;
  probe.Intialize(nullptr);
  benchmark::AddCustomContext("engine", Vantra::Platform::GetEngineChoice().engine.name);
  Vantra::Bench::RegisterEffectBenchmarks();
  Vantra::Bench::RegisterPictureBenchmarks();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
