#pragma once

// What the benchmarks of frames share.

#include <vantrix/vantrix.h>

#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

namespace Vantra::Bench {

using Clock = std::chrono::steady_clock;
/// Blue, green, red, alpha.
using Pixel = std::array<unsigned char, 4>;

constexpr D3DCOLORVALUE kTransparent = {0, 0, 0, 0};

inline double Seconds(Clock::duration time) { return std::chrono::duration<double>(time).count(); }

/// Times `work` and, between its rounds, a plain copy of `bytes`, and reports the ratio as
/// `copies`.
template <class Work>
void MeasureBesideCopy(benchmark::State& state, std::span<const unsigned char> bytes, Work work) {
  std::vector<unsigned char> copy(bytes.size());
  Clock::duration work_time{};
  Clock::duration copy_time{};
  for (auto _ : state) {
    const auto start = Clock::now();
    work();
    const auto end = Clock::now();
    std::memcpy(copy.data(), bytes.data(), bytes.size());
    benchmark::ClobberMemory();
    copy_time += Clock::now() - end;
    work_time += end - start;
    state.SetIterationTime(Seconds(end - start));
  }
  state.counters["copies"] = Seconds(work_time) / Seconds(copy_time);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

/// Reads one pixel of a bitmap on the device. The end of a session does not wait for the device;
/// this does.
class PixelProbe {
 public:
  /// Returns false when the platform refuses the object.
  bool Create(Device* device) {
    const D2D1_BITMAP_PROPERTIES1 properties = {
        {DXGI_FORMAT_B8G8R8A8_UNORM, D2D1_ALPHA_MODE_PREMULTIPLIED},
        96,
        96,
        D2D1_BITMAP_OPTIONS_CANNOT_DRAW | D2D1_BITMAP_OPTIONS_CPU_READ,
        nullptr};
    return SUCCEEDED(
        device->GetD2DDeviceContext()->CreateBitmap({1, 1}, nullptr, 0, &properties, &pixel_));
  }

  /// The pixel at a place, or nothing when it cannot be read.
  std::optional<Pixel> Read(const Bitmap& bitmap, unsigned x, unsigned y) {
    const D2D1_RECT_U place = {x, y, x + 1, y + 1};
    D2D1_MAPPED_RECT mapped;
    if (!bitmap.GetBitmap() ||
        FAILED(pixel_->CopyFromBitmap(nullptr, bitmap.GetBitmap(), &place)) ||
        FAILED(pixel_->Map(D2D1_MAP_OPTIONS_READ, &mapped))) {
      return std::nullopt;
    }
    const Pixel pixel = {mapped.bits[0], mapped.bits[1], mapped.bits[2], mapped.bits[3]};
    pixel_->Unmap();
    return pixel;
  }

 private:
  CComPtr<ID2D1Bitmap1> pixel_;
};

}  // namespace Vantra::Bench
