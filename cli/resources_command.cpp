#include "cli/resources_command.h"

#include <vantrix/platform/resources.h>

#include <algorithm>
#include <fmt/format.h>
#include <strings.h>

#include "cli/command_error.h"
#include "cli/picture_file.h"

namespace Vantrix::Command {

void ListResources() {
  for (const auto& resource : Vantra::Platform::ListResources()) {
    fmt::print("{}\t{}\n", resource.name, resource.size);
  }
}

void ExtractResource(const std::string& name, const std::string& path) {
  const auto all = Vantra::Platform::ListResources();
  const auto found = std::find_if(all.begin(), all.end(), [&name](const auto& resource) {
    return strcasecmp(resource.name.c_str(), name.c_str()) == 0;
  });
  if (found == all.end()) {
    throw CommandError(
        kWrongUsage,
        fmt::format("there is no resource {}; `vantrix resources` lists them all", name));
  }
  WriteBytes(path, found->data, found->size);
}

}  // namespace Vantrix::Command
