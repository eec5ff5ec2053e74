#pragma once

// A compute program on memory of the host, for what of the library would else fill textures only to
// read a buffer back.

#include <vantrix/platform/d3d11.h>

#include "render/engine.h"

namespace Vantra::Platform {

// Runs `shader` as the computation says, whose program is filled in here. False when the engine has
// no shorter way than by textures and a buffer, and when it fails; then nothing is written.
bool DispatchOnHost(ID3D11ComputeShader* shader, Render::HostComputation computation);

}  // namespace Vantra::Platform
