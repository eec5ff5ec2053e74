#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

// Thirds of all three registers, on white.
vec4 shade(vec2 uv) {
  return vec4(1.0) - (sampleInput(uv) + sampleTexture1(uv) + sampleTexture2(uv)) / 3.0;
}
