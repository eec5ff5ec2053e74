#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "alpha.glsl"
#include "edges.glsl"

CONSTANTS {
  EDGES
  ivec2 size;
  // Place of the kernel's first element from the pixel, and the distance between elements.
  vec2 first;
  vec2 unitLength;
  float divisor;
  float bias;
  int reading;
  uint preserveAlpha;
  uint clampOutput;
  float kernel[1000];
};

#define READ_NEAREST 0
#define READ_LINEAR 1
#define READ_CUBIC 2

// Place of an element from the pixel. The effect computes it in the same steps to know which texels
// are read.
float placeOf(float firstPlace, float unit, int element) {
  precise float step = float(element) * unit;
  precise float place = firstPlace + step;
  float whole = floor(place + 0.5);
  return reading == READ_NEAREST || abs(place - whole) < 1.0 / 512.0 ? whole : place;
}

// Weights of the texels at -1, 0, 1 and 2 for a place at f, 0 to 1; cubic with B = 0, C = 1/2.
vec4 weightsAt(float f) {
  if (reading != READ_CUBIC) return vec4(0.0, 1.0 - f, f, 0.0);
  float g = 1.0 - f;
  return vec4(-0.5 * f * g * g, 1.0 + f * f * (1.5 * f - 2.5), 1.0 + g * g * (1.5 * g - 2.5),
              -0.5 * g * f * f);
}

vec4 readTexel(ivec2 at) {
  vec4 p = readAround(at, extent, edgeModes);
  return preserveAlpha != 0u ? toStraight(p) : p;
}

vec4 readPlace(ivec2 pixel, vec2 place) {
  vec2 base = floor(place);
  vec4 columns = weightsAt(place.x - base.x);
  vec4 rows = weightsAt(place.y - base.y);
  ivec2 corner = pixel + ivec2(base) - 1;
  vec4 sum = vec4(0.0);
  for (int y = 0; y < 4; ++y) {
    if (rows[y] == 0.0) continue;
    for (int x = 0; x < 4; ++x) {
      if (columns[x] == 0.0) continue;
      sum += rows[y] * columns[x] * readTexel(corner + ivec2(x, y));
    }
  }
  return sum;
}

vec4 shade(vec2 uv) {
  ivec2 pixel = ivec2(floor(inputPosition()));
  vec4 sum = vec4(0.0);
  for (int j = 0; j < size.y; ++j) {
    float y = placeOf(first.y, unitLength.y, j);
    for (int i = 0; i < size.x; ++i) {
      float weight = kernel[j * size.x + i];
      if (weight == 0.0) continue;
      sum += weight * readPlace(pixel, vec2(placeOf(first.x, unitLength.x, i), y));
    }
  }
  vec4 result = sum / divisor + bias;
  if (clampOutput != 0u) result = clamp(result, 0.0, 1.0);
  if (preserveAlpha == 0u) return result;
  return toPremultiplied(vec4(result.rgb, readAround(pixel, extent, edgeModes).a));
}
