#pragma once

// What the libraries beside ours are asked to do: the same work on the same picture.

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "bench/peers/team.h"

namespace Vantra::Bench {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kStride = kWidth * 4;
constexpr std::size_t kFrameBytes = std::size_t{kStride} * kHeight;

using Bytes = std::vector<unsigned char>;

enum class Task {
  kPosterize,    // `kSteps`
  kColorMatrix,  // `kSaturation`
  kBlur8,
  kBlur64,
  kErode64,
  kConvolve3,  // `kSharpen`
  kNv12,
  kPlanar,
  kYuy2,
  kAyuv,
  kGrey,
  kPerspective,  // the picture's corners go to `kCorners`
};

constexpr float kSteps = 4;

constexpr int kSaturation = 40;
// What it multiplies blue, green and red by to make each of them.
struct ColorMatrix {
  double rows[3][3];
};
ColorMatrix SaturationMatrix();

constexpr int kSharpenIndex = 3;
constexpr float kSharpen[9] = {0, -0.5f, 0, -0.5f, 3, -0.5f, 0, -0.5f, 0};

struct Corner {
  float x;
  float y;
};
// Top left, top right, bottom left, bottom right.
constexpr Corner kCorners[4] = {{96, 108}, {1824, 32}, {20, 1060}, {1880, 960}};

/// What all sides work on: gradients under noise, opaque, and the same as video frames.
struct Scene {
  Bytes picture;  // blue, green, red, alpha
  Bytes nv12;
  Bytes planar;
  Bytes yuy2;
  Team* team;
};
Scene MakeScene(Team* team);

/// One library's way to do a task.
struct Run {
  /// Does it once, into memory that was made before.
  std::function<void()> work;
  /// What came out, as rows of blue, green, red, alpha bytes without padding; empty where it has
  /// another layout.
  std::function<const unsigned char*()> pixels;
};

struct Peer {
  Task task;
  std::string name;
  /// Our time may be this many times the peer's.
  double limit;
  std::function<Run(const Scene&)> make;
};

/// The rows of one part of the frame, an even number of them but for the last part.
struct Rows {
  int first;
  int count;
};
Rows RowsOf(const Team& team, unsigned part);

/// Memory of a frame that lives as long as the work that writes it.
inline std::shared_ptr<Bytes> NewFrame() { return std::make_shared<Bytes>(kFrameBytes); }
/// For the frame as `Run::pixels`.
inline auto PixelsOf(const std::shared_ptr<Bytes>& frame) {
  return [frame]() -> const unsigned char* { return frame->data(); };
}

// Those of the libraries that the program was built with.
std::vector<Peer> ListPeers();

std::vector<Peer> ListLibyuvPeers();
std::vector<Peer> ListOpenCvPeers();
std::vector<Peer> ListFfmpegPeers();

}  // namespace Vantra::Bench
