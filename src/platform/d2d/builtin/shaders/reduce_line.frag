#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "edges.glsl"
#include "half.glsl"

// Makes cells of `factor` pixels of a row or a column. Every pixel is shared out to the two cells
// whose centres it lies between, as linear interpolation would weigh them. So its place is kept.

CONSTANTS {
  EDGES
  ivec2 axis;
  int factor;
  // First texel of a cell = position * factor + offset.
  int offset;
};

vec4 shade(vec2 uv) {
  ivec2 at = ivec2(floor(inputPosition()));
  int along = axis.x != 0 ? at.x : at.y;
  ivec2 start = at + (along * (factor - 1) + offset) * axis;
  vec4 sum = vec4(0.0);
  for (int k = 0; k < 2 * factor; ++k) {
    float distance = abs(float(k) + 0.5 - float(factor));
    sum += (float(factor) - distance) * readAround(start + k * axis, extent, edgeModes);
  }
  return nearestHalf(sum / float(factor * factor));
}
