// A Gaussian blur along rows or columns, at a cost that does not depend on its deviation. See
// `sliding_cosines.h` for the algorithm. Short ones are added up weight by weight.
//
// A pixel's four channels, and those of its neighbours across the direction, are lanes. Rows are
// laid out in memory so first, a few at a time.
//
// Sums that go on for long pick up rounding errors, and results must not depend on where a part of
// an image begins. So sums begin anew at the places of `running_sums.h`.

#include <array>
#include <cmath>
#include <cstring>
#include <new>

#include "render/simd/native/gaussian_line_pass.h"
#include "render/simd/native/native_kernels.h"
#include "render/simd/targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "render/simd/native/gaussian_line.cpp"
#include "hwy/cache_control.h"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Ints = hn::Rebind<std::int32_t, Floats>;
using Bytes = hn::Rebind<std::uint8_t, Floats>;
using Halves = hn::Rebind<hwy::float16_t, Floats>;
using V = hn::Vec<Floats>;

constexpr std::size_t kLaneCount = hn::MaxLanes(Floats());
constexpr std::size_t kPixelCount = kLaneCount / 4;
// The pixels of a vector of channels, each as a whole number.
template <class Pixel>
using Pixels = hn::Simd<Pixel, kPixelCount, 0>;

// Channels as bytes, 0 to 255, and as 16-bit floats, 0 to 1.
struct ByteSamples {
  using Pixel = std::uint32_t;
  static constexpr float kOne = 255;

  static HWY_INLINE V Load(const std::byte* from) {
    const auto bytes = hn::LoadU(Bytes(), reinterpret_cast<const std::uint8_t*>(from));
    return hn::ConvertTo(Floats(), hn::PromoteTo(Ints(), bytes));
  }
  // Values of 0 to 255.
  static HWY_INLINE hn::Vec<Pixels<Pixel>> ToPixels(V value) {
    return hn::BitCast(Pixels<Pixel>(), hn::DemoteTo(Bytes(), hn::NearestInt(value)));
  }
};

struct HalfSamples {
  using Pixel = std::uint64_t;
  static constexpr float kOne = 1;

  static HWY_INLINE V Load(const std::byte* from) {
    return hn::PromoteTo(Floats(),
                         hn::LoadU(Halves(), reinterpret_cast<const hwy::float16_t*>(from)));
  }
  static HWY_INLINE hn::Vec<Pixels<Pixel>> ToPixels(V value) {
#if HWY_TARGET == HWY_SSE4
    // A CPU without such floats cuts off what does not fit; so nothing may be left to cut.
    constexpr int kDropped = 13;
    const hn::RebindToUnsigned<Floats> bits;
    const auto up = hn::Add(hn::BitCast(bits, value), hn::Set(bits, 1u << (kDropped - 1)));
    value = hn::BitCast(Floats(), hn::And(up, hn::Set(bits, ~0u << kDropped)));
#endif
    return hn::BitCast(Pixels<Pixel>(), hn::DemoteTo(Halves(), value));
  }
};

// Stores as many pixels as a vector has channels of. `order` is that of their bytes.
template <class Samples>
HWY_INLINE void Store(V value, hn::Vec<hn::Repartition<std::uint8_t, Floats>> order,
                      std::byte* to) {
  using Pixel = typename Samples::Pixel;
  // The comparison is false for what is not a number.
  const V positive = hn::IfThenElseZero(hn::Gt(value, hn::Zero(Floats())), value);
  const V clamped = hn::Min(positive, hn::Set(Floats(), Samples::kOne));
  const V ordered = hn::BitCast(
      Floats(),
      hn::TableLookupBytes(hn::BitCast(hn::Repartition<std::uint8_t, Floats>(), clamped), order));
  hn::StoreU(Samples::ToPixels(ordered), Pixels<Pixel>(), reinterpret_cast<Pixel*>(to));
}

// A pixel's channels as floats, with red and blue exchanged where that is wanted.
HWY_INLINE hn::Vec<hn::Repartition<std::uint8_t, Floats>> ChannelOrder(bool swaps) {
  alignas(16) static constexpr std::uint8_t kKept[16] = {0, 1, 2,  3,  4,  5,  6,  7,
                                                         8, 9, 10, 11, 12, 13, 14, 15};
  alignas(16) static constexpr std::uint8_t kSwapped[16] = {8, 9, 10, 11, 4,  5,  6,  7,
                                                            0, 1, 2,  3,  12, 13, 14, 15};
  return hn::LoadDup128(hn::Repartition<std::uint8_t, Floats>(), swaps ? kSwapped : kKept);
}

