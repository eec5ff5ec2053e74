// Reading around a pixel, with a rule for what lies beyond the image. Included behind pixel.glsl;
// the program's constants begin with EDGES.

// The image's extent in texels, of which the texture may hold a part, and the rule for each
// direction.
#define EDGES ivec4 extent; ivec2 edgeModes;

#define EDGE_TRANSPARENT 0
#define EDGE_MIRROR 1
#define EDGE_CLAMP 2
#define EDGE_WRAP 3

// The place in a row or column of `count` that stands for `at`; negative for none.
int edgePlace(int at, int count, int mode) {
  if (at >= 0 && at < count) return at;
  if (mode == EDGE_TRANSPARENT) return -1;
  if (mode == EDGE_CLAMP) return clamp(at, 0, count - 1);
  int period = mode == EDGE_MIRROR ? 2 * count : count;
  int place = at - period * int(floor(float(at) / float(period)));
  // The division may be a little off at its steps.
  if (place < 0) place += period;
  if (place >= period) place -= period;
  return place < count ? place : period - 1 - place;
}

// The texel of the image at a place in the texture, by the rules.
vec4 readAround(ivec2 at, ivec4 extent, ivec2 modes) {
  ivec2 place = ivec2(edgePlace(at.x - extent.x, extent.z - extent.x, modes.x),
                      edgePlace(at.y - extent.y, extent.w - extent.y, modes.y));
  if (place.x < 0 || place.y < 0) return vec4(0.0);
  return texelFetch(sampler2D(InputTexture, MeshTextureSampler), place + extent.xy, 0);
}
