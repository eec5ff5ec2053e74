#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "convolve_matrix.glsl"

// Elements anywhere between texels.

#define READ_CUBIC 2

vec4 readTexel(ivec2 at) {
  return readAround(at, extent, edgeModes);
}

// Weights of the texels at -1, 0, 1 and 2 for a place at f, 0 to 1; cubic with B = 0, C = 1/2.
vec4 weightsAt(float f) {
  if (reading != READ_CUBIC) return vec4(0.0, 1.0 - f, f, 0.0);
  float g = 1.0 - f;
  return vec4(-0.5 * f * g * g, 1.0 + f * f * (1.5 * f - 2.5), 1.0 + g * g * (1.5 * g - 2.5),
              -0.5 * g * f * f);
}

vec4 readRow(ivec2 at, vec4 weights) {
  return weights.x * seen(readTexel(at)) + weights.y * seen(readTexel(at + ivec2(1, 0))) +
         weights.z * seen(readTexel(at + ivec2(2, 0))) +
         weights.w * seen(readTexel(at + ivec2(3, 0)));
}

vec4 readPlace(ivec2 pixel, vec2 place) {
  vec2 whole = floor(place + 0.5);
  place = mix(place, whole, lessThan(abs(place - whole), vec2(1.0 / 512.0)));
  vec2 base = floor(place);
  vec4 columns = weightsAt(place.x - base.x);
  vec4 rows = weightsAt(place.y - base.y);
  ivec2 corner = pixel + ivec2(base) - 1;
  return rows.x * readRow(corner, columns) + rows.y * readRow(corner + ivec2(0, 1), columns) +
         rows.z * readRow(corner + ivec2(0, 2), columns) +
         rows.w * readRow(corner + ivec2(0, 3), columns);
}
