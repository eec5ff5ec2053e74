// A transformed image with one sample to a pixel. Between texels it is computed in whole numbers of
// 1/64 of a level, sixteen bits each.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "render/simd/native/native_kernels.h"
#include "render/simd/targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "render/simd/native/transform.cpp"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"
#include "render/simd/store-inl.h"
#include "render/simd/texel_pairs-inl.h"

#ifndef VANTRIX_TRANSFORM_ONCE
#define VANTRIX_TRANSFORM_ONCE
namespace Vantra::Render::Simd {

// Of `transform.glsl`.
struct TransformConstants {
  using Row = std::array<float, 3>;
  Row u, v, w;
  std::array<Row, 4> edges;
  float reach[4];
  std::array<float, 4> color, outside;
  float opacity, aliased;
  float detail[2];
};

// A value that changes evenly along a row of the target.
struct Slope {
  float step;
  float start;  // where x is 0
};

struct TransformPass {
  explicit TransformPass(const PixelArguments& arguments)
      : origin_x(arguments.origin_x),
        nearest(arguments.samplers[0].filter == Filter::kNearest),
        shift(nearest ? 0 : -0.5) {
    std::memcpy(&constants, arguments.constants, sizeof(constants));
    const TextureView& texture = arguments.textures[0];
    const auto limit = [&](float reach, std::int32_t size) {
      return std::clamp(reach + static_cast<float>(shift), 0.0f, static_cast<float>(size - 1));
    };
    least_x = limit(constants.reach[0], texture.width);
    least_y = limit(constants.reach[1], texture.height);
    most_x = std::max(least_x, limit(constants.reach[2], texture.width));
    most_y = std::max(least_y, limit(constants.reach[3], texture.height));
    swaps = texture.format != arguments.target.format;
    const auto is_eight_bit = [](Format format) {
      return format == Format::kBgra8 || format == Format::kRgba8;
    };
    plain = constants.opacity == 1 && constants.color == std::array<float, 4>{} &&
            arguments.blend == Blend::kReplace && is_eight_bit(arguments.target.format);
  }

  // row + factor * other, at the centres of a row's pixels.
  Slope Along(const TransformConstants::Row& row, double y, double factor = 0,
              const TransformConstants::Row& other = {}) const {
    const auto sum = [&](std::size_t i) { return double{row[i]} + factor * double{other[i]}; };
    const double x = 0.5 + double{origin_x};
    return {static_cast<float>(sum(0)), static_cast<float>(sum(0) * x + sum(1) * y + sum(2))};
  }

  // Whether pixels of the target are pixels of the image, which may be turned.
  bool IsOnGrid(double origin_y) const {
    const auto is_one_axis = [](const TransformConstants::Row& row) {
      return std::abs(row[0]) + std::abs(row[1]) == 1 && row[0] * row[1] == 0;
    };
    const auto is_centre = [&](const TransformConstants::Row& row) {
      const double place = double{Along(row, 0.5 + origin_y).start};
      return std::abs(place - std::floor(place) - 0.5) < 0.25;
    };
    return constants.w == TransformConstants::Row{0, 0, 1} && is_one_axis(constants.u) &&
           is_one_axis(constants.v) && is_centre(constants.u) && is_centre(constants.v);
  }

  TransformConstants constants;
  float origin_x;
  bool nearest;
  // From a place to the texel that has the weight 1 there.
  double shift;
  // Where the first of the texels to filter between is looked for.
  float least_x, least_y, most_x, most_y;
  bool swaps;
  // The covered pixels of the target are the image's, as they are.
  bool plain;
};

struct TransformRow {
  TransformRow(const TransformPass& pass, double y)
      : u(pass.Along(pass.constants.u, y, pass.shift, pass.constants.w)),
        v(pass.Along(pass.constants.v, y, pass.shift, pass.constants.w)),
        w(pass.Along(pass.constants.w, y)) {
    for (std::size_t i = 0; i < edges.size(); ++i) {
      edges[i] = pass.Along(pass.constants.edges[i], y);
    }
  }

