#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "transform.glsl"

// The cubic of B = 0, C = 1/2.
float cubic(float t) {
  float x = abs(t);
  if (x < 1.0) return (1.5 * x - 2.5) * x * x + 1.0;
  if (x < 2.0) return ((-0.5 * x + 2.5) * x - 4.0) * x + 2.0;
  return 0.0;
}

// A transformed image through a cubic kernel along its rows and columns. Where the image is made
// smaller the kernel is as much wider, `detail.x` times at most; beyond 16 times it keeps its
// number of taps and spreads them. What the kernel overshoots is cut off, so that the colours stay
// premultiplied.
vec4 interpolate(Footprint pixel) {
  vec2 size = vec2(length(vec2(pixel.dx.x, pixel.dy.x)), length(vec2(pixel.dx.y, pixel.dy.y)));
  vec2 width = clamp(size, 1.0, detail.x);
  vec2 stride = max(width / 16.0, 1.0);
  // The kernel is 0 at its ends: a tap that falls on one need not be read.
  ivec2 taps = ivec2(ceil(4.0 * width / stride));
  vec2 first = (ceil((pixel.center - 2.0 * width) / stride - 0.5) + 0.5) * stride;
  vec4 sum = vec4(0.0);
  float weights = 0.0;
  for (int j = 0; j < taps.y; ++j) {
    float y = first.y + float(j) * stride.y;
    float row = cubic((y - pixel.center.y) / width.y);
    for (int i = 0; i < taps.x; ++i) {
      float x = first.x + float(i) * stride.x;
      float weight = row * cubic((x - pixel.center.x) / width.x);
      sum += weight * readImage(vec2(x, y));
      weights += weight;
    }
  }
  vec4 result = clamp(sum / weights, 0.0, 1.0);
  return min(result, result.a);
}
