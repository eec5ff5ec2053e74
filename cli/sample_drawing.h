#pragma once

#include "cli/picture_file.h"
#include "cli/text.h"

namespace Vantrix::Command {

// Draws a landscape by a lake, opaque, that shows what effects do: smooth areas and fine grain,
// straight lines, a clipped highlight, a balloon of saturated colours, and in front a chart of
// plain colours, skin tones and greys beside a colour wheel. The same size gives the same picture.
Picture DrawSample(Size size);

// Lets a picture become transparent from its left to its right side.
void FadeOut(Picture& picture);

}  // namespace Vantrix::Command
