// What one frame through Posterize costs, beside a plain copy of the same bytes.
//
//   build/release/bench/vantrix_bench --benchmark_repetitions=5
//   --benchmark_report_aggregates_only=1
//
// Every row reports `copies`: its time as a multiple of a copy of the same frame, measured around
// it in the same run.

#include <vantrix/vantrix.h>

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "bench/measure.h"

namespace {

using namespace Vantra::Bench;
using Vantra::Bitmap;
using Vantra::Device;

constexpr float kAmout = 5;  // every step of 1/5 is a whole number of 255ths
// The pixel of the first row that results are checked at: some of its channels become 0, others 51.
constexpr unsigned kProbeX = 101;

class FrameBench : public benchmark::Fixture {
 public:
  void SetUp(const benchmark::State& state) override {
    width_ = state.range(0);
    height_ = state.range(1);
    frame_.resize(static_cast<std::size_t>(width_ * height_ * 4));
    for (std::size_t i = 0; i < frame_.size(); ++i) frame_[i] = static_cast<unsigned char>(i * 7);
    copy_.resize(frame_.size());
    device_ = std::make_unique<Device>();
    device_->Intialize(nullptr);
    device_->Resize(width_, height_);
    device_->SetRenderCallback([this](void* data, unsigned, unsigned, unsigned) {
      const auto* at = static_cast<unsigned char*>(data) + kProbeX * 4;
      pixel_ = {at[0], at[1], at[2], at[3]};
      ++delivered_;
    });
    effect_ = std::make_unique<VantraFx::Posterize>();
    input_ = std::make_unique<Bitmap>();
    output_ = std::make_unique<Bitmap>();
    ready_ = effect_->Create(device_.get()) && input_->Create(device_.get()) &&
             output_->Create(device_.get());
    output_->SetPixelSize(width_, height_);
    Upload();
    effect_->SetAttribute(L"Amout", kAmout);
    effect_->SetInput(0, input_.get());
    // The first frame makes pipelines and textures.
    DrawFrame();
  }

  void TearDown(const benchmark::State&) override {
    output_.reset();
    input_.reset();
    effect_.reset();
    device_.reset();
  }

 protected:
  void Upload() { input_->SetPixels(frame_.data(), width_, height_, width_ * 4, 0); }

  void DrawFrame() {
    device_->BeginDraw(nullptr, kTransparent);
    device_->DrawImage(effect_.get(), nullptr, nullptr, D2D1_INTERPOLATION_MODE_LINEAR,
                       D2D1_COMPOSITE_MODE_SOURCE_OVER);
    device_->EndDrawCallback();
  }

  // The checked pixel after the pass, by the formula.
  Pixel Expected() const {
    Pixel pixel;
    for (std::size_t i = 0; i < pixel.size(); ++i) {
      const double step = std::floor(frame_[kProbeX * 4 + i] / 255.0 * kAmout + 0.5) / kAmout;
      pixel[i] = static_cast<unsigned char>(std::lround(step * 255));
    }
    return pixel;
  }

  // Times `work` and, between its rounds, a plain copy of a frame.
  template <class Work>
  void Measure(benchmark::State& state, Work work) {
    if (!ready_) {
      state.SkipWithError("the objects could not be made");
      return;
    }
    MeasureBesideCopy(state, frame_, work);
  }

  long width_ = 0;
  long height_ = 0;
  std::vector<unsigned char> frame_;
  std::vector<unsigned char> copy_;
  std::unique_ptr<Device> device_;
  std::unique_ptr<Vantra::Effect> effect_;
  std::unique_ptr<Bitmap> input_;
  std::unique_ptr<Bitmap> output_;
  bool ready_ = false;
  long delivered_ = 0;
  std::optional<Pixel> pixel_;
};

void Sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Args({1280, 720})->Args({1920, 1080})->Args({3840, 2160});
  benchmark->UseManualTime()->Unit(benchmark::kMillisecond);
}

// The plain copy itself, as a row of its own.
BENCHMARK_DEFINE_F(FrameBench, Copy)(benchmark::State& state) {
  Measure(state, [this] {
    std::memcpy(copy_.data(), frame_.data(), frame_.size());
    benchmark::ClobberMemory();
  });
}
BENCHMARK_REGISTER_F(FrameBench, Copy)->Apply(Sizes);

// Host pixels in, a frame in the callback out.
BENCHMARK_DEFINE_F(FrameBench, HostToHost)(benchmark::State& state) {
  const long before = delivered_;
  Measure(state, [this] {
    Upload();
    DrawFrame();
  });
  if (delivered_ - before != state.iterations()) state.SkipWithError("frames were not delivered");
  if (pixel_ != Expected()) state.SkipWithError("a pixel is not what the formula says");
}
BENCHMARK_REGISTER_F(FrameBench, HostToHost)->Apply(Sizes);

// The pass alone: from a bitmap that is on the device to another. The session's end does not wait
// for the device, so a read-back of one pixel does.
BENCHMARK_DEFINE_F(FrameBench, PassAlone)(benchmark::State& state) {
  PixelProbe probe;
  if (!probe.Create(device_.get())) {
    state.SkipWithError("the bitmap to read from could not be made");
    return;
  }
  bool is_right = true;
  Measure(state, [&] {
    device_->BeginDraw(output_.get());
    effect_->Apply(output_.get());
    device_->EndDrawNoCallback();
    is_right = probe.Read(*output_, kProbeX, 0) == Expected() && is_right;
  });
  if (!is_right) state.SkipWithError("a pixel is not what the formula says");
}
BENCHMARK_REGISTER_F(FrameBench, PassAlone)->Apply(Sizes);

}  // namespace
