// libyuv has no threads of its own: each of the team converts its rows.

#include <libyuv.h>

#include "bench/peers/peer.h"

namespace Vantra::Bench {
namespace {

// Makes a work out of one that writes some rows of a frame.
Run InParts(const Scene& scene, std::function<void(Rows rows, unsigned char* target)> part) {
  auto target = NewFrame();
  return {[team = scene.team, target, part = std::move(part)] {
            team->Run([&](unsigned index) {
              const Rows rows = RowsOf(*team, index);
              part(rows, target->data() + static_cast<std::ptrdiff_t>(rows.first) * kStride);
            });
          },
          PixelsOf(target)};
}

// In place, and alpha stays: less memory than a pass from one picture to another touches.
Run Quantize(const Scene& scene) {
  const auto target = std::make_shared<Bytes>(scene.picture);
  // Of 16.16: 4 intervals of 64 steps, each to its middle.
  constexpr int kInterval = static_cast<int>(256 / kSteps);
  return {[team = scene.team, target] {
            team->Run([&](unsigned index) {
              const Rows rows = RowsOf(*team, index);
              libyuv::ARGBQuantize(target->data(), kStride, 65536 / kInterval, kInterval,
                                   kInterval / 2, 0, rows.first, kWidth, rows.count);
            });
          },
          {}};
}

Run Nv12(const Scene& scene) {
  const unsigned char* luma = scene.nv12.data();
  const unsigned char* chroma = luma + kWidth * kHeight;
  return InParts(scene, [=](Rows rows, unsigned char* target) {
    libyuv::NV12ToARGB(luma + rows.first * kWidth, kWidth, chroma + rows.first / 2 * kWidth, kWidth,
                       target, kStride, kWidth, rows.count);
  });
}

Run Planar(const Scene& scene) {
  const unsigned char* luma = scene.planar.data();
  const unsigned char* u = luma + kWidth * kHeight;
  const unsigned char* v = u + kWidth / 2 * kHeight / 2;
  return InParts(scene, [=](Rows rows, unsigned char* target) {
    const int chroma = rows.first / 2 * (kWidth / 2);
    libyuv::I420ToARGB(luma + rows.first * kWidth, kWidth, u + chroma, kWidth / 2, v + chroma,
                       kWidth / 2, target, kStride, kWidth, rows.count);
  });
}

Run Yuy2(const Scene& scene) {
  return InParts(scene, [&scene](Rows rows, unsigned char* target) {
    libyuv::YUY2ToARGB(scene.yuy2.data() + rows.first * kWidth * 2, kWidth * 2, target, kStride,
                       kWidth, rows.count);
  });
}

}  // namespace

std::vector<Peer> ListLibyuvPeers() {
  return {
      {Task::kPosterize, "libyuv ARGBQuantize", 2.0, Quantize},
      {Task::kNv12, "libyuv NV12ToARGB", 2.0, Nv12},
      {Task::kPlanar, "libyuv I420ToARGB", 2.0, Planar},
      {Task::kYuy2, "libyuv YUY2ToARGB", 2.0, Yuy2},
  };
}

}  // namespace Vantra::Bench
