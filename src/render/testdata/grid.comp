#version 450
#extension GL_GOOGLE_include_directive : require
#include "compute.glsl"

// Different bytes of the three textures, mixed with a constant.
uint result(uvec2 at) {
  uvec4 first = uvec4(texelBytes(g_Input1, at));
  uvec4 second = uvec4(texelBytes(g_Input2, at));
  uvec4 third = uvec4(texelBytes(g_Input3, at));
  return (first.r | second.g << 8 | third.b << 16 | third.a << 24) ^ g_reserved_0;
}
