// What the pass of each effect costs at 1920 x 1080. Effects have their start values, or those of
// `kSettings` where these do nothing.
//
// The rows `Effect` measure it on the chosen engine beside a plain copy of the same bytes in the
// same run. The rows `Engines` measure it on the CPU engine and, in turn, on the best Vulkan
// device, which names the row: `vulkan_ms` is its time there, and `times_vulkan` how many times
// faster the CPU engine is.

#include "bench/effects_bench.h"

#include <vantrix/vantrix.h>

#include <benchmark/benchmark.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/engines.h"
#include "bench/measure.h"

namespace Vantra::Bench {
namespace {

constexpr long kWidth = 1920;
constexpr long kHeight = 1080;

// Values of effects that do nothing at the start.
struct Setting {
  std::wstring_view effect;
  const wchar_t* name;
  float value;
};
constexpr Setting kSettings[] = {
    {L"CLSID_StandardAdjust", L"saturation", 40.0f},
    {L"CLSID_D2D1GammaTransfer", L"gamma", -40.0f},
};

std::vector<unsigned char> MakeFrame() {
  std::vector<unsigned char> frame(static_cast<std::size_t>(kWidth * kHeight * 4));
  for (std::size_t i = 0; i < frame.size(); ++i) {
    frame[i] = i % 4 == 3 ? 255 : static_cast<unsigned char>(i * 7 + i / 977);
  }
  return frame;
}

// An effect over a frame on a device of its own, which runs on the engine that is selected.
class EffectPass {
 public:
  EffectPass(const std::wstring& name, const std::vector<unsigned char>& frame) {
    device_.Intialize(nullptr);
    effect_ = device_.GetEffectFactory().CreateEffectByID(name);
    if (!effect_ || !effect_->Create(&device_) || !input_.Create(&device_) ||
        !output_.Create(&device_) || !probe_.Create(&device_)) {
      return;
    }
    input_.SetPixels(frame.data(), kWidth, kHeight, kWidth * 4, 0);
    output_.SetPixelSize(kWidth, kHeight);
    for (const Setting& setting : kSettings) {
      if (setting.effect == name) effect_->SetAttribute(setting.name, setting.value);
    }
    effect_->SetInput(0, &input_);
    drawn_ = true;
    // The first makes pipelines and textures.
    Draw();
  }

  // A session's end does not wait for the device; reading a pixel does.
  void Draw() {
    if (!drawn_) return;
    device_.BeginDraw(&output_);
    effect_->Apply(&output_);
    device_.EndDrawNoCallback();
    drawn_ = probe_.Read(output_, kWidth / 2, kHeight / 2).has_value();
  }

  // Whether all results could be read.
  bool IsDrawn() const { return drawn_; }

 private:
  Device device_;
  std::unique_ptr<Effect> effect_;
  Bitmap input_;
  Bitmap output_;
  PixelProbe probe_;
  bool drawn_ = false;
};

void MeasurePass(benchmark::State& state, const std::wstring& name) {
  const std::vector<unsigned char> frame = MakeFrame();
  EffectPass pass(name, frame);
  MeasureBesideCopy(state, frame, [&pass] { pass.Draw(); });
  if (!pass.IsDrawn()) state.SkipWithError("a result could not be made or read");
}

void CompareEngines(benchmark::State& state, const std::wstring& name) {
  const std::vector<unsigned char> frame = MakeFrame();
  std::optional<EffectPass> cpu;
  std::optional<EffectPass> vulkan;
  if (Platform::SelectEngine(Platform::EngineKind::kCpu)) cpu.emplace(name, frame);
  if (Platform::SelectEngine(Platform::EngineKind::kVulkan)) {
    vulkan.emplace(name, frame);
    state.SetLabel(Platform::GetEngineChoice().engine.name);
  }
  SelectChosenEngine();
  if (!cpu || !vulkan) {
    state.SkipWithError("there are no two engines");
    return;
  }
  Clock::duration cpu_time{};
  Clock::duration vulkan_time{};
  for (auto _ : state) {
    const auto start = Clock::now();
    cpu->Draw();
    const auto middle = Clock::now();
    vulkan->Draw();
    cpu_time += middle - start;
    vulkan_time += Clock::now() - middle;
    state.SetIterationTime(Seconds(middle - start));
  }
  if (!cpu->IsDrawn() || !vulkan->IsDrawn()) {
    state.SkipWithError("a result could not be made or read");
  }
  state.counters["vulkan_ms"] =
      benchmark::Counter(Seconds(vulkan_time) * 1000, benchmark::Counter::kAvgIterations);
  state.counters["times_vulkan"] = Seconds(vulkan_time) / Seconds(cpu_time);
}

}  // namespace

void RegisterEffectBenchmarks() {
  const std::pair<const char*, void (*)(benchmark::State&, const std::wstring&)> rows[] = {
      {"Effect/", MeasurePass}, {"Engines/", CompareEngines}};
  for (const auto& [prefix, measure] : rows) {
    for (const EffectFactory::Listing& effect : EffectFactory::ListEffects()) {
      const std::string title = prefix + std::string(effect.name.begin(), effect.name.end());
      benchmark::RegisterBenchmark(
          title.c_str(), [measure = measure,
                          name = effect.name](benchmark::State& state) { measure(state, name); })
          ->UseManualTime()
          ->Unit(benchmark::kMillisecond);
    }
  }
}

}  // namespace Vantra::Bench
