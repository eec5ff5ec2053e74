#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "formula.glsl"

CONSTANTS { vec4 filter_color; float density; };

vec4 shade(vec2 uv) {
  vec4 p = own();
  float L = lum(p.rgb);
  // The tint low + high (1 - low), with low = sat(2 L) filter_color and high = 2 sat(L - 0.5), is a
  // multiple of filter_color and a constant. The brightness of a pixel is never beyond 0 and 1.
  float high = max(2.0 * L - 1.0, 0.0);
  float s = sat(L * density);
  float share = min(2.0 * L, 1.0) * s * (1.0 - high);
  return vec4(p.rgb * (1.0 - s) + (filter_color.rgb * share + high * s), p.a);
}
