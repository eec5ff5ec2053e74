#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

vec4 shade(vec2 uv) {
  return own();
}
