#pragma once

#include <vantrix/platform/d2d1.h>

#include "platform/com/com_object.h"
#include "platform/d2d/image_graph.h"

namespace Vantra::Platform {

class Bitmap2D final
    : public ComObject<Implements<ID2D1Bitmap1, ID2D1Bitmap, ID2D1Image, ID2D1Resource>>,
      public ImageNode {
 public:
  Bitmap2D(CComPtr<ID2D1Factory1> factory, std::shared_ptr<Surface> surface,
           const D2D1_BITMAP_PROPERTIES1& properties)
      : factory_(std::move(factory)), surface_(std::move(surface)), properties_(properties) {}

  void GetFactory(ID2D1Factory1** factory) const override;

  D2D1_SIZE_U GetPixelSize() const override;
  D2D1_PIXEL_FORMAT GetPixelFormat() const override { return properties_.pixelFormat; }
  void GetDpi(FLOAT* dpiX, FLOAT* dpiY) const override;
  HRESULT CopyFromBitmap(const D2D1_POINT_2U* destinationPoint, ID2D1Bitmap* bitmap,
                         const D2D1_RECT_U* sourceRect) override;
  HRESULT CopyFromMemory(const D2D1_RECT_U* destinationRect, const void* data,
                         UINT32 pitch) override;

  D2D1_BITMAP_OPTIONS GetOptions() const override { return properties_.bitmapOptions; }
  HRESULT Map(D2D1_MAP_OPTIONS options, D2D1_MAPPED_RECT* mapped) override;
  HRESULT Unmap() override;

  const std::shared_ptr<GraphicsDevice>& GetGraphicsDevice() const override {
    return surface_->device;
  }
  HRESULT GetBounds(Evaluation& evaluation, Render::Rect* bounds) override;
  HRESULT Require(Evaluation&, const Render::Rect&) override { return S_OK; }
  HRESULT Render(Evaluation& evaluation, RenderedImage* image) override;
  HRESULT RenderDirectly(Evaluation& evaluation, const DirectTarget& target) override;

  Surface& GetSurface() { return *surface_; }
  bool HasOption(D2D1_BITMAP_OPTIONS option) const {
    return (properties_.bitmapOptions & option) != 0;
  }

 private:
  ~Bitmap2D() override;

  CComPtr<ID2D1Factory1> factory_;
  std::shared_ptr<Surface> surface_;
  D2D1_BITMAP_PROPERTIES1 properties_;
  bool mapped_ = false;
};

}  // namespace Vantra::Platform
