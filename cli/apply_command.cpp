#include "cli/apply_command.h"

#include <vantrix/vantrix.h>

#include <cstdio>
#include <fmt/format.h>

#include "cli/command_error.h"
#include "cli/effect_commands.h"
#include "cli/engines_command.h"
#include "cli/picture_file.h"
#include "cli/text.h"

namespace Vantrix::Command {
namespace {

void SetMouse(Vantra::Effect& effect, const std::string& name, const std::string& place) {
  float x = 0;
  float y = 0;
  int end = 0;
  if (std::sscanf(place.c_str(), "%f,%f%n", &x, &y, &end) != 2 ||
      static_cast<std::size_t>(end) != place.size()) {
    throw CommandError(kWrongUsage, fmt::format("--mouse {}: expected X,Y", place));
  }
  if (!effect.SetMousePosition(x, y)) {
    PrintError(fmt::format("{} does not follow the mouse", name).c_str());
  }
}

}  // namespace

void Apply(const ApplyOptions& options) {
  Vantra::Device device;
  StartDevice(device);
  // Names are checked before the picture is read.
  for (const ChainLink& link : options.chain) MakeEffect(device.GetEffectFactory(), link.effect);
  const Picture picture = ReadPicture(
      device, options.input, options.size ? std::optional(ParseSize(*options.size)) : std::nullopt);
  Chain chain;
  for (const ChainLink& link : options.chain) {
    chain.push_back(MakeLink(device, link, picture.width, picture.height));
    Vantra::Effect& effect = *chain.back();
    if (options.amount) effect.SetAmout(*options.amount);
    if (options.mouse) SetMouse(effect, link.effect, *options.mouse);
    if (options.time) effect.SetTime(*options.time);
  }
  WritePicture(device, options.output, Draw(device, chain, picture, options.input));
}

}  // namespace Vantrix::Command
