#pragma once

#include <vantrix/platform/d2d1.h>

#include <memory>
#include <vector>

#include "platform/com/com_object.h"
#include "platform/d2d/d2d_bitmap.h"
#include "platform/d2d/d2d_factory.h"
#include "platform/d2d/image_graph.h"

namespace Vantra::Platform {

class DeviceContext2D final
    : public ComObject<Implements<ID2D1DeviceContext, ID2D1RenderTarget, ID2D1Resource>> {
 public:
  DeviceContext2D(CComPtr<Factory2D> factory, std::shared_ptr<GraphicsDevice> device,
                  CComPtr<Bitmap2D> target)
      : factory_(std::move(factory)), device_(std::move(device)), target_(std::move(target)) {
    target_->GetDpi(&dpi_x_, &dpi_y_);
  }

  void GetFactory(ID2D1Factory1** factory) const override;

  void BeginDraw() override;
  HRESULT EndDraw(D2D1_TAG* tag1, D2D1_TAG* tag2) override;
  void Clear(const D2D1_COLOR_F* color) override;
  void GetDpi(FLOAT* dpiX, FLOAT* dpiY) const override;
  UINT32 GetMaximumBitmapSize() const override;

  HRESULT CreateBitmap(D2D1_SIZE_U size, const void* data, UINT32 pitch,
                       const D2D1_BITMAP_PROPERTIES1* properties, ID2D1Bitmap1** bitmap) override;
  HRESULT CreateEffect(REFCLSID effectId, ID2D1Effect** effect) override;
  void SetTarget(ID2D1Image* target) override;
  void GetTarget(ID2D1Image** target) const override;
  void SetUnitMode(D2D1_UNIT_MODE mode) override { unit_mode_ = mode; }
  D2D1_UNIT_MODE GetUnitMode() const override { return unit_mode_; }
  void DrawImage(ID2D1Image* image, const D2D1_POINT_2F* targetOffset,
                 const D2D1_RECT_F* imageRectangle, D2D1_INTERPOLATION_MODE interpolation,
                 D2D1_COMPOSITE_MODE composite) override;

 private:
  // The first failure of a session is what `EndDraw` returns.
  void Record(HRESULT result);
  // Whether a drawing call is in order; records the failure when it is not.
  bool CanDraw();
  HRESULT DrawNode(ImageNode& node, const D2D1_POINT_2F& offset, const D2D1_RECT_F* rectangle,
                   D2D1_INTERPOLATION_MODE interpolation, D2D1_COMPOSITE_MODE composite);

  CComPtr<Factory2D> factory_;
  std::shared_ptr<GraphicsDevice> device_;
  CComPtr<Bitmap2D> target_;
  D2D1_UNIT_MODE unit_mode_ = D2D1_UNIT_MODE_DIPS;
  FLOAT dpi_x_ = 96.0f;
  FLOAT dpi_y_ = 96.0f;
  bool drawing_ = false;
  HRESULT error_ = S_OK;
  // Kept from drawing to drawing, so that evaluations do not allocate.
  std::vector<std::unique_ptr<Render::Texture>> evaluation_storage_;
};

}  // namespace Vantra::Platform
