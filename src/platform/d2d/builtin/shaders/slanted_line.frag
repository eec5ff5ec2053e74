#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#define LINE_INTERPOLATES 1
#define LINE_HAS_EDGES 0
#include "line.glsl"
