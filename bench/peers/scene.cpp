#include <algorithm>
#include <random>

#include "bench/peers/peer.h"

namespace Vantra::Bench {
namespace {

unsigned char Byte(double value) {
  return static_cast<unsigned char>(std::clamp(value, 0.0, 255.0));
}

}  // namespace

Scene MakeScene(Team* team) {
  Scene scene;
  scene.team = team;
  scene.picture.resize(kFrameBytes);
  scene.nv12.resize(std::size_t{kWidth} * kHeight * 3 / 2);
  scene.planar.resize(scene.nv12.size());
  scene.yuy2.resize(std::size_t{kWidth} * kHeight * 2);
  std::minstd_rand random(1);
  const auto noise = [&random] { return static_cast<double>(random() >> 8 & 31) - 16; };
  constexpr int kPixels = kWidth * kHeight;
  for (int i = 0; i < kPixels; ++i) {
    const double across = i % kWidth * 255.0 / kWidth;
    const double down = i / kWidth * 255.0 / kHeight;
    unsigned char* pixel = &scene.picture[static_cast<std::size_t>(i) * 4];
    pixel[0] = Byte(across + noise());
    pixel[1] = Byte(down + noise());
    pixel[2] = Byte(255 - across + noise());
    pixel[3] = 255;
    scene.nv12[static_cast<std::size_t>(i)] = Byte(16 + across * 0.8 + noise());
  }
  // Chroma of a block of 2 by 2 pixels, which rows of half the width hold in turn.
  unsigned char* pair = &scene.nv12[kPixels];
  unsigned char* u = &scene.planar[kPixels];
  unsigned char* v = u + kPixels / 4;
  for (int i = 0; i < kPixels / 4; ++i) {
    *u++ = *pair++ = Byte(60 + i % (kWidth / 2) * 120.0 / kWidth * 2 + noise() / 2);
    *v++ = *pair++ = Byte(180 - i / (kWidth / 2) * 120.0 / kHeight * 2 + noise() / 2);
  }
  std::copy_n(scene.nv12.begin(), kPixels, scene.planar.begin());
  for (int i = 0; i < kPixels; ++i) {
    const int chroma = i / kWidth / 2 * kWidth + i % kWidth;
    scene.yuy2[static_cast<std::size_t>(i) * 2] = scene.nv12[static_cast<std::size_t>(i)];
    scene.yuy2[static_cast<std::size_t>(i) * 2 + 1] =
        scene.nv12[static_cast<std::size_t>(kPixels + chroma)];
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
  const auto add = [&peers](std::vector<Peer> more) {
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
