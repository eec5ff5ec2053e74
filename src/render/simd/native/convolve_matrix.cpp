// A convolution with any matrix, of elements that lie on texels.
//
// The program turns a texel into numbers anew for each element that reads it. Here a part of a row
// is turned once, into a plane for each channel, and the rows that the matrix covers are kept. What
// is computed of these numbers is what the program computes, in its order, so that the results are
// the same bits.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "render/simd/native/line_of_pixels.h"
#include "render/simd/native/native_kernels.h"
#include "render/simd/targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "render/simd/native/convolve_matrix.cpp"
#include "hwy/cache_control.h"
#include "hwy/foreach_target.h"
#include "render/simd/native/thread_memory.h"
#include "render/simd/store-inl.h"

#ifndef VANTRIX_CONVOLVE_MATRIX_ONCE
#define VANTRIX_CONVOLVE_MATRIX_ONCE
namespace Vantra::Render::Simd {

// Of `convolve_matrix.glsl`.
struct ConvolveMatrixConstants {
  static constexpr std::int32_t kMostElements = 1000;

  std::int32_t extent[4];
  std::int32_t edge_modes[2];
  std::int32_t columns, rows;
  float first_x, first_y;
  float unit_x, unit_y;
  float divisor;
  float bias;
  std::int32_t reading;
  std::uint32_t preserves_alpha;
  std::uint32_t clamps;
  float elements[kMostElements];
};

// Where the first element lies from the pixel. False unless each next one is a texel further.
inline bool FindFirst(float first, float unit, std::int32_t count, std::int32_t* offset) {
  constexpr float kFarthest = 1 << 20;
  if (!(std::abs(first) < kFarthest) || unit != 1) return false;
  *offset = static_cast<std::int32_t>(std::floor(first + 0.5f));
  for (std::int32_t i = 0; i < count; ++i) {
    // As the program rounds it.
    const float place = first + static_cast<float>(i);
    if (std::floor(place + 0.5f) != static_cast<float>(*offset + i)) return false;
  }
  return true;
}

// What is the same for all of a pass.
struct ConvolveMatrixPass {
  explicit ConvolveMatrixPass(const PixelArguments& arguments) {
    std::memcpy(&constants, arguments.constants, sizeof(constants));
    offset_x = static_cast<std::int32_t>(arguments.origin_x);
    offset_y = static_cast<std::int32_t>(arguments.origin_y);
    is_known = constants.columns > 0 && constants.rows > 0 &&
               constants.columns <= ConvolveMatrixConstants::kMostElements / constants.rows &&
               FindFirst(constants.first_x, constants.unit_x, constants.columns, &first_x) &&
               FindFirst(constants.first_y, constants.unit_y, constants.rows, &first_y);
  }

