#version 450
#extension GL_GOOGLE_include_directive : require
#include "isolation.glsl"

// From 60 to 180 degrees: green is the most, and not all are.
vec4 shade(vec2 uv) {
  vec4 p = own();
  return isolated(p, p.g >= max(p.r, p.b) && p.g > min(p.r, p.b));
}
