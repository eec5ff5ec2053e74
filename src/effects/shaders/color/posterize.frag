#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

CONSTANTS { float amout; };

vec4 shade(vec2 uv) {
  return floor(own() * amout + 0.5) / amout;
}
