#include "cli/render.h"

#include <algorithm>
#include <charconv>
#include <cmath>
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

std::string DescribeLack(const char* lacking, const Picture& picture) {
  return fmt::format("{} has {} for {} x {} pixels", Platform::GetEngineChoice().engine.name,
                     lacking, picture.width, picture.height);
}

// Stops at a failure that the library reports only by leaving a bitmap empty.
void RequireBitmap(const Vantra::Bitmap& bitmap, const Picture& picture, const std::string& name) {
  if (!bitmap.IsEmpty()) return;
  const bool large = std::max(picture.width, picture.height) >
                     Platform::GetEngineChoice().engine.maximumTextureSize;
  throw CommandError(kFailed,
                     fmt::format("cannot process {}: {}", name,
                                 DescribeLack(large ? "no textures" : "no memory", picture)));
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

Picture Draw(Vantra::Device& device, const Chain& chain, const Picture& picture,
             const std::string& name) {
  const long width = picture.width;
  const long height = picture.height;
  Vantra::Bitmap input;
  Vantra::Bitmap output;
  input.Create(&device);
  output.Create(&device);
  input.SetPixels(picture.pixels.data(), width, height, width * 4, 0);
  output.SetPixelSize(width, height);
  RequireBitmap(input, picture, name);
  RequireBitmap(output, picture, name);

  chain.front()->SetInput(0, &input);
  for (std::size_t i = 1; i < chain.size(); ++i) chain[i]->SetInput(0, chain[i - 1].get());
  ID2D1DeviceContext* context = device.GetD2DDeviceContext();
  context->BeginDraw();
  chain.back()->Apply(&output);
  const HRESULT result = context->EndDraw(nullptr, nullptr);
  if (result == D2DERR_MAX_TEXTURE_SIZE_EXCEEDED) {
    // That of an effect's own picture, which may be larger than the one that it is drawn on.
    throw CommandError(
        kFailed,
        fmt::format("drawing {} failed: {}", name,
                    DescribeLack("no textures of the size that an effect needs", picture)));
  }
  if (FAILED(result)) {
    throw CommandError(kFailed, fmt::format("drawing {} failed: error 0x{:08x}", name,
                                            static_cast<unsigned>(result)));
  }
  const unsigned char* pixels = output.GetGpuPixels();
  // The read-back waits for the device, so that a loss may show no earlier than here.
  if (FAILED(device.GetD3D11Device()->GetDeviceRemovedReason())) {
    throw CommandError(kFailed, fmt::format("drawing {} failed: the device was lost", name));
  }
  return {picture.width, picture.height, {pixels, pixels + picture.pixels.size()}};
}

}  // namespace Vantrix::Command
