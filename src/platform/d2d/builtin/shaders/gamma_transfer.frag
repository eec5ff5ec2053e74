#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

struct Curve {
  float amplitude;
  float exponent;
  float offset;
  uint disabled;
};

CONSTANTS {
  Curve curves[4];
  uint clampOutput;
};

// c ^ exponent. The language leaves out powers of 0, and devices are not exact at simple exponents.
float power(float c, float exponent) {
  const float kHuge = 1e30;
  if (exponent == 0.0) return 1.0;
  if (exponent == 1.0) return c;
  if (c <= 0.0) return exponent > 0.0 ? 0.0 : kHuge;
  return min(pow(c, exponent), kHuge);
}

float transferred(float c, int channel) {
  Curve curve = curves[channel];
  if (curve.disabled != 0u) return c;
  return curve.amplitude * power(c, curve.exponent) + curve.offset;
}

#include "transfer.glsl"
