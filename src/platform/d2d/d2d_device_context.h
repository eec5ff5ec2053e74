#pragma once

#include <vantrix/platform/d2d1.h>

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "platform/com/com_object.h"
#include "platform/d2d/d2d_bitmap.h"
#include "platform/d2d/d2d_factory.h"
#include "platform/d2d/image_graph.h"
#include "platform/d2d/projection.h"

namespace Vantra::Platform {

class DeviceContext2D final
    : public ComObject<Implements<ID2D1DeviceContext, ID2D1RenderTarget, ID2D1Resource>> {
 public:
  DeviceContext2D(CComPtr<Factory2D> factory, std::shared_ptr<GraphicsDevice> device,
                  CComPtr<Bitmap2D> target)
      : factory_(std::move(factory)), device_(std::move(device)), target_(std::move(target)) {
    target_->GetDpi(&dpi_x_, &dpi_y_);
  }
  DeviceContext2D(CComPtr<Factory2D> factory, std::shared_ptr<GraphicsDevice> device)
      : factory_(std::move(factory)), device_(std::move(device)) {}

  void GetFactory(ID2D1Factory1** factory) const override;

  void SetTransform(const D2D1_MATRIX_3X2_F* transform) override;
  void GetTransform(D2D1_MATRIX_3X2_F* transform) const override { *transform = transform_; }
  void SetAntialiasMode(D2D1_ANTIALIAS_MODE mode) override;
  D2D1_ANTIALIAS_MODE GetAntialiasMode() const override { return antialias_mode_; }
  void SetTextAntialiasMode(D2D1_TEXT_ANTIALIAS_MODE mode) override;
  D2D1_TEXT_ANTIALIAS_MODE GetTextAntialiasMode() const override { return text_antialias_mode_; }
  void PushAxisAlignedClip(const D2D1_RECT_F* rectangle, D2D1_ANTIALIAS_MODE mode) override;
  void PopAxisAlignedClip() override;
  void BeginDraw() override;
  HRESULT EndDraw(D2D1_TAG* tag1, D2D1_TAG* tag2) override;
  void Clear(const D2D1_COLOR_F* color) override;
  void SetDpi(FLOAT dpiX, FLOAT dpiY) override;
  void GetDpi(FLOAT* dpiX, FLOAT* dpiY) const override;
  D2D1_PIXEL_FORMAT GetPixelFormat() const override;
  D2D1_SIZE_U GetPixelSize() const override;
  D2D1_SIZE_F GetSize() const override;
  UINT32 GetMaximumBitmapSize() const override;

  HRESULT CreateBitmap(D2D1_SIZE_U size, const void* data, UINT32 pitch,
                       const D2D1_BITMAP_PROPERTIES1* properties, ID2D1Bitmap1** bitmap) override;
  HRESULT CreateEffect(REFCLSID effectId, ID2D1Effect** effect) override;
  void GetDevice(ID2D1Device** device) const override;
  void SetTarget(ID2D1Image* target) override;
  void GetTarget(ID2D1Image** target) const override;
  void SetUnitMode(D2D1_UNIT_MODE mode) override;
  D2D1_UNIT_MODE GetUnitMode() const override { return unit_mode_; }
  void SetPrimitiveBlend(D2D1_PRIMITIVE_BLEND blend) override;
  D2D1_PRIMITIVE_BLEND GetPrimitiveBlend() const override { return primitive_blend_; }
  void SetRenderingControls(const D2D1_RENDERING_CONTROLS* controls) override;
  void GetRenderingControls(D2D1_RENDERING_CONTROLS* controls) const override {
    *controls = rendering_controls_;
  }
  void DrawImage(ID2D1Image* image, const D2D1_POINT_2F* targetOffset,
                 const D2D1_RECT_F* imageRectangle, D2D1_INTERPOLATION_MODE interpolation,
                 D2D1_COMPOSITE_MODE composite) override;
  void DrawBitmap(ID2D1Bitmap* bitmap, const D2D1_RECT_F* destinationRectangle, FLOAT opacity,
                  D2D1_INTERPOLATION_MODE interpolation, const D2D1_RECT_F* sourceRectangle,
                  const D2D1_MATRIX_4X4_F* perspective) override;

  HRESULT GetImageLocalBounds(ID2D1Image* image, D2D1_RECT_F* bounds) const override;
  HRESULT GetImageWorldBounds(ID2D1Image* image, D2D1_RECT_F* bounds) const override;
  HRESULT InvalidateEffectInputRectangle(ID2D1Effect* effect, UINT32 input,
                                         const D2D1_RECT_F* inputRectangle) override;
  HRESULT GetEffectInvalidRectangleCount(ID2D1Effect* effect, UINT32* count) override;
  HRESULT GetEffectInvalidRectangles(ID2D1Effect* effect, D2D1_RECT_F* rectangles,
                                     UINT32 count) override;
  HRESULT GetEffectRequiredInputRectangles(ID2D1Effect* renderEffect,
                                           const D2D1_RECT_F* renderRectangle,
                                           const D2D1_EFFECT_INPUT_DESCRIPTION* descriptions,
                                           D2D1_RECT_F* requiredRectangles, UINT32 count) override;

 private:
  // The first failure of a session is what `EndDraw` returns.
  void Record(HRESULT result);
  Render::Status Submit();
  // Whether a drawing call is in order; records the failure when it is not.
  bool CanDraw();
  // What a composite mode or a primitive blend does where an image is, and around it.
  struct Operation {
    Render::Blend blend;
    enum class Around { kNothing, kTransparent } around = Around::kNothing;
    // What stands for no image at all in the equation: drawn with it, a pixel stays as it is. An
    // operation that has no such colour needs two passes at edges.
    std::optional<float> neutral = 0.0f;
  };
  static Operation ToOperation(D2D1_COMPOSITE_MODE mode);
  static Operation ToOperation(D2D1_PRIMITIVE_BLEND blend);

  struct Drawing {
    ImageNode& node;
    // From pixels of the image to pixels of the target, and the part of the image that is drawn.
    Projection map;
    Area part;
    D2D1_INTERPOLATION_MODE interpolation;
    float opacity;
    Operation operation;
  };

  // Units of coordinates in a pixel of an image, and pixels of the target in a unit.
  Projection ImageToUnits(const ImageNode& node) const;
  Projection UnitsToTarget() const;
  // The transform with the units, from coordinates of drawing calls to pixels of the target.
  Projection WorldToTarget() const;
  // The part of the target that drawing may change.
  Render::Rect Clip() const;
  HRESULT GetBounds(ID2D1Image* image, Projection* to_units, Area* bounds) const;

  HRESULT DrawNode(const Drawing& drawing);
  // What of an image has to be rendered to draw `part` of it there.
  Render::Rect PartToRender(const Area& part, const Placement& placement) const;
  HRESULT DrawTransformed(const Drawing& drawing, const Placement& placement,
                          const RenderedImage& image, const Area& part);
  // Gives all pixels of `rect` one premultiplied colour.
  HRESULT Fill(const Render::Rect& rect, const std::array<float, 4>& color);

  CComPtr<Factory2D> factory_;
  std::shared_ptr<GraphicsDevice> device_;
  CComPtr<Bitmap2D> target_;
  D2D1_UNIT_MODE unit_mode_ = D2D1_UNIT_MODE_DIPS;
  D2D1_MATRIX_3X2_F transform_ = {1, 0, 0, 1, 0, 0};
  D2D1_ANTIALIAS_MODE antialias_mode_ = D2D1_ANTIALIAS_MODE_PER_PRIMITIVE;
  D2D1_TEXT_ANTIALIAS_MODE text_antialias_mode_ = D2D1_TEXT_ANTIALIAS_MODE_DEFAULT;
  D2D1_PRIMITIVE_BLEND primitive_blend_ = D2D1_PRIMITIVE_BLEND_SOURCE_OVER;
  D2D1_RENDERING_CONTROLS rendering_controls_ = {D2D1_BUFFER_PRECISION_8BPC_UNORM, {0, 0}};
  // Each within the one before, in pixels of the target.
  std::vector<Render::Rect> clips_;
  FLOAT dpi_x_ = 96.0f;
  FLOAT dpi_y_ = 96.0f;
  bool drawing_ = false;
  // Submissions of the engine at the end of the last session.
  std::uint64_t submissions_ = ~std::uint64_t{0};
  HRESULT error_ = S_OK;
  // Kept from drawing to drawing, so that evaluations do not allocate.
  EvaluationStorage evaluation_storage_;
};

class Device2D final : public ComObject<Implements<ID2D1Device, ID2D1Resource>> {
 public:
  Device2D(CComPtr<Factory2D> factory, std::shared_ptr<GraphicsDevice> device)
      : factory_(std::move(factory)), device_(std::move(device)) {}

  void GetFactory(ID2D1Factory1** factory) const override;
  HRESULT CreateDeviceContext(D2D1_DEVICE_CONTEXT_OPTIONS options,
                              ID2D1DeviceContext** context) override;

 private:
  CComPtr<Factory2D> factory_;
  std::shared_ptr<GraphicsDevice> device_;
};

}  // namespace Vantra::Platform
