#version 450
#extension GL_GOOGLE_include_directive : require
#include "isolation.glsl"

// From -5 to 5 degrees: red is the most, and the others differ by a twelfth of its lead at the
// most. So does a grey, whose hue is 0.
vec4 shade(vec2 uv) {
  vec4 p = own();
  return isolated(p, 12.0 * abs(p.g - p.b) <= p.r - min(p.g, p.b) + kSlack);
}
