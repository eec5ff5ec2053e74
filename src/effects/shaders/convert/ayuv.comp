#version 450
#extension GL_GOOGLE_include_directive : require
#include "compute.glsl"
#include "bgra.glsl"

// Bytes V, U, Y, A for each pixel.
uint result(uvec2 at) {
  ivec4 own = texelBytes(g_Input1, at);
  return packBgra(yuvToRgb(own.b, own.g, own.r), uint(own.a));
}
