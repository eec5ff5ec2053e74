#pragma once

#include <string>
#include <vector>

#include "cli/text.h"

namespace Vantrix::Command {

// `vantrix info`: what picture files tell of themselves. A file that cannot be read is told of on
// the standard error stream; the result is whether there was none.
bool PrintInfo(const std::vector<std::string>& files, Output output);

}  // namespace Vantrix::Command
