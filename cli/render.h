#pragma once

// Pictures through effects, for all subcommands that draw.

#include <vantrix/vantrix.h>

#include <memory>
#include <string>
#include <vector>

#include "cli/picture_file.h"

namespace Vantrix::Command {

// An effect by name, with texts of the form Name=Value.
struct ChainLink {
  std::string effect;
  std::vector<std::string> settings;
};

// Created effects, in the order in which a picture runs through them.
using Chain = std::vector<std::unique_ptr<Vantra::Effect>>;

// Makes an effect for pictures of a size and sets its attributes. Those that the attribute XML
// tells are set as text, those that the effect takes by number only as numbers. Throws
// `CommandError` for an unknown name and for a value that cannot be read.
std::unique_ptr<Vantra::Effect> MakeLink(Vantra::Device& device, const ChainLink& link,
                                         unsigned width, unsigned height);

// Links the effects of a chain that is not empty, and draws the picture through them. `name` tells
// the picture in the `CommandError` of a failure. The device may be lost then.
Picture Draw(Vantra::Device& device, const Chain& chain, const Picture& picture,
             const std::string& name);

}  // namespace Vantrix::Command
