#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

// The extremum of some pixels of a row or a column.

CONSTANTS {
  // The image in texels.
  ivec4 extent;
  ivec2 axis;
  // Pixels at first, first + stride and so on, none beyond last.
  int first;
  int stride;
  int last;
  int count;
  uint dilates;
};

vec4 shade(vec2 uv) {
  ivec2 at = ivec2(floor(inputPosition()));
  vec4 smallest = vec4(1.0);
  vec4 largest = vec4(0.0);
  for (int k = 0; k < count; ++k) {
    // What lies beyond the image is 0 and never the largest. The pixel at the edge stands for it:
    // wherever something is drawn, the whole window has that pixel.
    ivec2 place = clamp(at + min(first + k * stride, last) * axis, extent.xy, extent.zw - 1);
    vec4 pixel = texelFetch(sampler2D(InputTexture, MeshTextureSampler), place, 0);
    smallest = min(smallest, pixel);
    largest = max(largest, pixel);
  }
  return dilates != 0u ? largest : smallest;
}
