// Video frames of limited-range BT.601, turned into BGRA to the same bits as by the programs.

#include <algorithm>
#include <array>
#include <cstring>

#include "render/simd/native/native_kernels.h"
#include "render/simd/targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "render/simd/native/video_frames.cpp"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"

#ifndef VANTRIX_VIDEO_FRAMES_ONCE
#define VANTRIX_VIDEO_FRAMES_ONCE
namespace Vantra::Render::Simd {

enum class VideoLayout { kNv12, kPlanar, kYuy2 };

// Bytes of a plane for two pixels.
constexpr std::array<std::size_t, kRegisterCount> PairBytes(VideoLayout layout) {
  switch (layout) {
    case VideoLayout::kNv12:
      return {2, 2, 0};
    case VideoLayout::kPlanar:
      return {2, 1, 1};
    case VideoLayout::kYuy2:
      break;
  }
  return {4, 0, 0};
}

// Where some pixels of a row are found in the planes.
using VideoBytes = std::array<const std::uint8_t*, kRegisterCount>;

struct VideoSample {
  std::int32_t y, u, v;
};

inline VideoSample SampleAt(VideoLayout layout, const VideoBytes& from, std::size_t x) {
  const std::size_t pair = x / 2;
  switch (layout) {
    case VideoLayout::kNv12:
      return {from[0][x], from[1][2 * pair], from[1][2 * pair + 1]};
    case VideoLayout::kPlanar:
      return {from[0][x], from[1][pair], from[2][pair]};
    case VideoLayout::kYuy2:
      break;
  }
  return {from[0][4 * pair], from[0][4 * pair + 1], from[0][4 * pair + 3]};
}

// As `bgra.glsl` computes a colour.
inline void ConvertExactly(const VideoSample& sample, std::uint8_t* pixel) {
  const auto to_byte = [](std::int64_t steps) {
    return static_cast<std::uint8_t>(std::clamp<std::int64_t>(steps / 10000000, 0, 255));
  };
  const std::int64_t luma = std::int64_t{11643840} * (sample.y - 16);
  const std::int64_t u = sample.u - 128, v = sample.v - 128;
  pixel[0] = to_byte(luma + 20172320 * u);
  pixel[1] = to_byte(luma - 8129677 * v - 3917623 * u);
  pixel[2] = to_byte(luma + 15960270 * v);
  pixel[3] = 255;
}

}  // namespace Vantra::Render::Simd
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using Bytes = hn::ScalableTag<std::uint8_t>;
using Shorts = hn::ScalableTag<std::int16_t>;
using Words = hn::ScalableTag<std::uint16_t>;
using Longs = hn::ScalableTag<std::int32_t>;
using ByteLanes = hn::Vec<Bytes>;
using ShortLanes = hn::Vec<Shorts>;
using WordLanes = hn::Vec<Words>;
using LongLanes = hn::Vec<Longs>;

// The pixels of one step: they lie in two vectors of 16-bit lanes, the halves.
constexpr std::size_t kStep = hn::MaxLanes(Bytes());
constexpr std::size_t kBlocks = kStep / 16;

HWY_INLINE ShortLanes Short(std::int32_t value) {
  return hn::Set(Shorts(), static_cast<std::int16_t>(value));
}
// For the samples of chroma: u, v, u, v, ...
HWY_INLINE ShortLanes Pair(std::int32_t u, std::int32_t v) {
  return hn::BitCast(Shorts(),
                     hn::Set(Longs(), (u & 0xFFFF) | static_cast<std::int32_t>(
                                                         static_cast<std::uint32_t>(v) << 16)));
}

// Vectors are shuffled within blocks of 16 bytes, where that is cheap. The groups of four pixels
// are dealt out to the blocks first, so that each vector of results is contiguous: block b gets the
// groups b, b + kBlocks, ... With `kHalves` a vector has only half of a step, in groups of 8 bytes.
template <bool kHalves>
HWY_INLINE ByteLanes Deal(ByteLanes bytes) {
  if constexpr (kBlocks == 1) return bytes;
  constexpr auto kPlaces = [] {
    std::array<std::int32_t, kStep / 4> places = {};
    for (std::size_t i = 0; i < places.size(); ++i) {
      const std::size_t block = i / 4, place = i % 4;
      places[i] = static_cast<std::int32_t>(kHalves ? 2 * (place / 2 * kBlocks + block) + place % 2
                                                    : place * kBlocks + block);
    }
    return places;
  }();
  const Longs longs;
  return hn::BitCast(Bytes(), hn::TableLookupLanes(hn::BitCast(longs, bytes),
                                                   hn::SetTableIndices(longs, kPlaces.data())));
}

