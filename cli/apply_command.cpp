#include "cli/apply_command.h"

#include <vantrix/vantrix.h>

#include "cli/engines_command.h"
#include "cli/picture_file.h"
#include "cli/text.h"

namespace Vantrix::Command {

void Apply(const ApplyOptions& options) {
  Vantra::Device device;
  StartDevice(device);
  CheckNames(device, options.chain);
  const Picture picture = ReadPicture(
      device, options.input, options.size ? std::optional(ParseSize(*options.size)) : std::nullopt);
  const Chain chain = MakeChain(device, options.chain, picture.width, picture.height);
  if (options.time) {
    for (const auto& effect : chain) effect->SetTime(*options.time);
  }
  WritePicture(device, options.output, Draw(device, chain, picture, options.input));
}

}  // namespace Vantrix::Command
