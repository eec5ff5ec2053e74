#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "formula.glsl"

CONSTANTS { float Amout; };

vec4 shade(vec2 uv) {
  vec4 p = own();
  float t = isDarker(lum(p.rgb), 0.5) ? 0.0 : 1.0;
  return vec4(mix(p.rgb, vec3(t), Amout), p.a);
}
