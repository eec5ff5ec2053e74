#version 450
#extension GL_GOOGLE_include_directive : require
#include "compute.glsl"
#include "bgra.glsl"

// One byte for each pixel, taken as it is.
uint result(uvec2 at) {
  return packBgra(uvec3(texelBytes(g_Input1, at).r), 255u);
}
