#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "formula.glsl"

// The shared functions, each of the input's channels.
vec4 shade(vec2 uv) {
  vec4 s = own();
  return vec4(sat(s.r * 3.0 - 1.0), sm(s.g), lum(s.rgb), hash(vec2(0.0)) + sat(vec2(-s.b)).x);
}
