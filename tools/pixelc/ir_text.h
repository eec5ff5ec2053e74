#pragma once

#include <string>

#include "ir.h"

namespace Vantra::Pixelc {

// The name of an operation without its k.
const char* NameOf(Op op);

// A program to read: one line an instruction.
std::string TextOf(const Program& program);

}  // namespace Vantra::Pixelc
