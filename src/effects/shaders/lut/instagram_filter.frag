#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

CONSTANTS { float amout; };

// The look's colour for red and green in the tile of one blue.
vec3 lookup(vec2 redGreen, float tile) {
  vec2 corner = vec2(mod(tile, 8.0), floor(tile / 8.0)) * 0.125;
  return sampleTexture1(corner + redGreen * 0.1230469 + 0.0009765625).rgb;
}

vec4 shade(vec2 uv) {
  vec4 p = own();
  float z = p.b * 63.0;
  vec3 above = lookup(p.rg, ceil(z));
  vec3 below = lookup(p.rg, floor(z));
  vec3 color = below + fract(z) * (above - below);
  return vec4(p.rgb + amout * (color - p.rgb), p.a);
}
