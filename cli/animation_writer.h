#pragma once

// Animations that are written.

#include <functional>
#include <string>

#include "cli/picture_file.h"
#include "cli/picture_info.h"

namespace Vantrix::Command {

// Whether animations are written to files of that name, which end in ".gif" or ".webp".
bool IsAnimationName(const std::string& path);

// Writes pictures of one size as an animation in the format that the extension names. `draw_next`
// gives one frame after the other, of `info.frames`, and may throw. A file that is there stays as
// it was until the new one is complete. Throws `CommandError`.
void WriteAnimation(const std::string& path, const PictureInfo& info, unsigned width,
                    unsigned height, const std::function<Picture()>& draw_next);

}  // namespace Vantrix::Command
