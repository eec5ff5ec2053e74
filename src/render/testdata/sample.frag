#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

CONSTANTS {
  vec2 scale;
  vec2 offset;
};

vec4 shade(vec2 uv) {
  return sampleInput(uv * scale + offset);
}
