#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "convolve_matrix.glsl"

// Elements on texels, none of them beyond the image.

vec4 readTexel(ivec2 at) {
  return texelFetch(sampler2D(InputTexture, MeshTextureSampler), at, 0);
}

vec4 readPlace(ivec2 pixel, vec2 place) {
  return seen(readTexel(pixel + ivec2(floor(place + 0.5))));
}
