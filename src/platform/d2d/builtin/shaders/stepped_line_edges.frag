#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#define LINE_INTERPOLATES 0
#define LINE_HAS_EDGES 1
#include "line.glsl"
