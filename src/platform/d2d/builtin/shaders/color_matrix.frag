#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "alpha.glsl"

CONSTANTS {
  vec4 red;
  vec4 green;
  vec4 blue;
  vec4 alpha;
  vec4 offset;
  uint alphaMode;
  uint clampOutput;
};

vec4 shade(vec2 uv) {
  const uint kStraight = 2u;
  vec4 p = alphaMode == kStraight ? own() : toStraight(own());
  vec4 result = p.r * red + p.g * green + p.b * blue + p.a * alpha + offset;
  if (clampOutput != 0u) result = clamp(result, 0.0, 1.0);
  return alphaMode == kStraight ? result : toPremultiplied(result);
}
