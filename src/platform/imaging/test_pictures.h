#pragma once

/// Picture files made from known pixels, for the tests and the fuzz targets.

#include <vantrix/platform/wincodec.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Vantra::Platform {

using Bytes = std::vector<BYTE>;

/// Values with no pattern, the same on every run.
class Noise {
 public:
  explicit Noise(std::uint32_t seed) : state_(seed) {}
  std::uint32_t Below(std::uint32_t limit);

 private:
  std::uint32_t state_;
};

enum class PngColour { kGrey, kRgb, kPalette, kGreyAlpha, kRgba };

struct PngPicture {
  PngColour colour = PngColour::kRgba;
  unsigned depth = 8;
  unsigned width = 1;
  unsigned height = 1;
  bool interlaced = false;
  /// Of `depth` bits, the channels of a pixel together.
  std::vector<unsigned> samples;
  /// The colour that is transparent, in samples; for grey, the first.
  std::optional<std::array<unsigned, 3>> transparent;
  /// Red, green, blue, alpha.
  std::vector<std::array<BYTE, 4>> palette;
};

/// A picture with noise for samples and palette. With `transparent`, one of its colours is, unless
/// pixels have an alpha of their own.
PngPicture MakePng(PngColour colour, unsigned depth, unsigned width, unsigned height,
                   bool interlaced, bool transparent);
Bytes EncodePng(const PngPicture& picture);
/// The pixels that a decoder must give, rounded to nearest.
Bytes ExpectedRgba(const PngPicture& picture);

/// Makes the check sums of a PNG file's chunks right, as far as it has chunks.
void RepairPngChecksums(std::span<BYTE> file);

enum class JpegColour { kGrey, kYCbCr, kRgb, kCmyk, kYcck };
enum class JpegCoding { kSequential, kSeparateScans, kProgressive };

struct JpegPicture {
  JpegColour colour = JpegColour::kYCbCr;
  JpegCoding coding = JpegCoding::kSequential;
  bool adobe = false;
  unsigned width = 1;
  unsigned height = 1;
  /// Side of the samples of the second and third channel in pixels, 1 or 2; not for RGB.
  unsigned chroma = 1;
  /// Rows of blocks between restart markers, 0 for none.
  unsigned restart_rows = 0;
  /// Grey, red green blue, or cyan magenta yellow black as stored.
  Bytes samples;
};

/// A picture with smooth gradients.
JpegPicture MakeJpeg(JpegColour colour, JpegCoding coding, unsigned width, unsigned height);
Bytes EncodeJpeg(const JpegPicture& picture);
/// The pixels before compression.
Bytes ExpectedRgba(const JpegPicture& picture);

struct BmpPicture {
  /// 1, 4, 8, 24 or 32.
  unsigned bits = 24;
  bool top_down = false;
  /// With 32 bits: masks that give the fourth byte to alpha.
  bool alpha = false;
  unsigned width = 1;
  unsigned height = 1;
  /// Bytes of the information header: 40, 56, 108 or 124; 56 and more with alpha.
  unsigned header = 40;
  /// Index into the palette, or red, green, blue, alpha in order of value.
  std::vector<std::uint32_t> samples;
  std::vector<std::uint32_t> palette;
};

/// A picture with noise for samples and palette.
BmpPicture MakeBmp(unsigned bits, unsigned width, unsigned height, bool top_down, bool alpha);
Bytes EncodeBmp(const BmpPicture& picture);
/// The pixels that a decoder must give.
Bytes ExpectedRgba(const BmpPicture& picture);

/// What opening a file and copying its first frame gave.
struct DecodedPicture {
  HRESULT opened = E_FAIL;
  HRESULT copied = E_FAIL;
  UINT width = 0;
  UINT height = 0;
  Bytes pixels;

  bool Succeeded() const { return SUCCEEDED(opened) && SUCCEEDED(copied); }
};

CComPtr<IWICImagingFactory2> MakeFactory();
/// A stream over `file`, which must outlive it.
CComPtr<IWICStream> MakeStream(std::span<const BYTE> file);
/// The pixels of a source with straight alpha, red first.
CComPtr<IWICBitmapSource> AsRgba(IWICBitmapSource* source);
/// Decodes to straight alpha, red first. A picture of more than `most_pixels` is only opened.
DecodedPicture DecodePicture(std::span<const BYTE> file, UINT64 most_pixels = UINT64{1} << 22);

}  // namespace Vantra::Platform
