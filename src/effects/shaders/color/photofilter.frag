#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "formula.glsl"

CONSTANTS { vec4 filter_color; float density; };

vec4 shade(vec2 uv) {
  vec4 p = own();
  float L = lum(p.rgb);
  vec3 low = sat(2.0 * L) * filter_color.rgb;
  float high = 2.0 * sat(L - 0.5);
  vec3 tint = low + high * (1.0 - low);
  return vec4(mix(p.rgb, tint, sat(L * density)), p.a);
}
