#version 450
#extension GL_GOOGLE_include_directive : require
#include "isolation.glsl"

// From 30 to 60 degrees: red is the most, and green at least half the way from blue to red.
vec4 shade(vec2 uv) {
  vec4 p = own();
  return isolated(p, p.r > p.b && p.r >= p.g && p.r + p.b <= 2.0 * p.g + kSlack);
}
