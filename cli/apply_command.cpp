#include "cli/apply_command.h"

#include <vantrix/vantrix.h>

#include <fmt/format.h>
#include <memory>
#include <stdexcept>

#include "cli/command_error.h"
#include "cli/picture_file.h"
#include "platform/com/utf8.h"

namespace Vantrix::Command {
namespace {

namespace Platform = Vantra::Platform;

std::wstring Widen(const std::string& text) {
  std::optional<std::wstring> wide = Platform::FromUtf8(text);
  if (!wide) throw CommandError(kWrongUsage, fmt::format("{}: the text is not UTF-8", text));
  return *std::move(wide);
}

std::unique_ptr<Vantra::Effect> MakeEffect(Vantra::Device& device, const std::string& name) {
  const std::wstring wide = Widen(name);
  std::unique_ptr<Vantra::Effect> effect = device.GetEffectFactory().CreateEffectByID(wide);
  if (!effect) effect = device.GetEffectFactory().CreateEffectByID(L"CLSID_" + wide);
  if (!effect) throw CommandError(kWrongUsage, fmt::format("there is no effect {}", name));
  if (!effect->Create(&device)) {
    throw CommandError(kFailed, fmt::format("the effect {} cannot be created", name));
  }
  return effect;
}

// The attribute names of an effect, joined by commas.
std::string ListNames(const Vantra::EffectAttributesParser& parser) {
  std::string names;
  for (const auto& each : parser.GetAttributes()) {
    if (!names.empty()) names += ", ";
    names += Platform::ToUtf8(each->attribute.name);
  }
  return names.empty() ? "it has none" : names;
}

void SetAttributes(Vantra::Effect& effect, const ApplyOptions& options) {
  Vantra::EffectAttributesParser parser;
  parser.Parse(effect.GetXmlAttributes());
  for (const std::string& setting : options.settings) {
    const std::size_t split = setting.find('=');
    if (split == std::string::npos || split == 0) {
      throw CommandError(kWrongUsage, fmt::format("-s {}: expected Name=Value", setting));
    }
    Vantra::Effect::Attribute attribute{Widen(setting.substr(0, split)),
                                        Widen(setting.substr(split + 1))};
    if (!parser.GetAttribute(attribute.name)) {
      throw CommandError(kWrongUsage, fmt::format("-s {}: {} has no such attribute; {}", setting,
                                                  options.effect, ListNames(parser)));
    }
    try {
      effect.SetAttribute(&attribute);
    } catch (const std::out_of_range&) {
      throw CommandError(kWrongUsage, fmt::format("-s {}: the number is out of range", setting));
    } catch (const std::invalid_argument&) {
      throw CommandError(kWrongUsage, fmt::format("-s {}: the value is not a number", setting));
    }
  }
}

// Stops at a failure that the library reports only by leaving a bitmap empty.
void RequireBitmap(const Vantra::Bitmap& bitmap, const ApplyOptions& options,
                   const Picture& picture) {
  if (bitmap.IsEmpty()) {
    throw CommandError(kFailed, fmt::format("cannot process {}: {} x {} pixels are too many for {}",
                                            options.input, picture.width, picture.height,
                                            Platform::GetEngineChoice().engine.name));
  }
}

}  // namespace

void Apply(const ApplyOptions& options) {
  Vantra::Device device;
  try {
    device.Intialize(nullptr);
  } catch (const Vantra::DException&) {
    throw CommandError(
        kFailed, fmt::format("cannot start a device: {}", Platform::GetEngineChoice().reason));
  }
  const std::unique_ptr<Vantra::Effect> effect = MakeEffect(device, options.effect);
  SetAttributes(*effect, options);

  Picture picture = ReadPicture(device.GetWicImagingFactory(), options.input);
  const long width = picture.width;
  const long height = picture.height;
  effect->SetImageDimension(width, height);

  Vantra::Bitmap input;
  Vantra::Bitmap output;
  input.Create(&device);
  output.Create(&device);
  input.SetPixels(picture.pixels.data(), width, height, width * 4, 0);
  output.SetPixelSize(width, height);
  RequireBitmap(input, options, picture);
  RequireBitmap(output, options, picture);

  effect->SetInput(0, &input);
  ID2D1DeviceContext* context = device.GetD2DDeviceContext();
  context->BeginDraw();
  effect->Apply(&output);
  const HRESULT result = context->EndDraw(nullptr, nullptr);
  if (FAILED(result)) {
    throw CommandError(kFailed, fmt::format("drawing {} failed: error 0x{:08x}", options.input,
                                            static_cast<unsigned>(result)));
  }
  const unsigned char* pixels = output.GetGpuPixels();
  picture.pixels.assign(pixels, pixels + picture.pixels.size());
  WritePicture(options.output, picture);
}

}  // namespace Vantrix::Command
