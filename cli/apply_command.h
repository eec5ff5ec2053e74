#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/render.h"

namespace Vantrix::Command {

struct ApplyOptions {
  std::string input;
  std::string output;
  // In the order in which the picture runs through them; not empty.
  std::vector<ChainLink> chain;
  // For every effect of the chain, where given: milliseconds, strength, and a place as X,Y.
  std::optional<float> time;
  std::optional<float> amount;
  std::optional<std::string> mouse;
  // Where given, the picture is scaled to fill this many pixels and cut.
  std::optional<std::string> size;
};

// `vantrix apply`: runs a picture through effects. Throws `CommandError`.
void Apply(const ApplyOptions& options);

}  // namespace Vantrix::Command
