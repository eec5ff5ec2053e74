#pragma once

// Programs for tests, from the text of SPIR-V.

#include <cstdint>
#include <string>
#include <vector>

#include "ir.h"

namespace Vantra::Pixelc {

// Throws `std::invalid_argument` when the text is no SPIR-V.
std::vector<std::uint32_t> Assemble(const std::string& text);

// What every test program has: types by the names %float, %v2int, %mat3 and so on, the constants
// %f0, %f1, %i0 to %i4, %u0 to %u4, %true and %false; the function set %glsl; and a constant block
// with an array of 64 words, read as %block. `declarations` stand before the function.
std::string PixelText(const std::string& declarations, const std::string& body);
std::string ComputeText(const std::string& declarations, const std::string& body);

Program LowerText(const std::string& text);

}  // namespace Vantra::Pixelc
