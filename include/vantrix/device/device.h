#pragma once

/// The object that a host makes first.

#include <vantrix/device/devicecontext.h>
#include <vantrix/export.h>

#include <functional>
#include <memory>
#include <string>

namespace Vantra {

class Bitmap;
class Effect;

/// Owns the graphics device, the off-screen target with its read-back copy, and the registries of
/// effects and resources. It starts at 800 by 600 pixels.
///
/// The order is `Intialize`, drawing, `Cleanup`, destruction; `Intialize` after `Cleanup` starts
/// again. A device belongs to the thread that called `Intialize`.
class VANTRIX_API Device {
 public:
  /// `data` is the first byte of the frame: rows of blue, green, red, alpha bytes, premultiplied,
  /// top row first, `pitch` bytes apart. It is valid only during the call, and only to be read:
  /// it may be memory that the device goes on drawing with.
  using RenderCallback =
      std::function<void(void* data, unsigned int width, unsigned int height, unsigned int pitch)>;

  Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
  virtual ~Device();

  /// Brings everything up for drawing off screen. `window` must be null. Throws `DException` with
  /// `DException::kDevice` or `DException::kTexture` when the platform refuses an object; `Cleanup`
  /// and a new try are then possible.
  void Intialize(HWND window);
  /// Destroys the contexts of all resources, then every platform object. Resources that outlive it
  /// touch nothing any more. Does nothing the second time.
  void Cleanup();
  /// Changes the target's size in pixels. An unchanged size and a side below 2 are ignored. Throws
  /// `DException::kTexture` for a size beyond the engine's limit; nothing can be drawn then until a
  /// `Resize` succeeds. A device that turns out to be lost is rebuilt. On a device that is not
  /// running the size counts from the next `Intialize`.
  void Resize(long width, long height);

  long GetWidth() const { return width_; }
  long GetHeight() const { return height_; }
  /// Always null: a device that draws off screen has no window here.
  HWND GetDeviceHwnd() const { return nullptr; }
  DeviceContext* GetContext() { return context_.get(); }
  const DeviceContext* GetContext() const { return context_.get(); }
  ID3D11Device* GetD3D11Device() const { return context_->GetD3D11Device(); }
  ID2D1Factory1* GetD2DFactory() const { return context_->GetD2DFactory(); }
  ID2D1DeviceContext* GetD2DDeviceContext() const { return context_->GetD2DDeviceContext(); }
  IWICImagingFactory2* GetWicImagingFactory() const { return context_->GetWicImagingFactory(); }
  EffectFactory& GetEffectFactory() { return context_->GetEffectFactory(); }

  /// Opens a picture file as a source of premultiplied blue, green, red, alpha pixels; the caller
  /// owns the reference in `*result`. When `width` and `height` are positive and both differ from
  /// the picture's, it is scaled to fill them in its own proportions, and cut equally on both
  /// sides; else it keeps its size. Returns what the platform failed with, with a null `*result`;
  /// `E_FAIL` on a device that is not running.
  HRESULT LoadFile(const wchar_t* path, int width, int height, IWICBitmapSource** result);
  /// Writes the picture that `LoadFile` gives as a PNG file. Returns false when the source cannot
  /// be opened or the destination not made. A failure behind that is not reported; a destination
  /// that is there then stays as it was. Source and destination may be the same file.
  bool SaveFile(const std::wstring& source, const std::wstring& destination, int width, int height);
  /// Writes a texture that the CPU may read as a BMP file, whatever the name's extension. Throws
  /// `DException::kSave` as `Bitmap::SaveImage` does.
  void SaveFile(const wchar_t* path, ID3D11Texture2D* texture);

  /// Sets the function that receives finished frames; an empty one turns the read-back off.
  void SetRenderCallback(RenderCallback callback);

  /// Opens a drawing session on `target` (null: the device's own target) and fills it with `color`,
  /// of straight alpha. Returns false when the device is not running.
  bool BeginDraw(Bitmap* target, const D3DCOLORVALUE& color);
  /// The same without filling.
  bool BeginDraw(Bitmap* target);
  /// Changes the target within a session. This and the drawing below do nothing on a device that
  /// is not running.
  void SetRenderTarget(Bitmap* target);
  /// Fills the present target.
  void Clear(const D3DCOLORVALUE& color);

