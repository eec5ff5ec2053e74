#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

// An image at its place in the target, through the sampler of the chosen interpolation mode.
vec4 shade(vec2 uv) {
  return sampleInput(uv);
}
