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
  bool isStraight = alphaMode == kStraight;
  vec4 p = own();
  // The sum over the colour's channels need not wait for their division by alpha.
  vec4 result = (p.r * red + p.g * green + p.b * blue) * (isStraight ? 1.0 : straightening(p.a)) +
                (p.a * alpha + offset);
  if (clampOutput != 0u) result = clamp(result, 0.0, 1.0);
  return vec4(result.rgb * (isStraight ? 1.0 : result.a), result.a);
}
