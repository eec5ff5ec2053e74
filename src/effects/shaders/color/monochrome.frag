#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

CONSTANTS { float amout; };

vec4 shade(vec2 uv) {
  vec4 p = own();
  float y = dot(p.rgb, vec3(0.2125, 0.7154, 0.0721));
  return vec4(mix(p.rgb, vec3(y), amout), p.a);
}
