// Makes cells of `factor` pixels of a row or a column. Every pixel is shared out to the two cells
// whose centres it lies between, as linear interpolation would weigh them. So its place is kept.
// Included behind pixel.glsl. REDUCE_HAS_EDGES tells whether the cells may leave the image.

#include "edges.glsl"
#include "half.glsl"

CONSTANTS {
  EDGES
  ivec2 axis;
  int factor;
  // First texel of a cell = position * factor + offset.
  int offset;
};

vec4 read(ivec2 at) {
#if REDUCE_HAS_EDGES
  return readAround(at, extent, edgeModes);
#else
  return texelFetch(sampler2D(InputTexture, MeshTextureSampler), at, 0);
#endif
}

vec4 shade(vec2 uv) {
  ivec2 at = ivec2(floor(inputPosition()));
  int along = axis.x != 0 ? at.x : at.y;
  ivec2 start = at + (along * (factor - 1) + offset) * axis;
  vec4 sum = vec4(0.0);
  for (int k = 0; k < 2 * factor; ++k) {
    float distance = abs(float(k) + 0.5 - float(factor));
    sum += (float(factor) - distance) * read(start + k * axis);
  }
  return nearestHalf(sum / float(factor * factor));
}