  ConvolveMatrixConstants constants;
  // From the target to the texture.
  std::int32_t offset_x = 0, offset_y = 0;
  // From a pixel to the first element.
  std::int32_t first_x = 0, first_y = 0;
  bool is_known = false;
};

}  // namespace Vantra::Render::Simd
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd {
namespace HWY_NAMESPACE {

// As many columns as keep the rows of a small matrix near: three of it take 36 kB.
constexpr std::int32_t kColumnsAtATime = 512;
static_assert(kColumnsAtATime % (2 * kLanes) == 0);

// An element that is not 0.
struct Element {
  // The row's place among those of the matrix, and the column.
  std::uint32_t row;
  std::uint32_t column;
  float weight;
};

// A texel as the matrix sees it.
HWY_INLINE Color Seen(const Color& texel, bool preserves_alpha) {
  if (!preserves_alpha) return texel;
  const F zero = Broadcast(0.0f);
  const F straightening = Select(Greater(texel.a, zero), Div(Broadcast(1.0f), texel.a), zero);
  return {Mul(texel.r, straightening), Mul(texel.g, straightening), Mul(texel.b, straightening),
          texel.a};
}

HWY_INLINE Color LoadColor(Format format, const std::byte* pixels) {
  const U words = Load(reinterpret_cast<const std::uint32_t*>(pixels));
  return FromBytes(format == Format::kBgra8 ? BytesOf<true>(words) : BytesOf<false>(words));
}

struct Planes {
  // Numbers in a plane, and in the four planes of a row.
  std::size_t plane;
  std::size_t row;
  float* data;
};

// Turns `count` texels, and up to a vector beyond them, into numbers.
HWY_INLINE void FillRow(Format format, const std::byte* texels, std::size_t pitch,
                        std::int32_t count, bool preserves_alpha, const Planes& planes, float* to) {
  for (std::int32_t x = 0; x < count; x += kLanes) {
    const std::byte* const at = texels + 4 * std::ptrdiff_t{x};
    // The next row, which the processor does not foresee. Behind the last there may be nothing, so
    // the place is a number; to fetch from there does no harm.
    hwy::Prefetch(reinterpret_cast<const std::byte*>(reinterpret_cast<std::uintptr_t>(at) + pitch));
    const Color color = Seen(LoadColor(format, at), preserves_alpha);
    Store(color.r, to + x);
    Store(color.g, to + x + planes.plane);
    Store(color.b, to + x + 2 * planes.plane);
    Store(color.a, to + x + 3 * planes.plane);
  }
}

// The sums of two vectors of pixels. Two share the way through the elements.
struct Sums {
  Color first;
  Color second;
};

HWY_INLINE Sums SumUp(const Element* elements, std::size_t count, const float* const* rows,
                      std::size_t plane, std::int32_t x) {
  const F zero = Broadcast(0.0f);
  F r0 = zero, g0 = zero, b0 = zero, a0 = zero;
  F r1 = zero, g1 = zero, b1 = zero, a1 = zero;
  for (std::size_t i = 0; i < count; ++i) {
    const Element& element = elements[i];
    const F weight = Broadcast(element.weight);
    const float* const at = rows[element.row] + element.column + x;
    r0 = MulAdd(weight, Load(at), r0);
    g0 = MulAdd(weight, Load(at + plane), g0);
    b0 = MulAdd(weight, Load(at + 2 * plane), b0);
    a0 = MulAdd(weight, Load(at + 3 * plane), a0);
    r1 = MulAdd(weight, Load(at + kLanes), r1);
    g1 = MulAdd(weight, Load(at + plane + kLanes), g1);
    b1 = MulAdd(weight, Load(at + 2 * plane + kLanes), b1);
    a1 = MulAdd(weight, Load(at + 3 * plane + kLanes), a1);
  }
  return {{r0, g0, b0, a0}, {r1, g1, b1, a1}};
}

#if HWY_TARGET == HWY_AVX3
// The same for a matrix of `kLanes` columns at most. What its elements read of a row lies within
// three vectors, which are loaded once, from whole cache lines, and shifted in registers.
HWY_INLINE Sums SumUpNarrow(const Element* elements, std::size_t count, const float* const* rows,
                            std::size_t plane, std::int32_t x) {
  struct Vectors {
    HWY_INLINE explicit Vectors(const float* at)
        : a(Load(at)), b(Load(at + kLanes)), c(Load(at + 2 * kLanes)) {}
    F a, b, c;
  };
  const F zero = Broadcast(0.0f);
  F r0 = zero, g0 = zero, b0 = zero, a0 = zero;
  F r1 = zero, g1 = zero, b1 = zero, a1 = zero;
  for (std::size_t i = 0; i < count;) {
    const std::uint32_t row = elements[i].row;
    const float* const at = rows[row] + x;
    const Vectors r(at), g(at + plane), b(at + 2 * plane), a(at + 3 * plane);
    for (; i < count && elements[i].row == row; ++i) {
      const F weight = Broadcast(elements[i].weight);
      const I lanes = Iota(static_cast<std::int32_t>(elements[i].column));
      const auto add = [&](const F& first, const F& second, F* sum) HWY_ATTR {
        const F read = {{_mm512_permutex2var_ps(first.raw.raw, lanes.raw.raw, second.raw.raw)}};
        *sum = MulAdd(weight, read, *sum);
      };
      add(r.a, r.b, &r0);
      add(g.a, g.b, &g0);
      add(b.a, b.b, &b0);
      add(a.a, a.b, &a0);
      add(r.b, r.c, &r1);
      add(g.b, g.c, &g1);
      add(b.b, b.c, &b1);
      add(a.b, a.c, &a1);
    }
  }
  return {{r0, g0, b0, a0}, {r1, g1, b1, a1}};
}
#endif

HWY_INLINE void StoreSum(const PixelArguments& arguments, const ConvolveMatrixPass& pass,
                         const Color& sum, std::int32_t x, std::int32_t y) {
  const std::int32_t count = Min(arguments.right - x, kLanes);
  if (count <= 0) return;
  const ConvolveMatrixConstants& constants = pass.constants;
  const F scale = Broadcast(1.0f / constants.divisor), bias = Broadcast(constants.bias);
  Color result = EachChannel([&](F channel) HWY_ATTR { return MulAdd(channel, scale, bias); }, sum);
  if (constants.preserves_alpha != 0) {
    if (constants.clamps != 0) {
      result = EachChannel(
          [](F channel) HWY_ATTR { return Min(Max(channel, Broadcast(0.0f)), Broadcast(1.0f)); },
          result);
    }
    const TextureView& texture = arguments.textures[0];
    const std::byte* const own = texture.data + (y + pass.offset_y) * texture.pitch +
                                 4 * static_cast<std::size_t>(x + pass.offset_x);
    const F alpha = LoadColor(texture.format, own).a;
    result = {Mul(result.r, alpha), Mul(result.g, alpha), Mul(result.b, alpha), alpha};
  }
  ResultRow(arguments, y).Store(x, count, result);
}

void ConvolveColumns(const PixelArguments& arguments, const ConvolveMatrixPass& pass,
                     const Span& columns, std::int32_t top, std::int32_t bottom,
                     const std::vector<Element>& elements, const Planes& planes,
                     std::vector<const float*>& rows) {
  const TextureView& texture = arguments.textures[0];
  const ConvolveMatrixConstants& constants = pass.constants;
  const std::int32_t first_row = pass.offset_y + pass.first_y;
  const auto texels = [&](std::int32_t row) {
    return texture.data + row * texture.pitch +
           4 * static_cast<std::size_t>(columns.first + pass.offset_x + pass.first_x);
  };
  const auto row_at = [&](std::int32_t row) {
    return planes.data + static_cast<std::size_t>(row % (constants.rows + 1)) * planes.row;
  };
  const std::int32_t last = bottom - 1 + first_row + constants.rows;
  std::int32_t filled = top + first_row;
  for (std::int32_t y = top; y < bottom; ++y) {
    // The next row, too: what was stored just now is slow to load.
    for (; filled < std::min(last, y + first_row + constants.rows + 1); ++filled) {
      FillRow(texture.format, texels(filled), texture.pitch,
              columns.Count() + constants.columns - 1, constants.preserves_alpha != 0, planes,
              row_at(filled));
    }
    for (std::int32_t row = 0; row < constants.rows; ++row) {
      rows[static_cast<std::size_t>(row)] = row_at(y + first_row + row);
    }
    for (std::int32_t x = 0; x < columns.Count(); x += 2 * kLanes) {
      const auto sum_up = [&](auto function) HWY_ATTR {
        return function(elements.data(), elements.size(), rows.data(), planes.plane, x);
      };
#if HWY_TARGET == HWY_AVX3
      const Sums sums = constants.columns <= kLanes ? sum_up(SumUpNarrow) : sum_up(SumUp);
#else
      const Sums sums = sum_up(SumUp);
#endif
      StoreSum(arguments, pass, sums.first, columns.first + x, y);
      StoreSum(arguments, pass, sums.second, columns.first + x + kLanes, y);
    }
  }
}

bool ConvolveMatrix(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  const ConvolveMatrixPass pass(arguments);
  const ConvolveMatrixConstants& constants = pass.constants;
  thread_local ThreadMemory memory;
  thread_local std::vector<Element> elements;
  thread_local std::vector<const float*> rows;
  try {
    elements.clear();
    for (std::int32_t i = 0; i < constants.columns * constants.rows; ++i) {
      if (constants.elements[i] == 0) continue;
      elements.push_back({static_cast<std::uint32_t>(i / constants.columns),
                          static_cast<std::uint32_t>(i % constants.columns),
                          constants.elements[i]});
    }
    rows.resize(static_cast<std::size_t>(constants.rows));
    // More than is read, since rows are filled vector by vector.
    const std::int32_t vectors = (constants.columns + kLanes - 1) / kLanes + 2;
    const auto plane = static_cast<std::size_t>(kColumnsAtATime + vectors * kLanes);
    const std::size_t count = 4 * plane * static_cast<std::size_t>(constants.rows + 1);
    const Planes planes = {plane, 4 * plane,
                           reinterpret_cast<float*>(memory.Take(count * sizeof(float)))};
    std::int32_t x = arguments.left;
    while (x < arguments.right) {
      // A few columns first, so that all others are stored at whole cache lines.
      const std::int32_t most = x % kLanes == 0 ? kColumnsAtATime : kLanes - x % kLanes;
      const Span columns = {x, std::min(arguments.right, x + most)};
      ConvolveColumns(arguments, pass, columns, top, bottom, elements, planes, rows);
      x = columns.end;
    }
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

HWY_EXPORT(ConvolveMatrix);

bool RunConvolveMatrix(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  return HWY_DYNAMIC_DISPATCH(ConvolveMatrix)(arguments, top, bottom);
}

bool AcceptsConvolveMatrix(const PixelArguments& arguments, Bands* bands) {
  const TextureView& texture = arguments.textures[0];
  if (!texture.data || (texture.format != Format::kBgra8 && texture.format != Format::kRgba8) ||
      !IsWholeOffset(arguments)) {
    return false;
  }
  const ConvolveMatrixPass pass(arguments);
  if (!pass.is_known) return false;
  *bands = Bands::kRows;
  // What is read beyond the texture is left to the program.
  const Span columns = {arguments.left + pass.offset_x, arguments.right + pass.offset_x};
  const Span rows = {arguments.top + pass.offset_y, arguments.bottom + pass.offset_y};
  const auto around = [](const Span& pixels, std::int32_t first, std::int32_t count) {
    return Span{pixels.first + first, pixels.end + first + count - 1};
  };
  const Span held_columns = {0, texture.width}, held_rows = {0, texture.height};
  return held_columns.Holds(columns) && held_rows.Holds(rows) &&
         held_columns.Holds(around(columns, pass.first_x, pass.constants.columns)) &&
         held_rows.Holds(around(rows, pass.first_y, pass.constants.rows));
}

}  // namespace Vantra::Render::Simd
#endif
