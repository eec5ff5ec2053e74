// What the programs that draw a transformed image share; included behind pixel.glsl. The pass
// counts pixels from the corner of the rectangle that it draws.

CONSTANTS {
  // Place in the image, in its pixels: (dot(u, p), dot(v, p)) / dot(w, p) with p = (x, y, 1).
  vec3 u;
  vec3 v;
  vec3 w;
  // Distance in pixels of the target from each edge of what is drawn, positive inside: dot(e, p).
  vec3 leftEdge;
  vec3 topEdge;
  vec3 rightEdge;
  vec3 bottomEdge;
  // Left, top, right and bottom of where the image may be read.
  vec4 reach;
  // result = coverage * (opacity * image + color) + (1 - coverage) * outside
  vec4 color;
  vec4 outside;
  float opacity;
  // 1: a pixel is covered when its centre is inside. 0: by the part of it that is inside.
  float aliased;
  // What the interpolation makes of it.
  vec2 detail;
};

// A pixel of the target in the image: its centre and its two sides.
struct Footprint {
  vec2 center;
  vec2 dx;
  vec2 dy;
};

// dot(e, p) in steps that are rounded one by one: places and edges run through the centres of whole
// rows of pixels, which come out alike only as long as opposite products cancel out.
float along(vec3 e, vec3 p) {
  precise float sum = e.x * p.x + e.y * p.y + e.z;
  return sum;
}

Footprint footprint() {
  vec3 p = vec3(inputPosition(), 1.0);
  float depth = along(w, p);
  vec2 center = vec2(along(u, p), along(v, p)) / depth;
  return Footprint(center, (vec2(u.x, v.x) - center * w.x) / depth,
                   (vec2(u.y, v.y) - center * w.y) / depth);
}

// The image at a place in its pixels; beyond the part that is drawn its edge goes on.
vec4 readImage(vec2 place) {
  return sampleInput(clamp(place, reach.xy, reach.zw) * inputPixel());
}

float coverage() {
  vec3 p = vec3(inputPosition(), 1.0);
  vec2 first = vec2(along(leftEdge, p), along(topEdge, p));
  vec2 last = vec2(along(rightEdge, p), along(bottomEdge, p));
  if (aliased > 0.5) {
    return all(greaterThanEqual(first, vec2(0.0))) && all(greaterThan(last, vec2(0.0))) ? 1.0 : 0.0;
  }
  vec2 inside = clamp(first + 0.5, 0.0, 1.0) + clamp(last + 0.5, 0.0, 1.0) - 1.0;
  inside = max(inside, 0.0);
  return inside.x * inside.y;
}

vec4 interpolate(Footprint pixel);

vec4 shade(vec2 uv) {
  float covered = coverage();
  if (covered <= 0.0) return outside;
  vec4 image = color;
  if (opacity > 0.0) image += opacity * interpolate(footprint());
  return mix(outside, image, covered);
}
