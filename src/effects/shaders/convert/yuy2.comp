#version 450
#extension GL_GOOGLE_include_directive : require
#include "compute.glsl"
#include "bgra.glsl"

// Bytes Y0, U, Y1, V for a pair of pixels, which is one texel here. The pair shares its first Y.
uint result(uvec2 at) {
  ivec4 pair = texelBytes(g_Input1, uvec2(at.x >> 1, at.y));
  return packBgra(yuvToRgb(pair.r, pair.g, pair.a), 255u);
}
