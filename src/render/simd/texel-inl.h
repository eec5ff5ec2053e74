// Texels of every format, and which of them a sampler reads. Of the sources that read textures, not
// of programs.

#if defined(VANTRIX_RENDER_SIMD_TEXEL_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VANTRIX_RENDER_SIMD_TEXEL_INL_H_
#undef VANTRIX_RENDER_SIMD_TEXEL_INL_H_
#else
#define VANTRIX_RENDER_SIMD_TEXEL_INL_H_
#endif

#include "render/simd/color-inl.h"
#include "render/simd/texel_pairs-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {

// Texels as they are stored: floats, or whole numbers of `Scale` to 1.

constexpr float StepOf(Format format) { return format == Format::kRgba16Float ? 1.0f : 1.0f / 255; }

// Where a channel is missing, it is 0, and alpha is 1.
HWY_INLINE Color OfTwoBytes(F r, F g) { return {r, g, Broadcast(0.0f), Broadcast(255.0f)}; }

HWY_INLINE Color OfHalves(U red_green, U blue_alpha) {
  const auto lower = [](U word) HWY_ATTR { return HalfToFloat(And(word, Broadcast(0xFFFFu))); };
  const auto upper = [](U word) HWY_ATTR { return HalfToFloat(ShiftRight(word, 16u)); };
  return {lower(red_green), upper(red_green), lower(blue_alpha), upper(blue_alpha)};
}

// `kLanes` texels that lie side by side. Reads no more than them.
HWY_INLINE Color LoadTexels(Format format, const std::byte* from) {
  const auto* const words = reinterpret_cast<const std::uint32_t*>(from);
  switch (format) {
    case Format::kBgra8:
      return BytesOf<true>(Load(words));
    case Format::kRgba8:
      return BytesOf<false>(Load(words));
    case Format::kR8: {
      const hn::Rebind<std::uint8_t, Tag<std::int32_t>> bytes;
      const I red = {hn::PromoteTo(Tag<std::int32_t>(),
                                   hn::LoadU(bytes, reinterpret_cast<const std::uint8_t*>(from)))};
      return OfTwoBytes(IntToFloat(red), Broadcast(0.0f));
    }
    case Format::kRg8: {
      const hn::Rebind<std::uint16_t, Tag<std::int32_t>> pairs;
      const U both = BitsToUint(I{hn::PromoteTo(
          Tag<std::int32_t>(), hn::LoadU(pairs, reinterpret_cast<const std::uint16_t*>(from)))});
      return OfTwoBytes(ByteOf<0>(both), ByteOf<1>(both));
    }
    case Format::kRgba16Float: {
      U red_green;
      U blue_alpha;
      hn::LoadInterleaved2(Tag<std::uint32_t>(), words, red_green.raw, blue_alpha.raw);
      return OfHalves(red_green, blue_alpha);
    }
  }
  return TransparentBlack();
}

// A texture of which rows are `row_words` words apart.
HWY_INLINE I RowStart(const TextureView& texture, I y) {
  return Mul(y, Broadcast(static_cast<std::int32_t>(texture.pitch / 4)));
}

// The texels of columns x in rows that start at `base` plus `row` words. They lie inside.
HWY_INLINE Color GatherTexels(Format format, const std::byte* base, I row, I x) {
  switch (format) {
    case Format::kBgra8:
      return BytesOf<true>(LoadWords(base, Add(row, x)));
    case Format::kRgba8:
      return BytesOf<false>(LoadWords(base, Add(row, x)));
    case Format::kR8: {
      const U word = LoadWords(base, Add(row, ShiftRight(x, 2)));
      return OfTwoBytes(ByteOf<0>(ShiftRight(word, ShiftLeft(And(x, Broadcast(3)), 3))),
                        Broadcast(0.0f));
    }
    case Format::kRg8: {
      const U word = LoadWords(base, Add(row, ShiftRight(x, 1)));
      const U both = ShiftRight(word, ShiftLeft(And(x, Broadcast(1)), 4));
      return OfTwoBytes(ByteOf<0>(both), ByteOf<1>(both));
    }
    case Format::kRgba16Float: {
      const I word = Add(row, Add(x, x));
      return OfHalves(LoadWords(base, word), LoadWords(base, Add(word, Broadcast(1))));
    }
  }
  return TransparentBlack();
}

// The columns, or rows, that a sample reads, and the second one's weight.
template <class V, class N>
struct Neighbours {
  N first;
  N second;
  V weight;
};

// Of a fraction of a texture's side of `size` texels, in lanes or as one number.
template <class V>
HWY_INLINE auto FindNeighbours(V place, std::int32_t size, Filter filter, Extend extend) {
  const auto like = [](auto number) HWY_ATTR {
    if constexpr (std::same_as<V, float>) {
      return number;
    } else {
      return Broadcast(number);
    }
  };
  using N = decltype(like(0));

  // Folded into 0 to 1. For the next operations NaN is as good as any number.
  if (extend == Extend::kWrap) {
    place = Sub(place, Floor(place));
  } else if (extend == Extend::kMirror) {
    const V pairs = Mul(place, like(0.5f));
    const V folded = Mul(Sub(pairs, Floor(pairs)), like(2.0f));
    place = Sub(like(1.0f), Abs(Sub(like(1.0f), folded)));
  }
  V texels = Mul(place, like(static_cast<float>(size)));
  const V last = like(static_cast<float>(size - 1));
  if (filter == Filter::kNearest) {
    const N index = FloatToInt(Min(Max(texels, like(0.0f)), last));
    return Neighbours<V, N>{index, index, like(0.0f)};
  }

  texels = Sub(texels, like(0.5f));
  N first;
  N second;
  V weight;
  if (extend == Extend::kWrap && size > 1) {
    texels = Min(Max(texels, like(-0.5f)), Add(last, like(0.5f)));
    const V whole = Floor(texels);
    weight = Sub(texels, whole);
    first = FloatToInt(whole);
    second = Add(first, like(1));
    first = Select(Less(first, like(0)), like(size - 1), first);
    second = Select(Equal(second, like(size)), like(0), second);
  } else {
    // Mirrored, a texel's neighbour outside is the texel itself, as it is for a clamp.
    texels = Min(Max(texels, like(0.0f)), last);
    first = FloatToInt(texels);
    weight = Sub(texels, IntToFloat(first));
    second = Min(Add(first, like(1)), like(size - 1));
  }
  weight = Select(Less(weight, like(1.0f / 512)), like(0.0f), weight);
  weight = Select(Greater(weight, like(511.0f / 512)), like(1.0f), weight);
  return Neighbours<V, N>{first, second, weight};
}

// From a to b. Exact where they are the same, and where the weight is 0 or 1.
HWY_INLINE F Mix(F a, F b, F weight) { return Add(a, Mul(weight, Sub(b, a))); }
HWY_INLINE Color Mix(const Color& a, const Color& b, F weight) {
  return EachChannel([&](F from, F to) HWY_ATTR { return Mix(from, to, weight); }, a, b);
}

HWY_INLINE Color FromStored(Format format, const Color& color) {
  return format == Format::kRgba16Float ? color : FromBytes(color);
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VANTRIX_RENDER_SIMD_TEXEL_INL_H_
