#pragma once

/// GIF files made from known pixels, for the tests and the fuzz targets.

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "platform/imaging/test_pictures.h"

namespace Vantra::Platform {

using GifPalette = std::vector<std::array<BYTE, 3>>;  // red, green, blue

struct GifPatch {
  unsigned left = 0;
  unsigned top = 0;
  unsigned width = 1;
  unsigned height = 1;
  bool interlaced = false;
  /// 2, 4, 8 ... 256 colours, or none for those of the file.
  GifPalette palette;
  /// With any of these, a graphic control extension precedes the frame.
  std::optional<BYTE> transparent;
  std::optional<unsigned> delay;
  std::optional<unsigned> disposal;
  Bytes indexes;
};

struct GifPicture {
  unsigned width = 1;
  unsigned height = 1;
  GifPalette palette;
  BYTE background = 0;
  BYTE aspect = 0;
  /// Bytes between the screen and the first frame, such as extensions.
  Bytes before_frames;
  std::vector<GifPatch> frames;
};

GifPalette MakeGifPalette(unsigned colours, unsigned seed);
/// A frame of noise with indexes below `colours`.
GifPatch MakeGifPatch(unsigned colours, unsigned width, unsigned height, bool interlaced);
/// Two frames of noise, the second of a palette of its own.
GifPicture MakeGif(unsigned colours, bool interlaced, bool transparent);
/// An application extension.
Bytes MakeGifApplication(const char* name, const Bytes& data);
Bytes EncodeGif(const GifPicture& picture);
/// The pixels that a decoder must give for a frame.
Bytes ExpectedRgba(const GifPicture& picture, const GifPatch& patch);

/// A value as text: "bool 1", "ui1 5", "ui2 300", "bytes 3 1 0 0", or the failure in hexadecimal.
std::string DescribeValue(IWICMetadataQueryReader* reader, LPCWSTR name);
/// The same of what has metadata, a decoder or a frame.
template <class Owner>
std::string Describe(const CComPtr<Owner>& owner, LPCWSTR name) {
  CComPtr<IWICMetadataQueryReader> reader;
  return owner->GetMetadataQueryReader(&reader) == S_OK ? DescribeValue(reader, name) : "no reader";
}

}  // namespace Vantra::Platform
