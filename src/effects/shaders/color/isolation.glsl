// The effects that keep the pixels of some hues and take the colour from the rest.

#include "pixel.glsl"
#include "formula.glsl"

CONSTANTS { float Amout; };

// Whether the hue lies within low..high, in whole degrees from -60 to 300. Grey has the hue 0.
bool hueIsWithin(vec3 color, float low, float high) {
  // Many colours lie right on a bound. Counted in whole steps of 1/255, nothing here is rounded, and
  // each comes out inside on every device.
  vec3 p = round(color * 255.0);
  float mx = max(p.r, max(p.g, p.b));
  float d = mx - min(p.r, min(p.g, p.b));
  if (d == 0.0) return low <= 0.0 && 0.0 <= high;
  // The hue is 60 n / d.
  float n;
  if (p.r == mx && p.g != mx) {
    n = p.g - p.b;
  } else if (p.g == mx && p.b != mx) {
    n = p.b - p.r + 2.0 * d;
  } else {
    n = p.r - p.g + 4.0 * d;
  }
  return low * d <= 60.0 * n && 60.0 * n <= high * d;
}

vec4 isolate(float low, float high) {
  vec4 p = own();
  vec3 target = hueIsWithin(p.rgb, low, high) ? p.rgb : vec3(lum(p.rgb));
  return vec4(mix(p.rgb, target, Amout), p.a);
}
