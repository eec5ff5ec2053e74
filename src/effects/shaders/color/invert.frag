#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

vec4 shade(vec2 uv) {
  vec4 p = own();
  return vec4(1.0 - p.rgb, p.a);
}
