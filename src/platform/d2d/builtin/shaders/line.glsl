// The sum of weighted pixels along a line, as many on both sides. The line is walked along the
// axis that it is closer to. Included behind pixel.glsl. LINE_INTERPOLATES tells whether places
// between two pixels take both, else the nearer one.

#include "edges.glsl"
#include "half.glsl"

CONSTANTS {
  EDGES
  ivec2 axis;
  ivec2 across;
  // How far the line goes, in pixels.
  ivec2 span;
  // From one place to the next: pixels along the axis, and for each of them pixels across.
  int stride;
  float slope;
  // Places on each side.
  int reach;
  uint toHalf;
  // By the number of the place.
  float weights[256];
};

vec4 readInside(ivec2 at) {
  return texelFetch(sampler2D(InputTexture, MeshTextureSampler), at, 0);
}

#if LINE_INTERPOLATES
// The two places `k` steps away, on both sides.
#define PAIR(read, at, k)                                       \
  float rise = float((k) * stride) * slope;                     \
  float whole = floor(rise);                                    \
  ivec2 near = (k) * stride * axis + int(whole) * across;       \
  ivec2 far = near + across;                                    \
  vec4 pair = mix(read(at + near) + read(at - near), read(at + far) + read(at - far), rise - whole)
#else
#define PAIR(read, at, k)                                                                     \
  ivec2 place = (k) * stride * axis + int(floor(float((k) * stride) * slope + 0.5)) * across; \
  vec4 pair = read(at + place) + read(at - place)
#endif

vec4 readByRule(ivec2 at) {
  return readAround(at, extent, edgeModes);
}

vec4 shade(vec2 uv) {
  ivec2 at = ivec2(floor(inputPosition()));
  vec4 sum;
  if (all(greaterThanEqual(at - span, extent.xy)) && all(lessThan(at + span, extent.zw))) {
    sum = weights[0] * readInside(at);
    for (int k = 1; k <= reach; ++k) {
      PAIR(readInside, at, k);
      sum += weights[k] * pair;
    }
  } else {
    sum = weights[0] * readByRule(at);
    for (int k = 1; k <= reach; ++k) {
      PAIR(readByRule, at, k);
      sum += weights[k] * pair;
    }
  }
  return toHalf != 0u ? nearestHalf(sum) : sum;
}
