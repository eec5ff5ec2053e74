#pragma once

/// Values of floating-point samples, for the decoders of formats that have them.

#include <vantrix/platform/com.h>

#include <algorithm>
#include <cmath>

namespace Vantra::Platform {

/// A share of 1 as a level of 0 to 255, rounded; what is not a number is 0.
inline BYTE LevelOfShare(double value) {
  if (!(value > 0)) return 0;
  return static_cast<BYTE>(std::lround(std::min(value, 1.0) * 255));
}

/// The value of a float of 16 bits.
inline double HalfToDouble(unsigned half) {
  const int exponent = static_cast<int>(half >> 10 & 31);
  const unsigned fraction = half & 1023;
  const double sign = (half & 0x8000) != 0 ? -1 : 1;
  if (exponent == 31) return fraction != 0 ? std::nan("") : sign * INFINITY;
  if (exponent == 0) return sign * std::ldexp(fraction, -24);
  return sign * std::ldexp(fraction + 1024, exponent - 25);
}

}  // namespace Vantra::Platform
