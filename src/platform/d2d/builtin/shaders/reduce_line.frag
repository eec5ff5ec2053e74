#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#define REDUCE_HAS_EDGES 0
#include "reduce.glsl"
