#include "platform/imaging/scaler.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "platform/com/guard.h"

namespace Vantra::Platform {
namespace {

// Which pixels of a side make up each of a run of new pixels, and with which weights.
class Axis {
 public:
  // The new pixels `first` to `first + count` of a side that changes from `from` pixels to `to`.
  Axis(UINT from, UINT to, UINT first, UINT count, WICBitmapInterpolationMode mode) : from_(from) {
    windows_.reserve(count);
    for (UINT i = first; i - first < count; ++i) {
      windows_.push_back({0, 0, weights_.size()});
      if (mode == WICBitmapInterpolationModeFant && to < from) {
        AddCovered(i, to);
      } else {
        AddAround(i, to, mode);
      }
      end_ = std::max(end_, windows_.back().first + windows_.back().count);
      longest_ = std::max(longest_, windows_.back().count);
    }
  }

  UINT Count() const { return static_cast<UINT>(windows_.size()); }
  // The source pixels that are needed at all; windows never move back.
  UINT Begin() const { return windows_.front().first; }
  UINT End() const { return end_; }
  // Most source pixels of one new pixel.
  UINT Longest() const { return longest_; }

  UINT FirstOf(UINT i) const { return windows_[i].first; }
  std::span<const float> WeightsOf(UINT i) const {
    return {weights_.data() + windows_[i].weights, windows_[i].count};
  }

 private:
  struct Window {
    UINT first;
    UINT count;
    std::size_t weights;
  };

  // Indices come in order; those beyond the edge count for the pixel at the edge.
  void Add(std::int64_t index, double weight) {
    const auto at = static_cast<UINT>(std::clamp<std::int64_t>(index, 0, std::int64_t{from_} - 1));
    Window& window = windows_.back();
    if (window.count > 0 && window.first + window.count > at) {
      weights_.back() += static_cast<float>(weight);
      return;
    }
    if (window.count == 0) window.first = at;
    ++window.count;
    weights_.push_back(static_cast<float>(weight));
  }

  // In units of 1 / `to` of a source pixel, so that all is exact.
  void AddCovered(UINT i, UINT to) {
    const UINT64 start = UINT64{i} * from_;
    const UINT64 end = start + from_;
    for (UINT64 k = start / to; k * to < end; ++k) {
      const UINT64 share = std::min(end, (k + 1) * to) - std::max(start, k * to);
      Add(static_cast<std::int64_t>(k), static_cast<double>(share) / from_);
    }
  }

  void AddAround(UINT i, UINT to, WICBitmapInterpolationMode mode) {
    const std::int64_t unit = 2 * std::int64_t{to};
    // The middle of the new pixel, from the edge of the source, in units of 1 / (2 * to).
    const std::int64_t middle = (2 * std::int64_t{i} + 1) * from_;
    if (mode == WICBitmapInterpolationModeNearestNeighbor) return Add(middle / unit, 1);
    // From the middle of the first pixel; never before -unit / 2.
    const std::int64_t position = middle - to;
    const std::int64_t k = (position + unit) / unit - 1;
    const double t = static_cast<double>(position - k * unit) / static_cast<double>(unit);
    if (mode != WICBitmapInterpolationModeCubic) {
      Add(k, 1 - t);
      if (t > 0) Add(k + 1, t);
      return;
    }
    const double weights[] = {((-0.5 * t + 1) * t - 0.5) * t, (1.5 * t - 2.5) * t * t + 1,
                              ((-1.5 * t + 2) * t + 0.5) * t, (0.5 * t - 0.5) * t * t};
    for (std::int64_t n = 0; n < 4; ++n) Add(k - 1 + n, weights[n]);
  }

  UINT from_;
  UINT end_ = 0;
  UINT longest_ = 0;
  std::vector<Window> windows_;
  std::vector<float> weights_;
};

// The part of the source that is needed, read once from top to bottom, some rows at a time.
class SourceRows {
 public:
  SourceRows(IWICBitmapSource* source, const Axis& columns, const Axis& rows)
      : source_(source),
        left_(static_cast<INT>(columns.Begin())),
        width_(static_cast<INT>(columns.End() - columns.Begin())),
        stride_(static_cast<std::size_t>(width_) * kBytesPerPixel),
        end_(rows.End()),
        most_(static_cast<UINT>(std::max<std::size_t>(kBandBytes / stride_, 1))) {
    band_.resize(stride_ * std::min(most_, end_ - rows.Begin()));
  }

  // Rows come in order, though some may be left out.
  const BYTE* Row(UINT y) {
    if (y >= begin_ + count_) Read(y);
    return band_.data() + (y - begin_) * stride_;
  }

  HRESULT Result() const { return result_; }

 private:
  static constexpr std::size_t kBandBytes = std::size_t{256} * 1024;

  void Read(UINT y) {
    begin_ = y;
    count_ = std::min(most_, end_ - y);
    // In case the source fails without a word on its pixels.
    std::fill(band_.begin(), band_.end(), BYTE{0});
    const WICRect rect{left_, static_cast<INT>(begin_), width_, static_cast<INT>(count_)};
    // A failed copy may still have given some rows of a picture, and a later one others.
    const HRESULT result = source_->CopyPixels(&rect, static_cast<UINT>(stride_),
                                               static_cast<UINT>(stride_ * count_), band_.data());
    if (SUCCEEDED(result_)) result_ = result;
  }