// The weights as vectors, which stores cannot change behind the compiler's back.
struct WaveWeights {
  V bend, change, difference;

  HWY_INLINE WaveWeights(const SlidingCosines::Cosine& cosine, float scale) {
    const Floats d;
    bend = hn::Set(d, cosine.bend);
    change = hn::Set(d, cosine.change * scale);
    difference = hn::Set(d, cosine.difference * scale);
  }
};
struct WindowWeights {
  V constant;
  WaveWeights first, second, third, fourth;

  HWY_INLINE WindowWeights(const SlidingCosines& weights, float scale)
      : first(weights.cosines[0], scale),
        second(weights.cosines[1], scale),
        third(weights.cosines[2], scale),
        fourth(weights.cosines[3], scale) {
    constant = hn::Set(Floats(), weights.constant * scale);
  }
};
static_assert(SlidingCosines::kCosines == 4);

// The sums of one cosine's window, and how they last changed.
struct Wave {
  V sum, step;

  HWY_INLINE void Advance(const WaveWeights& weights, V change, V total) {
    step = hn::NegMulAdd(
        weights.bend, sum,
        hn::MulAdd(weights.change, change, hn::MulAdd(weights.difference, total, step)));
    sum = hn::Add(sum, step);
  }
  HWY_INLINE void Begin(float sum_weight, float step_weight, V pixels) {
    const Floats d;
    sum = hn::MulAdd(hn::Set(d, sum_weight), pixels, sum);
    step = hn::MulAdd(hn::Set(d, step_weight), pixels, step);
  }
  HWY_INLINE void Scale(V scale) {
    sum = hn::Mul(sum, scale);
    step = hn::Mul(step, scale);
  }
};

// The window of one vector of lines.
struct Window {
  V plain;
  Wave first, second, third, fourth;
  // The last that entered, and the last that left.
  V entered, left;

  // A constructor that the compiler made would not have the instruction set's attributes.
  HWY_INLINE Window() {
    plain = entered = left = hn::Zero(Floats());
    first = second = third = fourth = {plain, plain};
  }
  HWY_INLINE void Begin(const SlidingCosines::Start& start, V pixels) {
    plain = hn::Add(plain, pixels);
    first.Begin(start.sums[0], start.steps[0], pixels);
    second.Begin(start.sums[1], start.steps[1], pixels);
    third.Begin(start.sums[2], start.steps[2], pixels);
    fourth.Begin(start.sums[3], start.steps[3], pixels);
    entered = pixels;
  }
  // Of the results. What is read keeps its own.
  HWY_INLINE void Scale(float scale) {
    const V factor = hn::Set(Floats(), scale);
    first.Scale(factor);
    second.Scale(factor);
    third.Scale(factor);
    fourth.Scale(factor);
  }
  HWY_INLINE void Advance(const WindowWeights& weights, V enters, V leaves) {
    const V change = hn::Sub(hn::Sub(enters, entered), hn::Sub(leaves, left));
    const V total = hn::Add(entered, leaves);
    plain = hn::Add(plain, hn::Sub(enters, leaves));
    first.Advance(weights.first, change, total);
    second.Advance(weights.second, change, total);
    third.Advance(weights.third, change, total);
    fourth.Advance(weights.fourth, change, total);
    entered = enters;
    left = leaves;
  }
  HWY_INLINE V Value(const WindowWeights& weights) const {
    return hn::Add(hn::MulAdd(weights.constant, plain, hn::Add(first.sum, second.sum)),
                   hn::Add(third.sum, fourth.sum));
  }
};

// The place is some further on: those of a column are so far apart in memory that the CPU does not
// see which it will need. Where there is nothing, that does no harm.
HWY_INLINE void PrefetchAhead(const std::byte* from, std::ptrdiff_t stride) {
  constexpr std::ptrdiff_t kPlacesAhead = 16;
  hwy::Prefetch(reinterpret_cast<const std::byte*>(
      reinterpret_cast<std::uintptr_t>(from) + static_cast<std::uintptr_t>(kPlacesAhead * stride)));
}

// Lines that are blurred at a time: as many vectors of them as there are registers for, so that
// one's arithmetic fills the gaps of the other's.
constexpr std::size_t kVectorsAtATime = kLaneCount >= 16 ? 2 : 1;
constexpr std::size_t kPixelsAtATime = kVectorsAtATime * kPixelCount;