HWY_INLINE ShortLanes LowerBytes(ByteLanes bytes) {
  return hn::BitCast(Shorts(), hn::InterleaveLower(Bytes(), bytes, hn::Zero(Bytes())));
}
HWY_INLINE ShortLanes UpperBytes(ByteLanes bytes) {
  return hn::BitCast(Shorts(), hn::InterleaveUpper(Bytes(), bytes, hn::Zero(Bytes())));
}

// The samples of half a step: the luma of each pixel, and u and v of each pair in their lanes.
struct Half {
  ShortLanes y, uv;
};
struct Step {
  Half lower, upper;
};

HWY_INLINE void LoadLuma(const std::uint8_t* from, Step* step) {
  const ByteLanes y = Deal<false>(hn::LoadU(Bytes(), from));
  step->lower.y = LowerBytes(y);
  step->upper.y = UpperBytes(y);
}

template <VideoLayout kLayout>
HWY_INLINE Step Load(const VideoBytes& from) {
  const Bytes bytes;
  Step step;
  if constexpr (kLayout == VideoLayout::kYuy2) {
    // Of each pair the first luma, twice; then u and v.
    alignas(16) static constexpr std::uint8_t kSamples[16] = {0, 0, 4, 4, 8, 8,  12, 12,
                                                              1, 3, 5, 7, 9, 11, 13, 15};
    const auto places = hn::LoadDup128(bytes, kSamples);
    const ByteLanes lower = hn::TableLookupBytes(Deal<true>(hn::LoadU(bytes, from[0])), places);
    const ByteLanes upper =
        hn::TableLookupBytes(Deal<true>(hn::LoadU(bytes, from[0] + kStep)), places);
    step.lower = {LowerBytes(lower), UpperBytes(lower)};
    step.upper = {LowerBytes(upper), UpperBytes(upper)};
    return step;
  } else {
    ByteLanes uv;
    if constexpr (kLayout == VideoLayout::kNv12) {
      uv = hn::LoadU(bytes, from[1]);
    } else {
      const hn::Half<Bytes> half;
      const WordLanes u = hn::PromoteTo(Words(), hn::LoadU(half, from[1]));
      const WordLanes v = hn::PromoteTo(Words(), hn::LoadU(half, from[2]));
      uv = hn::BitCast(bytes, hn::Or(u, hn::ShiftLeft<8>(v)));
    }
    uv = Deal<false>(uv);
    LoadLuma(from[0], &step);
    step.lower.uv = LowerBytes(uv);
    step.upper.uv = UpperBytes(uv);
    return step;
  }
}

// a u + b v of each pair.
HWY_INLINE LongLanes SumOfPair(ShortLanes uv, std::int32_t a, std::int32_t b, LongLanes start) {
  const Longs longs;
#if HWY_ARCH_X86
  // Here the sums are those of neighbours.
  LongLanes none = hn::Zero(longs);
  return hn::ReorderWidenMulAccumulate(longs, uv, Pair(a, b), start, none);
#else
  const LongLanes pairs = hn::BitCast(longs, uv);
  const LongLanes u = hn::ShiftRight<16>(hn::ShiftLeft<16>(pairs));
  const LongLanes v = hn::ShiftRight<16>(pairs);
  return hn::Add(start, hn::Add(hn::Mul(u, hn::Set(longs, a)), hn::Mul(v, hn::Set(longs, b))));
#endif
}

// A term of the formula is held as a whole number of steps and a fraction of -1/2 up to 1/2 step in
// 65536ths, a 16-bit lane each. The terms of luma and chroma together are their whole numbers, and
// one less where the fractions' sum falls below 0. Chroma's fraction is stored negated, so that
// a comparison tells.
//
// The fractions are rounded, so the comparison has to come out right for all values of luma and of
// chroma. With the last digits of these constants it does so for red and blue, which depend on one
// kind of chroma each. For green it does so but where the fractions differ by one in one direction,
// which happens to 241 of the 2^24 samples, none of them grey: those are computed exactly.
constexpr std::int32_t kBlack = 16;
constexpr std::int32_t kNeutral = 128;
constexpr std::int32_t kLumaWhole = 5387;  // 0.164384, in 32768ths as other factors of whole steps
constexpr std::int32_t kLumaPart = 10773;  // 0.164384 in 65536ths, and their 65536ths
constexpr std::int32_t kLumaRest = 4550;
constexpr std::int32_t kBlueWhole = -564;  // -0.017232
constexpr std::int32_t kBluePart = -1129;
constexpr std::int32_t kBlueRest = -20600;
constexpr std::int32_t kRedWhole = -19531;  // -0.596027
constexpr std::int32_t kRedPart = -39061;
constexpr std::int32_t kRedRest = -14600;
constexpr std::int32_t kGreenU = 12837;     // 0.3917623 in 32768ths, and the rest in 65536ths of
constexpr std::int32_t kGreenURest = 4375;  // 8192ths
constexpr std::int32_t kGreenV = 26639;     // 0.8129677
constexpr std::int32_t kGreenVRest = 5335;

