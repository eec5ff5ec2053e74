#include "cli/apply_command.h"

#include <vantrix/vantrix.h>

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>

#include "cli/command_error.h"
#include "cli/effect_commands.h"
#include "cli/engines_command.h"
#include "cli/picture_file.h"
#include "cli/text.h"

namespace Vantrix::Command {
namespace {

namespace Platform = Vantra::Platform;

using Chain = std::vector<std::unique_ptr<Vantra::Effect>>;

// The attribute names of an effect, joined by commas.
std::string ListNames(const Vantra::EffectAttributesParser& parser) {
  std::vector<std::string> names;
  for (const auto& each : parser.GetAttributes()) names.push_back(Narrow(each->attribute.name));
  return names.empty() ? "it has none" : fmt::format("{}", fmt::join(names, ", "));
}

void SetAttribute(Vantra::Effect& effect, const std::string& name, const std::string& setting) {
  Vantra::EffectAttributesParser parser;
  parser.Parse(effect.GetXmlAttributes());
  const std::size_t split = setting.find('=');
  if (split == std::string::npos || split == 0) {
    throw CommandError(kWrongUsage, fmt::format("-s {}: expected Name=Value", setting));
  }
  Vantra::Effect::Attribute attribute{Widen(setting.substr(0, split)),
                                      Widen(setting.substr(split + 1))};
  if (!parser.GetAttribute(attribute.name)) {
    throw CommandError(kWrongUsage, fmt::format("-s {}: {} has no such attribute; {}", setting,
                                                name, ListNames(parser)));
  }
  try {
    effect.SetAttribute(&attribute);
  } catch (const std::out_of_range&) {
    throw CommandError(kWrongUsage, fmt::format("-s {}: the number is out of range", setting));
  } catch (const std::invalid_argument&) {
    throw CommandError(kWrongUsage, fmt::format("-s {}: the value is not a number", setting));
  }
}

void SetMouse(Vantra::Effect& effect, const std::string& name, const std::string& place) {
  float x = 0;
  float y = 0;
  int end = 0;
  if (std::sscanf(place.c_str(), "%f,%f%n", &x, &y, &end) != 2 ||
      static_cast<std::size_t>(end) != place.size()) {
    throw CommandError(kWrongUsage, fmt::format("--mouse {}: expected X,Y", place));
  }
  if (!effect.SetMousePosition(x, y)) {
    fmt::print(stderr, "vantrix: {} does not follow the mouse\n", name);
  }
}

std::unique_ptr<Vantra::Effect> MakeLink(Vantra::Device& device, const ChainLink& link,
                                         const ApplyOptions& options, const Picture& picture) {
  std::unique_ptr<Vantra::Effect> effect = MakeEffect(device.GetEffectFactory(), link.effect);
  if (!effect->Create(&device)) {
    throw CommandError(kFailed, fmt::format("the effect {} cannot be created", link.effect));
  }
  effect->SetImageDimension(picture.width, picture.height);
  for (const std::string& setting : link.settings) SetAttribute(*effect, link.effect, setting);
  if (options.amount) effect->SetAmout(*options.amount);
  if (options.mouse) SetMouse(*effect, link.effect, *options.mouse);
  if (options.time) effect->SetTime(*options.time);
  return effect;
}

// Stops at a failure that the library reports only by leaving a bitmap empty.
void RequireBitmap(const Vantra::Bitmap& bitmap, const ApplyOptions& options,
                   const Picture& picture) {
  if (!bitmap.IsEmpty()) return;
  const Platform::EngineInfo engine = Platform::GetEngineChoice().engine;
  const bool large = std::max(picture.width, picture.height) > engine.maximumTextureSize;
  throw CommandError(
      kFailed,
      fmt::format("cannot process {}: {} has {} for {} x {} pixels", options.input, engine.name,
                  large ? "no textures" : "no memory", picture.width, picture.height));
}

}  // namespace

void Apply(const ApplyOptions& options) {
  Vantra::Device device;
  StartDevice(device);
  // Names are checked before the picture is read.
  for (const ChainLink& link : options.chain) MakeEffect(device.GetEffectFactory(), link.effect);
  Picture picture = ReadPicture(
      device, options.input, options.size ? std::optional(ParseSize(*options.size)) : std::nullopt);
  const long width = picture.width;
  const long height = picture.height;

  Vantra::Bitmap input;
  Vantra::Bitmap output;
  input.Create(&device);
  output.Create(&device);
  input.SetPixels(picture.pixels.data(), width, height, width * 4, 0);
  output.SetPixelSize(width, height);
  RequireBitmap(input, options, picture);
  RequireBitmap(output, options, picture);

  Chain chain;
  for (const ChainLink& link : options.chain) {
    std::unique_ptr<Vantra::Effect> effect = MakeLink(device, link, options, picture);
    if (chain.empty()) {
      effect->SetInput(0, &input);
    } else {
      effect->SetInput(0, chain.back().get());
    }
    chain.push_back(std::move(effect));
  }
  ID2D1DeviceContext* context = device.GetD2DDeviceContext();
  context->BeginDraw();
  chain.back()->Apply(&output);
  const HRESULT result = context->EndDraw(nullptr, nullptr);
  if (FAILED(result)) {
    throw CommandError(kFailed, fmt::format("drawing {} failed: error 0x{:08x}", options.input,
                                            static_cast<unsigned>(result)));
  }
  const unsigned char* pixels = output.GetGpuPixels();
  // The read-back waits for the device, so that a loss may show no earlier than here.
  if (FAILED(device.GetD3D11Device()->GetDeviceRemovedReason())) {
    throw CommandError(kFailed,
                       fmt::format("drawing {} failed: the device was lost", options.input));
  }
  picture.pixels.assign(pixels, pixels + picture.pixels.size());
  WritePicture(options.output, picture);
}

}  // namespace Vantrix::Command
