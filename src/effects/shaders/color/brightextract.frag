#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "formula.glsl"

CONSTANTS { float amout; };

vec4 shade(vec2 uv) {
  return sat((own() - amout) / (1.0 - amout));
}