// Blurs `places` of the lines that begin `lane` channels behind a place's first, with sums that
// begin at `anchor`. `to` is of the first place.
template <class In, class Out>
void BlurLanes(const LineOfPixels& line, std::size_t lane, const GaussianLineMemory& memory,
               std::int32_t anchor, const Span& places, bool swaps, std::byte* to,
               std::size_t to_stride) {
  constexpr bool kHasSecond = kVectorsAtATime == 2;
  constexpr std::size_t kInBytes = kPixelCount * sizeof(typename In::Pixel);
  constexpr std::size_t kOutBytes = kPixelCount * sizeof(typename Out::Pixel);
  constexpr float kScale = Out::kOne / In::kOne;
  const std::size_t lane_bytes = lane * (sizeof(typename In::Pixel) / 4);
  const SlidingCosines& weights = *memory.weights;
  const std::int32_t reach = weights.reach;
  const WindowWeights window_weights(weights, kScale);
  const auto order = ChannelOrder(swaps);
  Window window, second;
  std::int32_t place = anchor - reach;
  if (!line.mirrors && place < line.image.first) place = std::min(line.image.first, anchor + reach);
  for (; place <= anchor + reach; ++place) {
    const auto& start = weights.start[static_cast<std::size_t>(place - anchor + reach)];
    const std::byte* const from = line.At(place) + lane_bytes;
    window.Begin(start, In::Load(from));
    if constexpr (kHasSecond) second.Begin(start, In::Load(from + kInBytes));
  }
  window.Scale(kScale);
  second.Scale(kScale);
  const auto store = [&](const Window& one, const Window& other) HWY_ATTR {
    Store<Out>(one.Value(window_weights), order, to);
    if constexpr (kHasSecond) Store<Out>(other.Value(window_weights), order, to + kOutBytes);
    to += to_stride;
  };
  // Moves the windows to the places up to `end`, and stores what they have there.
  place = anchor;
  const auto advance = [&](std::int32_t end, bool stores) HWY_ATTR {
    while (place < end) {
      const LineOfPixels::Stretch enters = line.From(place + 1 + reach);
      const LineOfPixels::Stretch leaves = line.From(place - reach);
      const std::int32_t count = std::min({end - place, enters.count, leaves.count});
      const std::byte* in = enters.data + lane_bytes;
      const std::byte* out = leaves.data + lane_bytes;
      // Copies, which stay in registers.
      const WindowWeights own_weights = window_weights;
      const auto own_order = order;
      Window one = window, other = second;
      std::byte* own_to = to;
      for (std::int32_t i = 0; i < count; ++i, in += enters.stride, out += leaves.stride) {
        PrefetchAhead(in, enters.stride);
        one.Advance(own_weights, In::Load(in), In::Load(out));
        if constexpr (kHasSecond) {
          other.Advance(own_weights, In::Load(in + kInBytes), In::Load(out + kInBytes));
        }
        if (stores) {
          Store<Out>(one.Value(own_weights), own_order, own_to);
          if constexpr (kHasSecond) {
            Store<Out>(other.Value(own_weights), own_order, own_to + kOutBytes);
          }
          own_to += to_stride;
        }
      }
      window = one;
      second = other;
      to = own_to;
      place += count;
    }
  };
  advance(places.first, false);
  store(window, second);
  advance(places.end - 1, true);
}

// The sums of `kCount` places ahead, each without the pixels that are still to come.
template <std::int32_t kCount>
struct SumsAhead {
  V next;
  SumsAhead<kCount - 1> others;

  HWY_INLINE SumsAhead() { next = hn::Zero(Floats()); }
  // Adds a pixel to all, and gives the sum that has its last.
  HWY_INLINE V Add(const V* weights, V pixels) {
    const V complete = hn::MulAdd(weights[0], pixels, next);
    next = others.Add(weights + 1, pixels);
    return complete;
  }
};
template <>
struct SumsAhead<0> {
  HWY_INLINE SumsAhead() {}
  HWY_INLINE V Add(const V* weights, V pixels) { return hn::Mul(weights[0], pixels); }
};

