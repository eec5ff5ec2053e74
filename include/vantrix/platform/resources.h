#pragma once

/// What is stored in the library: compiled programs and texture images.

#include <vantrix/export.h>

#include <cstddef>
#include <string>
#include <vector>

namespace Vantra::Platform {

struct StoredResource {
  /// The name by which `FindResourceW` finds it.
  std::string name;
  /// Owned by the library, valid while it is loaded.
  const unsigned char* data;
  std::size_t size;
};

/// All resources, sorted by name.
VANTRIX_API std::vector<StoredResource> ListResources();

}  // namespace Vantra::Platform
