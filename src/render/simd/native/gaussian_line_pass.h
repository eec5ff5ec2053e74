#pragma once

// What a pass of a Gaussian blur along lines tells its kernel, apart from the vectors in use.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>

#include "render/running_sums.h"
#include "render/simd/kernel.h"
#include "render/simd/native/line_of_pixels.h"
#include "render/simd/native/sliding_cosines.h"
#include "render/simd/native/thread_memory.h"

namespace Vantra::Render::Simd {

// Of `gaussian_line.frag`.
struct GaussianLineConstants {
  std::int32_t left, top, right, bottom;
  std::int32_t edge_modes[2];
  std::int32_t axis_x, axis_y;
  std::int32_t reach;
  float centre;
  float falloff;
};

// What is the same for all of a pass.
struct GaussianLinePass {
  static constexpr std::int32_t kTransparent = 0, kMirror = 1;

  explicit GaussianLinePass(const PixelArguments& arguments) {
    std::memcpy(&constants, arguments.constants, sizeof(constants));
    in_columns = constants.axis_y != 0;
    edge_mode = constants.edge_modes[in_columns ? 1 : 0];
    const Span columns = {constants.left, constants.right},
               rows = {constants.top, constants.bottom};
    image = in_columns ? rows : columns;
    across = in_columns ? columns : rows;
    const TextureView& texture = arguments.textures[0];
    held = Common(image, {0, in_columns ? texture.height : texture.width});
    held_across = Common(across, {0, in_columns ? texture.width : texture.height});
    offset_x = static_cast<std::int32_t>(arguments.origin_x);
    offset_y = static_cast<std::int32_t>(arguments.origin_y);
    swaps = (texture.format == Format::kBgra8) != (arguments.target.format == Format::kBgra8);
  }

  // Where the sums of a place begin.
  std::int32_t Anchor(std::int32_t place) const {
    return RunningSumStart(place, image.first, edge_mode == kMirror, constants.reach);
  }

  // Cuts places where sums begin anew.
  Span FirstPiece(const Span& places) const {
    return {places.first,
            std::min(places.end, Anchor(places.first) + RunningSumPeriod(constants.reach))};
  }
  Span NextPiece(const Span& piece, const Span& places) const {
    return {piece.end, std::min(places.end, piece.end + RunningSumPeriod(constants.reach))};
  }

  // The held places that are read for those up to `end`.
  Span PlacesRead(std::int32_t anchor, std::int32_t end) const {
    Span read = {anchor - constants.reach, end + constants.reach};
    if (edge_mode == kMirror) {
      // What lies beyond an edge is seen before it; in a short image, any place may be.
      const std::int32_t before = std::max(0, image.first - read.first);
      const std::int32_t behind = std::max(0, read.end - image.end);
      if (std::max(before, behind) > image.Count()) return held;
      if (before > 0) read.end = std::max(read.end, image.first + before);
      if (behind > 0) read.first = std::min(read.first, image.end - behind);
    }
    return Common(read, held);
  }

  // Without memory.
  LineOfPixels Line() const {
    alignas(64) static constexpr std::byte kNothing[128] = {};
    return {nullptr, 0, held, image, edge_mode == kMirror, kNothing};
  }

  GaussianLineConstants constants;
  bool in_columns;
  std::int32_t edge_mode;
  // Along the line, and of the lines; in texels.
  Span image, across;
  Span held, held_across;
  // Texel = pixel of the target + offset.
  std::int32_t offset_x, offset_y;
  // Red and blue are stored in another order than they are read in.
  bool swaps;
};

// Up to here, multiplying each pixel by each weight is faster than sliding windows.
constexpr std::int32_t kShortReach = 6;

struct GaussianLineMemory {
  // With the weights of these constants.
  static GaussianLineMemory& OfThread(const GaussianLineConstants& constants) {
    thread_local GaussianLineMemory memory;
    if (!memory.weights || memory.weights->reach != constants.reach ||
        memory.centre != constants.centre || memory.falloff != constants.falloff) {
      memory.weights = std::make_unique<const SlidingCosines>(constants.reach, constants.centre,
                                                              constants.falloff);
      for (std::int32_t n = 0; n <= kShortReach; ++n) {
        memory.short_weights[static_cast<std::size_t>(n)] =
            constants.centre * std::exp2(constants.falloff * static_cast<float>(n * n));
      }
      memory.centre = constants.centre;
      memory.falloff = constants.falloff;
    }
    return memory;
  }

  std::unique_ptr<const SlidingCosines> weights;
  // By the distance.
  std::array<float, kShortReach + 1> short_weights;
  float centre = 0;
  float falloff = 0;
  ThreadMemory pixels;
  ThreadMemory results;
};

// Rows that are laid out side by side.
constexpr std::int32_t kRowsAtATime = 8;

}  // namespace Vantra::Render::Simd
