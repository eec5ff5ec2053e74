#pragma once

/// Plays GIFs.

#include <vantrix/export.h>
#include <vantrix/platform/d2d1.h>

#include <memory>

namespace Vantra {

class Bitmap;
class Device;

/// Composes the frames of a GIF, one after the other, in the bitmap that it was loaded into: the
/// GPU bitmap shows the present picture, and can be drawn or be an effect's input like any other.
/// The CPU pixels hold it after `Bitmap::GetGpuPixels`.
///
/// A frame is drawn over what is there, after that was changed as the frame before asks for: its
/// rectangle made transparent (disposal 2), or what it had covered put back (disposal 3). The first
/// frame begins with a transparent picture; the GIF's background colour is not used. The animation
/// goes round without end, whatever number of repetitions the GIF states.
///
/// Belongs to the device's thread. Nothing here reports a failure: a picture that cannot be drawn
/// stays as it was. When the device turns out to be lost, it is rebuilt as by
/// `Device::EndDrawNoCallback`, which may throw; the picture is then what the CPU pixels hold,
/// which is transparent unless it was read back, and whole again from the next first frame on.
class VANTRIX_API GifRender {
 public:
  GifRender();
  GifRender(const GifRender&) = delete;
  GifRender& operator=(const GifRender&) = delete;
  virtual ~GifRender();

  /// Takes a GIF that was loaded into `picture`, a bitmap created on `device`; neither is owned,
  /// and both must outlive the playing. The first frame is due at once. May be called again, also
  /// for another GIF, and must be after the bitmap was loaded anew.
  void Initialize(Device* device, Bitmap* picture);
  /// Frees the bitmaps that the playing needs.
  void Destroy();

  /// Times are milliseconds from any origin. Makes a frame that was drawn before stay for its delay
  /// from now on.
  void Start(double time);
  /// Draws the next frame once the one before has stayed for its delay; its own counts from `time`,
  /// so that what came late is not made up for. To be called as often as the host likes, outside of
  /// drawing sessions. The device's target is the picture afterwards.
  void Update(double time);
  /// Do nothing: a host stops the playing by not calling `Update`.
  void Stop(double time);
  void Pause(double time);
  void Resume(double time);

 private:
  friend struct GifRenderAccess;

  void OverlayNextFrame();
  void DisposeCurrentFrame();
  void ClearCurrentFrameArea();
  void RestoreSavedFrame();
  void SaveComposedFrame();
  bool IsLastFrame() const;
  bool EndOfAnimation() const;

  double last_update_ = 0.0;
  /// How often the first frame has been drawn.
  unsigned int loops_done_ = 0;
  /// These, the delay and the rectangle are those of the frame that was drawn last.
  unsigned int disposal_ = 1;
  /// The frame to be drawn next.
  unsigned int current_frame_ = 0;
  unsigned int total_loops_ = 0;
  unsigned int delay_ = 0;
  unsigned int frame_count_ = 0;
  D2D_RECT_F frame_rect_ = {0, 0, 0, 0};
  bool has_loop_ = false;
  Device* device_ = nullptr;
  Bitmap* picture_ = nullptr;
  /// Holds the frame that is drawn at its top left. It grows to the largest there is, so that
  /// playing takes no memory once all have been drawn.
  std::unique_ptr<Bitmap> frame_bitmap_;
  /// Holds the picture from before a frame of disposal 3.
  std::unique_ptr<Bitmap> saved_bitmap_;
};

}  // namespace Vantra
