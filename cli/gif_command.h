#pragma once

#include <optional>
#include <string>

#include "cli/render.h"

namespace Vantrix::Command {

struct GifOptions {
  // A GIF or an animated WebP.
  std::string input;
  // A file that ends in ".gif" or ".webp", or a folder.
  std::string output;
  // May be empty.
  ChainOptions chain;
  // The extension of pictures in a folder; PNG without it.
  std::optional<std::string> format;
};

// `vantrix gif`: composes the frames of an animation, runs each through effects at its time, and
// writes them as an animation or as numbered pictures. Throws `CommandError`.
void ConvertAnimation(const GifOptions& options);

}  // namespace Vantrix::Command