  IWICBitmapSource* source_;
  INT left_;
  INT width_;
  std::size_t stride_;
  UINT end_;
  UINT most_;
  UINT begin_ = 0;
  UINT count_ = 0;
  std::vector<BYTE> band_;
  HRESULT result_ = S_OK;
};

// One row at its new width.
void ScaleRow(const BYTE* source, const Axis& columns, float* row) {
  for (UINT x = 0; x < columns.Count(); ++x) {
    const BYTE* pixel = source + (columns.FirstOf(x) - columns.Begin()) * kBytesPerPixel;
    std::array<float, kBytesPerPixel> sums{};
    for (const float weight : columns.WeightsOf(x)) {
      for (std::size_t c = 0; c < kBytesPerPixel; ++c) sums[c] += weight * pixel[c];
      pixel += kBytesPerPixel;
    }
    std::copy(sums.begin(), sums.end(), row + x * kBytesPerPixel);
  }
}

}  // namespace

HRESULT Scaler::Initialize(IWICBitmapSource* source, UINT width, UINT height,
                           WICBitmapInterpolationMode mode) {
  if (source_ != nullptr) return WINCODEC_ERR_WRONGSTATE;
  if (source == nullptr || width == 0 || height == 0 || mode > WICBitmapInterpolationModeFant) {
    return E_INVALIDARG;
  }
  HRESULT result = source->GetSize(&source_width_, &source_height_);
  if (SUCCEEDED(result)) result = source->GetPixelFormat(&format_);
  if (FAILED(result)) return result;
  if (source_width_ == 0 || source_height_ == 0) return E_INVALIDARG;
  const std::optional<PixelLayout> layout = LayoutOf(format_);
  if (!layout) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  source_ = source;
  layout_ = *layout;
  // What is opaque stays so at any size.
  CComPtr<IConvertingSource> converting;
  if (SUCCEEDED(source_.QueryInterface(&converting))) layout_ = converting->Layout();
  width_ = width;
  height_ = height;
  mode_ = mode;
  return S_OK;
}

HRESULT Scaler::GetSize(UINT* width, UINT* height) {
  if (source_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
  if (width == nullptr || height == nullptr) return E_POINTER;
  *width = width_;
  *height = height_;
  return S_OK;
}

HRESULT Scaler::GetPixelFormat(WICPixelFormatGUID* format) {
  if (source_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
  if (format == nullptr) return E_POINTER;
  *format = format_;
  return S_OK;
}

HRESULT Scaler::CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* buffer) {
  return CopyPixelsAs(rect, stride, size, buffer, layout_);
}

HRESULT Scaler::CopyPixelsAs(const WICRect* rect, UINT stride, UINT size, BYTE* buffer,
                             PixelLayout layout) {
  if (source_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
  Area area;
  const HRESULT result = CheckCopy(width_, height_, rect, stride, size, buffer, &area);
  if (FAILED(result)) return result;
  const HRESULT scaled = GuardMemory([&] { return Scale(area, stride, buffer, layout); });
  if (scaled == E_OUTOFMEMORY) {
    // Nothing may have been scaled.
    for (UINT y = 0; y < area.height; ++y) {
      std::memset(buffer + std::size_t{y} * stride, 0, area.width * kBytesPerPixel);
    }
  }
  return scaled;
}

HRESULT Scaler::Scale(const Area& area, UINT stride, BYTE* buffer, PixelLayout layout) {
  const Axis columns(source_width_, width_, area.left, area.width, mode_);
  const Axis rows(source_height_, height_, area.top, area.height, mode_);
  SourceRows source(source_, columns, rows);

  // The scaled rows that the present new row needs; each is made once.
  const std::size_t row_values = std::size_t{area.width} * kBytesPerPixel;
  std::vector<float> kept(row_values * rows.Longest());
  std::vector<float> sums(row_values);
  UINT next = rows.Begin();
  for (UINT y = 0; y < area.height; ++y) {
    const UINT first = rows.FirstOf(y);
    const std::span<const float> weights = rows.WeightsOf(y);
    std::fill(sums.begin(), sums.end(), 0.0f);
    for (UINT k = first; k - first < weights.size(); ++k) {
      float* row = kept.data() + k % rows.Longest() * row_values;
      if (k >= next) {
        ScaleRow(source.Row(k), columns, row);
        next = k + 1;
      }
      const float weight = weights[k - first];
      for (std::size_t i = 0; i < row_values; ++i) sums[i] += weight * row[i];
    }
    BYTE* out = buffer + std::size_t{y} * stride;
    for (std::size_t i = 0; i < row_values; ++i) {
      out[i] = static_cast<BYTE>(std::clamp(sums[i] + 0.5f, 0.0f, 255.0f));
    }
    ConvertPixels(out, area.width, layout_, layout);
  }
  return source.Result();
}

}  // namespace Vantra::Platform
