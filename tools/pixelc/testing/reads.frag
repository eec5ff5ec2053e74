#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

// Reads along the row at offsets, at a column held within bounds, beyond the edges, in a loop, and
// at places of each pixel's own.

CONSTANTS { int radius; float stretch; };

vec4 at(ivec2 place) {
  return texelFetch(sampler2D(InputTexture, MeshTextureSampler), place, 0);
}

vec4 shade(vec2 uv) {
  ivec2 place = ivec2(floor(inputPosition()));
  vec4 sum = own();
  for (int i = -radius; i <= radius; ++i) {
    sum += at(place + ivec2(i, 1 - i)) * 0.125;
  }
  sum += at(ivec2(clamp(place.x + 2, 1, 5), place.y)) * 0.25;
  if (sum.r > 0.5) {
    sum.g += at(ivec2(float(place.x) * stretch, place.y)).b;
    sum += at(place - ivec2(1, 0)) * 0.25;
  }
  return sum * 0.4;
}
