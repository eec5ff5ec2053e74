// The effects that keep the pixels of some hues and take the colour from the rest.
//
// The hue of a colour that is not grey runs over six sixths of a circle, in each of which one
// channel is the largest, one the least, and the third tells where in between. So a range of hues
// is a few comparisons of channels. Many colours lie right on a bound: each comes out inside on
// every device, since channels come in whole steps and a bound that is computed is widened by less
// than one.

#include "pixel.glsl"
#include "formula.glsl"

CONSTANTS { float Amout; };

// Half a step.
const float kSlack = 0.5 / 255.0;

vec4 isolated(vec4 p, bool is_kept) {
  return vec4(is_kept ? p.rgb : mix(p.rgb, vec3(lum(p.rgb)), Amout), p.a);
}
