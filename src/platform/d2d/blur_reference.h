#pragma once

// What blurs and extrema should make of a picture, in plain scalar code.

#include <vantrix/platform/d2d1effects.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <vector>

#include "tests/harness/picture.h"

namespace Vantra::Testing {

constexpr UINT32 kSoft = D2D1_BORDER_MODE_SOFT;
constexpr UINT32 kHard = D2D1_BORDER_MODE_HARD;

// The place in a row of `count` pixels that is found at any place, when the row is mirrored at its
// ends.
inline int Mirror(int at, int count) {
  const int place = ((at % (2 * count)) + 2 * count) % (2 * count);
  return std::min(place, 2 * count - 1 - place);
}

// A picture in numbers that goes on without end: transparent, or mirrored.
struct Field {
  const Picture* picture;
  UINT32 border = kSoft;

  double At(int x, int y, std::size_t c) const {
    if (border == kHard) {
      x = Mirror(x, picture->width);
      y = Mirror(y, picture->height);
    } else if (x < 0 || y < 0 || x >= picture->width || y >= picture->height) {
      return 0;
    }
    return picture->At(x, y)[c] / 255.0;
  }
};

// The weights of -reach, ..., reach.
inline std::vector<double> Gaussian(double deviation, int reach) {
  std::vector<double> weights;
  double sum = 0;
  for (int i = -reach; i <= reach; ++i) {
    weights.push_back(std::exp(-i * i / (2 * deviation * deviation)));
    sum += weights.back();
  }
  for (double& weight : weights) weight /= sum;
  return weights;
}

// What is compared: the picture with `margin` pixels on each side.
struct Window {
  int margin, width, height;
  std::vector<Color> colors;

  Color& At(int x, int y) { return colors[static_cast<std::size_t>(y * width + x)]; }
};

// What becomes of the pixels at (-margin, y) to (picture.width + margin - 1, y).
using RowFormula = std::function<std::vector<Color>(const Picture& picture, int y, int margin)>;

inline Window MakeWindow(const Picture& picture, int margin, const RowFormula& formula) {
  Window window = {margin, picture.width + 2 * margin, picture.height + 2 * margin, {}};
  for (int y = -margin; y < picture.height + margin; ++y) {
    const std::vector<Color> row = formula(picture, y, margin);
    window.colors.insert(window.colors.end(), row.begin(), row.end());
  }
  return window;
}

inline RowFormula GaussianRows(double deviation, UINT32 border = kSoft) {
  const int reach = static_cast<int>(std::ceil(3 * deviation));
  const auto weights = deviation > 0 ? Gaussian(deviation, reach) : std::vector{1.0};
  return [=](const Picture& picture, int y, int margin) {
    // The blurred columns at this row.
    std::vector<Color> across(static_cast<std::size_t>(picture.width));
    const Field field = {&picture, border};
    for (int i = -reach; i <= reach; ++i) {
      const double weight = weights[static_cast<std::size_t>(i + reach)];
      for (int x = 0; x < picture.width; ++x) {
        for (std::size_t c = 0; c < 4; ++c) {
          across[static_cast<std::size_t>(x)][c] += weight * field.At(x, y + i, c);
        }
      }
    }
    std::vector<Color> row(static_cast<std::size_t>(picture.width + 2 * margin));
    for (int x = -margin; x < picture.width + margin; ++x) {
      for (int i = -reach; i <= reach; ++i) {
        const int at = border == kHard ? Mirror(x + i, picture.width) : x + i;
        if (at < 0 || at >= picture.width) continue;
        for (std::size_t c = 0; c < 4; ++c) {
          row[static_cast<std::size_t>(x + margin)][c] +=
              weights[static_cast<std::size_t>(i + reach)] *
              across[static_cast<std::size_t>(at)][c];
        }
      }
    }
    return row;
  };
}

inline RowFormula LineRows(double deviation, double angle, UINT32 border = kSoft) {
  const double radians = angle * std::numbers::pi / 180;
  const double along_x = std::cos(radians), along_y = -std::sin(radians);
  // A little towards the x-axis, for 45 degrees.
  const bool is_flat = std::abs(along_x) > std::abs(along_y) - 1e-9;
  const double major = is_flat ? along_x : along_y;
  const double slope = (is_flat ? along_y : along_x) / major;
  const int reach = static_cast<int>(std::ceil(3 * deviation * std::abs(major) - 1e-9));
  const auto weights =
      deviation > 0 ? Gaussian(deviation * std::abs(major), reach) : std::vector{1.0};
  return [=](const Picture& picture, int y, int margin) {
    const Field field = {&picture, border};
    std::vector<Color> row(static_cast<std::size_t>(picture.width + 2 * margin));
    for (int x = -margin; x < picture.width + margin; ++x) {
      Color& color = row[static_cast<std::size_t>(x + margin)];
      for (int k = -reach; k <= reach; ++k) {
        const double side = k * slope + 1e-9;
        const int near = static_cast<int>(std::floor(side));
        for (int n = 0; n < 2; ++n) {
          const double share = n == 0 ? 1 - (side - near) : side - near;
          const int px = x + (is_flat ? k : near + n);
          const int py = y + (is_flat ? near + n : k);
          for (std::size_t c = 0; c < 4; ++c) {
            color[c] += share * weights[static_cast<std::size_t>(k + reach)] * field.At(px, py, c);
          }
        }
      }
    }
    return row;
  };
}

// The largest or the smallest in a rectangle around each pixel.
inline RowFormula ExtremaRows(bool largest, int width, int height) {
  return [=](const Picture& picture, int y, int margin) {
    const auto take = [largest](double a, double b) {
      return largest ? std::max(a, b) : std::min(a, b);
    };
    const Field field = {&picture};
    std::vector<Color> row(static_cast<std::size_t>(picture.width + 2 * margin));
    for (std::size_t c = 0; c < 4; ++c) {
      // Of the columns at this row.
      std::vector<double> across;
      for (int x = 0; x < picture.width; ++x) {
        double value = field.At(x, y - height / 2, c);
        for (int j = 1; j < height; ++j) value = take(value, field.At(x, y - height / 2 + j, c));
        across.push_back(value);
      }
      const auto at = [&](int x) {
        return x < 0 || x >= picture.width ? 0.0 : across[static_cast<std::size_t>(x)];
      };
      for (int x = -margin; x < picture.width + margin; ++x) {
        double value = at(x - width / 2);
        for (int i = 1; i < width; ++i) value = take(value, at(x - width / 2 + i));
        row[static_cast<std::size_t>(x + margin)][c] = value;
      }
    }
    return row;
  };
}

}  // namespace Vantra::Testing