// The same for a short reach, with all weights. Each pixel is read and converted once.
template <class In, class Out, std::int32_t kReach>
void BlurShortLanes(const LineOfPixels& line, std::size_t lane, const GaussianLineMemory& memory,
                    std::int32_t /*anchor*/, const Span& places, bool swaps, std::byte* to,
                    std::size_t to_stride) {
  constexpr bool kHasSecond = kVectorsAtATime == 2;
  constexpr std::size_t kInBytes = kPixelCount * sizeof(typename In::Pixel);
  constexpr std::size_t kOutBytes = kPixelCount * sizeof(typename Out::Pixel);
  const std::size_t lane_bytes = lane * (sizeof(typename In::Pixel) / 4);
  const auto order = ChannelOrder(swaps);
  V weights[2 * kReach + 1];
  for (std::int32_t n = -kReach; n <= kReach; ++n) {
    weights[n + kReach] =
        hn::Set(Floats(), memory.short_weights[static_cast<std::size_t>(std::abs(n))] *
                              (Out::kOne / In::kOne));
  }
  SumsAhead<2 * kReach> sums, second;
  std::int32_t place = places.first - kReach;
  const auto advance = [&](std::int32_t end, bool stores) HWY_ATTR {
    while (place < end) {
      const LineOfPixels::Stretch stretch = line.From(place);
      const std::int32_t count = std::min(end - place, stretch.count);
      const std::byte* from = stretch.data + lane_bytes;
      // Copies, which stay in registers.
      SumsAhead<2 *kReach> one = sums, other = second;
      const auto own_order = order;
      std::byte* own_to = to;
      for (std::int32_t i = 0; i < count; ++i, from += stretch.stride) {
        PrefetchAhead(from, stretch.stride);
        const V result = one.Add(weights, In::Load(from));
        V other_result = result;
        if constexpr (kHasSecond) other_result = other.Add(weights, In::Load(from + kInBytes));
        if (stores) {
          Store<Out>(result, own_order, own_to);
          if constexpr (kHasSecond) Store<Out>(other_result, own_order, own_to + kOutBytes);
          own_to += to_stride;
        }
      }
      sums = one;
      second = other;
      to = own_to;
      place += count;
    }
  };
  advance(places.first + kReach, false);
  advance(places.end + kReach, true);
}

template <class In, class Out>
auto ChooseBlur(std::int32_t reach) {
  static_assert(kShortReach == 6);
  switch (reach) {
    case 1:
      return BlurShortLanes<In, Out, 1>;
    case 2:
      return BlurShortLanes<In, Out, 2>;
    case 3:
      return BlurShortLanes<In, Out, 3>;
    case 4:
      return BlurShortLanes<In, Out, 4>;
    case 5:
      return BlurShortLanes<In, Out, 5>;
    case 6:
      return BlurShortLanes<In, Out, 6>;
    default:
      return BlurLanes<In, Out>;
  }
}

template <class In, class Out>
void BlurColumns(const PixelArguments& arguments, const GaussianLinePass& pass, std::int32_t top,
                 std::int32_t bottom, GaussianLineMemory& memory) {
  constexpr std::size_t kInBytes = sizeof(typename In::Pixel);
  constexpr std::size_t kOutBytes = sizeof(typename Out::Pixel);
  const TextureView& texture = arguments.textures[0];
  const TargetView& target = arguments.target;
  const auto blur = ChooseBlur<In, Out>(pass.constants.reach);
  const Span rows = {top + pass.offset_y, bottom + pass.offset_y};
  for (std::int32_t x = arguments.left; x < arguments.right; x += kPixelsAtATime) {
    const auto column = static_cast<std::size_t>(x + pass.offset_x);
    LineOfPixels line = pass.Line();
    line.data = texture.data + pass.held.first * texture.pitch + column * kInBytes;
    line.stride = static_cast<std::ptrdiff_t>(texture.pitch);
    const std::size_t count = std::min<std::size_t>(kPixelsAtATime, arguments.right - x);
    for (Span piece = pass.FirstPiece(rows); piece.Count() > 0;
         piece = pass.NextPiece(piece, rows)) {
      std::byte* const to = target.data + (piece.first - pass.offset_y) * target.pitch +
                            static_cast<std::size_t>(x) * kOutBytes;
      const std::int32_t anchor = pass.Anchor(piece.first);
      if (count == kPixelsAtATime) {
        blur(line, 0, memory, anchor, piece, pass.swaps, to, target.pitch);
        continue;
      }
      // What lies behind the last column is not ours.
      constexpr std::size_t kStride = kPixelsAtATime * kOutBytes;
      const auto piece_count = static_cast<std::size_t>(piece.Count());
      std::byte* const results = memory.results.Take(piece_count * kStride);
      blur(line, 0, memory, anchor, piece, pass.swaps, results, kStride);
      for (std::size_t i = 0; i < piece_count; ++i) {
        std::memcpy(to + i * target.pitch, results + i * kStride, count * kOutBytes);
      }
    }
  }
}

