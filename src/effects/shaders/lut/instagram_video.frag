#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

CONSTANTS { float amout; };

vec4 shade(vec2 uv) {
  vec4 p = own();
  vec3 color = vec3(sampleTexture1(vec2(p.r, 0.16666)).r,
                    sampleTexture1(vec2(p.g, 0.5)).g,
                    sampleTexture1(vec2(p.b, 0.83333)).b);
  return vec4(p.rgb + amout * (color - p.rgb), p.a);
}
