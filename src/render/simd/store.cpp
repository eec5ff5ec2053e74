#include <cstring>

#include "render/simd/targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "render/simd/store.cpp"
#include "hwy/foreach_target.h"
#include "render/simd/store-inl.h"
#include "render/simd/texel-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {
namespace {

constexpr std::size_t kMaximumGroupBytes = 8 * static_cast<std::size_t>(kLanes);

HWY_INLINE Color Blended(Blend blend, const Color& s, const Color& d) {
  const F zero = Broadcast(0.0f);
  const F one = Broadcast(1.0f);
  const F not_s = Sub(one, s.a);
  const F not_d = Sub(one, d.a);
  const auto sum = [&](F source, F target) HWY_ATTR {
    return EachChannel([&](F a, F b) HWY_ATTR { return Add(Mul(source, a), Mul(target, b)); }, s,
                       d);
  };
  switch (blend) {
    case Blend::kReplace:
      break;
    case Blend::kSourceOver:
      return sum(one, not_s);
    case Blend::kDestinationOver:
      return sum(not_d, one);
    case Blend::kSourceIn:
      return sum(d.a, zero);
    case Blend::kDestinationIn:
      return sum(zero, s.a);
    case Blend::kSourceOut:
      return sum(not_d, zero);
    case Blend::kDestinationOut:
      return sum(zero, not_s);
    case Blend::kSourceAtop:
      return sum(d.a, not_s);
    case Blend::kDestinationAtop:
      return sum(not_d, s.a);
    case Blend::kXor:
      return sum(not_d, not_s);
    case Blend::kPlus:
      return sum(one, one);
    case Blend::kMaskInvert:
      return EachChannel(
          [&](F a, F b) HWY_ATTR { return Add(Mul(Sub(one, b), a), Mul(Sub(one, a), b)); }, s, d);
    case Blend::kMinimum:
      return EachChannel([](F a, F b) HWY_ATTR { return Min(a, b); }, s, d);
    case Blend::kMaximum:
      return EachChannel([](F a, F b) HWY_ATTR { return Max(a, b); }, s, d);
  }
  return s;
}

// NaN becomes 0.
HWY_INLINE F ClampedToOne(F channel) { return Min(Max(channel, Broadcast(0.0f)), Broadcast(1.0f)); }

HWY_INLINE void StoreTexels(Format format, const Color& color, std::byte* to) {
  auto* const words = reinterpret_cast<std::uint32_t*>(to);
  switch (format) {
    case Format::kBgra8:
      Store(ToWords<true>(color), words);
      return;
    case Format::kRgba8:
      Store(ToWords<false>(color), words);
      return;
    case Format::kR8:
    case Format::kRg8: {
      HWY_ALIGN std::uint32_t pixels[kLanes];
      Store(ToWords<false>(color), pixels);
      const std::size_t bytes = BytesPerPixel(format);
      for (std::size_t i = 0; i < kLanes; ++i) std::memcpy(to + i * bytes, &pixels[i], bytes);
      return;
    }
    case Format::kRgba16Float: {
      const auto pair = [](F lower, F upper) HWY_ATTR {
        return Or(FloatToHalf(lower), ShiftLeft(FloatToHalf(upper), 16u));
      };
      hn::StoreInterleaved2(pair(color.r, color.g).raw, pair(color.b, color.a).raw,
                            Tag<std::uint32_t>(), words);
      return;
    }
  }
}

}  // namespace

void StoreAnyResult(const PixelArguments& arguments, std::int32_t x, std::int32_t y,
                    std::int32_t count, F r, F g, F b, F a) {
  const Format format = arguments.target.format;
  const std::size_t bytes = BytesPerPixel(format);
  std::byte* const to = arguments.target.data +
                        static_cast<std::size_t>(y) * arguments.target.pitch +
                        static_cast<std::size_t>(x) * bytes;
  const std::size_t used = static_cast<std::size_t>(count) * bytes;
  // A part of a group goes through memory of a whole one.
  alignas(64) std::byte group[kMaximumGroupBytes] = {};
  std::byte* const at = count == kLanes ? to : group;
  Color result = {ClampedToOne(r), ClampedToOne(g), ClampedToOne(b), ClampedToOne(a)};
  if (arguments.blend != Blend::kReplace) {
    if (at == group) std::memcpy(group, to, used);
    const Color target = FromStored(format, LoadTexels(format, at));
    result = EachChannel([](F channel) HWY_ATTR { return ClampedToOne(channel); },
                         Blended(arguments.blend, result, target));
  }
  StoreTexels(format, result, at);
  if (at == group) std::memcpy(to, group, used);
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
