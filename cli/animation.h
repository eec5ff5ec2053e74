#pragma once

// Animations that are read.

#include <vantrix/vantrix.h>

#include <memory>
#include <string>
#include <utility>

#include "cli/picture_info.h"

namespace Vantrix::Command {

// Most pixels of all frames of an animation together, as they are composed: a small file may
// describe far more than anybody waits for.
constexpr unsigned long long kMaximumComposedPixels = 1ULL << 32;

// The frames of a GIF or an animated WebP as they look when they are shown, in order.
class Animation {
 public:
  // Opens a file. Throws `CommandError`, also for one that is no animation or is damaged, as far as
  // that shows before the frames are composed.
  static std::unique_ptr<Animation> Open(Vantra::Device& device, const std::string& path);

  virtual ~Animation() = default;
  Animation(const Animation&) = delete;
  Animation& operator=(const Animation&) = delete;

  const PictureInfo& Info() const { return info_; }
  // Of the composed frames.
  virtual unsigned Width() const { return info_.width; }
  virtual unsigned Height() const { return info_.height; }

  // Composes the next frame, to be called `Info().frames` times. The bitmap is always the same, and
  // must stay as it is. Throws `CommandError`.
  virtual Vantra::Bitmap& ComposeNext() = 0;

 protected:
  Animation(Vantra::Device& device, const std::string& path, PictureInfo info)
      : device_(device), path_(path), info_(std::move(info)) {}

  Vantra::Device& device_;
  const std::string path_;
  const PictureInfo info_;
};

}  // namespace Vantrix::Command
