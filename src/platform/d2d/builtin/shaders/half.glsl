// Results for textures of 16-bit floats.

// The nearest number of a 16-bit float. Drivers round and cut; what needs neither is stored alike.
vec4 nearestHalf(vec4 value) {
  const uint kDropped = 13u;
  uvec4 bits = floatBitsToUint(value) + (1u << (kDropped - 1u));
  return uintBitsToFloat(bits >> kDropped << kDropped);
}
