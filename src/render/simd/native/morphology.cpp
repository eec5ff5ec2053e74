// The extremum of windows along rows or columns, at a cost that hardly depends on their width.

#include <algorithm>
#include <cstring>
#include <new>

#include "render/simd/native/line_of_pixels.h"
#include "render/simd/native/native_kernels.h"
#include "render/simd/targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "render/simd/native/morphology.cpp"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"
#include "render/simd/native/thread_memory.h"

#ifndef VANTRIX_MORPHOLOGY_ONCE
#define VANTRIX_MORPHOLOGY_ONCE
namespace Vantra::Render::Simd {

// Of `morphology.frag`.
struct MorphologyConstants {
  std::int32_t left, top, right, bottom;
  std::int32_t axis_x, axis_y;
  std::int32_t first, stride, last, count;
  std::uint32_t dilates;
};

struct MorphologyPass {
  explicit MorphologyPass(const PixelArguments& arguments)
      : offset_x(static_cast<std::int32_t>(arguments.origin_x)),
        offset_y(static_cast<std::int32_t>(arguments.origin_y)),
        swaps(arguments.textures[0].format != arguments.target.format) {
    std::memcpy(&constants, arguments.constants, sizeof(constants));
  }

  MorphologyConstants constants;
  // Texel = pixel of the target + offset.
  std::int32_t offset_x, offset_y;
  // Red and blue are stored in another order than they are read in.
  bool swaps;
};

inline ThreadMemory& MorphologyMemory() {
  thread_local ThreadMemory memory;
  return memory;
}

}  // namespace Vantra::Render::Simd
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using Bytes = hn::ScalableTag<std::uint8_t>;
constexpr std::size_t kVectorBytes = hn::MaxLanes(Bytes());

HWY_INLINE hn::Vec<Bytes> LoadBytes(const std::byte* from) {
  return hn::LoadU(Bytes(), reinterpret_cast<const std::uint8_t*>(from));
}
HWY_INLINE void StoreBytes(hn::Vec<Bytes> bytes, std::byte* to) {
  hn::StoreU(bytes, Bytes(), reinterpret_cast<std::uint8_t*>(to));
}
// Only the first `count` of a vector's.
HWY_INLINE void StoreBytes(hn::Vec<Bytes> bytes, std::size_t count, std::byte* to) {
  if (count >= kVectorBytes) return StoreBytes(bytes, to);
  alignas(64) std::byte all[kVectorBytes];
  StoreBytes(bytes, all);
  std::memcpy(to, all, count);
}

// Exchanges red and blue of each pixel where that is wanted.
class Order {
 public:
  HWY_INLINE explicit Order(bool swaps) {
    alignas(16) static constexpr std::uint8_t kKept[16] = {0, 1, 2,  3,  4,  5,  6,  7,
                                                           8, 9, 10, 11, 12, 13, 14, 15};
    alignas(16) static constexpr std::uint8_t kSwapped[16] = {2,  1, 0, 3,  6,  5,  4,  7,
                                                              10, 9, 8, 11, 14, 13, 12, 15};
    places_ = hn::LoadDup128(Bytes(), swaps ? kSwapped : kKept);
  }
  HWY_INLINE hn::Vec<Bytes> operator()(hn::Vec<Bytes> pixels) const {
    return hn::TableLookupBytes(pixels, places_);
  }

 private:
  hn::Vec<Bytes> places_;
};

struct Smaller {
  HWY_INLINE hn::Vec<Bytes> operator()(hn::Vec<Bytes> a, hn::Vec<Bytes> b) const {
    return hn::Min(a, b);
  }
};
struct Larger {
  HWY_INLINE hn::Vec<Bytes> operator()(hn::Vec<Bytes> a, hn::Vec<Bytes> b) const {
    return hn::Max(a, b);
  }
};

// Each step doubles the windows, in which the next finds its halves. An extremum does not mind
// that the last two overlap.
template <class Extremum>
void RunRows(const PixelArguments& arguments, const MorphologyPass& pass, std::int32_t top,
             std::int32_t bottom) {
  const Extremum extremum;
  const Order order(pass.swaps);
  const MorphologyConstants& constants = pass.constants;
  const TextureView& texture = arguments.textures[0];
  const std::int32_t width = arguments.right - arguments.left;
  const std::size_t window = static_cast<std::size_t>(constants.count) * kBytesPerPixel;
  const std::size_t result_bytes = static_cast<std::size_t>(width) * kBytesPerPixel;
  // Vectors may reach beyond the end.
  std::byte* const row = MorphologyMemory().Take(result_bytes + window + 2 * kVectorBytes);
  // What is read, and which of that is found in the image. The pixels at its ends stand for others.
  const std::int32_t begin = arguments.left + pass.offset_x + constants.first;
  const std::int32_t count = width + constants.count - 1;
  const std::int32_t before = std::clamp(constants.left - begin, 0, count - 1);
  const std::int32_t behind = std::clamp(begin + count - constants.right, 0, count - 1 - before);
  const auto bytes = [](std::int32_t pixels) {
    return static_cast<std::size_t>(pixels) * kBytesPerPixel;
  };
  for (std::int32_t y = top; y < bottom; ++y) {
    const std::byte* const from = texture.data + (y + pass.offset_y) * texture.pitch;
    const std::int32_t first = std::clamp(begin, constants.left, constants.right - 1);
    std::memcpy(row + bytes(before), from + bytes(first), bytes(count - before - behind));
    for (std::int32_t x = 0; x < before; ++x) {
      std::memcpy(row + bytes(x), from + bytes(first), kBytesPerPixel);
    }
    for (std::int32_t x = count - behind; x < count; ++x) {
      std::memcpy(row + bytes(x), from + bytes(constants.right - 1), kBytesPerPixel);
    }
    std::size_t seen = kBytesPerPixel;
    for (; 2 * seen <= window; seen *= 2) {
      for (std::size_t i = 0; i < result_bytes + window - seen; i += kVectorBytes) {
        StoreBytes(extremum(LoadBytes(row + i), LoadBytes(row + i + seen)), row + i);
      }
    }
    std::byte* const to =
        arguments.target.data + y * arguments.target.pitch + bytes(arguments.left);
    for (std::size_t i = 0; i < result_bytes; i += kVectorBytes) {
      StoreBytes(order(extremum(LoadBytes(row + i), LoadBytes(row + i + window - seen))),
                 result_bytes - i, to + i);
    }
  }
}

