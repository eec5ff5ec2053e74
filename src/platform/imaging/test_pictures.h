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
  bool arithmetic = false;
  /// Size of the samples of the second and third channel in pixels, 1, 2 or 4; not for RGB.
  unsigned chroma_across = 1;
  unsigned chroma_down = 1;
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
  /// 1, 2, 4, 8, 16, 24 or 32.
  unsigned bits = 24;
  bool top_down = false;
  unsigned width = 1;
  unsigned height = 1;
  /// Bytes of the information header: 12, or 16 and more.
  unsigned header = 40;
  /// The number of the compression; with 3 or 6, the masks of red, green, blue and alpha.
  unsigned compression = 0;
  std::array<std::uint32_t, 4> masks{};
  /// Index into the palette, or the pixel.
  std::vector<std::uint32_t> samples;
  std::vector<std::uint32_t> palette;
};

/// A picture with noise for samples and palette.
/// With `alpha`, 32 bits have masks that give the fourth byte to alpha.
BmpPicture MakeBmp(unsigned bits, unsigned width, unsigned height, bool top_down, bool alpha);
/// What stands before the pixels, which are said to take so many bytes.
Bytes EncodeBmpHeader(const BmpPicture& picture, std::size_t pixel_bytes);
Bytes EncodeBmp(const BmpPicture& picture);
/// The pixels that a decoder must give.
Bytes ExpectedRgba(const BmpPicture& picture);

/// What opening a file, one of its frames and copying that gave.
struct DecodedPicture {
  HRESULT opened = E_FAIL;
  HRESULT frame = E_FAIL;
  HRESULT copied = E_FAIL;
  UINT count = 0;
  UINT width = 0;
  UINT height = 0;
  Bytes pixels;

  bool Succeeded() const { return SUCCEEDED(opened) && SUCCEEDED(copied); }
};

/// The most memory that the process has had so far, in KiB.
long PeakMemory();

CComPtr<IWICImagingFactory2> MakeFactory();
/// A stream over `file`, which must outlive it.
CComPtr<IWICStream> MakeStream(std::span<const BYTE> file);
/// The pixels of a source with straight alpha, red first.
CComPtr<IWICBitmapSource> AsRgba(IWICBitmapSource* source);
HRESULT OpenDecoder(IStream* stream, IWICBitmapDecoder** decoder);
/// The first frame, or null.
CComPtr<IWICBitmapFrameDecode> OpenFrame(IStream* stream);
/// A picture of more than `most_pixels` is only opened.
constexpr UINT64 kMostDecodedPixels = 1 << 22;
DecodedPicture DecodeFrame(IWICBitmapDecoder* decoder, UINT index,
                           const WICPixelFormatGUID& format = GUID_WICPixelFormat32bppRGBA,
                           UINT64 most_pixels = kMostDecodedPixels);
DecodedPicture DecodeFrame(std::span<const BYTE> file, UINT index = 0,
                           const WICPixelFormatGUID& format = GUID_WICPixelFormat32bppPBGRA,
                           UINT64 most_pixels = kMostDecodedPixels);
/// Decodes the first frame to straight alpha, red first; that it does not open counts as the file's
/// failure.
DecodedPicture DecodePicture(std::span<const BYTE> file, UINT64 most_pixels = kMostDecodedPixels);

/// A file of one frame of straight alpha, red first. Empty when a step fails.
Bytes EncodeRgba(const GUID& container, UINT width, UINT height, Bytes pixels);

}  // namespace Vantra::Platform
