#version 450
#extension GL_GOOGLE_include_directive : require
#include "isolation.glsl"

// From 180 to 260 degrees: blue is the most, and red, if it is more than green, has a third of the
// way from green to blue at the most.
vec4 shade(vec2 uv) {
  vec4 p = own();
  return isolated(p, p.b > p.r && p.b >= p.g && 3.0 * p.r <= p.b + 2.0 * p.g + kSlack);
}
