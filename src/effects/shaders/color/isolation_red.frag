#version 450
#extension GL_GOOGLE_include_directive : require
#include "isolation.glsl"

vec4 shade(vec2 uv) {
  return isolate(-5.0, 5.0);
}
