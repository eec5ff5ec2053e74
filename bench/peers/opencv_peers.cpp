// OpenCV has threads of its own, and is given as many as the team has. Where a function does
// without them, each of the team calls it for a part: OpenCV reads beyond a part what the whole
// holds there.

#include <cmath>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "bench/peers/peer.h"

namespace Vantra::Bench {
namespace {

// From one picture, or part of one, to another of the same size.
using Function = std::function<void(const cv::Mat& source, cv::Mat& target)>;

// OpenCV has no matrix of constant bytes.
cv::Mat View(const Bytes& bytes, int rows, int columns, int type) {
  return {rows, columns, type, const_cast<unsigned char*>(bytes.data())};
}
cv::Mat Picture(const Bytes& bytes) { return View(bytes, kHeight, kWidth, CV_8UC4); }

Run Whole(const Scene& scene, Function function, cv::Mat source) {
  const auto target = NewFrame();
  cv::setNumThreads(static_cast<int>(scene.team->Size()));
  return {[target, function = std::move(function), source = std::move(source)] {
            cv::Mat out = Picture(*target);
            function(source, out);
          },
          PixelsOf(target)};
}

Run InParts(const Scene& scene, Function function) {
  const auto target = NewFrame();
  cv::setNumThreads(1);
  return {
      [team = scene.team, target, source = Picture(scene.picture), function = std::move(function)] {
        team->Run([&](unsigned index) {
          const Rows rows = RowsOf(*team, index);
          const cv::Rect part(0, rows.first, kWidth, rows.count);
          cv::Mat out = Picture(*target)(part);
          function(source(part), out);
        });
      },
      PixelsOf(target)};
}

enum class Threads { kOwn, kTeam };

Peer OnPicture(Task task, const std::string& name, double limit, Threads threads,
               const std::function<Function()>& make) {
  return {task, name, limit, [=](const Scene& scene) {
            return threads == Threads::kTeam ? InParts(scene, make())
                                             : Whole(scene, make(), Picture(scene.picture));
          }};
}

Function Lut() {
  cv::Mat table(1, 256, CV_8U);
  for (int i = 0; i < 256; ++i) {
    const double step = std::floor(i / 255.0 * kSteps + 0.5) / kSteps;
    table.at<unsigned char>(i) = cv::saturate_cast<unsigned char>(step * 255);
  }
  return [table](const cv::Mat& source, cv::Mat& target) { cv::LUT(source, table, target); };
}

Function Transform() {
  cv::Matx44f matrix = cv::Matx44f::eye();
  const ColorMatrix saturation = SaturationMatrix();
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column) {
      matrix(row, column) = static_cast<float>(saturation.rows[row][column]);
    }
  }
  return
      [matrix](const cv::Mat& source, cv::Mat& target) { cv::transform(source, target, matrix); };
}

Function Blur(double deviation) {
  return [deviation](const cv::Mat& source, cv::Mat& target) {
    cv::GaussianBlur(source, target, {}, deviation, deviation, cv::BORDER_CONSTANT);
  };
}

Function Erode() {
  return [kernel = cv::getStructuringElement(cv::MORPH_RECT, {64, 64})](const cv::Mat& source,
                                                                        cv::Mat& target) {
    cv::erode(source, target, kernel, {-1, -1}, 1, cv::BORDER_CONSTANT, {});
  };
}

Function Convolve() {
  const cv::Matx33f kernel(kSharpen);
  return [kernel](const cv::Mat& source, cv::Mat& target) {
    cv::filter2D(source, target, -1, kernel, {-1, -1}, 0, cv::BORDER_CONSTANT);
  };
}

Function Perspective() {
  const cv::Point2f from[4] = {{0, 0}, {kWidth, 0}, {0, kHeight}, {kWidth, kHeight}};
  cv::Point2f to[4];
  for (int i = 0; i < 4; ++i) to[i] = {kCorners[i].x, kCorners[i].y};
  // OpenCV's positions are those of pixels, ours of their corners.
  const cv::Matx33d half(1, 0, 0.5, 0, 1, 0.5, 0, 0, 1);
  const cv::Matx33d matrix = half.inv() * cv::Matx33d(cv::getPerspectiveTransform(from, to)) * half;
  return [matrix](const cv::Mat& source, cv::Mat& target) {
    cv::warpPerspective(source, target, matrix, target.size(), cv::INTER_LINEAR,
                        cv::BORDER_CONSTANT);
  };
}

Run Nv12(const Scene& scene) {
  const cv::Mat chroma(kHeight / 2, kWidth / 2, CV_8UC2,
                       const_cast<unsigned char*>(scene.nv12.data()) + kWidth * kHeight);
  return Whole(
      scene,
      [chroma](const cv::Mat& source, cv::Mat& target) {
        cv::cvtColorTwoPlane(source, chroma, target, cv::COLOR_YUV2BGRA_NV12);
      },
      View(scene.nv12, kHeight, kWidth, CV_8U));
}

Run Planar(const Scene& scene) {
  return Whole(
      scene,
      [](const cv::Mat& source, cv::Mat& target) {
        cv::cvtColor(source, target, cv::COLOR_YUV2BGRA_I420);
      },
      View(scene.planar, kHeight * 3 / 2, kWidth, CV_8U));
}

Run Yuy2(const Scene& scene) {
  return Whole(
      scene,
      [](const cv::Mat& source, cv::Mat& target) {
        cv::cvtColor(source, target, cv::COLOR_YUV2BGRA_YUY2);
      },
      View(scene.yuy2, kHeight, kWidth, CV_8UC2));
}

}  // namespace

std::vector<Peer> ListOpenCvPeers() {
  using enum Threads;
  return {
      OnPicture(Task::kPosterize, "OpenCV LUT", 1.0, kOwn, Lut),
      OnPicture(Task::kColorMatrix, "OpenCV transform", 1.0, kTeam, Transform),
      OnPicture(Task::kBlur8, "OpenCV GaussianBlur", 0.5, kOwn, [] { return Blur(8); }),
      // Wide ones are quicker so, though not all of their work is shared.
      OnPicture(Task::kBlur64, "OpenCV GaussianBlur", 0.5, kTeam, [] { return Blur(64); }),
      OnPicture(Task::kErode64, "OpenCV erode", 1.2, kTeam, Erode),
      OnPicture(Task::kConvolve3, "OpenCV filter2D", 1.0, kTeam, Convolve),
      OnPicture(Task::kPerspective, "OpenCV warpPerspective", 1.0, kOwn, Perspective),
      {Task::kNv12, "OpenCV cvtColorTwoPlane", 1.0, Nv12},
      {Task::kPlanar, "OpenCV cvtColor", 1.0, Planar},
      {Task::kYuy2, "OpenCV cvtColor", 1.0, Yuy2},
  };
}

}  // namespace Vantra::Bench
