#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "edges.glsl"
#include "half.glsl"

// A Gaussian blur along a row or a column.

CONSTANTS {
  EDGES
  ivec2 axis;
  // Pixels on each side.
  int reach;
  // A pixel at the distance d has the weight centre * exp2(falloff * d * d).
  float centre;
  float falloff;
  uint toHalf;
};

vec4 read(ivec2 at) {
  return readAround(at, extent, edgeModes);
}

vec4 shade(vec2 uv) {
  ivec2 at = ivec2(floor(inputPosition()));
  vec4 sum = centre * read(at);
  for (int k = 1; k <= reach; ++k) {
    float weight = centre * exp2(falloff * float(k * k));
    sum += weight * (read(at + k * axis) + read(at - k * axis));
  }
  return toHalf != 0u ? nearestHalf(sum) : sum;
}
