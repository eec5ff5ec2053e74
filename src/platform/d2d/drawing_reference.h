#pragma once

// What drawing an image should leave in a target, pixel by pixel in plain scalar code, and a
// fixture that draws.

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "tests/harness/device_fixture.h"

namespace Vantra::Testing {

using Place = std::pair<double, double>;
// From a place in the target to the place in the image that is drawn there.
using ToImage = std::function<Place(double x, double y)>;
// What an image's channel s, of a pixel of alpha sa, makes of d, of a pixel of alpha da.
using Equation = std::function<double(double s, double sa, double d, double da)>;

struct Box {
  double left, top, right, bottom;
  bool Has(double x, double y) const { return x >= left && y >= top && x < right && y < bottom; }
};

struct Expectation {
  const Picture* image;
  ToImage to_image;
  // The part of the image that is drawn.
  Box part;
  D2D1_INTERPOLATION_MODE interpolation = D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR;
  double opacity = 1;
  Equation equation = [](double s, double sa, double d, double) { return s + (1 - sa) * d; };
  // The equation counts around the image too, which is transparent there.
  bool unbounded = false;
  Box clip = {-1e9, -1e9, 1e9, 1e9};
  // How much of a pixel is drawn; without it, all when its centre is in the part.
  std::function<double(int x, int y)> coverage;
};

inline Color TexelAt(const Expectation& e, double x, double y) {
  // Beyond the part, its outermost pixels go on.
  const double column = std::clamp(x, std::floor(e.part.left), std::ceil(e.part.right) - 1);
  const double row = std::clamp(y, std::floor(e.part.top), std::ceil(e.part.bottom) - 1);
  Color color;
  for (std::size_t c = 0; c < 4; ++c) {
    color[c] = e.image->At(static_cast<int>(column), static_cast<int>(row))[c] / 255.0;
  }
  return color;
}

// Sum of pixels around a place, weighed by a kernel of `radius` along rows and columns.
inline Color Weigh(const Expectation& e, Place at, double width_x, double width_y, double radius,
                   const std::function<double(double)>& kernel) {
  Color sum = {};
  double weights = 0;
  for (double y = std::floor(at.second - radius * width_y) - 1;
       y <= at.second + radius * width_y + 1; ++y) {
    for (double x = std::floor(at.first - radius * width_x) - 1;
         x <= at.first + radius * width_x + 1; ++x) {
      const double weight =
          kernel((x + 0.5 - at.first) / width_x) * kernel((y + 0.5 - at.second) / width_y);
      if (weight == 0) continue;
      const Color texel = TexelAt(e, x, y);
      for (std::size_t c = 0; c < 4; ++c) sum[c] += weight * texel[c];
      weights += weight;
    }
  }
  for (double& channel : sum) channel /= weights;
  return sum;
}

inline Color LinearAt(const Expectation& e, Place at) {
  return Weigh(e, at, 1, 1, 1, [](double t) { return std::max(0.0, 1 - std::abs(t)); });
}

inline Color CubicAt(const Expectation& e, Place at, double width_x, double width_y) {
  Color color = Weigh(e, at, width_x, width_y, 2, [](double t) {
    // The two-parameter family of cubics with B = 0 and C = 1/2.
    constexpr double kB = 0, kC = 0.5;
    const double x = std::abs(t), x2 = x * x, x3 = x2 * x;
    if (x < 1)
      return ((12 - 9 * kB - 6 * kC) * x3 + (-18 + 12 * kB + 6 * kC) * x2 + 6 - 2 * kB) / 6;
    if (x >= 2) return 0.0;
    return ((-kB - 6 * kC) * x3 + (6 * kB + 30 * kC) * x2 + (-12 * kB - 48 * kC) * x + 8 * kB +
            24 * kC) /
           6;
  });
  color[3] = std::clamp(color[3], 0.0, 1.0);
  for (double& channel : color) channel = std::clamp(channel, 0.0, color[3]);
  return color;
}

// The mean of samples spread evenly over the pixel whose corner is (x, y).
inline Color MeanOf(const Expectation& e, int x, int y, int columns, int rows) {
  Color sum = {};
  for (int j = 0; j < rows; ++j) {
    for (int i = 0; i < columns; ++i) {
      const Color sample = LinearAt(e, e.to_image(x + (i + 0.5) / columns, y + (j + 0.5) / rows));
      for (std::size_t c = 0; c < 4; ++c) sum[c] += sample[c] / (columns * rows);
    }
  }
  return sum;
}

inline Color ImageAt(const Expectation& e, int x, int y) {
  const Place at = e.to_image(x + 0.5, y + 0.5);
  const Place right = e.to_image(x + 1.5, y + 0.5);
  const Place below = e.to_image(x + 0.5, y + 1.5);
  const double dxx = right.first - at.first, dxy = right.second - at.second;
  const double dyx = below.first - at.first, dyy = below.second - at.second;
  const auto count = [](double side) {
    return std::clamp(static_cast<int>(std::ceil(side - 0.01)), 1, 16);
  };
  switch (e.interpolation) {
    case D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR:
      return TexelAt(e, std::floor(at.first), std::floor(at.second));
    case D2D1_INTERPOLATION_MODE_LINEAR:
      break;
    case D2D1_INTERPOLATION_MODE_CUBIC:
      return CubicAt(e, at, 1, 1);
    case D2D1_INTERPOLATION_MODE_MULTI_SAMPLE_LINEAR:
      return MeanOf(e, x, y, 2, 2);
    case D2D1_INTERPOLATION_MODE_ANISOTROPIC:
      return MeanOf(e, x, y, count(std::hypot(dxx, dxy)), count(std::hypot(dyx, dyy)));
    case D2D1_INTERPOLATION_MODE_HIGH_QUALITY_CUBIC:
      return CubicAt(e, at, std::max(1.0, std::hypot(dxx, dyx)),
                     std::max(1.0, std::hypot(dxy, dyy)));
  }
  return LinearAt(e, at);
}

// The pixel of the target after the drawing.
inline Color Expect(const Expectation& e, const Picture& background, int x, int y) {
  Color before;
  for (std::size_t c = 0; c < 4; ++c) before[c] = background.At(x, y)[c] / 255.0;
  if (!e.clip.Has(x + 0.5, y + 0.5)) return before;
  const Place at = e.to_image(x + 0.5, y + 0.5);
  double coverage = e.part.Has(at.first, at.second) ? 1 : 0;
  if (e.coverage) coverage = e.coverage(x, y);
  if (coverage == 0 && !e.unbounded) return before;
  Color image = {};
  if (coverage > 0) image = ImageAt(e, x, y);
  for (double& channel : image) channel *= e.opacity * (e.unbounded ? coverage : 1);
  Color after;
  for (std::size_t c = 0; c < 4; ++c) {
    const double mixed = std::clamp(e.equation(image[c], image[3], before[c], before[3]), 0.0, 1.0);
    after[c] = e.unbounded ? mixed : before[c] + coverage * (mixed - before[c]);
  }
  return after;
}

class DrawingFixture : public DeviceFixture {
 protected:
  ID2D1DeviceContext* Context() { return device_.GetD2DDeviceContext(); }

  // What a session of the calls leaves in a target of the picture's contents.
  Picture Draw(const Picture& background, const std::function<void()>& calls) {
    Bitmap target;
    Upload(target, background);
    Context()->BeginDraw();
    Context()->SetTarget(target.GetBitmap());
    calls();
    result_ = Context()->EndDraw(nullptr, nullptr);
    return Read(target);
  }

  void Check(const Expectation& expectation, const Picture& background, const Picture& result,
             Tolerance tolerance, const std::string& what) {
    EXPECT_EQ(result_, S_OK) << what;
    const auto difference = Compare(
        background, result,
        [&](const Picture& before, int x, int y) { return Expect(expectation, before, x, y); },
        tolerance);
    EXPECT_FALSE(difference) << what << ": " << *difference;
  }

  HRESULT result_ = S_OK;
};

}  // namespace Vantra::Testing
