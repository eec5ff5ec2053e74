// Constants, local arrays and the output of compute programs.

#if defined(VANTRIX_RENDER_SIMD_MEMORY_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VANTRIX_RENDER_SIMD_MEMORY_INL_H_
#undef VANTRIX_RENDER_SIMD_MEMORY_INL_H_
#else
#define VANTRIX_RENDER_SIMD_MEMORY_INL_H_
#endif

#include <cstring>

#include "render/simd/integers-inl.h"
#include "render/simd/kernel.h"
#include "render/simd/tape.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {

constexpr std::uint32_t kLastConstant = kMaximumConstantBytes - 4;

HWY_INLINE std::uint32_t LoadUint(const std::byte* constants, std::uint32_t byte_offset) {
  std::uint32_t value = 0;
  if (byte_offset <= kLastConstant) std::memcpy(&value, constants + byte_offset, sizeof(value));
  return value;
}
HWY_INLINE std::int32_t LoadInt(const std::byte* constants, std::uint32_t byte_offset) {
  return BitsToInt(LoadUint(constants, byte_offset));
}
HWY_INLINE float LoadFloat(const std::byte* constants, std::uint32_t byte_offset) {
  return BitsToFloat(LoadUint(constants, byte_offset));
}
HWY_INLINE bool LoadBool(const std::byte* constants, std::uint32_t byte_offset) {
  return LoadUint(constants, byte_offset) != 0;
}

// Offsets are multiples of 4.
HWY_INLINE U LoadUint(const std::byte* constants, U byte_offset) {
  const U last = Broadcast(kLastConstant);
  const I offset = BitsToInt(Min(byte_offset, last));
  const U value = {hn::GatherOffset(Tag<std::uint32_t>(),
                                    reinterpret_cast<const std::uint32_t*>(constants), offset.raw)};
  return Select(Greater(byte_offset, last), Broadcast(0u), value);
}
HWY_INLINE I LoadInt(const std::byte* constants, U byte_offset) {
  return BitsToInt(LoadUint(constants, byte_offset));
}
HWY_INLINE F LoadFloat(const std::byte* constants, U byte_offset) {
  return BitsToFloat(LoadUint(constants, byte_offset));
}
HWY_INLINE M LoadBool(const std::byte* constants, U byte_offset) {
  return NotEqual(LoadUint(constants, byte_offset), Broadcast(0u));
}

// An array of a program, with elements of its own for each lane. Reading beyond it gives some
// element, and what is written there is lost.
template <class V, std::uint32_t kSize>
struct LocalArray {
  using Lane = typename V::Lane;

  V Load(std::uint32_t index) const { return At(Min(index, kSize - 1)); }
  V Load(U index) const {
    const I element = BitsToInt(Min(index, Broadcast(kSize - 1)));
    const I lane = Add(Mul(element, Broadcast(kLanes)), Iota(0));
    return {hn::GatherIndex(Tag<Lane>(), lanes, lane.raw)};
  }

  void Store(std::uint32_t index, V value, M mask) {
    if (index < kSize) Put(index, Select(mask, value, At(index)));
  }
  void Store(U index, V value, M mask) {
    mask = And(mask, Less(index, Broadcast(kSize)));
    HWY_ALIGN std::uint32_t indices[kLanes];
    HWY_ALIGN std::uint32_t masks[kLanes];
    HWY_ALIGN Lane values[kLanes];
    HWY_NAMESPACE::Store(index, indices);
    HWY_NAMESPACE::Store(Select(mask, Broadcast(1u), Broadcast(0u)), masks);
    HWY_NAMESPACE::Store(value, values);
    for (std::int32_t i = 0; i < kLanes; ++i) {
      if (masks[i] != 0) lanes[indices[i] * kLanes + static_cast<std::uint32_t>(i)] = values[i];
    }
  }

  alignas(64) Lane lanes[kSize * kLanes] = {};

 private:
  V At(std::uint32_t index) const { return HWY_NAMESPACE::Load(lanes + index * kLanes); }
  void Put(std::uint32_t index, V value) { HWY_NAMESPACE::Store(value, lanes + index * kLanes); }
};

// Writes words of a compute program's output. What lies beyond it is lost.
HWY_INLINE void WriteWords(const ComputeArguments& arguments, U index, U value, M mask) {
  const std::uint32_t first = FirstLane(index);
  const U row = BitsToUint(Iota(BitsToInt(first)));
  if (HWY_LIKELY(arguments.output_words >= kLanes && first <= arguments.output_words - kLanes &&
                 All(And(mask, Equal(index, row))))) {
    Store(value, arguments.output + first);
    return;
  }
  mask = And(mask, Less(index, Broadcast(arguments.output_words)));
  HWY_ALIGN std::uint32_t indices[kLanes];
  HWY_ALIGN std::uint32_t values[kLanes];
  HWY_ALIGN std::uint32_t masks[kLanes];
  Store(index, indices);
  Store(value, values);
  Store(Select(mask, Broadcast(1u), Broadcast(0u)), masks);
  for (std::int32_t i = 0; i < kLanes; ++i) {
    if (masks[i] != 0) arguments.output[indices[i]] = values[i];
  }
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VANTRIX_RENDER_SIMD_MEMORY_INL_H_
