// What the pass of each effect costs at 1920 x 1080, beside a plain copy of the same bytes in the
// same run. Effects have their start values, or those of `kSettings` where these do nothing.

#include "bench/effects_bench.h"

#include <vantrix/vantrix.h>

#include <benchmark/benchmark.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

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

void MeasurePass(benchmark::State& state, const std::wstring& name) {
  Device device;
  device.Intialize(nullptr);
  const std::unique_ptr<Effect> effect = device.GetEffectFactory().CreateEffectByID(name);
  Bitmap input;
  Bitmap output;
  PixelProbe probe;
  if (!effect || !effect->Create(&device) || !input.Create(&device) || !output.Create(&device) ||
      !probe.Create(&device)) {
    state.SkipWithError("the objects could not be made");
    return;
  }
  std::vector<unsigned char> frame(static_cast<std::size_t>(kWidth * kHeight * 4));
  for (std::size_t i = 0; i < frame.size(); ++i) {
    frame[i] = i % 4 == 3 ? 255 : static_cast<unsigned char>(i * 7 + i / 977);
  }
  input.SetPixels(frame.data(), kWidth, kHeight, kWidth * 4, 0);
  output.SetPixelSize(kWidth, kHeight);
  for (const Setting& setting : kSettings) {
    if (setting.effect == name) effect->SetAttribute(setting.name, setting.value);
  }
  effect->SetInput(0, &input);
  bool drawn = true;
  // A session's end does not wait for the device; reading a pixel does.
  const auto pass = [&] {
    device.BeginDraw(&output);
    effect->Apply(&output);
    device.EndDrawNoCallback();
    drawn = probe.Read(output, kWidth / 2, kHeight / 2).has_value() && drawn;
  };
  // The first makes pipelines and textures.
  pass();
  MeasureBesideCopy(state, frame, pass);
  if (!drawn) state.SkipWithError("a result could not be read");
}

}  // namespace

void RegisterEffectBenchmarks() {
  for (const EffectFactory::Listing& effect : EffectFactory::ListEffects()) {
    const std::string title = "Effect/" + std::string(effect.name.begin(), effect.name.end());
    benchmark::RegisterBenchmark(
        title.c_str(), [name = effect.name](benchmark::State& state) { MeasurePass(state, name); })
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
}

}  // namespace Vantra::Bench
