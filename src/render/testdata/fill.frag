#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

CONSTANTS { vec4 color; };

vec4 shade(vec2 uv) {
  return color;
}
