#version 450
#extension GL_GOOGLE_include_directive : require
#include "compute.glsl"
#include "bgra.glsl"

// A plane of Y, then a plane of half the size with pairs of U and V.
uint result(uvec2 at) {
  ivec2 uv = texelBytes(g_Input2, at >> 1).rg;
  return packBgra(yuvToRgb(texelBytes(g_Input1, at).r, uv.r, uv.g), 255u);
}
