#pragma once

// The C++ of a translated program.

#include <cstdint>
#include <string>

#include "ir.h"

namespace Vantra::Pixelc {

// The text of NAME.inc, NAME being the program's name. `hash` is that of the program as the engines
// are given it.
std::string EmitProgram(Program program, std::uint64_t hash);

}  // namespace Vantra::Pixelc
