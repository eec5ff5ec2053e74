#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

CONSTANTS {
  float scalar;
  vec3 triple;
  float list[2];
  vec2 pair;
};

// One float of the structure in each pixel, from 0 to 255, in red.
vec4 shade(vec2 uv) {
  float values[] = float[](scalar, triple.x, triple.y, triple.z, list[0], list[1], pair.x, pair.y);
  return vec4(values[int(inputPosition().x)] / 255.0, 0.0, 0.0, 1.0);
}
