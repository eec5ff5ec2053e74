#version 450
#extension GL_GOOGLE_include_directive : require
#define MESH_TEXTURE_SAMPLER_REGISTER 1
#include "pixel.glsl"

CONSTANTS {
  vec2 scale;
  vec2 offset;
};

vec4 shade(vec2 uv) {
  return sampleTexture1(uv * scale + offset);
}
