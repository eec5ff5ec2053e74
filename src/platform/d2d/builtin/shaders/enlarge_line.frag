#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"
#include "half.glsl"

// Makes pixels of the cells of a row or a column, by cubic B-splines.

CONSTANTS {
  ivec2 axis;
  // A cell has 1 << shift pixels.
  int shift;
  // Place of the pixel, from a cell's corner = position + offset.
  int offset;
  // Texel of that cell.
  int cellOffset;
  uint toHalf;
};

vec4 read(ivec2 at) {
  return texelFetch(sampler2D(InputTexture, MeshTextureSampler), at, 0);
}

vec4 shade(vec2 uv) {
  ivec2 at = ivec2(floor(inputPosition()));
  int along = axis.x != 0 ? at.x : at.y;
  // From the cell's centre, in halves of a pixel.
  int place = 2 * (along + offset) + 1 - (1 << shift);
  int cell = place >> (shift + 1);
  float t = float(place - (cell << (shift + 1))) / float(2 << shift);
  float s = 1.0 - t;
  ivec2 first = at + (cell + cellOffset - 1 - along) * axis;
  vec4 sum = (s * s * s * read(first) + ((3.0 * t - 6.0) * t * t + 4.0) * read(first + axis) +
              ((3.0 * s - 6.0) * s * s + 4.0) * read(first + 2 * axis) +
              t * t * t * read(first + 3 * axis)) / 6.0;
  return toHalf != 0u ? nearestHalf(sum) : sum;
}
