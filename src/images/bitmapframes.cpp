#include <vantrix/images/bitmap.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "images/pictureformat.h"

namespace Vantra {

void Bitmap::CopyFrame(const Frame& frame) {
  if (!pixels_ || !frame.pixels) return;
  const std::size_t frame_bytes = std::size_t{frame.width} * kBytesPerPixel;
  const auto stride = static_cast<std::size_t>(stride_);
  const std::size_t row_bytes = std::min(frame_bytes, stride);
  const std::size_t rows = std::min(std::size_t{frame.height}, static_cast<std::size_t>(height_));
  for (std::size_t row = 0; row < rows; ++row) {
    std::memcpy(&pixels_[row * stride], &frame.pixels[row * frame_bytes], row_bytes);
  }
}

void Bitmap::SelectFrame(int index) {
  if (frames_.empty()) return;
  const int shown = std::clamp(index, 0, static_cast<int>(frames_.size()) - 1);
  CopyFrame(*frames_[static_cast<std::size_t>(shown)]);
  Refresh();
  current_frame_ = shown;
}

void Bitmap::StartAnimation(unsigned long tick, bool restart) {
  animation_tick_ = static_cast<unsigned int>(tick);
  if (file_format_ == FileFormat::kSwf || file_format_ == FileFormat::kGif || frames_.empty()) {
    return;
  }
  const int last = static_cast<int>(frames_.size()) - 1;
  const int wanted = restart ? 0 : std::clamp(current_frame_, 0, last);
  if (wanted != current_frame_) SelectFrame(wanted);
}

void Bitmap::StopAnimation() {}

void Bitmap::Animation(unsigned long tick) {
  // A movie is drawn into the CPU pixels by its player, at every call.
  if (file_format_ == FileFormat::kSwf) Refresh();
  if (file_format_ == FileFormat::kSwf || file_format_ == FileFormat::kGif || frames_.size() < 2) {
    return;
  }
  const std::size_t shown = std::min(static_cast<std::size_t>(current_frame_), frames_.size() - 1);
  const auto now = static_cast<unsigned int>(tick);
  if (frames_[shown]->delay >= now - animation_tick_) return;
  SelectFrame(static_cast<int>((shown + 1) % frames_.size()));
  animation_tick_ = now;
}

Bitmap::FrameSize Bitmap::GetMultipleFrameSize(int width, int height, int count, int layout) {
  if (layout == 0) return {width / count, height};
  return {width, height / count};
}

void Bitmap::LoadMultipleOptions(const MultipleOptions* options) {
  if (!options || options->count <= 1 || !pixels_) return;
  const FrameSize size = GetMultipleFrameSize(width_, height_, options->count, options->layout);
  if (size.width < 1 || size.height < 1) return;

  const auto full_bytes = static_cast<std::size_t>(stride_);
  const std::size_t frame_bytes = static_cast<std::size_t>(size.width) * kBytesPerPixel;
  const auto rows = static_cast<std::size_t>(size.height);
  // From the start of one frame to that of the next.
  const std::size_t step = options->layout == 0 ? frame_bytes : rows * full_bytes;
  frames_.clear();
  try {
    for (int i = 0; i < options->count; ++i) {
      auto frame = std::make_unique<Frame>();
      frame->pixels.reset(new char[rows * frame_bytes]);
      frame->width = static_cast<unsigned int>(size.width);
      frame->height = static_cast<unsigned int>(size.height);
      frame->delay = options->delay;
      const char* source = pixels_.get() + static_cast<std::size_t>(i) * step;
      for (std::size_t row = 0; row < rows; ++row) {
        std::memcpy(&frame->pixels[row * frame_bytes], source + row * full_bytes, frame_bytes);
      }
      frames_.push_back(std::move(frame));
    }
    pixels_.reset(new char[rows * frame_bytes]);
  } catch (const std::bad_alloc&) {
    Cleanup();
    return;
  }
  frame_count_ = static_cast<int>(frames_.size());
  width_ = size.width;
  height_ = size.height;
  stride_ = static_cast<int>(frame_bytes);
  // A GPU bitmap of the whole picture's size is of no more use.
  if (BitmapContext* context = GetBitmapContext()) context->Destroy();
  SelectFrame(frame_count_ / 2);
}

}  // namespace Vantra
