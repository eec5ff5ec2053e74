#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "transform.glsl"

// A transformed image as the mean of samples spread evenly over the pixel of the target. `detail`
// is their number along the pixel's sides; 0 stands for one to a pixel of the image, 16 at most.
vec4 interpolate(Footprint pixel) {
  vec2 count = detail;
  if (count.x < 1.0) {
    // A side that is a whole number of pixels long may come out a little longer.
    vec2 sides = vec2(length(pixel.dx), length(pixel.dy)) - 1.0 / 512.0;
    count = clamp(ceil(sides), 1.0, 16.0);
  }
  vec4 sum = vec4(0.0);
  for (int j = 0; j < int(count.y); ++j) {
    for (int i = 0; i < int(count.x); ++i) {
      vec2 at = (vec2(i, j) + 0.5) / count - 0.5;
      sum += readImage(pixel.center + at.x * pixel.dx + at.y * pixel.dy);
    }
  }
  return sum / (count.x * count.y);
}
