#include <vantrix/device/device.h>
#include <vantrix/images/bitmap.h>
#include <vantrix/images/gifrender.h>

#include <algorithm>

namespace Vantra {
namespace {

constexpr unsigned int kRestoreBackground = 2;
constexpr unsigned int kRestorePrevious = 3;
constexpr D3DCOLORVALUE kTransparent = {0, 0, 0, 0};

void Copy(const Bitmap& from, const Bitmap& to) {
  if (from.GetBitmap() && to.GetBitmap()) {
    to.GetBitmap()->CopyFromBitmap(nullptr, from.GetBitmap(), nullptr);
  }
}

// Brings a frame to the top left of `bitmap`, which grows when it is too small.
void UploadFrame(const Bitmap::Frame& frame, Bitmap* bitmap) {
  const long width = std::max<long>(bitmap->GetWidth(), frame.width);
  const long height = std::max<long>(bitmap->GetHeight(), frame.height);
  bitmap->SetPixelSize(width, height);
  if (!bitmap->GetBitmap() || !frame.pixels) return;
  const D2D1_RECT_U rect = {0, 0, frame.width, frame.height};
  bitmap->GetBitmap()->CopyFromMemory(&rect, frame.pixels.get(), frame.width * 4);
}

}  // namespace

GifRender::GifRender() = default;

GifRender::~GifRender() = default;

void GifRender::Initialize(Device* device, Bitmap* picture) {
  if (device != device_) frame_bitmap_.reset();
  frame_rect_ = {0, 0, 0, 0};
  saved_bitmap_ = std::make_unique<Bitmap>();
  saved_bitmap_->Create(device);
  saved_bitmap_->SetPixelSize(picture->GetWidth(), picture->GetHeight());
  device_ = device;
  picture_ = picture;
  last_update_ = 0.0;
  loops_done_ = 0;
  disposal_ = 1;
  current_frame_ = 0;
  const Bitmap::MetaGif* meta = picture->GetMetaGif().get();
  total_loops_ = meta ? meta->loop_count : 0;
  has_loop_ = meta && meta->has_loop;
  frame_count_ = static_cast<unsigned int>(picture->GetFrameCount());
}

void GifRender::Destroy() {
  frame_bitmap_.reset();
  saved_bitmap_.reset();
}

void GifRender::Start(double time) { last_update_ = time; }

void GifRender::Stop(double) {}

void GifRender::Pause(double) {}

void GifRender::Resume(double) {}

void GifRender::Update(double time) {
  if (!device_ || static_cast<double>(delay_) > time - last_update_) return;
  last_update_ = time;
  DisposeCurrentFrame();
  OverlayNextFrame();
}

void GifRender::DisposeCurrentFrame() {
  if (disposal_ == kRestoreBackground) ClearCurrentFrameArea();
  if (disposal_ == kRestorePrevious) RestoreSavedFrame();
}

void GifRender::OverlayNextFrame() {
  // Frames that could not be read are missing at the end of the list, where the animation rests.
  if (current_frame_ >= picture_->GetFrames().size()) return;
  const Bitmap::Frame& frame = *picture_->GetFrames()[current_frame_];
  frame_rect_ = frame.rect;
  delay_ = frame.delay;
  disposal_ = frame.disposal;
  if (!frame_bitmap_) {
    frame_bitmap_ = std::make_unique<Bitmap>();
    frame_bitmap_->Create(device_);
  }
  UploadFrame(frame, frame_bitmap_.get());
  if (disposal_ == kRestorePrevious) SaveComposedFrame();

  device_->BeginDraw(picture_);
  if (current_frame_ == 0) {
    device_->Clear(kTransparent);
    ++loops_done_;
  }
  const D2D_RECT_F source = {0, 0, static_cast<float>(frame.width),
                             static_cast<float>(frame.height)};
  device_->DrawBitmap(frame_bitmap_.get(), &frame_rect_, 1.0f, D2D1_INTERPOLATION_MODE_LINEAR,
                      &source);
  device_->EndDrawNoCallback();
  current_frame_ = (current_frame_ + 1) % std::max(frame_count_, 1u);
}

void GifRender::ClearCurrentFrameArea() {
  device_->BeginDraw(picture_);
  if (ID2D1DeviceContext* context = device_->GetD2DDeviceContext()) {
    context->PushAxisAlignedClip(&frame_rect_, D2D1_ANTIALIAS_MODE_PER_PRIMITIVE);
    context->Clear(&kTransparent);
    context->PopAxisAlignedClip();
  }
  device_->EndDrawNoCallback();
}

void GifRender::SaveComposedFrame() {
  if (saved_bitmap_) Copy(*picture_, *saved_bitmap_);
}

void GifRender::RestoreSavedFrame() {
  if (saved_bitmap_) Copy(*saved_bitmap_, *picture_);
}

bool GifRender::IsLastFrame() const { return current_frame_ == 0; }

bool GifRender::EndOfAnimation() const {
  return has_loop_ && IsLastFrame() && loops_done_ == total_loops_ + 1;
}

}  // namespace Vantra