// What makes signed saturation one at white; it is taken off with saturation at black. Luma has the
// first of it, and chroma the rest, which then fits with any chroma.
constexpr std::int32_t kLift = 32767 - 255;
constexpr std::int32_t kLumaLift = kBlack;
constexpr std::int32_t kChromaLift = kLift - kLumaLift;

struct Term {
  ShortLanes whole, negated_part;
};

struct Chroma {
  Term blue, green, red;
};

HWY_INLINE ShortLanes Rearrange(ShortLanes lanes, const std::uint8_t* places) {
  const Bytes bytes;
  return hn::BitCast(
      Shorts(), hn::TableLookupBytes(hn::BitCast(bytes, lanes), hn::LoadDup128(bytes, places)));
}
// The first, or the second, lane of each pair in both.
HWY_INLINE ShortLanes First(ShortLanes lanes) {
  alignas(16) static constexpr std::uint8_t kPlaces[16] = {0, 1, 0, 1, 4,  5,  4,  5,
                                                           8, 9, 8, 9, 12, 13, 12, 13};
  return Rearrange(lanes, kPlaces);
}
HWY_INLINE ShortLanes Second(ShortLanes lanes) {
  alignas(16) static constexpr std::uint8_t kPlaces[16] = {2,  3,  2,  3,  6,  7,  6,  7,
                                                           10, 11, 10, 11, 14, 15, 14, 15};
  return Rearrange(lanes, kPlaces);
}

HWY_INLINE Chroma ChromaOf(ShortLanes samples) {
  const Longs longs;
  const ShortLanes uv = hn::Sub(samples, Short(kNeutral));
  // Blue in the lanes of u, red in those of v.
  const ShortLanes part =
      hn::Add(hn::Mul(uv, Pair(kBluePart, kRedPart)), hn::MulHigh(uv, Pair(kBlueRest, kRedRest)));
  const ShortLanes steps = hn::Add(hn::Add(uv, Short(kChromaLift)), hn::And(uv, Pair(-1, 0)));
  const ShortLanes whole = hn::Sub(steps, hn::MulFixedPoint15(uv, Pair(kBlueWhole, kRedWhole)));
  // Of green, negated, in 65536ths, rounded up.
  const LongLanes rough = SumOfPair(uv, kGreenU, kGreenV, hn::Zero(longs));
  const LongLanes rest = SumOfPair(uv, kGreenURest, kGreenVRest, hn::Set(longs, 8191));
  const LongLanes green = hn::Add(hn::Add(rough, rough), hn::ShiftRight<13>(rest));
  const LongLanes rounded = hn::Sub(hn::Set(longs, (kChromaLift << 16) + 32767), green);
  const Shorts shorts;
  return {{First(whole), First(part)},
          {Second(hn::BitCast(shorts, rounded)), First(hn::BitCast(shorts, green))},
          {Second(whole), Second(part)}};
}

// Of 0 to 255, in the lower byte of each lane.
HWY_INLINE WordLanes Channel(ShortLanes luma_whole, ShortLanes carry, const Term& chroma) {
  const ShortLanes lifted = hn::SaturatedAdd(hn::Add(luma_whole, carry), chroma.whole);
  return hn::SaturatedSub(hn::BitCast(Words(), lifted), hn::BitCast(Words(), Short(kLift)));
}

// Writes the pixels of half a step to the first or last half of `to`. Gives the lanes that are all
// ones where green is in doubt.
HWY_INLINE WordLanes ConvertHalf(ShortLanes samples, const Chroma& chroma, std::uint8_t* to) {
  const Shorts shorts;
  const Words words;
  const ShortLanes y = hn::Sub(samples, Short(kBlack));
  const ShortLanes whole = hn::Add(samples, hn::MulFixedPoint15(y, Short(kLumaWhole)));
  const ShortLanes part = hn::Add(hn::Mul(y, Short(kLumaPart)), hn::MulHigh(y, Short(kLumaRest)));
  const auto carry = [&](const Term& term) HWY_ATTR {
    return hn::VecFromMask(shorts, hn::Gt(term.negated_part, part));
  };
  const ShortLanes distance = hn::SaturatedSub(part, chroma.green.negated_part);
  const WordLanes blue = Channel(whole, carry(chroma.blue), chroma.blue);
  const WordLanes green = Channel(whole, hn::ShiftRight<15>(distance), chroma.green);
  const WordLanes red = Channel(whole, carry(chroma.red), chroma.red);
  const WordLanes blue_green = hn::Or(blue, hn::ShiftLeft<8>(green));
  const WordLanes red_alpha = hn::Or(red, hn::Set(words, 0xFF00));
  const Bytes bytes;
  hn::StoreU(hn::BitCast(bytes, hn::InterleaveLower(words, blue_green, red_alpha)), bytes, to);
  hn::StoreU(hn::BitCast(bytes, hn::InterleaveUpper(words, blue_green, red_alpha)), bytes,
             to + kStep);
  return hn::BitCast(words, distance);
}

