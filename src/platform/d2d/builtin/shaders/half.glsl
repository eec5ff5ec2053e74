// Results for textures of 16-bit floats.

// The nearest number of a 16-bit float. Some drivers cut what does not fit; what fits they leave.
vec4 nearestHalf(vec4 value) {
  const uint kDropped = 13u;
  uvec4 bits = floatBitsToUint(value) + (1u << (kDropped - 1u));
  return uintBitsToFloat(bits >> kDropped << kDropped);
}
