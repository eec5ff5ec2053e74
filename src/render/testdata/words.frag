#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

CONSTANTS { uint words[1024]; };

// One word of the constants in each pixel of an image 32 wide, its bytes in the channels.
vec4 shade(vec2 uv) {
  ivec2 pixel = ivec2(inputPosition());
  return unpackUnorm4x8(words[pixel.y * 32 + pixel.x]);
}
