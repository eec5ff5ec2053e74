#pragma once

/// Makes pixels of the samples of TIFF pictures.

#include <vantrix/platform/wincodec.h>

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace Vantra::Platform {

enum class TiffColour { kGrey, kPalette, kRgb, kCmyk };
enum class TiffSampleKind { kUnsigned, kSigned, kFloat };

/// How a picture's samples are stored, as the library gives them: in the processor's byte order,
/// those narrower than a byte from its highest bit on.
struct TiffFormat {
  TiffColour colour = TiffColour::kGrey;
  /// The greatest grey stands for black.
  bool white_is_zero = false;
  TiffSampleKind kind = TiffSampleKind::kUnsigned;
  /// 1 to 16, or 32; of floats 16, 32 or 64. At most 16 for palettes.
  unsigned bits = 8;
  /// Of a pixel, in one row or in planes of their own.
  unsigned samples = 1;
  bool planes = false;
  /// Which sample is alpha, and whether the colours are multiplied by it.
  std::optional<unsigned> alpha;
  bool premultiplied = false;
  /// Red, green, blue; as many as a sample has values.
  std::vector<std::array<BYTE, 3>> palette;

  unsigned Colours() const;
};

/// Unsigned samples stand for their share of the greatest one, signed ones too, with those below
/// zero as zero; floats for themselves, from 0 to 1. None is taken through a tone curve.
class TiffSamples {
 public:
  /// Bytes that may be read behind the last sample.
  static constexpr std::size_t kPadding = 2;

  explicit TiffSamples(TiffFormat format);

  const TiffFormat& Format() const { return format_; }

  /// Stores `count` pixels as blue, green, red, alpha. `rows` holds one row of whole pixels, or one
  /// of each plane in use: of the colours in order, then alpha.
  void Convert(std::span<const BYTE* const> rows, std::size_t count, BYTE* pixels);

 private:
  struct Channel {
    const BYTE* row;
    std::size_t first;  // in samples
    std::size_t step;
  };

  Channel ChannelOf(std::span<const BYTE* const> rows, unsigned colour) const;
  Channel AlphaChannel(std::span<const BYTE* const> rows) const;
  void Store(Channel channel, std::size_t count, bool inverted, BYTE* out, std::size_t out_step);
  void StorePalette(Channel channel, std::size_t count, BYTE* pixels) const;
  void StoreCmyk(std::span<const BYTE* const> rows, std::size_t count, BYTE* pixels);
  void StorePackedRgb(const BYTE* row, std::size_t count, BYTE* pixels) const;

  TiffFormat format_;
  // What samples of up to 16 bits become.
  std::vector<BYTE> steps_;
  std::vector<BYTE> black_;
};

}  // namespace Vantra::Platform
