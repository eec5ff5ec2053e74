#version 450
#extension GL_GOOGLE_include_directive : require
#include "isolation.glsl"

vec4 shade(vec2 uv) {
  return isolate(180.0, 260.0);
}