HWY_INLINE bool InDoubt(WordLanes distance) {
  const Words words;
  return HWY_UNLIKELY(!hn::AllFalse(words, hn::Eq(distance, hn::Set(words, 0xFFFF))));
}

HWY_NOINLINE void ConvertStepExactly(VideoLayout layout, const VideoBytes& from, std::uint8_t* to) {
  for (std::size_t x = 0; x < kStep; ++x) {
    ConvertExactly(SampleAt(layout, from, x), to + x * kBytesPerPixel);
  }
}

template <VideoLayout kLayout>
HWY_INLINE void ConvertStep(const VideoBytes& from, std::uint8_t* to) {
  const Step step = Load<kLayout>(from);
  const WordLanes lower = ConvertHalf(step.lower.y, ChromaOf(step.lower.uv), to);
  const WordLanes upper = ConvertHalf(step.upper.y, ChromaOf(step.upper.uv), to + 2 * kStep);
  if (InDoubt(hn::Max(lower, upper))) ConvertStepExactly(kLayout, from, to);
}

// Steps of two rows that share their chroma.
template <VideoLayout kLayout>
HWY_INLINE void ConvertSteps(const VideoBytes& from, const std::uint8_t* next_luma,
                             std::uint8_t* to, std::uint8_t* next) {
  Step step = Load<kLayout>(from);
  Step below;
  LoadLuma(next_luma, &below);
  WordLanes doubt, doubt_below;
  {
    const Chroma chroma = ChromaOf(step.lower.uv);
    doubt = ConvertHalf(step.lower.y, chroma, to);
    doubt_below = ConvertHalf(below.lower.y, chroma, next);
  }
  {
    const Chroma chroma = ChromaOf(step.upper.uv);
    doubt = hn::Max(doubt, ConvertHalf(step.upper.y, chroma, to + 2 * kStep));
    doubt_below = hn::Max(doubt_below, ConvertHalf(below.upper.y, chroma, next + 2 * kStep));
  }
  if (InDoubt(hn::Max(doubt, doubt_below))) {
    ConvertStepExactly(kLayout, from, to);
    ConvertStepExactly(kLayout, {next_luma, from[1], from[2]}, next);
  }
}

// The pixels from `first` on of a row whose planes do not have whole steps there, or no row at all:
// what they lack is 0.
template <VideoLayout kLayout>
void ConvertEnd(const HostComputation& frame, std::int32_t row, std::size_t first) {
  constexpr auto kPairBytes = PairBytes(kLayout);
  const auto width = static_cast<std::size_t>(frame.width);
  std::uint8_t* const to = reinterpret_cast<std::uint8_t*>(frame.output) +
                           static_cast<std::size_t>(row) * frame.output_pitch;
  for (std::size_t x = first; x < width; x += kStep) {
    std::uint8_t samples[kRegisterCount][2 * kStep] = {};
    VideoBytes from = {};
    for (std::size_t i = 0; i < kRegisterCount; ++i) {
      const HostPlane& plane = frame.planes[i];
      const std::int32_t plane_row = i == 0 ? row : row / 2;
      const std::size_t begin = x / 2 * kPairBytes[i];
      from[i] = samples[i];
      if (plane_row >= plane.rows || begin >= plane.row_bytes) continue;
      std::memcpy(samples[i],
                  plane.data + static_cast<std::size_t>(plane_row) * plane.pitch + begin,
                  std::min(kStep / 2 * kPairBytes[i], plane.row_bytes - begin));
    }
    std::uint8_t pixels[kStep * kBytesPerPixel];
    ConvertStep<kLayout>(from, pixels);
    std::memcpy(to + x * kBytesPerPixel, pixels, std::min(kStep, width - x) * kBytesPerPixel);
  }
}

