// What each step of a video frame's road costs: NV12 in host memory, BGRA on the device, an effect,
// a bitmap over it, and back into the render callback.
//
// Every row measures, in the same run and in turn, its step, the whole road and a plain copy of the
// BGRA frame. `copies` is the step as a multiple of that copy, `share` its part of the whole. A
// step on its own waits for the device, which the whole does once: so the shares add up to more
// than 1, and the row `Wait` tells what waiting costs.

#include <vantrix/vantrix.h>

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "bench/measure.h"

namespace {

using namespace Vantra::Bench;
using Vantra::Bitmap;
using Vantra::Device;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kStride = kWidth * 4;
constexpr int kChroma[2] = {90, 160};          // U, V
constexpr Pixel kOverlay = {0, 64, 128, 128};  // half transparent, premultiplied
constexpr float kAmout = 5;                    // every step of 1/5 is a whole number of 255ths
// The pixel that every step is checked at.
constexpr int kProbeX = 1000;
constexpr int kProbeY = 500;

int Luma(int x, int y) { return 16 + (x + y) % 220; }

// What the checked pixel has to be after each step, by the formulas.
Pixel Converted() {
  const double luma = 1.164384 * (Luma(kProbeX, kProbeY) - 16);
  const double u = kChroma[0] - 128;
  const double v = kChroma[1] - 128;
  const auto cut = [](double value) {
    return static_cast<unsigned char>(std::clamp(value, 0.0, 255.0));
  };
  return {cut(luma + 2.017232 * u), cut(luma - 0.8129677 * v - 0.3917623 * u),
          cut(luma + 1.596027 * v), 255};
}
Pixel Posterized() {
  Pixel pixel = Converted();
  for (unsigned char& channel : pixel) {
    const double step = std::floor(channel / 255.0 * kAmout + 0.5) / kAmout;
    channel = static_cast<unsigned char>(std::lround(step * 255));
  }
  return pixel;
}
Pixel Composited() {
  Pixel pixel = Posterized();
  for (std::size_t i = 0; i < pixel.size(); ++i) {
    const double below = pixel[i] * (255 - kOverlay[3]) / 255.0;
    pixel[i] = static_cast<unsigned char>(std::lround(kOverlay[i] + below));
  }
  return pixel;
}

class Road : public benchmark::Fixture {
 public:
  void SetUp(const benchmark::State&) override {
    video_.resize(std::size_t{kWidth} * kHeight * 3 / 2);
    for (int y = 0; y < kHeight * 3 / 2; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        video_[static_cast<std::size_t>(y * kWidth + x)] =
            static_cast<unsigned char>(y < kHeight ? Luma(x, y) : kChroma[x % 2]);
      }
    }
    picture_.resize(std::size_t{kStride} * kHeight);
    copy_.resize(picture_.size());
    device_ = std::make_unique<Device>();
    device_->Intialize(nullptr);
    device_->Resize(kWidth, kHeight);
    device_->SetRenderCallback([this](void* data, unsigned, unsigned, unsigned pitch) {
      const auto* at = static_cast<unsigned char*>(data) + kProbeY * pitch + kProbeX * 4;
      delivered_ = {at[0], at[1], at[2], at[3]};
    });
    converter_ = std::make_unique<Vantra::ColorSpaceConverter>();
    effect_ = std::make_unique<VantraFx::Posterize>();
    for (auto* bitmap : {&input_, &overlay_, &output_}) *bitmap = std::make_unique<Bitmap>();
    probe_ = std::make_unique<PixelProbe>();
    ready_ = probe_->Create(device_.get()) && converter_->Create(device_.get()) &&
             effect_->Create(device_.get());
    for (auto* bitmap : {&input_, &overlay_, &output_}) {
      ready_ = (*bitmap)->Create(device_.get()) && ready_;
      (*bitmap)->SetPixelSize(kWidth, kHeight);
    }
    for (std::size_t i = 0; i < copy_.size(); ++i) copy_[i] = kOverlay[i % 4];
    overlay_->SetPixels(copy_.data(), kWidth, kHeight, kStride, 0);
    effect_->SetAttribute(L"Amout", kAmout);
    effect_->SetInput(0, input_.get());
    // The first frame makes textures and pipelines.
    Whole();
  }

  void TearDown(const benchmark::State&) override {
    probe_.reset();
    for (auto* bitmap : {&input_, &overlay_, &output_}) bitmap->reset();
    effect_.reset();
    converter_.reset();
    device_.reset();
  }

 protected:
  void Convert() {
    converter_->Apply(video_.data(), kWidth, kHeight, kWidth, picture_.data(), kStride,
                      DXGI_FORMAT_NV12);
  }
  void Pass() {
    device_->BeginDraw(output_.get());
    effect_->Apply(output_.get());
    device_->EndDrawNoCallback();
  }
  void Composite() {
    device_->BeginDraw(output_.get());
    DrawOverlay();
    device_->EndDrawNoCallback();
  }
  void ReadBack() {
    device_->BeginDraw(nullptr);
    device_->EndDrawCallback();
  }
  void Whole() {
    input_->SetPixelsEx(video_.data(), kWidth, kHeight, kWidth, DXGI_FORMAT_NV12);
    device_->BeginDraw(nullptr, kTransparent);
    device_->DrawImage(effect_.get(), D2D1_INTERPOLATION_MODE_LINEAR,
                       D2D1_COMPOSITE_MODE_SOURCE_OVER);
    DrawOverlay();
    device_->EndDrawCallback();
  }
  void DrawOverlay() {
    device_->DrawBitmap(overlay_.get(), nullptr, 1, D2D1_INTERPOLATION_MODE_LINEAR, nullptr);
  }

