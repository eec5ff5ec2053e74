#pragma once

#include <string>

#include "effects/textures/texture.h"

namespace Vantra::Textures {

// The texture as a PNG. What it is compressed with is no compression, so that its bytes depend on
// no library.
std::string ToPng(const Texture& texture);

}  // namespace Vantra::Textures