  /// Draws a part of a bitmap to a rectangle of the target, then through a perspective, with the
  /// primitive blend. Null rectangles stand for the whole bitmap at its own size; a null
  /// `perspective` for none. A bitmap without a context of its own is an error of the session, as
  /// with all drawing and queries below. `ID2D1DeviceContext` tells what each operation does.
  void DrawBitmap(Bitmap* bitmap, const D2D_RECT_F& destination, float opacity,
                  D2D1_INTERPOLATION_MODE interpolation, const D2D_RECT_F& source,
                  const D2D_MATRIX_4X4_F& perspective);
  void DrawBitmap(Bitmap* bitmap, const D2D_RECT_F* destination, float opacity,
                  D2D1_INTERPOLATION_MODE interpolation, const D2D_RECT_F* source,
                  const D2D_MATRIX_4X4_F* perspective = nullptr);
  /// Draws `rectangle` of an image with its corner at `offset`; null stands for the whole image
  /// and for 0,0. An effect must have been created.
  void DrawImage(Bitmap* bitmap, const D2D_POINT_2F* offset, const D2D_RECT_F* rectangle,
                 D2D1_INTERPOLATION_MODE interpolation, D2D1_COMPOSITE_MODE composite);
  void DrawImage(Effect* effect, const D2D_POINT_2F* offset, const D2D_RECT_F* rectangle,
                 D2D1_INTERPOLATION_MODE interpolation, D2D1_COMPOSITE_MODE composite);
  void DrawImage(Bitmap* bitmap, D2D1_INTERPOLATION_MODE interpolation,
                 D2D1_COMPOSITE_MODE composite);
  void DrawImage(Effect* effect, D2D1_INTERPOLATION_MODE interpolation,
                 D2D1_COMPOSITE_MODE composite);
  void DrawImage(Bitmap* bitmap, D2D_POINT_2F offset, D2D1_INTERPOLATION_MODE interpolation,
                 D2D1_COMPOSITE_MODE composite);
  void DrawImage(Effect* effect, D2D_POINT_2F offset, D2D1_INTERPOLATION_MODE interpolation,
                 D2D1_COMPOSITE_MODE composite);
  void DrawImage(Bitmap* bitmap, D2D_POINT_2F offset, const D2D_RECT_F& rectangle,
                 D2D1_INTERPOLATION_MODE interpolation, D2D1_COMPOSITE_MODE composite);
  void DrawImage(Effect* effect, D2D_POINT_2F offset, const D2D_RECT_F& rectangle,
                 D2D1_INTERPOLATION_MODE interpolation, D2D1_COMPOSITE_MODE composite);

  /// State of the 2D context. It lasts until the target is made anew: by `Resize`, by a loss of the
  /// device, by `Intialize`. Getters of a device that is not running give zeros.
  void SetTransform(const D2D_MATRIX_3X2_F& transform);
  void SetTransform(const D2D_MATRIX_3X2_F* transform);
  void GetTransform(D2D_MATRIX_3X2_F* transform) const;
  void SetAntialiasMode(D2D1_ANTIALIAS_MODE mode);
  D2D1_ANTIALIAS_MODE GetAntialiasMode() const;
  void SetTextAntialiasMode(D2D1_TEXT_ANTIALIAS_MODE mode);
  D2D1_TEXT_ANTIALIAS_MODE GetTextAntialiasMode() const;
  void SetDpi(float dpiX, float dpiY);
  void GetDpi(float* dpiX, float* dpiY) const;
  unsigned int GetMaximumBitmapSize() const;
  D2D1_PIXEL_FORMAT GetPixelFormat() const;
  D2D1_SIZE_U GetPixelSize() const;
  D2D1_SIZE_F GetSize() const;
  void SetPrimitiveBlend(D2D1_PRIMITIVE_BLEND blend);
  D2D1_PRIMITIVE_BLEND GetPrimitiveBlend() const;
  void SetRenderingControls(const D2D1_RENDERING_CONTROLS* controls);
  void GetRenderingControls(D2D1_RENDERING_CONTROLS* controls) const;
  void SetUnitMode(D2D1_UNIT_MODE mode);
  D2D1_UNIT_MODE GetUnitMode() const;

  /// Queries; `E_FAIL` on a device that is not running, else the 2D context's result.
  HRESULT GetImageWorldBounds(Bitmap* bitmap, D2D_RECT_F* bounds) const;
  HRESULT GetImageLocalBounds(Bitmap* bitmap, D2D_RECT_F* bounds) const;
  HRESULT GetEffectInvalidRectangleCount(Effect* effect, unsigned int* count) const;
  HRESULT GetEffectInvalidRectangles(Effect* effect, D2D_RECT_F* rectangles,
                                     unsigned int count) const;
  HRESULT GetEffectRequiredInputRectangles(Effect* effect, const D2D_RECT_F* renderRectangle,
                                           const D2D1_EFFECT_INPUT_DESCRIPTION* descriptions,
                                           D2D_RECT_F* requiredRectangles,
                                           unsigned int count) const;
  HRESULT InvalidateEffectInputRectangle(Effect* effect, unsigned int input,
                                         const D2D_RECT_F* inputRectangle) const;

  /// Ends the session and hands the device's own target to the render callback, which may call the
  /// device. When the device turns out to be lost, it is rebuilt, `OnDeviceReCreate` runs, and no
  /// frame is delivered. Throws `DException` when the rebuilding fails.
  void EndDrawCallback();
  /// The same without handing over a frame.
  void EndDrawNoCallback();

 protected:
  /// Called when all device objects have been rebuilt after a loss. Constants and inputs of effects
  /// are back at their start: set them again.
  virtual void OnDeviceReCreate();

 private:
  friend class DeviceContext;

  /// Ends the session; false when the frame was lost with the device.
  bool EndDraw();

  long width_ = 800;
  long height_ = 600;
  std::unique_ptr<DeviceContext> context_;
};

}  // namespace Vantra
