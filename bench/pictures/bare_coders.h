#pragma once

// The picture libraries by themselves, as a program uses them that has its file in memory.

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace Vantra::Bench {

using Bytes = std::vector<unsigned char>;

constexpr int kPictureWidth = 1920;
constexpr int kPictureHeight = 1080;

/// Smooth areas, edges and a fine grain, as a photograph has: `kPictureWidth` by `kPictureHeight`
/// pixels of blue, green, red, alpha. Alpha is 255, or of every value.
Bytes DrawPhotograph(bool with_alpha);

struct BareCoder {
  std::string name;
  bool with_alpha;
  /// Makes a file of blue, green, red, alpha, straight, or of what of it the kind of file holds.
  Bytes (*encode)(const Bytes& pixels);
  /// Decodes into what the library gives at the least cost, as `pixels`, which keep their memory.
  void (*decode)(std::span<const unsigned char> file, Bytes* pixels);
  /// Whether `encode` writes what our encoder of the format does.
  bool as_ours;
};

/// Each throws `std::runtime_error` when the library fails.
BareCoder BarePng(bool with_alpha);
BareCoder BareJpeg(bool subsampled);
enum class TiffKind { kPlain, kDeflate, kLzw };
BareCoder BareTiff(TiffKind kind);
BareCoder BareWebp(bool lossless);
BareCoder BareJxr();

/// Decodes all frames of a GIF to indices.
void DecodeBareGif(std::span<const unsigned char> file, Bytes* pixels);
/// A frame of indices, which a palette of 256 greys gives colours, or the smallest of them.
Bytes EncodeBareGif(const Bytes& indices);

}  // namespace Vantra::Bench
