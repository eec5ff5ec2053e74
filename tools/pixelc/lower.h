#pragma once

#include "ir.h"
#include "spirv_module.h"

namespace Vantra::Pixelc {

// The scalar form of a program of one function, all calls inlined. Throws `TranslationError`.
Program Lower(const SpirvModule& module);

}  // namespace Vantra::Pixelc