// Makes rows of the columns of a small square of pixels. `from` and `to` give the place of a row.
template <class From, class To>
HWY_INLINE void Transpose(const hn::Full128<std::uint32_t> d, From from, To to) {
  const hn::Repartition<std::uint64_t, decltype(d)> pairs;
  const auto a = hn::LoadU(d, from(0)), b = hn::LoadU(d, from(1));
  const auto c = hn::LoadU(d, from(2)), e = hn::LoadU(d, from(3));
  const auto first = hn::BitCast(pairs, hn::InterleaveLower(d, a, b));
  const auto second = hn::BitCast(pairs, hn::InterleaveLower(d, c, e));
  const auto third = hn::BitCast(pairs, hn::InterleaveUpper(d, a, b));
  const auto fourth = hn::BitCast(pairs, hn::InterleaveUpper(d, c, e));
  hn::StoreU(hn::BitCast(d, hn::InterleaveLower(pairs, first, second)), d, to(0));
  hn::StoreU(hn::BitCast(d, hn::InterleaveUpper(pairs, first, second)), d, to(1));
  hn::StoreU(hn::BitCast(d, hn::InterleaveLower(pairs, third, fourth)), d, to(2));
  hn::StoreU(hn::BitCast(d, hn::InterleaveUpper(pairs, third, fourth)), d, to(3));
}
template <class From, class To>
HWY_INLINE void Transpose(const hn::Full128<std::uint64_t> d, From from, To to) {
  const auto a = hn::LoadU(d, from(0)), b = hn::LoadU(d, from(1));
  hn::StoreU(hn::InterleaveLower(d, a, b), d, to(0));
  hn::StoreU(hn::InterleaveUpper(d, a, b), d, to(1));
}
template <class Pixel>
constexpr std::int32_t kSquare = 16 / sizeof(Pixel);

// Lays `count` pixels of some rows out place by place. Writes whole squares.
template <class Pixel>
void GatherLines(const Pixel* const* rows, std::int32_t count, Pixel* lines) {
  for (std::int32_t x = 0; x < count; x += kSquare<Pixel>) {
    for (std::int32_t row = 0; row < kRowsAtATime; row += kSquare<Pixel>) {
      Transpose(
          hn::Full128<Pixel>(), [&](std::int32_t i) { return rows[row + i] + x; },
          [&](std::int32_t i) { return lines + (x + i) * kRowsAtATime + row; });
    }
  }
}

// The way back.
template <class Pixel>
void ScatterLines(const Pixel* lines, std::int32_t count, Pixel* const* rows) {
  std::int32_t x = 0;
  for (; x + kSquare<Pixel> <= count; x += kSquare<Pixel>) {
    for (std::int32_t row = 0; row < kRowsAtATime; row += kSquare<Pixel>) {
      Transpose(
          hn::Full128<Pixel>(),
          [&](std::int32_t i) { return lines + (x + i) * kRowsAtATime + row; },
          [&](std::int32_t i) { return rows[row + i] + x; });
    }
  }
  for (; x < count; ++x) {
    for (std::int32_t row = 0; row < kRowsAtATime; ++row) {
      rows[row][x] = lines[x * kRowsAtATime + row];
    }
  }
}

