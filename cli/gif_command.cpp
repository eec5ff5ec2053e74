#include "cli/gif_command.h"

#include <vantrix/vantrix.h>

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <system_error>
#include <vector>

#include "cli/animation.h"
#include "cli/animation_writer.h"
#include "cli/command_error.h"
#include "cli/engines_command.h"
#include "cli/picture_file.h"
#include "cli/text.h"

namespace Vantrix::Command {
namespace {

// Whether the output is a folder; throws for what can be neither.
bool IsFolder(const GifOptions& options) {
  std::error_code ignored;
  const bool folder = ExtensionOf(options.output).empty() || options.output.ends_with('/') ||
                      std::filesystem::is_directory(options.output, ignored);
  if (options.output.empty()) throw CommandError(kWrongUsage, "OUTPUT is empty");
  if (!folder && !IsAnimationName(options.output)) {
    throw CommandError(kWrongUsage, fmt::format("{}: an animation is written as .gif or .webp, or "
                                                "as pictures into a folder",
                                                options.output));
  }
  if (!options.format) return folder;
  if (!folder) {
    throw CommandError(kWrongUsage,
                       fmt::format("--format {}: it is for pictures in a folder", *options.format));
  }
  const std::vector<std::string> known = ListExtensions();
  if (std::find(known.begin(), known.end(), *options.format) == known.end()) {
    throw CommandError(kWrongUsage, fmt::format("--format {}: expected one of {}", *options.format,
                                                fmt::join(known, ", ")));
  }
  return folder;
}

// Draws the frames of an animation one after the other, each at the time at which it begins.
class FrameDrawing {
 public:
  FrameDrawing(Vantra::Device& device, const GifOptions& options)
      : device_(device),
        options_(options),
        animation_(Animation::Open(device, options.input)),
        chain_(MakeChain(device, options.chain, animation_->Width(), animation_->Height())) {}

  const Animation& Frames() const { return *animation_; }

  Picture DrawNext() {
    Vantra::Bitmap& frame = animation_->ComposeNext();
    for (const auto& effect : chain_) effect->SetTime(static_cast<float>(time_));
    time_ += animation_->Info().delays[next_++];
    return Draw(device_, chain_, frame, options_.input);
  }

 private:
  Vantra::Device& device_;
  const GifOptions& options_;
  std::unique_ptr<Animation> animation_;
  Chain chain_;
  std::size_t next_ = 0;
  unsigned long long time_ = 0;
};

void WriteFolder(Vantra::Device& device, const GifOptions& options, FrameDrawing& drawing) {
  std::error_code error;
  std::filesystem::create_directories(options.output, error);
  if (error) {
    throw CommandError(
        kFailed, fmt::format("cannot make the folder {}: {}", options.output, error.message()));
  }
  constexpr std::size_t kDigits = 4;
  const unsigned count = drawing.Frames().Info().frames;
  const std::size_t digits = std::max(kDigits, std::to_string(count).size());
  for (unsigned i = 1; i <= count; ++i) {
    const std::string name =
        fmt::format("frame-{:0{}}.{}", i, digits, options.format.value_or("png"));
    WritePicture(device, (std::filesystem::path(options.output) / name).string(),
                 drawing.DrawNext());
  }
}

}  // namespace

void ConvertAnimation(const GifOptions& options) {
  const bool folder = IsFolder(options);
  Vantra::Device device;
  StartDevice(device);
  CheckNames(device, options.chain);
  FrameDrawing drawing(device, options);
  if (folder) return WriteFolder(device, options, drawing);
  const Animation& frames = drawing.Frames();
  WriteAnimation(options.output, frames.Info(), frames.Width(), frames.Height(),
                 [&drawing] { return drawing.DrawNext(); });
}

}  // namespace Vantrix::Command
