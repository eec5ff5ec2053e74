// What the transfer effects share: each straight channel through a function of its own. Included
// behind pixel.glsl; the program defines `transferred` and declares its constants, among them
// `clampOutput`, before it includes this.

#include "alpha.glsl"

vec4 shade(vec2 uv) {
  vec4 p = toStraight(own());
  vec4 result = vec4(transferred(p.r, 0), transferred(p.g, 1), transferred(p.b, 2),
                     transferred(p.a, 3));
  if (clampOutput != 0u) result = clamp(result, 0.0, 1.0);
  return toPremultiplied(result);
}
