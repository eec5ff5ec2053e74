#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "convolve_matrix.glsl"

// Elements on texels.

vec4 readTexel(ivec2 at) {
  return readAround(at, extent, edgeModes);
}

vec4 readPlace(ivec2 pixel, vec2 place) {
  return seen(readTexel(pixel + ivec2(floor(place + 0.5))));
}
