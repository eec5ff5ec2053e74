#include "platform/imaging/image_encoder.h"

#include <algorithm>

namespace Vantra::Platform {
namespace {

// The whole of an image. One without bounds has none that are of a picture's size.
HRESULT FindWhole(ID2D1DeviceContext* context, ID2D1Image* image, WICImageParameters* part) {
  D2D1_RECT_F bounds{};
  const HRESULT result = context->GetImageLocalBounds(image, &bounds);
  if (FAILED(result)) return result;
  const double width = double{bounds.right} - bounds.left;
  const double height = double{bounds.bottom} - bounds.top;
  if (width > WIC_MAXIMUM_SIDE || height > WIC_MAXIMUM_SIDE) {
    return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
  }
  part->Left = bounds.left;
  part->Top = bounds.top;
  part->PixelWidth = static_cast<UINT32>(std::max(width, 0.0));
  part->PixelHeight = static_cast<UINT32>(std::max(height, 0.0));
  return S_OK;
}

// Draws a part of an image and brings it to where the CPU can read it.
HRESULT Draw(ID2D1DeviceContext* context, ID2D1Image* image, const WICImageParameters& part,
             ID2D1Bitmap1** drawn) {
  D2D1_BITMAP_PROPERTIES1 properties = {
      .pixelFormat = part.PixelFormat,
      .dpiX = 96.0f,
      .dpiY = 96.0f,
      .bitmapOptions = D2D1_BITMAP_OPTIONS_TARGET,
      .colorContext = nullptr,
  };
  const D2D1_SIZE_U size = {part.PixelWidth, part.PixelHeight};
  CComPtr<ID2D1Bitmap1> target;
  HRESULT result = context->CreateBitmap(size, nullptr, 0, &properties, &target);
  if (FAILED(result)) return result;
  const D2D1_RECT_F rectangle = {part.Left, part.Top,
                                 part.Left + static_cast<FLOAT>(part.PixelWidth),
                                 part.Top + static_cast<FLOAT>(part.PixelHeight)};
  const D2D1_POINT_2F corner = {0, 0};
  context->BeginDraw();
  context->SetTarget(target);
  context->DrawImage(image, &corner, &rectangle, D2D1_INTERPOLATION_MODE_LINEAR,
                     D2D1_COMPOSITE_MODE_SOURCE_COPY);
  context->SetTarget(nullptr);
  result = context->EndDraw(nullptr, nullptr);
  if (FAILED(result)) return result;
  properties.bitmapOptions = D2D1_BITMAP_OPTIONS_CANNOT_DRAW | D2D1_BITMAP_OPTIONS_CPU_READ;
  result = context->CreateBitmap(size, nullptr, 0, &properties, drawn);
  return FAILED(result) ? result : (*drawn)->CopyFromBitmap(nullptr, target, nullptr);
}

}  // namespace

HRESULT ImageEncoder::WriteFrame(ID2D1Image* image, IWICBitmapFrameEncode* frame,
                                 const WICImageParameters* parameters) {
  if (image == nullptr || frame == nullptr) return E_INVALIDARG;
  CComPtr<ID2D1DeviceContext> context;
  HRESULT result = device_->CreateDeviceContext(D2D1_DEVICE_CONTEXT_OPTIONS_NONE, &context);
  if (FAILED(result)) return result;
  context->SetUnitMode(D2D1_UNIT_MODE_PIXELS);

  WICImageParameters part{};
  if (parameters != nullptr) part = *parameters;
  if (part.PixelFormat.format == DXGI_FORMAT_UNKNOWN) {
    part.PixelFormat = {DXGI_FORMAT_B8G8R8A8_UNORM, D2D1_ALPHA_MODE_PREMULTIPLIED};
  }
  if (parameters == nullptr) {
    result = FindWhole(context, image, &part);
    if (FAILED(result)) return result;
  }
  result = frame->SetSize(part.PixelWidth, part.PixelHeight);
  if (FAILED(result)) return result;
  const WICPixelFormatGUID wanted = part.PixelFormat.format == DXGI_FORMAT_R8G8B8A8_UNORM
                                        ? GUID_WICPixelFormat32bppPRGBA
                                        : GUID_WICPixelFormat32bppPBGRA;
  WICPixelFormatGUID format = wanted;
  result = frame->SetPixelFormat(&format);
  if (FAILED(result)) return result;
  if (format != wanted) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;

  CComPtr<ID2D1Bitmap1> drawn;
  result = Draw(context, image, part, &drawn);
  if (FAILED(result)) return result;
  D2D1_MAPPED_RECT rows{};
  result = drawn->Map(D2D1_MAP_OPTIONS_READ, &rows);
  if (FAILED(result)) return result;
  // Within the limits of a size, which the frame has checked, this does not overflow.
  result =
      frame->WritePixels(part.PixelHeight, rows.pitch, rows.pitch * part.PixelHeight, rows.bits);
  drawn->Unmap();
  return result;
}

}  // namespace Vantra::Platform
