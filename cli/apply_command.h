#pragma once

#include <optional>
#include <string>

#include "cli/render.h"

namespace Vantrix::Command {

struct ApplyOptions {
  std::string input;
  std::string output;
  // With at least one effect.
  ChainOptions chain;
  // For every effect, where given, in milliseconds.
  std::optional<float> time;
  // Where given, the picture is scaled to fill this many pixels and cut.
  std::optional<std::string> size;
};

// `vantrix apply`: runs a picture through effects. Throws `CommandError`.
void Apply(const ApplyOptions& options);

}  // namespace Vantrix::Command
