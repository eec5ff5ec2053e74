#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

// The position's pixel, modulo 256, in red and green; the fraction of the extent in the others.
vec4 shade(vec2 uv) {
  return vec4(mod(floor(inputPosition()), 256.0) / 255.0, uv);
}
