#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

CONSTANTS { float exposure; };

vec4 shade(vec2 uv) {
  vec4 p = own();
  return vec4(p.rgb * exp2(exposure), p.a);
}
