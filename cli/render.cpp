#include "cli/render.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fmt/format.h>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "cli/command_error.h"
#include "cli/effect_commands.h"
#include "cli/text.h"

namespace Vantrix::Command {
namespace {

namespace Platform = Vantra::Platform;

// The finite number that is the whole text, for values by number; those of attributes are left to
// the library, which reads a number that the text starts with. Throws as `Effect::SetAttribute`
// does.
float ParseNumber(const std::string& text) {
  float number = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ec == std::errc::result_out_of_range) throw std::out_of_range(text);
  if (result.ec != std::errc{} || result.ptr != end || !std::isfinite(number)) {
    throw std::invalid_argument(text);
  }
  return number;
}

void SetAttribute(Vantra::Effect& effect, const Attributes& attributes, const std::string& name,
                  const std::string& setting) {
  const std::size_t split = setting.find('=');
  if (split == std::string::npos || split == 0) {
    throw CommandError(kWrongUsage, fmt::format("-s {}: expected Name=Value", setting));
  }
  const std::string key = setting.substr(0, split);
  const std::string value = setting.substr(split + 1);
  try {
    if (attributes.described.GetAttribute(Widen(key))) {
      Vantra::Effect::Attribute attribute{Widen(key), Widen(value)};
      effect.SetAttribute(&attribute);
    } else if (const auto* number = attributes.FindNumber(key)) {
      const float parsed = ParseNumber(value);
      // The effect would ignore it.
      if (parsed < number->min || parsed > number->max) {
        throw CommandError(kWrongUsage, fmt::format("-s {}: {} goes from {} to {}", setting, key,
                                                    number->min, number->max));
      }
      effect.SetAttribute(Widen(key).c_str(), parsed);
    } else {
      const std::vector<std::string> names = attributes.Names();
      throw CommandError(
          kWrongUsage,
          fmt::format("-s {}: {} has no such attribute; {}", setting, name,
                      names.empty() ? "it has none" : fmt::format("{}", fmt::join(names, ", "))));
    }
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
    PrintError(fmt::format("{} does not follow the mouse", name).c_str());
  }
}

std::string DescribeLack(const char* lacking, long width, long height) {
  return fmt::format("{} has {} for {} x {} pixels", Platform::GetEngineChoice().engine.name,
                     lacking, width, height);
}

// Stops at a failure that the library reports only by leaving a bitmap empty.
void RequireBitmap(const Vantra::Bitmap& bitmap, long width, long height, const std::string& name) {
  if (!bitmap.IsEmpty()) return;
  const bool large =
      std::max(width, height) > long{Platform::GetEngineChoice().engine.maximumTextureSize};
  throw CommandError(kFailed,
                     fmt::format("cannot process {}: {}", name,
                                 DescribeLack(large ? "no textures" : "no memory", width, height)));
}

// Draws `input` through the chain's effects into `output`.
void DrawChain(Vantra::Device& device, const Chain& chain, Vantra::Bitmap& input,
               Vantra::Bitmap& output, const std::string& name) {
  output.Create(&device);
  output.SetPixelSize(input.GetWidth(), input.GetHeight());
  RequireBitmap(output, input.GetWidth(), input.GetHeight(), name);
  chain.front()->SetInput(0, &input);
  for (std::size_t i = 1; i < chain.size(); ++i) chain[i]->SetInput(0, chain[i - 1].get());
  ID2D1DeviceContext* context = device.GetD2DDeviceContext();
  context->BeginDraw();
  chain.back()->Apply(&output);
  const HRESULT result = context->EndDraw(nullptr, nullptr);
  if (result == D2DERR_MAX_TEXTURE_SIZE_EXCEEDED) {
    // That of an effect's own picture, which may be larger than the one that it is drawn on.
    throw CommandError(kFailed,
                       fmt::format("drawing {} failed: {}", name,
                                   DescribeLack("no textures of the size that an effect needs",
                                                input.GetWidth(), input.GetHeight())));
  }
  if (FAILED(result)) {
    throw CommandError(kFailed, fmt::format("drawing {} failed: error 0x{:08x}", name,
                                            static_cast<unsigned>(result)));
  }
}

}  // namespace

std::unique_ptr<Vantra::Effect> MakeLink(Vantra::Device& device, const ChainLink& link,
                                         unsigned width, unsigned height) {
  std::unique_ptr<Vantra::Effect> effect = MakeEffect(device.GetEffectFactory(), link.effect);
  if (!effect->Create(&device)) {
    throw CommandError(kFailed, fmt::format("the effect {} cannot be created", link.effect));
  }
  effect->SetImageDimension(width, height);
  if (link.settings.empty()) return effect;
  const Attributes attributes(*effect, link.effect);
  for (const std::string& setting : link.settings) {
    SetAttribute(*effect, attributes, link.effect, setting);
  }
  return effect;
}

void CheckNames(Vantra::Device& device, const ChainOptions& options) {
  for (const ChainLink& link : options.links) MakeEffect(device.GetEffectFactory(), link.effect);
}

Chain MakeChain(Vantra::Device& device, const ChainOptions& options, unsigned width,
                unsigned height) {
  Chain chain;
  for (const ChainLink& link : options.links) {
    chain.push_back(MakeLink(device, link, width, height));
    if (options.amount) chain.back()->SetAmout(*options.amount);
    if (options.mouse) SetMouse(*chain.back(), link.effect, *options.mouse);
  }
  return chain;
}

Picture Draw(Vantra::Device& device, const Chain& chain, const Picture& picture,
             const std::string& name) {
  const long width = picture.width;
  const long height = picture.height;
  Vantra::Bitmap input;
  input.Create(&device);
  input.SetPixels(picture.pixels.data(), width, height, width * 4, 0);
  RequireBitmap(input, width, height, name);
  return Draw(device, chain, input, name);
}

Picture Draw(Vantra::Device& device, const Chain& chain, Vantra::Bitmap& input,
             const std::string& name) {
  RequireBitmap(input, input.GetWidth(), input.GetHeight(), name);
  Vantra::Bitmap output;
  if (!chain.empty()) DrawChain(device, chain, input, output, name);
  const unsigned char* pixels = (chain.empty() ? input : output).GetGpuPixels();
  // The read-back waits for the device, so that a loss may show no earlier than here.
  if (FAILED(device.GetD3D11Device()->GetDeviceRemovedReason())) {
    throw CommandError(kFailed, fmt::format("drawing {} failed: the device was lost", name));
  }
  const auto width = static_cast<unsigned>(input.GetWidth());
  const auto height = static_cast<unsigned>(input.GetHeight());
  return {width, height, {pixels, pixels + std::size_t{width} * height * 4}};
}

}  // namespace Vantrix::Command
