#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "formula.glsl"

CONSTANTS { float temperature; float tint; };

vec4 shade(vec2 uv) {
  vec4 p = own();
  // The constant's two scales meet at 5000 K, which is 200 mireds.
  float kelvin = 5000.0 + temperature / (temperature < 0.0 ? 0.0004 : 0.00006);
  float shift = 200.0 - 1.0e6 / max(kelvin, 1000.0);
  vec3 gain = exp2(vec3(0.0026 * shift, -0.1 * tint, -0.0048 * shift));
  vec3 color = p.rgb * gain / lum(gain);
  return vec4(min(color, max(p.rgb, p.a)), p.a);
}
