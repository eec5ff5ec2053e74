#include "cli/animation_writer.h"

#include <algorithm>
#include <exception>
#include <fmt/format.h>
#include <memory>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "cli/command_error.h"
#include "platform/imaging/gif_writer.h"
#include "platform/imaging/pixels.h"
#include "platform/imaging/replacement_file.h"
#include "platform/imaging/webp_encoder.h"

namespace Vantrix::Command {
namespace {

namespace Platform = Vantra::Platform;

constexpr std::size_t kBytesPerPixel = 4;

// Formats count how often an animation is shown, or repeated, in 16 bits.
constexpr unsigned kMostPlays = 65535;

// Takes frames of one size, of straight alpha.
class AnimationSink {
 public:
  virtual ~AnimationSink() = default;
  // `delay` in milliseconds.
  virtual HRESULT Add(Picture frame, unsigned delay) = 0;
  virtual HRESULT Finish() = 0;
};

// A GIF frame is written as the rectangle in which it differs from the one before. A frame can
// only paint, so where one makes pixels transparent, the one before is told to go and the whole
// screen is written anew. A frame is thus written when the next is known.
class GifSink final : public AnimationSink {
 public:
  static HRESULT Open(Platform::ByteSink sink, unsigned width, unsigned height, unsigned plays,
                      std::unique_ptr<AnimationSink>* opened) {
    auto made = std::make_unique<GifSink>();
    std::optional<WORD> repetitions;
    if (plays == 0) repetitions = WORD{0};
    if (plays > 1) repetitions = static_cast<WORD>(std::min(plays - 1, kMostPlays));
    const HRESULT result =
        Platform::GifWriter::Open(std::move(sink), width, height, repetitions, &made->writer_);
    *opened = std::move(made);
    return result;
  }

  HRESULT Add(Picture frame, unsigned delay) override {
    Platform::Area changed = {0, 0, frame.width, frame.height};
    HRESULT result = S_OK;
    if (waiting_) {
      const bool uncovers = Uncovers(waiting_->pixels, frame.pixels);
      if (uncovers) {
        area_ = changed;
      } else {
        changed = FindChange(waiting_->pixels, frame.pixels, frame.width, frame.height);
      }
      result = Write(uncovers ? Platform::GifDisposal::kClear : Platform::GifDisposal::kKeep);
    }
    // Hundredths of a second are rounded so that errors do not add up.
    const unsigned long long end = time_ + delay;
    delay_ = static_cast<WORD>(
        std::min<unsigned long long>((end + 5) / 10 - (time_ + 5) / 10, kLongestDelay));
    time_ = end;
    waiting_ = std::move(frame);
    area_ = changed;
    return result;
  }

  HRESULT Finish() override {
    const HRESULT result = waiting_ ? Write(Platform::GifDisposal::kKeep) : S_OK;
    return FAILED(result) ? result : writer_->Finish();
  }

 private:
  static constexpr WORD kLongestDelay = 65535;
  static constexpr unsigned char kOpaqueFrom = 128;

  using Pixels = std::vector<unsigned char>;

  // Whether a GIF shows the pixel at `at`.
  static bool IsShown(const Pixels& pixels, std::size_t at) {
    return pixels[at + 3] >= kOpaqueFrom;
  }

  static bool Uncovers(const Pixels& before, const Pixels& after) {
    for (std::size_t at = 0; at < after.size(); at += kBytesPerPixel) {
      if (IsShown(before, at) && !IsShown(after, at)) return true;
    }
    return false;
  }

  // The smallest rectangle that holds all pixels shown otherwise than before; a pixel when there is
  // none, since a frame has at least one.
  static Platform::Area FindChange(const Pixels& before, const Pixels& after, unsigned width,
                                   unsigned height) {
    unsigned left = width;
    unsigned top = height;
    unsigned right = 0;
    unsigned bottom = 0;
    for (unsigned y = 0; y < height; ++y) {
      for (unsigned x = 0; x < width; ++x) {
        const std::size_t at = (std::size_t{y} * width + x) * kBytesPerPixel;
        const bool shown = IsShown(after, at);
        if (shown == IsShown(before, at) &&
            (!shown || std::equal(&before[at], &before[at] + 3, &after[at]))) {
          continue;
        }
        left = std::min(left, x);
        top = std::min(top, y);
        right = std::max(right, x + 1);
        bottom = y + 1;
      }
    }
    if (right == 0) return {0, 0, 1, 1};
    return {left, top, right - left, bottom - top};
  }