  struct Columns {
    std::int32_t first, end;
  };
  // Where all edges are at least this far away, within `in`.
  Columns Inside(double distance, Columns in) const {
    double first = in.first, last = in.end - 1;
    for (const Slope& edge : edges) {
      const double place = (distance - double{edge.start}) / double{edge.step};
      if (edge.step > 0) {
        first = std::max(first, std::ceil(place));
      } else if (edge.step < 0) {
        last = std::min(last, std::floor(place));
      } else if (double{edge.start} < distance) {
        last = -std::numeric_limits<double>::infinity();
      }
    }
    if (!(first <= last)) return {in.end, in.end};
    return {static_cast<std::int32_t>(first), static_cast<std::int32_t>(last) + 1};
  }

  // Texels, times the depth, and that.
  Slope u, v, w;
  std::array<Slope, 4> edges;
};

}  // namespace Vantra::Render::Simd
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {
namespace {

using Bytes = hn::Vec<Tag<std::uint8_t>>;
using Shorts = hn::Vec<Tag<std::int16_t>>;
constexpr int kFractionBits = 6;

// Four channels of each pixel in the order of memory, in 1/64 of a level; the first and the second
// two of four pixels as in `TexelPairs`.
struct Filtered {
  Shorts first;
  Shorts second;
};

// Repeats 16 bits of each pixel's weights.
HWY_INLINE Shorts Spread(I weights, const std::uint8_t* places) {
  return hn::BitCast(Tag<std::int16_t>(),
                     hn::TableLookupBytes(hn::BitCast(Tag<std::uint8_t>(), weights.raw),
                                          hn::LoadDup128(Tag<std::uint8_t>(), places)));
}

// Exact where both are the same, and where the weight is 0 or the largest, which stands for 1.
HWY_INLINE Shorts MixShorts(Shorts a, Shorts b, Shorts weight) {
  return hn::Add(a, hn::MulFixedPoint15(hn::Sub(b, a), weight));
}

// The words of `weights` are a weight across and, below it, one down, of 32767 to 1.
HWY_INLINE Filtered FilterPairs(const TexelPairs& top, const TexelPairs& bottom, I weights) {
  const Tag<std::uint8_t> bytes;
  const Tag<std::int16_t> shorts;
  // Of each of the four pixels in 16 bytes for all eight numbers, and of two for four each.
  alignas(16) static constexpr std::uint8_t kDown[4][16] = {
      {0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1},
      {4, 5, 4, 5, 4, 5, 4, 5, 4, 5, 4, 5, 4, 5, 4, 5},
      {8, 9, 8, 9, 8, 9, 8, 9, 8, 9, 8, 9, 8, 9, 8, 9},
      {12, 13, 12, 13, 12, 13, 12, 13, 12, 13, 12, 13, 12, 13, 12, 13}};
  alignas(16) static constexpr std::uint8_t kAcross[2][16] = {
      {2, 3, 2, 3, 2, 3, 2, 3, 6, 7, 6, 7, 6, 7, 6, 7},
      {10, 11, 10, 11, 10, 11, 10, 11, 14, 15, 14, 15, 14, 15, 14, 15}};
  const auto widen = [&](Bytes upper_bytes) HWY_ATTR {
    return hn::BitCast(
        shorts, hn::ShiftRight<8 - kFractionBits>(hn::BitCast(Tag<std::uint16_t>(), upper_bytes)));
  };
  const auto of_two = [&](U upper, U lower, int pair) HWY_ATTR {
    const Bytes zero = hn::Zero(bytes);
    const Bytes t = hn::BitCast(bytes, upper.raw);
    const Bytes b = hn::BitCast(bytes, lower.raw);
    const Shorts even =
        MixShorts(widen(hn::InterleaveLower(bytes, zero, t)),
                  widen(hn::InterleaveLower(bytes, zero, b)), Spread(weights, kDown[2 * pair]));
    const Shorts odd =
        MixShorts(widen(hn::InterleaveUpper(bytes, zero, t)),
                  widen(hn::InterleaveUpper(bytes, zero, b)), Spread(weights, kDown[2 * pair + 1]));
    const Tag<std::uint64_t> texels;
    const auto e = hn::BitCast(texels, even);
    const auto o = hn::BitCast(texels, odd);
    return MixShorts(hn::BitCast(shorts, hn::InterleaveLower(texels, e, o)),
                     hn::BitCast(shorts, hn::InterleaveUpper(texels, e, o)),
                     Spread(weights, kAcross[pair]));
  };
  return {of_two(top.first, bottom.first, 0), of_two(top.second, bottom.second, 1)};
}

// At the nearest levels; red and blue exchanged where that is wanted.
HWY_INLINE U ToPixels(const Filtered& filtered, bool swaps) {
  const Tag<std::uint8_t> bytes;
  const Tag<std::int16_t> shorts;
  const auto half = hn::Set(shorts, 1 << (kFractionBits - 1));
  const auto first = hn::ShiftRight<kFractionBits>(hn::Add(filtered.first, half));
  const auto second = hn::ShiftRight<kFractionBits>(hn::Add(filtered.second, half));
  alignas(16) static constexpr std::uint8_t kOrders[2][16] = {
      {0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15},
      {4, 2, 0, 6, 12, 10, 8, 14, 5, 3, 1, 7, 13, 11, 9, 15}};
  const auto both = hn::BitCast(bytes, hn::Or(first, hn::ShiftLeft<8>(second)));
  return {hn::BitCast(Tag<std::uint32_t>(),
                      hn::TableLookupBytes(both, hn::LoadDup128(bytes, kOrders[swaps])))};
}

HWY_INLINE Color ToColor(const Filtered& filtered, bool blue_first) {
  const TexelPairs pairs = {{hn::BitCast(Tag<std::uint32_t>(), filtered.first)},
                            {hn::BitCast(Tag<std::uint32_t>(), filtered.second)}};
  // Each has two channels of a pixel.
  const U lower = OfPairs<false>(pairs);
  const U upper = OfPairs<true>(pairs);
  const F scale = Broadcast(1.0f / (255 << kFractionBits));
  const auto channel = [&](U numbers)
                           HWY_ATTR { return Mul(IntToFloat(BitsToInt(numbers)), scale); };
  const U mask = Broadcast(0xFFFFu);
  const F c0 = channel(And(lower, mask));
  const F c1 = channel(U{hn::ShiftRight<16>(lower.raw)});
  const F c2 = channel(And(upper, mask));
  const F c3 = channel(U{hn::ShiftRight<16>(upper.raw)});
  return blue_first ? Color{c2, c1, c0, c3} : Color{c0, c1, c2, c3};
}

// Pixels of the image as they are.
HWY_INLINE U ToPixels(U words, bool swaps) {
  if (!swaps) return words;
  const Tag<std::uint8_t> bytes;
  alignas(16) static constexpr std::uint8_t kSwapped[16] = {2,  1, 0, 3,  6,  5,  4,  7,
                                                            10, 9, 8, 11, 14, 13, 12, 15};
  return {hn::BitCast(Tag<std::uint32_t>(), hn::TableLookupBytes(hn::BitCast(bytes, words.raw),
                                                                 hn::LoadDup128(bytes, kSwapped)))};
}

HWY_INLINE Color ToColor(U words, bool blue_first) {
  return FromBytes(blue_first ? BytesOf<true>(words) : BytesOf<false>(words));
}

HWY_INLINE F At(const Slope& slope, F x) {
  return Add(Mul(Broadcast(slope.step), x), Broadcast(slope.start));
}

template <bool kNearest>
class TransformLanes {
 public:
  TransformLanes(const PixelArguments& arguments, const TransformPass& pass)
      : pass_(pass),
        base_(arguments.textures[0].data),
        next_row_(arguments.textures[0].height > 1 ? arguments.textures[0].pitch : 0),
        row_words_(static_cast<std::int32_t>(arguments.textures[0].pitch / 4)),
        last_pair_(std::max(arguments.textures[0].height - 2, 0)),
        blue_first_(arguments.textures[0].format == Format::kBgra8) {}

  // `Filtered`, or the words of the nearest pixels.
  HWY_INLINE auto Read(const TransformRow& row, F x) const {
    const F near = Div(Broadcast(1.0f), At(row.w, x));
    // Both of a texel's neighbours can be read everywhere: right of a row there is room.
    const F u = Clamped(Mul(At(row.u, x), near), pass_.least_x, pass_.most_x);
    const F v = Clamped(Mul(At(row.v, x), near), pass_.least_y, pass_.most_y);
    const I column = FloatToInt(u);
    if constexpr (kNearest) {
      return ReadNearest(column, FloatToInt(v));
    } else {
      const I line = Min(FloatToInt(v), Broadcast(last_pair_));
      const I weights =
          Or(ShiftLeft(Weight(Sub(u, IntToFloat(column))), 16), Weight(Sub(v, IntToFloat(line))));
      const I index = Add(Mul(line, Broadcast(row_words_)), column);
      return FilterPairs(LoadPairs(base_, index), LoadPairs(base_ + next_row_, index), weights);
    }
  }

  HWY_INLINE F Coverage(const TransformRow& row, F x) const {
    const F zero = Broadcast(0.0f);
    const F one = Broadcast(1.0f);
    const F left = At(row.edges[0], x);
    const F top = At(row.edges[1], x);
    const F right = At(row.edges[2], x);
    const F bottom = At(row.edges[3], x);
    if (pass_.constants.aliased > 0.5f) {
      const M in = And(And(GreaterEqual(left, zero), GreaterEqual(top, zero)),
                       And(Greater(right, zero), Greater(bottom, zero)));
      return Select(in, one, zero);
    }
    const auto part = [&](F from, F to) HWY_ATTR {
      const F half = Broadcast(0.5f);
      const F before = Min(Max(Add(from, half), zero), one);
      const F behind = Min(Max(Add(to, half), zero), one);
      return Max(Sub(Add(before, behind), one), zero);
    };
    return Mul(part(left, right), part(top, bottom));
  }

  template <class Pixels>
  HWY_INLINE Color Mixed(const Pixels& pixels, F covered) const {
    const Color image = ToColor(pixels, blue_first_);
    const TransformConstants& constants = pass_.constants;
    const F around = Sub(Broadcast(1.0f), covered);
    const auto mixed = [&](F channel, std::size_t i) HWY_ATTR {
      const F inside =
          Add(Broadcast(constants.color[i]), Mul(channel, Broadcast(constants.opacity)));
      return Add(Mul(Broadcast(constants.outside[i]), around), Mul(inside, covered));
    };
    return {mixed(image.r, 0), mixed(image.g, 1), mixed(image.b, 2), mixed(image.a, 3)};
  }

 private:
  HWY_INLINE U ReadNearest(I column, I line) const {
    const I index = Add(Mul(line, Broadcast(row_words_)), column);
    const std::int32_t first = FirstLane(index);
    if (HWY_LIKELY(All(Equal(index, Iota(first))))) {
      return Load(reinterpret_cast<const std::uint32_t*>(base_) + first);
    }
    return LoadWords(base_, index);
  }

  // Where there is no number, some number in the range.
  static HWY_INLINE F Clamped(F place, float least, float most) {
    return Min(Max(place, Broadcast(least)), Broadcast(most));
  }

  static HWY_INLINE I Weight(F fraction) {
    return NearestInt(Min(Mul(fraction, Broadcast(32768.0f)), Broadcast(32767.0f)));
  }

  const TransformPass& pass_;
  const std::byte* base_;
  std::size_t next_row_;
  std::int32_t row_words_;
  std::int32_t last_pair_;
  bool blue_first_;
};

HWY_INLINE F ColumnsFrom(std::int32_t x) { return IntToFloat(Iota(x)); }

HWY_INLINE void StorePixels(U pixels, std::int32_t count, std::byte* to) {
  if (HWY_LIKELY(count == kLanes)) {
    Store(pixels, reinterpret_cast<std::uint32_t*>(to));
  } else {
    std::uint32_t all[kLanes];
    Store(pixels, all);
    std::memcpy(to, all, static_cast<std::size_t>(count) * 4);
  }
}

// The image's own pixels, but at its edges.
template <class Lanes>
void DrawPlainRow(const PixelArguments& arguments, const TransformPass& pass, const Lanes& lanes,
                  const TransformRow& row, std::int32_t y) {
  // More than floats are wrong about where an edge is.
  constexpr double kSure = 1.0 / 16;
  const TransformRow::Columns all = {arguments.left, arguments.right};
  const TransformRow::Columns seen = row.Inside(-0.5 - kSure, all);
  const TransformRow::Columns full = row.Inside(0.5 + kSure, all);
  const bool blue_first = arguments.target.format == Format::kBgra8;
  const auto to_pixels = [&](const Color& color) HWY_ATTR {
    return blue_first ? ToWords<true>(color) : ToWords<false>(color);
  };
  std::byte* const line =
      arguments.target.data + static_cast<std::size_t>(y) * arguments.target.pitch;
  const auto& outside = pass.constants.outside;
  const U around = to_pixels(
      {Broadcast(outside[0]), Broadcast(outside[1]), Broadcast(outside[2]), Broadcast(outside[3])});
  const auto draw = [&](std::int32_t first, std::int32_t end, auto pixels) HWY_ATTR {
    for (std::int32_t x = first; x < end; x += kLanes) {
      StorePixels(pixels(x), std::min(kLanes, end - x), line + std::ptrdiff_t{x} * 4);
    }
  };
  const auto nothing = [&](std::int32_t) HWY_ATTR { return around; };
  const auto image = [&](std::int32_t x)
                         HWY_ATTR { return ToPixels(lanes.Read(row, ColumnsFrom(x)), pass.swaps); };
  const auto edge = [&](std::int32_t x) HWY_ATTR {
    const F columns = ColumnsFrom(x);
    const auto read = lanes.Read(row, columns);
    const F covered = lanes.Coverage(row, columns);
    return Select(Equal(covered, Broadcast(1.0f)), ToPixels(read, pass.swaps),
                  to_pixels(lanes.Mixed(read, covered)));
  };
  draw(all.first, seen.first, nothing);
  draw(seen.first, std::min(full.first, seen.end), edge);
  draw(full.first, full.end, image);
  draw(std::max(full.end, seen.first), seen.end, edge);
  draw(seen.end, all.end, nothing);
}

template <bool kNearest>
void DrawRows(const PixelArguments& arguments, const TransformPass& pass, std::int32_t top,
              std::int32_t bottom) {
  const TransformLanes<kNearest> lanes(arguments, pass);
  for (std::int32_t y = top; y < bottom; ++y) {
    const TransformRow row(pass, y + 0.5 + double{arguments.origin_y});
    if (pass.plain) {
      DrawPlainRow(arguments, pass, lanes, row, y);
      continue;
    }
    const ResultRow results(arguments, y);
    for (std::int32_t x = arguments.left; x < arguments.right; x += kLanes) {
      const F columns = ColumnsFrom(x);
      results.Store(x, std::min(kLanes, arguments.right - x),
                    lanes.Mixed(lanes.Read(row, columns), lanes.Coverage(row, columns)));
    }
  }
}

}  // namespace

void DrawTransform(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  const TransformPass pass(arguments);
  if (pass.nearest) {
    DrawRows<true>(arguments, pass, top, bottom);
  } else {
    DrawRows<false>(arguments, pass, top, bottom);
  }
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantra::Render::Simd {
namespace {

HWY_EXPORT(DrawTransform);

}  // namespace

bool RunTransform(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  HWY_DYNAMIC_DISPATCH(DrawTransform)(arguments, top, bottom);
  return true;
}

bool AcceptsTransform(const PixelArguments& arguments, Bands* bands) {
  const TextureView& texture = arguments.textures[0];
  const Sampler& sampler = arguments.samplers[0];
  if (!texture.data || (texture.format != Format::kBgra8 && texture.format != Format::kRgba8) ||
      sampler.extend_x != Extend::kClamp || sampler.extend_y != Extend::kClamp ||
      arguments.pixel_size_x != 1.0f / static_cast<float>(texture.width) ||
      arguments.pixel_size_y != 1.0f / static_cast<float>(texture.height)) {
    return false;
  }
  std::array<float, sizeof(TransformConstants) / sizeof(float)> numbers;
  std::memcpy(numbers.data(), arguments.constants, sizeof(numbers));
  const auto is_number = [](float value) { return std::isfinite(value); };
  if (!std::all_of(numbers.begin(), numbers.end(), is_number) || !is_number(arguments.origin_x) ||
      !is_number(arguments.origin_y)) {
    return false;
  }
  const TransformPass pass(arguments);
  *bands = Bands::kRows;
  return pass.constants.detail[0] == 1 && pass.constants.detail[1] == 1 &&
         pass.constants.opacity > 0 && (!pass.nearest || pass.IsOnGrid(double{arguments.origin_y}));
}

}  // namespace Vantra::Render::Simd
#endif
