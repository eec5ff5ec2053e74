#pragma once

// What picture files tell of themselves.

#include <vantrix/vantrix.h>

#include <string>
#include <vector>

namespace Vantrix::Command {

struct PictureInfo {
  // As in "HD Photo".
  const char* format = "";
  // Of an animation's screen, else of the first picture.
  unsigned width = 0;
  unsigned height = 0;
  // At least 1.
  unsigned frames = 1;
  // How long each frame of a GIF or an animated WebP is shown, in milliseconds; empty for others.
  std::vector<unsigned> delays;
  // How often an animation is shown, 0 for without end.
  unsigned plays = 1;
};

// Reads what the headers of an opened file tell; the file may still be damaged behind them. Throws
// `CommandError`, with `path` for the file's name.
PictureInfo ReadPictureInfo(IWICBitmapDecoder* decoder, const std::string& path);

}  // namespace Vantrix::Command
