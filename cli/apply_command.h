#pragma once

#include <string>
#include <vector>

namespace Vantrix::Command {

struct ApplyOptions {
  std::string input;
  std::string output;
  std::string effect;
  // Texts of the form Name=Value.
  std::vector<std::string> settings;
};

// `vantrix apply`: runs a picture through an effect. Throws `CommandError`.
void Apply(const ApplyOptions& options);

}  // namespace Vantrix::Command
