// What the frame conversions share. It needs `compute.glsl` before it.

// A word that is blue, green, red, alpha in memory.
uint packBgra(uvec3 rgb, uint alpha) {
  return rgb.b + (rgb.g << 8) + (rgb.r << 16) + (alpha << 24);
}

uint toByte(int millionths) {
  return uint(clamp(millionths / 1000000, 0, 255));
}

// The colour of a sample of limited-range BT.601, cut to whole steps:
//   R = 1.164384 Y + 1.596027 V
//   G = 1.164384 Y - 0.8129677 V - 0.3917623 U
//   B = 1.164384 Y + 2.017232 U
// of Y - 16, U - 128, V - 128. Floats of 32 bits would miss some steps by rounding across them, so
// it is computed exactly, in millionths. Green has one decimal more: its last two terms together
// are rounded to the side on which the cut gives the same. The bias, a multiple of ten millionths
// above any value, keeps the division from meeting negative numbers.
uvec3 yuvToRgb(int y, int u, int v) {
  int luma = 1164384 * (y - 16);
  const int kBias = 1600000000;
  uint chroma = uint(8129677 * (v - 128) + 3917623 * (u - 128) + kBias) + 9u;
  int green = luma - (int(chroma / 10u) - kBias / 10);
  return uvec3(toByte(luma + 1596027 * (v - 128)), toByte(green),
               toByte(luma + 2017232 * (u - 128)));
}
