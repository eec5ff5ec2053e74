#version 450
#extension GL_GOOGLE_include_directive : require
#include "compute.glsl"
#include "bgra.glsl"

// Three planes, Y, U and V, the last two of half the size.
uint result(uvec2 at) {
  int u = texelBytes(g_Input2, at >> 1).r;
  int v = texelBytes(g_Input3, at >> 1).r;
  return packBgra(yuvToRgb(texelBytes(g_Input1, at).r, u, v), 255u);
}
