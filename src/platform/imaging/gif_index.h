#pragma once

/// Where a GIF file's frames lie and what surrounds them, found without decoding a pixel.

#include <vantrix/platform/wincodec.h>

#include <array>
#include <vector>

#include "platform/imaging/stream_reader.h"

namespace Vantra::Platform {

struct GifFrame {
  UINT64 at;  // of the image descriptor, from the file's start
  WORD left;
  WORD top;
  WORD width;
  WORD height;
  // Of the graphic control extension before the frame, if there is one.
  bool has_control;
  bool has_transparency;
  BYTE transparent_index;
  BYTE disposal;
  WORD delay;  // in hundredths of a second
};

struct GifIndex {
  WORD width = 0;
  WORD height = 0;
  bool has_palette = false;
  BYTE background = 0;
  BYTE aspect = 0;
  std::vector<WICColor> palette;
  // Of an application extension the name and the first sub-block behind its size: of the first one
  // that tells how often the animation is repeated, else of the first at all.
  bool has_application = false;
  std::array<BYTE, 11> application{};
  std::vector<BYTE> application_data;
  std::vector<GifFrame> frames;
};

/// Reads a file from its start up to its end, or to where it is cut off or is no GIF any more: the
/// frames before count. `WINCODEC_ERR_BADHEADER` when there is none,
/// `WINCODEC_ERR_IMAGESIZEOUTOFRANGE` when they, or the screen, go beyond the limits of pictures.
HRESULT ReadGifIndex(StreamReader& stream, GifIndex* index);

/// Reads a frame's palette, which may be that of the file or none. Its transparent colour has an
/// alpha of 0.
HRESULT ReadGifPalette(StreamReader& stream, const GifIndex& index, const GifFrame& frame,
                       std::vector<WICColor>* palette);

/// The order in which an interlaced frame's rows are stored.
template <class TakeRow>
void ForEachInterlacedRow(UINT height, TakeRow take_row) {
  constexpr struct {
    UINT first;
    UINT step;
  } kPasses[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
  for (const auto& pass : kPasses) {
    for (UINT y = pass.first; y < height; y += pass.step) {
      if (!take_row(y)) return;
    }
  }
}

}  // namespace Vantra::Platform
