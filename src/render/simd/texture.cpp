#include "render/simd/targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "render/simd/texture.cpp"
#include "hwy/foreach_target.h"
#include "render/simd/texel-inl.h"
#include "render/simd/texture-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {
namespace {

using LaneNeighbours = Neighbours<F, I>;
using RowNeighbours = Neighbours<float, std::int32_t>;

// Two rows to filter between: each a place in memory, and words from there on by lane.
struct RowPair {
  const std::byte* upper;
  const std::byte* lower;
  I upper_start;
  I lower_start;
  F weight;
};

const std::byte* RowOf(const TextureView& texture, std::int32_t y) {
  return texture.data + static_cast<std::size_t>(y) * texture.pitch;
}

RowPair SameRows(const TextureView& texture, std::int32_t upper, std::int32_t lower, F weight) {
  const I zero = Broadcast(0);
  return {RowOf(texture, upper), RowOf(texture, lower), zero, zero, weight};
}

// Whether the lanes are neighbouring columns of a row of that width.
HWY_INLINE bool AreColumns(I x, std::int32_t width) {
  const std::int32_t first = FirstLane(x);
  return first >= 0 && first <= width - kLanes && All(Equal(x, Iota(first)));
}

template <class T>
HWY_INLINE bool AreSame(Lanes<T> x) {
  return All(Equal(x, Broadcast(FirstLane(x))));
}

// Filters pixels of four bytes, where most of the time goes.
template <bool kBlueFirst>
HWY_INLINE Color FilterBytes(std::int32_t width, const LaneNeighbours& columns, const RowPair& rows,
                             bool same_rows) {
  // A pair of texels may begin with the row's last one: what lies behind it can be read, and either
  // has no weight or is replaced.
  const std::int32_t first = FirstLane(columns.first);
  const bool loads = same_rows && AreColumns(columns.first, width - 1);
  const M wraps = Less(columns.second, columns.first);
  const bool any_wraps = !loads && Any(wraps);
  const auto row = [&](const std::byte* base, I start) HWY_ATTR {
    U left;
    U right;
    if (loads) {
      const auto* const words = reinterpret_cast<const std::uint32_t*>(base) + first;
      left = Load(words);
      right = Load(words + 1);
    } else {
      const TexelPairs pairs = LoadPairs(base, Add(start, columns.first));
      left = OfPairs<false>(pairs);
      right = OfPairs<true>(pairs);
      if (HWY_UNLIKELY(any_wraps)) {
        right = Select(wraps, LoadWords(base, Add(start, columns.second)), right);
      }
    }
    return Mix(BytesOf<kBlueFirst>(left), BytesOf<kBlueFirst>(right), columns.weight);
  };
  const Color top = row(rows.upper, rows.upper_start);
  return FromBytes(Mix(top, row(rows.lower, rows.lower_start), rows.weight));
}

Color Filter(const TextureView& texture, const LaneNeighbours& columns, const RowPair& rows,
             bool same_rows) {
  const Format format = texture.format;
  if (format == Format::kBgra8) {
    return FilterBytes<true>(texture.width, columns, rows, same_rows);
  }
  if (format == Format::kRgba8) {
    return FilterBytes<false>(texture.width, columns, rows, same_rows);
  }
  const auto row = [&](const std::byte* base, I start) HWY_ATTR {
    return Mix(GatherTexels(format, base, start, columns.first),
               GatherTexels(format, base, start, columns.second), columns.weight);
  };
  const Color top = row(rows.upper, rows.upper_start);
  return FromStored(format, Mix(top, row(rows.lower, rows.lower_start), rows.weight));
}

// Texels of columns that lie inside.
HWY_INLINE Color Texels(const TextureView& texture, I x, const std::byte* base, I start,
                        bool same_row) {
  const Format format = texture.format;
  if (same_row && AreColumns(x, texture.width)) {
    return FromStored(format, LoadTexels(format, base + static_cast<std::size_t>(FirstLane(x)) *
                                                            BytesPerPixel(format)));
  }
  return FromStored(format, GatherTexels(format, base, start, x));
}

UniformColor FirstOf(const Color& color) {
  return {FirstLane(color.r), FirstLane(color.g), FirstLane(color.b), FirstLane(color.a)};
}

}  // namespace

Color Sample(const TextureView& texture, const Sampler& sampler, F u, F v) {
  if (texture.data == nullptr) return TransparentBlack();
  const LaneNeighbours columns = FindNeighbours(u, texture.width, sampler.filter, sampler.extend_x);
  const LaneNeighbours rows = FindNeighbours(v, texture.height, sampler.filter, sampler.extend_y);
  // Then their neighbours are the same, too.
  const bool same_rows = AreSame(rows.first);
  const RowPair pair =
      same_rows ? SameRows(texture, FirstLane(rows.first), FirstLane(rows.second), rows.weight)
                : RowPair{texture.data, texture.data, RowStart(texture, rows.first),
                          RowStart(texture, rows.second), rows.weight};
  if (sampler.filter == Filter::kNearest) {
    return Texels(texture, columns.first, pair.upper, pair.upper_start, same_rows);
  }
  return Filter(texture, columns, pair, same_rows);
}

Color Sample(const TextureView& texture, const Sampler& sampler, F u, float v) {
  if (texture.data == nullptr) return TransparentBlack();
  const LaneNeighbours columns = FindNeighbours(u, texture.width, sampler.filter, sampler.extend_x);
  const RowNeighbours rows = FindNeighbours(v, texture.height, sampler.filter, sampler.extend_y);
  const RowPair pair = SameRows(texture, rows.first, rows.second, Broadcast(rows.weight));
  if (sampler.filter == Filter::kNearest) {
    return Texels(texture, columns.first, pair.upper, pair.upper_start, true);
  }
  return Filter(texture, columns, pair, true);
}

UniformColor Sample(const TextureView& texture, const Sampler& sampler, float u, float v) {
  return FirstOf(Sample(texture, sampler, Broadcast(u), v));
}

Color Fetch(const TextureView& texture, I x, I y) {
  if (texture.data == nullptr) return TransparentBlack();
  if (AreSame(y)) return Fetch(texture, x, FirstLane(y));
  const U width = Broadcast(static_cast<std::uint32_t>(texture.width));
  const U height = Broadcast(static_cast<std::uint32_t>(texture.height));
  const M inside = And(Less(BitsToUint(x), width), Less(BitsToUint(y), height));
  const I zero = Broadcast(0);
  const Color color = Texels(texture, Select(inside, x, zero), texture.data,
                             RowStart(texture, Select(inside, y, zero)), false);
  return EachChannel([&](F channel) HWY_ATTR { return Select(inside, channel, Broadcast(0.0f)); },
                     color);
}

Color Fetch(const TextureView& texture, I x, std::int32_t y) {
  if (y < 0 || y >= texture.height) return TransparentBlack();
  const I zero = Broadcast(0);
  const M inside = Less(BitsToUint(x), Broadcast(static_cast<std::uint32_t>(texture.width)));
  const Color color = Texels(texture, Select(inside, x, zero), RowOf(texture, y), zero, true);
  return EachChannel([&](F channel) HWY_ATTR { return Select(inside, channel, Broadcast(0.0f)); },
                     color);
}

UniformColor Fetch(const TextureView& texture, std::int32_t x, std::int32_t y) {
  return FirstOf(Fetch(texture, Broadcast(x), y));
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
