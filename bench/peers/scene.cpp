#include <algorithm>
#include <iterator>
#include <random>
#include <utility>

#include "bench/peers/peer.h"

namespace Vantra::Bench {
namespace {

unsigned char Byte(double value) {
  return static_cast<unsigned char>(std::clamp(value, 0.0, 255.0));
}

}  // namespace

Scene MakeScene(Team* team) {
  constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;
  Scene scene;
  scene.team = team;
  scene.picture.reserve(kFrameBytes);
  scene.nv12.reserve(kPixels * 3 / 2);
  std::minstd_rand random(1);
  const auto noise = [&random] { return static_cast<double>(random() >> 8 & 31) - 16; };
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const double across = x * 255.0 / kWidth;
      const double down = y * 255.0 / kHeight;
      scene.picture.insert(scene.picture.end(), {Byte(across + noise()), Byte(down + noise()),
                                                 Byte(255 - across + noise()), 255});
      scene.nv12.push_back(Byte(16 + across * 0.8 + noise()));
    }
  }
  Bytes planes[2];
  for (int y = 0; y < kHeight / 2; ++y) {
    for (int x = 0; x < kWidth / 2; ++x) {
      planes[0].push_back(Byte(60 + x * 240.0 / kWidth + noise() / 2));
      planes[1].push_back(Byte(180 - y * 240.0 / kHeight + noise() / 2));
      scene.nv12.insert(scene.nv12.end(), {planes[0].back(), planes[1].back()});
    }
  }
  scene.planar.assign(scene.nv12.begin(), scene.nv12.begin() + kPixels);
  for (const Bytes& plane : planes) {
    scene.planar.insert(scene.planar.end(), plane.begin(), plane.end());
  }
  for (std::size_t i = 0; i < kPixels; i += 2) {
    // Ours gives both pixels of a pair the first luma, so they have the same.
    const std::size_t pair = i / kWidth / 2 * (kWidth / 2) + i % kWidth / 2;
    const unsigned char luma = scene.nv12[i];
    scene.yuy2.insert(scene.yuy2.end(), {luma, planes[0][pair], luma, planes[1][pair]});
  }
  return scene;
}

ColorMatrix SaturationMatrix() {
  // Weights of blue, green and red in the brightness that stays.
  constexpr double kWeights[3] = {0.072, 0.715, 0.213};
  constexpr double kScale = 1 + kSaturation / 100.0;
  ColorMatrix matrix;
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column) {
      matrix.rows[row][column] = kWeights[column] * (1 - kScale) + (row == column ? kScale : 0);
    }
  }
  return matrix;
}

Rows RowsOf(const Team& team, unsigned part) {
  const int rows = (kHeight / static_cast<int>(team.Size()) + 1) / 2 * 2;
  const int first = std::min(kHeight, rows * static_cast<int>(part));
  const bool last = part + 1 == team.Size();
  return {first, last ? kHeight - first : std::min(rows, kHeight - first)};
}

std::vector<Peer> ListPeers() {
  std::vector<Peer> peers;
  [[maybe_unused]] const auto add = [&peers](std::vector<Peer> more) {
    std::move(more.begin(), more.end(), std::back_inserter(peers));
  };
#ifdef VANTRIX_PEER_LIBYUV
  add(ListLibyuvPeers());
#endif
#ifdef VANTRIX_PEER_OPENCV
  add(ListOpenCvPeers());
#endif
#ifdef VANTRIX_PEER_FFMPEG
  add(ListFfmpegPeers());
#endif
  return peers;
}

}  // namespace Vantra::Bench
