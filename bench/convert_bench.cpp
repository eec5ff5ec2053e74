// What one video frame through `ColorSpaceConverter` costs, by format: host bytes in, BGRA in host
// memory out. `copies` is its time as a multiple of a plain copy of the BGRA frame, measured around
// it in the same run.

#include <vantrix/vantrix.h>

#include <benchmark/benchmark.h>
#include <cstring>
#include <vector>

#include "bench/measure.h"

namespace {

using namespace Vantra::Bench;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

void Convert(benchmark::State& state, DXGI_FORMAT format, int row_bytes, int rows) {
  Vantra::Device device;
  device.Intialize(nullptr);
  Vantra::ColorSpaceConverter converter;
  converter.Create(&device);
  std::vector<unsigned char> frame(static_cast<std::size_t>(row_bytes * rows));
  for (std::size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<unsigned char>(i * 7);
  std::vector<unsigned char> picture(std::size_t{kWidth} * kHeight * 4);
  const auto convert = [&] {
    converter.Apply(frame.data(), kWidth, kHeight, row_bytes, picture.data(), kWidth * 4, format);
  };
  // The first frame makes the textures and the pipeline.
  convert();
  if (picture[3] == 0) state.SkipWithError("nothing was converted");

  MeasureBesideCopy(state, picture, convert);
}

// Planes of half the height follow in NV12 and planar frames.
constexpr int kRowsWithChroma = kHeight + kHeight / 2;

BENCHMARK_CAPTURE(Convert, nv12, DXGI_FORMAT_NV12, kWidth, kRowsWithChroma)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, planar, DXGI_FORMAT_420_OPAQUE, kWidth, kRowsWithChroma)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, yuy2, DXGI_FORMAT_YUY2, kWidth * 2, kHeight)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
// The first alpha is the fourth byte of the ramp, 21.
BENCHMARK_CAPTURE(Convert, ayuv, DXGI_FORMAT_AYUV, kWidth * 4, kHeight)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, gray, DXGI_FORMAT_R8_UNORM, kWidth, kHeight)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
