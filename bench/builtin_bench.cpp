// What the 2D layer's blurs and extrema cost on a frame, on the device alone, as multiples of a
// plain copy of the frame: `copies`, measured in turn in the same run.

#include <vantrix/platform/d2d1effects.h>
#include <vantrix/vantrix.h>

#include <benchmark/benchmark.h>
#include <memory>
#include <vector>

#include "bench/measure.h"

namespace {

using namespace Vantra::Bench;
using Vantra::Bitmap;
using Vantra::Device;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

class BuiltInBench : public benchmark::Fixture {
 public:
  void SetUp(const benchmark::State&) override {
    // Of one colour, which blurs and extrema leave as it is away from the edges.
    frame_.assign(std::size_t{kWidth} * kHeight * 4, 200);
    device_ = std::make_unique<Device>();
    device_->Intialize(nullptr);
    input_ = std::make_unique<Bitmap>();
    output_ = std::make_unique<Bitmap>();
    ready_ = probe_.Create(device_.get()) && input_->Create(device_.get()) &&
             output_->Create(device_.get());
    input_->SetPixels(frame_.data(), kWidth, kHeight, kWidth * 4, 0);
    output_->SetPixelSize(kWidth, kHeight);
  }

  void TearDown(const benchmark::State&) override {
    effect_.Release();
    probe_ = {};
    output_.reset();
    input_.reset();
    device_.reset();
  }

 protected:
  void Make(REFCLSID id) {
    ready_ = ready_ && SUCCEEDED(device_->GetD2DDeviceContext()->CreateEffect(id, &effect_));
    if (ready_) effect_->SetInput(0, input_->GetBitmap(), TRUE);
  }
  template <class T>
  void Set(UINT32 index, T value) {
    ready_ = ready_ &&
             SUCCEEDED(effect_->SetValue(index, D2D1_PROPERTY_TYPE_UNKNOWN,
                                         reinterpret_cast<const BYTE*>(&value), sizeof(value)));
  }

  void Measure(benchmark::State& state) {
    if (!ready_ || Draw() != Pixel{200, 200, 200, 200}) {
      state.SkipWithError("the effect does not draw");
      return;
    }
    MeasureBesideCopy(state, frame_, [this] { Draw(); });
  }

  std::unique_ptr<Device> device_;

 private:
  // The middle pixel, for which the device has to be done.
  std::optional<Pixel> Draw() {
    CComPtr<ID2D1Image> image;
    effect_->GetOutput(&image);
    device_->BeginDraw(output_.get());
    device_->GetD2DDeviceContext()->DrawImage(image, nullptr, nullptr,
                                              D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR,
                                              D2D1_COMPOSITE_MODE_SOURCE_COPY);
    device_->EndDrawNoCallback();
    return probe_.Read(*output_, kWidth / 2, kHeight / 2);
  }

  std::vector<unsigned char> frame_;
  std::unique_ptr<Bitmap> input_;
  std::unique_ptr<Bitmap> output_;
  CComPtr<ID2D1Effect> effect_;
  PixelProbe probe_;
  bool ready_ = false;
};

BENCHMARK_DEFINE_F(BuiltInBench, GaussianBlur)(benchmark::State& state) {
  Make(CLSID_D2D1GaussianBlur);
  Set(D2D1_GAUSSIANBLUR_PROP_STANDARD_DEVIATION, static_cast<FLOAT>(state.range(0)));
  Measure(state);
}
BENCHMARK_REGISTER_F(BuiltInBench, GaussianBlur)
    ->ArgName("deviation")
    ->Arg(0)
    ->Arg(1)
    ->Arg(8)
    ->Arg(32)
    ->Arg(64)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK_DEFINE_F(BuiltInBench, Dilate)(benchmark::State& state) {
  Make(CLSID_D2D1Morphology);
  Set(D2D1_MORPHOLOGY_PROP_MODE, UINT32{D2D1_MORPHOLOGY_MODE_DILATE});
  Set(D2D1_MORPHOLOGY_PROP_WIDTH, static_cast<UINT32>(state.range(0)));
  Set(D2D1_MORPHOLOGY_PROP_HEIGHT, static_cast<UINT32>(state.range(0)));
  Measure(state);
}
BENCHMARK_REGISTER_F(BuiltInBench, Dilate)
    ->ArgName("size")
    ->Arg(3)
    ->Arg(16)
    ->Arg(64)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// At an angle whose places lie between pixels.
BENCHMARK_DEFINE_F(BuiltInBench, DirectionalBlur)(benchmark::State& state) {
  Make(CLSID_D2D1DirectionalBlur);
  Set(D2D1_DIRECTIONALBLUR_PROP_STANDARD_DEVIATION, static_cast<FLOAT>(state.range(0)));
  Set(D2D1_DIRECTIONALBLUR_PROP_ANGLE, 30.0f);
  Measure(state);
}
BENCHMARK_REGISTER_F(BuiltInBench, DirectionalBlur)
    ->ArgName("deviation")
    ->Arg(16)
    ->Arg(128)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// The border has no name in the catalogue. Half of what is drawn lies beyond the image.
BENCHMARK_DEFINE_F(BuiltInBench, Border)(benchmark::State& state) {
  Make(CLSID_D2D1Border);
  Set(D2D1_BORDER_PROP_EDGE_MODE_X, UINT32{D2D1_BORDER_EDGE_MODE_MIRROR});
  Set(D2D1_BORDER_PROP_EDGE_MODE_Y, UINT32{D2D1_BORDER_EDGE_MODE_MIRROR});
  const D2D1_MATRIX_3X2_F beside = {1, 0, 0, 1, kWidth / 2.0f, 0};
  device_->GetD2DDeviceContext()->SetTransform(&beside);
  Measure(state);
}
BENCHMARK_REGISTER_F(BuiltInBench, Border)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
