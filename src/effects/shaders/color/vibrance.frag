#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

CONSTANTS { float vibrance; };

vec4 shade(vec2 uv) {
  vec4 p = own();
  float mx = max(p.r, max(p.g, p.b));
  float avg = (p.r + p.g + p.b) * 0.3333333;
  float amt = (mx - avg) * (vibrance * -3.0);
  return vec4(p.rgb + amt * (mx - p.rgb), p.a);
}