  HRESULT Write(Platform::GifDisposal disposal) {
    const std::size_t stride = waiting_->width * kBytesPerPixel;
    return writer_->AddFrame(
        {.pixels = &waiting_->pixels[area_.top * stride + area_.left * kBytesPerPixel],
         .stride = stride,
         .left = area_.left,
         .top = area_.top,
         .width = area_.width,
         .height = area_.height,
         .delay = delay_,
         .disposal = disposal});
  }

  std::unique_ptr<Platform::GifWriter> writer_;
  // The frame to be written next, with the part of it that is to be.
  std::optional<Picture> waiting_;
  Platform::Area area_{};
  WORD delay_ = 0;
  // When the next frame begins, in milliseconds.
  unsigned long long time_ = 0;
};

class WebpSink final : public AnimationSink {
 public:
  static HRESULT Open(Platform::ByteSink sink, unsigned width, unsigned height, unsigned plays,
                      std::unique_ptr<AnimationSink>* opened) {
    auto made = std::make_unique<WebpSink>();
    const HRESULT result = Platform::WebpAnimationWriter::Open(
        std::move(sink), width, height, {.loops = std::min(plays, kMostPlays), .quality = {}},
        &made->writer_);
    *opened = std::move(made);
    return result;
  }

  HRESULT Add(Picture frame, unsigned delay) override {
    return writer_->AddFrame(frame.pixels.data(), frame.width * kBytesPerPixel, delay);
  }
  HRESULT Finish() override { return writer_->Finish(); }

 private:
  std::unique_ptr<Platform::WebpAnimationWriter> writer_;
};

bool IsWebp(const std::string& path) { return ExtensionOf(path) == ".webp"; }

// Throws for what a WebP file cannot tell.
void CheckWebp(const std::string& path, const PictureInfo& info, unsigned width, unsigned height) {
  constexpr unsigned long long kLongest = 0x7FFFFFFF;
  CheckWebpSize(path, width, height);
  if (std::accumulate(info.delays.begin(), info.delays.end(), 0ULL) > kLongest) {
    throw CommandError(kFailed, fmt::format("cannot write {}: WebP animations last at most {} ms",
                                            path, kLongest));
  }
}

}  // namespace

bool IsAnimationName(const std::string& path) {
  return ExtensionOf(path) == ".gif" || IsWebp(path);
}

void WriteAnimation(const std::string& path, const PictureInfo& info, unsigned width,
                    unsigned height, const std::function<Picture()>& draw_next) {
  if (IsWebp(path)) CheckWebp(path, info, width, height);
  // Nothing may be thrown through the writing of the file.
  std::exception_ptr failure;
  const HRESULT result = Platform::ReplaceFile(path, [&](std::FILE* file) {
    const Platform::ByteSink bytes = [file](const BYTE* data, std::size_t size) {
      return WriteAll(file, data, size);
    };
    std::unique_ptr<AnimationSink> sink;
    const auto open = IsWebp(path) ? WebpSink::Open : GifSink::Open;
    HRESULT status = open(bytes, width, height, info.plays, &sink);
    for (unsigned i = 0; i < info.frames && SUCCEEDED(status); ++i) {
      Picture frame;
      try {
        frame = draw_next();
      } catch (...) {
        failure = std::current_exception();
        return E_FAIL;
      }
      Platform::ConvertPixels(frame.pixels.data(), frame.pixels.size() / kBytesPerPixel,
                              {.blue_first = true, .premultiplied = true},
                              {.blue_first = true, .premultiplied = false});
      status = sink->Add(std::move(frame), info.delays[i]);
    }
    return SUCCEEDED(status) ? sink->Finish() : status;
  });
  if (failure) std::rethrow_exception(failure);
  Check(result, "write", path);
}

}  // namespace Vantrix::Command