  // Empties a bitmap, so that a step that does nothing shows, and waits for that.
  void Clear(Bitmap* bitmap) {
    device_->BeginDraw(bitmap, kTransparent);
    device_->EndDrawNoCallback();
    Probe(*bitmap);
  }
  std::optional<Pixel> Probe(const Bitmap& bitmap) {
    return probe_->Read(bitmap, kProbeX, kProbeY);
  }
  std::optional<Pixel> TakeDelivered() { return std::exchange(delivered_, std::nullopt); }

  // `prepare` is not timed. `work` is, and returns the checked pixel as the step leaves it.
  template <class Prepare, class Work>
  void Measure(benchmark::State& state, const Pixel& expected, Prepare prepare, Work work) {
    if (!ready_) {
      state.SkipWithError("the objects could not be made");
      return;
    }
    Clock::duration work_time{};
    Clock::duration whole_time{};
    Clock::duration copy_time{};
    bool is_right = true;
    for (auto _ : state) {
      prepare();
      const auto start = Clock::now();
      const std::optional<Pixel> result = work();
      const auto end = Clock::now();
      work_time += end - start;
      is_right = is_right && result == expected;
      state.SetIterationTime(Seconds(end - start));

      const auto whole_start = Clock::now();
      Whole();
      const auto whole_end = Clock::now();
      whole_time += whole_end - whole_start;
      is_right = is_right && TakeDelivered() == Composited();

      std::memcpy(copy_.data(), picture_.data(), picture_.size());
      benchmark::ClobberMemory();
      copy_time += Clock::now() - whole_end;
    }
    if (!is_right) state.SkipWithError("a pixel is not what the formulas say");
    state.counters["copies"] = Seconds(work_time) / Seconds(copy_time);
    state.counters["share"] = Seconds(work_time) / Seconds(whole_time);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(picture_.size()));
  }

  std::vector<unsigned char> video_;
  std::vector<unsigned char> picture_;
  std::vector<unsigned char> copy_;
  std::unique_ptr<Device> device_;
  std::unique_ptr<Vantra::ColorSpaceConverter> converter_;
  std::unique_ptr<Vantra::Effect> effect_;
  std::unique_ptr<Bitmap> input_;
  std::unique_ptr<Bitmap> overlay_;
  std::unique_ptr<Bitmap> output_;
  std::unique_ptr<PixelProbe> probe_;
  bool ready_ = false;
  std::optional<Pixel> delivered_;
};

BENCHMARK_DEFINE_F(Road, Wait)(benchmark::State& state) {
  Measure(
      state, Converted(), [] {}, [this] { return Probe(*input_); });
}

// NV12 to BGRA, both in host memory.
BENCHMARK_DEFINE_F(Road, Conversion)(benchmark::State& state) {
  unsigned char* const at = &picture_[std::size_t{kProbeY} * kStride + kProbeX * 4];
  Measure(
      state, Converted(), [at] { std::fill_n(at, 4, 0); },
      [this, at] {
        Convert();
        return std::optional<Pixel>({at[0], at[1], at[2], at[3]});
      });
}

BENCHMARK_DEFINE_F(Road, Upload)(benchmark::State& state) {
  Measure(
      state, Converted(), [this] { Clear(input_.get()); },
      [this] {
        input_->RestoreCpuPixels();
        return Probe(*input_);
      });
}

BENCHMARK_DEFINE_F(Road, Pass)(benchmark::State& state) {
  Measure(
      state, Posterized(), [this] { Clear(output_.get()); },
      [this] {
        Pass();
        return Probe(*output_);
      });
}

// A half transparent bitmap of the frame's size over the frame.
BENCHMARK_DEFINE_F(Road, Compositing)(benchmark::State& state) {
  Measure(
      state, Composited(),
      [this] {
        Pass();
        Probe(*output_);
      },
      [this] {
        Composite();
        return Probe(*output_);
      });
}

// From the device's own target into the callback.
BENCHMARK_DEFINE_F(Road, ReadBack)(benchmark::State& state) {
  Measure(
      state, Composited(), [] {},
      [this] {
        ReadBack();
        return TakeDelivered();
      });
}

BENCHMARK_DEFINE_F(Road, Whole)(benchmark::State& state) {
  Measure(
      state, Composited(), [] {},
      [this] {
        Whole();
        return TakeDelivered();
      });
}

void Milliseconds(benchmark::internal::Benchmark* benchmark) {
  benchmark->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_REGISTER_F(Road, Wait)->Apply(Milliseconds);
BENCHMARK_REGISTER_F(Road, Conversion)->Apply(Milliseconds);
BENCHMARK_REGISTER_F(Road, Upload)->Apply(Milliseconds);
BENCHMARK_REGISTER_F(Road, Pass)->Apply(Milliseconds);
BENCHMARK_REGISTER_F(Road, Compositing)->Apply(Milliseconds);
BENCHMARK_REGISTER_F(Road, ReadBack)->Apply(Milliseconds);
BENCHMARK_REGISTER_F(Road, Whole)->Apply(Milliseconds);

}  // namespace
