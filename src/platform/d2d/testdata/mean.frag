#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

// The mean of two inputs.
vec4 shade(vec2 uv) {
  return 0.5 * (own() + sampleTexture1(uv));
}
