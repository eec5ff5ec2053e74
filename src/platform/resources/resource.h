#pragma once

/// The table of the library's resources, made when it is built. The functions that find and read a
/// resource are declared in `vantrix/platform/com.h`.

#include <vantrix/platform/com.h>

#include <span>
#include <string_view>

/// One resource. The bytes begin at a multiple of 16.
struct ResourceEntry {
  std::string_view name;  ///< In capitals.
  const unsigned char* begin;
  const unsigned char* end;
};

namespace Vantra::Platform {

/// All resources, sorted by name.
std::span<const ResourceEntry> GetResourceTable();

}  // namespace Vantra::Platform
