#version 450
#extension GL_GOOGLE_include_directive : require
#include "pixel.glsl"

struct Line {
  float intercept;
  float slope;
  uint disabled;
};

CONSTANTS {
  Line lines[4];
  uint clampOutput;
};

float transferred(float c, int channel) {
  Line line = lines[channel];
  bool isDisabled = line.disabled != 0u;
  return (isDisabled ? 1.0 : line.slope) * c + (isDisabled ? 0.0 : line.intercept);
}

#include "transfer.glsl"
