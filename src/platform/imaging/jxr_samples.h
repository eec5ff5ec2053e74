#pragma once

/// Makes pixels of the samples of HD Photo pictures.

#include <array>
#include <vector>

#include "platform/imaging/jxr_container.h"

namespace Vantra::Platform {

/// Bits of a pixel as the library is asked to store it: colours in order (blue first for RGB of 8
/// bits, which has a fourth byte that is not written), one sample of alpha.
unsigned JxrBitsPerPixel(JxrColour colour, JxrDepth depth);

/// Samples of fixed point, floats and shared exponents are linear light, as the format defines
/// them, and become sRGB; others are taken as they are.
class JxrSamples {
 public:
  JxrSamples(JxrColour colour, JxrDepth depth, bool swapped);

  /// Stores a row of pixels as blue, green, red, with alpha 255. `stored` holds a row as the
  /// library stored it.
  void Convert(const BYTE* stored, std::size_t count, BYTE* pixels) const;
  /// Stores the alpha of a row of pixels.
  void ConvertAlpha(const BYTE* stored, std::size_t count, BYTE* pixels) const;

 private:
  enum class Curve { kAlpha, kColour };

  std::vector<BYTE> MakeTable(Curve curve) const;
  template <Curve kCurve>
  BYTE Level(const BYTE* stored, std::size_t index) const;
  void ConvertPacked(const BYTE* stored, std::size_t count, BYTE* pixels) const;

  JxrColour colour_;
  JxrDepth depth_;
  bool swapped_;
  // What samples of 16 bits become.
  std::vector<BYTE> colour_table_;
  std::vector<BYTE> alpha_table_;
};

}  // namespace Vantra::Platform