// As many results as a window has pixels lie across the border of two such blocks of pixels: each
// is the extremum of the end of one and the beginning of the other.
template <class Extremum>
void RunColumns(const PixelArguments& arguments, const MorphologyPass& pass, std::int32_t top,
                std::int32_t bottom) {
  const Extremum extremum;
  const Order order(pass.swaps);
  const MorphologyConstants& constants = pass.constants;
  const TextureView& texture = arguments.textures[0];
  const TargetView& target = arguments.target;
  const std::int32_t window = constants.count;
  // A cache line or more of each row.
  constexpr std::size_t kVectors = 4;
  constexpr std::size_t kStripBytes = kVectors * kVectorBytes;
  std::byte* const ends = MorphologyMemory().Take(static_cast<std::size_t>(window) * kStripBytes);
  const std::size_t left = static_cast<std::size_t>(arguments.left) * kBytesPerPixel;
  const std::size_t right = static_cast<std::size_t>(arguments.right) * kBytesPerPixel;
  const std::ptrdiff_t offset = std::ptrdiff_t{pass.offset_x} * kBytesPerPixel;
  for (std::size_t strip = left; strip < right; strip += kStripBytes) {
    const std::size_t strip_end = std::min(right, strip + kStripBytes);
    for (std::int32_t block = top; block < bottom; block += window) {
      const std::int32_t first = block + pass.offset_y + constants.first;
      const auto row = [&](std::int32_t place) HWY_ATTR {
        return texture.data + offset +
               std::clamp(place, constants.top, constants.bottom - 1) * texture.pitch;
      };
      for (std::size_t i = strip; i < strip_end; i += kVectorBytes) {
        std::byte* end = ends + static_cast<std::size_t>(window - 1) * kVectorBytes;
        auto sum = LoadBytes(row(first + window - 1) + i);
        StoreBytes(sum, end);
        for (std::int32_t k = window - 2; k >= 0; --k) {
          sum = extremum(sum, LoadBytes(row(first + k) + i));
          end -= kVectorBytes;
          StoreBytes(sum, end);
        }
        const std::int32_t results = std::min(window, bottom - block);
        std::byte* to = target.data + block * target.pitch + i;
        StoreBytes(order(sum), right - i, to);
        if (results == 1) continue;
        sum = LoadBytes(row(first + window) + i);
        for (std::int32_t k = 1;; ++k) {
          end += kVectorBytes;
          to += target.pitch;
          StoreBytes(order(extremum(LoadBytes(end), sum)), right - i, to);
          if (k + 1 == results) break;
          sum = extremum(sum, LoadBytes(row(first + window + k) + i));
        }
      }
    }
  }
}

bool Morphology(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  const MorphologyPass pass(arguments);
  const auto run = pass.constants.axis_y != 0
                       ? (pass.constants.dilates != 0 ? RunColumns<Larger> : RunColumns<Smaller>)
                       : (pass.constants.dilates != 0 ? RunRows<Larger> : RunRows<Smaller>);
  try {
    run(arguments, pass, top, bottom);
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

HWY_EXPORT(Morphology);

bool RunMorphology(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  return HWY_DYNAMIC_DISPATCH(Morphology)(arguments, top, bottom);
}

bool AcceptsMorphology(const PixelArguments& arguments, Bands* bands) {
  const auto is_known = [](Format format) {
    return format == Format::kBgra8 || format == Format::kRgba8;
  };
  const TextureView& texture = arguments.textures[0];
  if (!texture.data || !is_known(texture.format) || !is_known(arguments.target.format) ||
      arguments.blend != Blend::kReplace || !IsWholeOffset(arguments)) {
    return false;
  }
  const MorphologyPass pass(arguments);
  const MorphologyConstants& constants = pass.constants;
  constexpr std::int32_t kWidestWindow = 1 << 12;
  if (!IsAxis(constants.axis_x, constants.axis_y) || constants.stride != 1 || constants.count < 1 ||
      constants.count > kWidestWindow || IsFar(constants.first) || IsFar(constants.last) ||
      constants.last - constants.first != constants.count - 1 || constants.left < 0 ||
      constants.top < 0 || constants.right > texture.width || constants.bottom > texture.height) {
    return false;
  }
  const bool in_columns = constants.axis_y != 0;
  *bands = in_columns ? Bands::kColumns : Bands::kRows;
  return in_columns ? arguments.left + pass.offset_x >= constants.left &&
                          arguments.right + pass.offset_x <= constants.right &&
                          constants.top < constants.bottom
                    : arguments.top + pass.offset_y >= constants.top &&
                          arguments.bottom + pass.offset_y <= constants.bottom &&
                          constants.left < constants.right;
}

}  // namespace Vantra::Render::Simd
#endif
