#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "edges.glsl"

CONSTANTS { EDGES };

vec4 shade(vec2 uv) {
  return readAround(ivec2(floor(inputPosition())), extent, edgeModes);
}
