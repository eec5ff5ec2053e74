#include "cli/gallery_command.h"

#include <vantrix/vantrix.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <string_view>
#include <sys/ioctl.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include "cli/command_error.h"
#include "cli/effect_commands.h"
#include "cli/engines_command.h"
#include "cli/gallery_page.h"
#include "cli/picture_file.h"
#include "cli/render.h"
#include "cli/sample_drawing.h"

namespace Vantrix::Command {
namespace {

// How an effect is shown when its start values would tell little.
struct Showcase {
  std::string_view effect;
  std::vector<std::string> settings = {};
  // Whether it works on alpha, and so needs a picture that is transparent in parts.
  bool transparent = false;
  const char* note = "";
  // What settings do not reach; may be null.
  void (*prepare)(Vantra::Effect& effect, const Picture& picture) = nullptr;
};

// The corners of the start, which are made for pictures of 1280 by 720 pixels.
void MoveCorners(Vantra::Effect& effect, const Picture& picture) {
  const auto width = static_cast<float>(picture.width);
  const auto height = static_cast<float>(picture.height);
  const auto corner = [&](float x, float y) {
    return D2D_POINT_2F{x * width / 1280, y * height / 720};
  };
  dynamic_cast<VantraFx::WarpPerspective&>(effect).SetPoints(
      {width, height}, corner(230, 160), corner(1060, 230), corner(0, 715), corner(1272, 600));
}

const Showcase& FindShowcase(const std::string& effect) {
  static const Showcase kShowcases[] = {
      {.effect = "AlphaConvert", .transparent = true},
      {.effect = "D2D13DTransform",
       .note = "Shown with the corners of its start in proportion to the picture.",
       .prepare = MoveCorners},
      {.effect = "D2D1ConvolveMatrix", .settings = {"kernel=4"}},
      {.effect = "D2D1GammaTransfer", .settings = {"gamma=-50"}},
      {.effect = "InstagramFilter",
       .settings = {"amout=0.5"},
       .note = "Without a look it mixes with black. The name of a look takes the place of Filter."},
      {.effect = "InstagramVideo",
       .settings = {"amout=0.5"},
       .note = "Without a look it mixes with black. Looks go by CLSID_V_Instagram and their name."},
      {.effect = "Posterize", .settings = {"Amout=4"}},
      {.effect = "StandardAdjust", .settings = {"hue=50", "saturation=30"}},
  };
  static const Showcase kStartValues{};
  const auto* const found = std::find_if(std::begin(kShowcases), std::end(kShowcases),
                                         [&](const auto& each) { return each.effect == effect; });
  return found == std::end(kShowcases) ? kStartValues : *found;
}

// Whether the standard error stream can move back on its line.
bool ShowsBar() {
  const char* const kind = std::getenv("TERM");
  return isatty(STDERR_FILENO) == 1 && kind != nullptr && *kind != '\0' &&
         std::string_view(kind) != "dumb";
}

std::size_t TerminalWidth() {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

// A bar on a terminal, else a line for each step. What cannot be written is left out.
class Progress {
 public:
  explicit Progress(std::size_t total) : total_(total) {
    if (!terminal_) return;
    // A message of the library takes the place of the bar until the next step.
    former_sink_ = sundrix::Logger::GetInstance().SetSink(
        [this](auto level, const std::string& message, auto... place) {
          std::fputs(kClear, stderr);
          former_sink_(level, message, place...);
        });
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() {
    if (!terminal_) return;
    std::fputs(kClear, stderr);
    sundrix::Logger::GetInstance().SetSink(std::move(former_sink_));
  }

  void Step(const std::string& name) {
    constexpr std::size_t kWidth = 24;
    ++done_;
    if (!terminal_) {
      std::fputs(fmt::format("  {}/{} {}\n", done_, total_, name).c_str(), stderr);
      return;
    }
    const std::size_t filled = done_ * kWidth / total_;
    std::string line = fmt::format("[{:#<{}}{:.<{}}] {}/{} {}", "", filled, "", kWidth - filled,
                                   done_, total_, name);
    // A wrapped line could not be cleared, and the last column may wrap already.
    line.resize(std::min(line.size(), TerminalWidth() - 1));
    std::fputs((kClear + line).c_str(), stderr);
  }

 private:
  static constexpr const char* kClear = "\r\033[K";
  const bool terminal_ = ShowsBar();
  const std::size_t total_;
  std::size_t done_ = 0;
  sundrix::Logger::Sink former_sink_;
};

// A picture and where it lies.
struct Subject {
  Picture picture;
  std::string link;
};

class Gallery {
 public:
  explicit Gallery(const GalleryOptions& options) : options_(options) {}

  void Make() {
    // What can be refused is, before anything is written.
    if (options_.folder.empty()) throw CommandError(kWrongUsage, "OUTDIR is empty");
    const Size size = ParseSize(options_.size);
    if (std::max(size.width, size.height) > kMaximumSide) {
      throw CommandError(kWrongUsage, fmt::format("--size {}: a gallery's pictures have up to {} "
                                                  "pixels a side",
                                                  options_.size, kMaximumSide));
    }
    StartDevice(device_);
    Picture picture;
    if (options_.photo) picture = ReadPictureWithin(device_, *options_.photo, size);
    MakeFolder();
    const auto all = Vantra::EffectFactory::ListEffects();
    std::optional<Progress> progress(std::in_place, all.size() + (options_.photo ? 0 : 1));
    if (!options_.photo) {
      // Told before it is done, since a large drawing takes longer than any effect.
      progress->Step("the sample drawing");
      picture = DrawSample(size);
    }
    GalleryPage page{options_.photo ? std::filesystem::path(*options_.photo).filename().string()
                                    : "a sample drawing",
                     Vantra::Platform::GetEngineChoice().engine.name,
                     {picture.width, picture.height},
                     {}};
    opaque_ = {picture, "pictures/before.png"};
    FadeOut(picture);
    transparent_ = {std::move(picture), "pictures/before-transparent.png"};
    WritePicture(device_, Path(opaque_.link), opaque_.picture);
    WritePicture(device_, Path(transparent_.link), transparent_.picture);

    std::vector<std::string> failed;
    for (const auto& listing : all) {
      page.cards.push_back(MakeCard(listing));
      const GalleryCard& card = page.cards.back();
      if (!card.failure.empty()) failed.push_back(card.name);
      progress->Step(card.name);
    }
    progress.reset();
    // Last, so that a page never links to what is not there.
    const std::string html = FormatPage(page);
    WriteBytes(Path("index.html"), html.data(), html.size());
    fmt::print("{}\n", Path("index.html"));
    if (!failed.empty()) {
      throw CommandError(kFailed, fmt::format("{} of {} effects could not be drawn: {}",
                                              failed.size(), all.size(), fmt::join(failed, ", ")));
    }
  }

 private:
  static constexpr unsigned kMaximumSide = 2048;

  std::string Path(const std::string& link) const {
    return (std::filesystem::path(options_.folder) / link).string();
  }

  void MakeFolder() const {
    std::error_code error;
    std::filesystem::create_directories(Path("pictures"), error);
    if (error) {
      throw CommandError(
          kFailed, fmt::format("cannot make the folder {}: {}", Path("pictures"), error.message()));
    }
  }

  GalleryCard MakeCard(const Vantra::EffectFactory::Listing& listing) {
    GalleryCard card;
    card.name = Narrow(listing.name).substr(std::string_view("CLSID_").size());
    card.display_name = Narrow(listing.display_name);
    card.category = Narrow(listing.category);
    card.description = Narrow(listing.description);
    const Showcase& showcase = FindShowcase(card.name);
    card.settings = showcase.settings;
    card.note = showcase.note;
    card.attributes = DescribeAttributes(card.name);
    const Subject& subject = showcase.transparent ? transparent_ : opaque_;
    card.before = subject.link;
    card.after = fmt::format("pictures/{}.png", card.name);
    Picture result;
    try {
      result = DrawEffect(card, subject.picture);
    } catch (const CommandError& error) {
      card.failure = error.what();
    } catch (const Vantra::DException&) {
      card.failure = "the device failed";
    }
    if (!card.failure.empty()) {
      // The device may be lost; the next effect gets a whole one.
      device_.Cleanup();
      StartDevice(device_);
      return card;
    }
    if (result.pixels == subject.picture.pixels && card.note.empty()) {
      card.note = "These values leave the picture as it is.";
    }
    WritePicture(device_, Path(card.after), result);
    return card;
  }

  std::vector<GalleryCard::Attribute> DescribeAttributes(const std::string& name) {
    const auto effect = MakeEffect(device_.GetEffectFactory(), name);
    const Attributes attributes(*effect, name);
    const auto text = [](const auto& bound) {
      return bound ? Narrow(bound->value) : std::string();
    };
    std::vector<GalleryCard::Attribute> described;
    for (const auto& each : attributes.described.GetAttributes()) {
      const bool range = each->min && each->max;
      described.push_back(
          {Narrow(each->attribute.name), TypeWord(each->type),
           range ? fmt::format("{} to {}", text(each->min), text(each->max)) : std::string(),
           text(each->step), text(each->def)});
    }
    for (const Vantra::NumberDescription& number : attributes.numbers) {
      described.push_back(
          {.name = Narrow(number.name),
           .type = "float",
           .range = HasRange(number) ? fmt::format("{} to {}", number.min, number.max) : "",
           .by_number = true});
    }
    return described;
  }

  Picture DrawEffect(const GalleryCard& card, const Picture& picture) {
    // Far enough into what effects with a time show.
    constexpr float kTime = 2000;
    Chain chain;
    chain.push_back(MakeLink(device_, {card.name, card.settings}, picture.width, picture.height));
    chain.back()->SetTime(kTime);
    if (const auto prepare = FindShowcase(card.name).prepare) prepare(*chain.back(), picture);
    return Draw(device_, chain, picture, card.name);
  }

  const GalleryOptions& options_;
  Vantra::Device device_;
  Subject opaque_;
  Subject transparent_;
};

}  // namespace

void MakeGallery(const GalleryOptions& options) { Gallery(options).Make(); }

}  // namespace Vantrix::Command
