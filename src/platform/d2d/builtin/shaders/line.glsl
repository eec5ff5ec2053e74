// The sum of weighted pixels along a line, as many on both sides. The line is walked along the
// axis that it is closer to. Included behind pixel.glsl, with these defined:
//   LINE_INTERPOLATES  whether places between two pixels take both, else the nearer one
//   LINE_HAS_EDGES     whether the line may leave the image

#include "edges.glsl"
#include "half.glsl"

CONSTANTS {
  EDGES
  ivec2 axis;
  ivec2 across;
  // From one place to the next: pixels along the axis, and for each of them pixels across.
  int stride;
  float slope;
  // Places on each side.
  int reach;
  uint toHalf;
  // By the number of the place.
  float weights[256];
};

vec4 read(ivec2 at) {
#if LINE_HAS_EDGES
  return readAround(at, extent, edgeModes);
#else
  return texelFetch(sampler2D(InputTexture, MeshTextureSampler), at, 0);
#endif
}

// The pixels `k` places away, on both sides.
vec4 readPair(ivec2 at, int k) {
  int along = k * stride;
  float rise = float(along) * slope;
#if LINE_INTERPOLATES
  float whole = floor(rise);
  ivec2 near = along * axis + int(whole) * across;
  ivec2 far = near + across;
  return mix(read(at + near) + read(at - near), read(at + far) + read(at - far), rise - whole);
#else
  ivec2 place = along * axis + int(floor(rise + 0.5)) * across;
  return read(at + place) + read(at - place);
#endif
}

vec4 shade(vec2 uv) {
  ivec2 at = ivec2(floor(inputPosition()));
  vec4 sum = weights[0] * read(at);
  for (int k = 1; k <= reach; ++k) sum += weights[k] * readPair(at, k);
  return toHalf != 0u ? nearestHalf(sum) : sum;
}
