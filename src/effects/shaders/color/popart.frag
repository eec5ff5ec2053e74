#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "formula.glsl"

CONSTANTS { float Amout; };

vec4 shade(vec2 uv) {
  vec4 p = own();
  float light = lum(p.rgb);
  vec3 ink = isDarker(light, 0.3)   ? vec3(0.0)
             : isDarker(light, 0.6) ? vec3(0.8, 0.0, 0.0)
                                    : vec3(0.9, 0.9, 0.0);
  return vec4(mix(p.rgb, ink, Amout), p.a);
}