template <class In, class Out>
void BlurRows(const PixelArguments& arguments, const GaussianLinePass& pass, std::int32_t top,
              std::int32_t bottom, GaussianLineMemory& memory) {
  using InPixel = typename In::Pixel;
  using OutPixel = typename Out::Pixel;
  const TextureView& texture = arguments.textures[0];
  const TargetView& target = arguments.target;
  const auto blur = ChooseBlur<In, Out>(pass.constants.reach);
  const Span columns = {arguments.left + pass.offset_x, arguments.right + pass.offset_x};
  for (std::int32_t y = top; y < bottom; y += kRowsAtATime) {
    for (Span piece = pass.FirstPiece(columns); piece.Count() > 0;
         piece = pass.NextPiece(piece, columns)) {
      const std::int32_t anchor = pass.Anchor(piece.first);
      const Span read = pass.PlacesRead(anchor, piece.end);
      // What is missing of the last rows is made up by the last of all.
      const InPixel* from[kRowsAtATime];
      OutPixel* to[kRowsAtATime];
      for (std::int32_t i = 0; i < kRowsAtATime; ++i) {
        const std::int32_t row = std::min(y + i, bottom - 1);
        from[i] =
            reinterpret_cast<const InPixel*>(texture.data + (row + pass.offset_y) * texture.pitch) +
            read.first;
        to[i] = reinterpret_cast<OutPixel*>(target.data + row * target.pitch) +
                (piece.first - pass.offset_x);
      }
      const auto places = [](std::int32_t count) {
        return static_cast<std::size_t>(count) * kRowsAtATime;
      };
      auto* const pixels = reinterpret_cast<InPixel*>(
          memory.pixels.Take(places(read.Count() + kSquare<InPixel>) * sizeof(InPixel)));
      auto* const results = reinterpret_cast<OutPixel*>(
          memory.results.Take(places(piece.Count()) * sizeof(OutPixel)));
      GatherLines(from, read.Count(), pixels);
      LineOfPixels line = pass.Line();
      line.data = reinterpret_cast<const std::byte*>(pixels);
      line.stride = kRowsAtATime * sizeof(InPixel);
      line.held = read;
      for (std::size_t row = 0; row < kRowsAtATime; row += kPixelsAtATime) {
        blur(line, 4 * row, memory, anchor, piece, pass.swaps,
             reinterpret_cast<std::byte*>(results + row), kRowsAtATime * sizeof(OutPixel));
      }
      ScatterLines(results, piece.Count(), to);
    }
  }
}

template <class In, class Out>
void Blur(const PixelArguments& arguments, const GaussianLinePass& pass, std::int32_t top,
          std::int32_t bottom, GaussianLineMemory& memory) {
  (pass.in_columns ? BlurColumns<In, Out> : BlurRows<In, Out>)(arguments, pass, top, bottom,
                                                               memory);
}

bool GaussianLine(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  const GaussianLinePass pass(arguments);
  const bool from_half = arguments.textures[0].format == Format::kRgba16Float;
  const bool to_half = arguments.target.format == Format::kRgba16Float;
  try {
    GaussianLineMemory& memory = GaussianLineMemory::OfThread(pass.constants);
    const auto blur =
        from_half ? (to_half ? Blur<HalfSamples, HalfSamples> : Blur<HalfSamples, ByteSamples>)
                  : (to_half ? Blur<ByteSamples, HalfSamples> : Blur<ByteSamples, ByteSamples>);
    blur(arguments, pass, top, bottom, memory);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace HWY_NAMESPACE
}  // namespace Vantra::Render::Simd
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantra::Render::Simd {

HWY_EXPORT(GaussianLine);

bool RunGaussianLine(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  return HWY_DYNAMIC_DISPATCH(GaussianLine)(arguments, top, bottom);
}

bool AcceptsGaussianLine(const PixelArguments& arguments, Bands* bands) {
  const auto is_known = [](Format format) {
    return format == Format::kBgra8 || format == Format::kRgba8 || format == Format::kRgba16Float;
  };
  const TextureView& texture = arguments.textures[0];
  if (!texture.data || !is_known(texture.format) || !is_known(arguments.target.format) ||
      arguments.blend != Blend::kReplace || !IsWholeOffset(arguments)) {
    return false;
  }
  const GaussianLinePass pass(arguments);
  const GaussianLineConstants& constants = pass.constants;
  constexpr std::int32_t kLongestReach = 1 << 12;
  if (IsFar(constants.left) || IsFar(constants.top) || IsFar(constants.right) ||
      IsFar(constants.bottom) || !IsAxis(constants.axis_x, constants.axis_y) ||
      constants.reach < 1 || constants.reach > kLongestReach || !(constants.falloff < 0) ||
      !std::isfinite(constants.falloff) || !std::isfinite(constants.centre) ||
      (pass.edge_mode != GaussianLinePass::kTransparent &&
       pass.edge_mode != GaussianLinePass::kMirror) ||
      pass.image.first >= pass.image.end) {
    return false;
  }
  *bands = pass.in_columns ? Bands::kColumns : Bands::kRows;
  // Lines of which there is nothing are left to the program.
  return pass.held_across.Holds(
      pass.in_columns ? Span{arguments.left + pass.offset_x, arguments.right + pass.offset_x}
                      : Span{arguments.top + pass.offset_y, arguments.bottom + pass.offset_y});
}

}  // namespace Vantra::Render::Simd
#endif
