#pragma once

/// A detected face, as a face detector hands it to the effects.

#include <cstddef>

namespace sundrix {

/// A place on a face. The values 0 to 26 each name one; 27 means none.
enum class FaceLandmark : int { kFirst = 0, kLast = 26, kNone = 27 };

/// One detected face. Effects read the feature points and the two sizes; the space between is the
/// detector's own. Points are in pixels of the image in which the face was found, whose width and
/// height must not be zero.
class CFaceInfo {
 public:
  struct Point {
    float x;
    float y;
  };

  /// Number of points that effects read.
  static constexpr int kPointCount = 49;

  unsigned char detector_data[36] = {};
  Point points[kPointCount] = {};
  unsigned char detector_points[976 - 36 - kPointCount * sizeof(Point)] = {};
  float image_width = 0;
  float image_height = 0;
};

static_assert(offsetof(CFaceInfo, points) == 36);
static_assert(offsetof(CFaceInfo, image_width) == 976);
static_assert(offsetof(CFaceInfo, image_height) == 980);

}  // namespace sundrix
