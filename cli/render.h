#pragma once

// Pictures through effects, for all subcommands that draw.

#include <vantrix/vantrix.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/picture_file.h"

namespace Vantrix::Command {

// An effect by name, with texts of the form Name=Value.
struct ChainLink {
  std::string effect;
  std::vector<std::string> settings;
};

// What a command is told of its effects.
struct ChainOptions {
  // In the order in which a picture runs through them.
  std::vector<ChainLink> links;
  // For every effect, where given: strength, and a place as X,Y.
  std::optional<float> amount;
  std::optional<std::string> mouse;
};

// Created effects, in the order in which a picture runs through them.
using Chain = std::vector<std::unique_ptr<Vantra::Effect>>;

// Makes an effect for pictures of a size and sets its attributes. Those that the attribute XML
// tells are set as text, those that the effect takes by number only as numbers. Throws
// `CommandError` for an unknown name and for a value that cannot be read.
std::unique_ptr<Vantra::Effect> MakeLink(Vantra::Device& device, const ChainLink& link,
                                         unsigned width, unsigned height);

// Throws `CommandError` for a name that is none of an effect, before anything else is done.
void CheckNames(Vantra::Device& device, const ChainOptions& options);

// Makes the effects of a chain for pictures of a size. Throws as `MakeLink` does, and for a place
// that cannot be read.
Chain MakeChain(Vantra::Device& device, const ChainOptions& options, unsigned width,
                unsigned height);

// Links the effects of a chain and draws the picture through them; without effects it comes out as
// it is. `name` tells the picture in the `CommandError` of a failure. The device may be lost then.
Picture Draw(Vantra::Device& device, const Chain& chain, const Picture& picture,
             const std::string& name);
// The same for a picture on the device.
Picture Draw(Vantra::Device& device, const Chain& chain, Vantra::Bitmap& input,
             const std::string& name);

}  // namespace Vantrix::Command