template <VideoLayout kLayout>
void Convert(const HostComputation& frame, std::int32_t top, std::int32_t bottom) {
  constexpr auto kPairBytes = PairBytes(kLayout);
  constexpr bool kSharesRows = kLayout != VideoLayout::kYuy2;
  const auto begin_of = [&](std::size_t i, std::int32_t row) {
    const HostPlane& plane = frame.planes[i];
    return reinterpret_cast<const std::uint8_t*>(plane.data) +
           static_cast<std::size_t>(row) * plane.pitch;
  };
  const std::size_t whole_steps = static_cast<std::size_t>(frame.width) / kStep * kStep;
  for (std::int32_t row = top; row < bottom;) {
    std::size_t x = 0;
    const bool has_chroma =
        !kSharesRows || (row / 2 < frame.planes[1].rows &&
                         (kLayout == VideoLayout::kNv12 || row / 2 < frame.planes[2].rows));
    const bool is_pair = kSharesRows && row % 2 == 0 && row + 1 < bottom;
    if (has_chroma) {
      VideoBytes from = {begin_of(0, row)};
      if constexpr (kSharesRows) from[1] = begin_of(1, row / 2);
      if constexpr (kLayout == VideoLayout::kPlanar) from[2] = begin_of(2, row / 2);
      auto* to = reinterpret_cast<std::uint8_t*>(frame.output) +
                 static_cast<std::size_t>(row) * frame.output_pitch;
      for (; x < whole_steps; x += kStep) {
        if constexpr (kSharesRows) {
          if (is_pair) {
            ConvertSteps<kLayout>(from, from[0] + frame.planes[0].pitch, to,
                                  to + frame.output_pitch);
          } else {
            ConvertStep<kLayout>(from, to);
          }
        } else {
          ConvertStep<kLayout>(from, to);
        }
        for (std::size_t i = 0; i < kRegisterCount; ++i) from[i] += kStep / 2 * kPairBytes[i];
        to += kStep * kBytesPerPixel;
      }
    }
    const std::int32_t end = is_pair ? row + 2 : row + 1;
    for (; row < end; ++row) ConvertEnd<kLayout>(frame, row, x);
  }
}

void ConvertNv12(const HostComputation& frame, std::int32_t top, std::int32_t bottom) {
  Convert<VideoLayout::kNv12>(frame, top, bottom);
}
void ConvertPlanar(const HostComputation& frame, std::int32_t top, std::int32_t bottom) {
  Convert<VideoLayout::kPlanar>(frame, top, bottom);
}
void ConvertYuy2(const HostComputation& frame, std::int32_t top, std::int32_t bottom) {
  Convert<VideoLayout::kYuy2>(frame, top, bottom);
}

}  // namespace HWY_NAMESPACE
}  // namespace Vantra::Render::Simd
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantra::Render::Simd {

HWY_EXPORT(ConvertNv12);
HWY_EXPORT(ConvertPlanar);
HWY_EXPORT(ConvertYuy2);

namespace {

// Whether the first plane has all of a picture, and the others what belongs to its whole pairs in
// the rows that they have.
bool Accepts(const HostComputation& frame, VideoLayout layout) {
  const auto pair_bytes = PairBytes(layout);
  const auto width = static_cast<std::size_t>(frame.width);
  if (frame.planes[0].rows < frame.height ||
      frame.planes[0].row_bytes < width * pair_bytes[0] / 2) {
    return false;
  }
  for (std::size_t i = 1; i < kRegisterCount; ++i) {
    const HostPlane& plane = frame.planes[i];
    if (plane.rows > 0 && plane.row_bytes < width / 2 * pair_bytes[i]) return false;
  }
  return true;
}

}  // namespace

void RunNv12(const HostComputation& frame, std::int32_t top, std::int32_t bottom) {
  HWY_DYNAMIC_DISPATCH(ConvertNv12)(frame, top, bottom);
}
bool AcceptsNv12(const HostComputation& frame) { return Accepts(frame, VideoLayout::kNv12); }

void RunPlanar(const HostComputation& frame, std::int32_t top, std::int32_t bottom) {
  HWY_DYNAMIC_DISPATCH(ConvertPlanar)(frame, top, bottom);
}
bool AcceptsPlanar(const HostComputation& frame) { return Accepts(frame, VideoLayout::kPlanar); }

void RunYuy2(const HostComputation& frame, std::int32_t top, std::int32_t bottom) {
  HWY_DYNAMIC_DISPATCH(ConvertYuy2)(frame, top, bottom);
}
bool AcceptsYuy2(const HostComputation& frame) { return Accepts(frame, VideoLayout::kYuy2); }

}  // namespace Vantra::Render::Simd
#endif
