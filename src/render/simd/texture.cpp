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

const std::byte* RowOf(const TextureView& texture, std::int32_t y) {
  return texture.data + static_cast<std::size_t>(y) * texture.pitch;
}

// Whether the lanes are neighbouring columns.
HWY_INLINE bool AreColumns(I x) { return All(Equal(x, Iota(FirstLane(x)))); }

// Where the lanes of a sample read: from rows of their own, or all from the same two.
struct LaneRows {
  const std::byte* base;
  I first;
  I second;
  F weight;
};

HWY_INLINE Color FilterTexels(const TextureView& texture, const LaneNeighbours& columns,
                              const std::byte* upper, const std::byte* lower, I upper_row,
                              I lower_row, F weight_y) {
  const Format format = texture.format;
  const Color top = Mix(GatherTexels(format, upper, upper_row, columns.first),
                        GatherTexels(format, upper, upper_row, columns.second), columns.weight);
  const Color bottom = Mix(GatherTexels(format, lower, lower_row, columns.first),
                           GatherTexels(format, lower, lower_row, columns.second), columns.weight);
  return FromStored(format, Mix(top, bottom, weight_y));
}

}  // namespace

Color Sample(const TextureView& texture, const Sampler& sampler, F u, F v) {
  if (texture.data == nullptr) return TransparentBlack();
  const LaneNeighbours columns = FindNeighbours(u, texture.width, sampler.filter, sampler.extend_x);
  const LaneNeighbours rows = FindNeighbours(v, texture.height, sampler.filter, sampler.extend_y);
  return FilterTexels(texture, columns, texture.data, texture.data, RowStart(texture, rows.first),
                      RowStart(texture, rows.second), rows.weight);
}

Color Sample(const TextureView& texture, const Sampler& sampler, F u, float v) {
  if (texture.data == nullptr) return TransparentBlack();
  const LaneNeighbours columns = FindNeighbours(u, texture.width, sampler.filter, sampler.extend_x);
  const RowNeighbours rows = FindNeighbours(v, texture.height, sampler.filter, sampler.extend_y);
  const I zero = Broadcast(0);
  return FilterTexels(texture, columns, RowOf(texture, rows.first), RowOf(texture, rows.second),
                      zero, zero, Broadcast(rows.weight));
}

UniformColor Sample(const TextureView& texture, const Sampler& sampler, float u, float v) {
  const Color color = Sample(texture, sampler, Broadcast(u), v);
  return {FirstLane(color.r), FirstLane(color.g), FirstLane(color.b), FirstLane(color.a)};
}

Color Fetch(const TextureView& texture, I x, I y) {
  if (texture.data == nullptr) return TransparentBlack();
  const U width = Broadcast(static_cast<std::uint32_t>(texture.width));
  const U height = Broadcast(static_cast<std::uint32_t>(texture.height));
  const M inside = And(Less(BitsToUint(x), width), Less(BitsToUint(y), height));
  const I zero = Broadcast(0);
  const Color color =
      FromStored(texture.format,
                 GatherTexels(texture.format, texture.data,
                              RowStart(texture, Select(inside, y, zero)), Select(inside, x, zero)));
  return EachChannel([&](F channel) HWY_ATTR { return Select(inside, channel, Broadcast(0.0f)); },
                     color);
}

Color Fetch(const TextureView& texture, I x, std::int32_t y) {
  return Fetch(texture, x, Broadcast(y));
}

UniformColor Fetch(const TextureView& texture, std::int32_t x, std::int32_t y) {
  const Color color = Fetch(texture, Broadcast(x), y);
  return {FirstLane(color.r), FirstLane(color.g), FirstLane(color.b), FirstLane(color.a)};
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
