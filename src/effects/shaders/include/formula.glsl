// The small functions that the formulas of the catalogue share. They need `pixel.glsl` before them.

// x limited to 0..1.
float sat(float x) { return clamp(x, 0.0, 1.0); }
vec2 sat(vec2 x) { return clamp(x, 0.0, 1.0); }
vec3 sat(vec3 x) { return clamp(x, 0.0, 1.0); }
vec4 sat(vec4 x) { return clamp(x, 0.0, 1.0); }

// The smooth step t² (3 - 2 t), for t in 0..1.
float sm(float t) { return t * t * (3.0 - 2.0 * t); }
vec2 sm(vec2 t) { return t * t * (3.0 - 2.0 * t); }

// The weighted brightness of a colour.
float lum(vec3 color) { return dot(color, vec3(0.3, 0.59, 0.11)); }

// Whether the brightness is below a bound in hundredths. Many colours lie right on one. Brightness
// comes in steps of 1/25500, of which half a one is more than devices may be off by.
bool isDarker(float light, float bound) { return light < bound - 0.5 / 25500.0; }

// A number of 0..1 that looks random, from a position.
float hash(vec2 v) { return fract(sin(dot(v, vec2(12.9898, 78.233))) * 43758.5453); }
