// What the programs of the convolution share; included behind pixel.glsl. A program defines the two
// functions that are declared here.

#include "alpha.glsl"
#include "edges.glsl"

CONSTANTS {
  EDGES
  ivec2 size;
  // Place of the kernel's first element from the pixel, and the distance between elements.
  vec2 first;
  vec2 unitLength;
  float divisor;
  float bias;
  int reading;
  uint preserveAlpha;
  uint clampOutput;
  float kernel[1000];
};

// The image's texel at a place in the texture.
vec4 readTexel(ivec2 at);
// What the kernel sees at a place from a pixel.
vec4 readPlace(ivec2 pixel, vec2 place);

// A texel as the kernel sees it.
vec4 seen(vec4 texel) {
  return preserveAlpha != 0u ? toStraight(texel) : texel;
}

vec4 shade(vec2 uv) {
  ivec2 pixel = ivec2(floor(inputPosition()));
  vec4 sum = vec4(0.0);
  for (int j = 0; j < size.y; ++j) {
    for (int i = 0; i < size.x; ++i) {
      float weight = kernel[j * size.x + i];
      if (weight == 0.0) continue;
      // In the same steps as the effect, which tells what is read.
      precise vec2 step = vec2(i, j) * unitLength;
      precise vec2 place = first + step;
      sum += weight * readPlace(pixel, place);
    }
  }
  vec4 result = sum / divisor + bias;
  if (clampOutput != 0u) result = clamp(result, 0.0, 1.0);
  if (preserveAlpha == 0u) return result;
  return toPremultiplied(vec4(result.rgb, readTexel(pixel).a));
}
