#pragma once

#include <string>

namespace Vantrix::Command {

// `vantrix resources`: the name and size of everything that is stored in the library.
void ListResources();

// Writes one resource to a file as it is stored. Throws `CommandError` for an unknown name.
void ExtractResource(const std::string& name, const std::string& path);

}  // namespace Vantrix::Command
