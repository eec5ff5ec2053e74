#include <vantrix/device/device.h>
#include <vantrix/images/bitmap.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace Vantra {
namespace {

constexpr long kBytesPerPixel = 4;

// Sizes beyond what the fields hold are as good as none: no platform bitmap has them.
int ToField(long value) {
  const long magnitude = value == std::numeric_limits<long>::min() ? 0 : std::labs(value);
  return magnitude > std::numeric_limits<int>::max() ? 0 : static_cast<int>(magnitude);
}

}  // namespace

Bitmap::~Bitmap() { Destroy(); }

Context* Bitmap::OnCreate() { return new BitmapContext; }

void Bitmap::OnDestroy() { Cleanup(); }

ID2D1Bitmap1* Bitmap::GetBitmap() const {
  const auto* context = dynamic_cast<const BitmapContext*>(GetContext());
  return context ? context->GetBitmap() : nullptr;
}

bool Bitmap::IsEmpty() const { return GetBitmap() == nullptr; }

void Bitmap::SetPixels(const unsigned char* pixels, long width, long height, long stride,
                       int flip) {
  const int new_width = ToField(width);
  const int new_height = ToField(height);
  const int new_stride = ToField(stride);
  if (new_width != width_ || new_height != height_ || new_stride != stride_) {
    Cleanup();
    width_ = new_width;
    height_ = new_height;
    stride_ = new_stride;
  }
  if (width_ < 1 || height_ < 1 || stride_ < 1) return;

  const auto row_bytes = static_cast<std::size_t>(stride_);
  const auto rows = static_cast<std::size_t>(height_);
  if (!pixels_) {
    pixels_.reset(new (std::nothrow) char[rows * row_bytes]);
    if (!pixels_) return;
  }
  if (pixels) {
    const bool bottom_up = (flip != 0) != (stride < 0);
    if (bottom_up) {
      for (std::size_t row = 0; row < rows; ++row) {
        std::memcpy(&pixels_[(rows - 1 - row) * row_bytes], pixels + row * row_bytes, row_bytes);
      }
    } else {
      std::memcpy(pixels_.get(), pixels, rows * row_bytes);
    }
  }
  RestoreCpuPixels();
}

void Bitmap::SetPixelSize(long width, long height) {
  if (ToField(width) == width_ && ToField(height) == height_) return;
  SetPixels(nullptr, width, height, ToField(width) * kBytesPerPixel, 0);
}

unsigned char* Bitmap::GetGpuPixels() {
  auto* pixels = reinterpret_cast<unsigned char*>(pixels_.get());
  auto* context = dynamic_cast<BitmapContext*>(GetContext());
  if (width_ < 1 || height_ < 1 || stride_ < 1 || !pixels || !context || !context->bitmap_) {
    return pixels;
  }
  if (!context->read_back_) {
    context->read_back_ = context->MakeBitmap(
        nullptr, 0, D2D1_BITMAP_OPTIONS_CANNOT_DRAW | D2D1_BITMAP_OPTIONS_CPU_READ);
  }
  D2D1_MAPPED_RECT mapped;
  if (!context->read_back_ ||
      FAILED(context->read_back_->CopyFromBitmap(nullptr, context->bitmap_, nullptr)) ||
      FAILED(context->read_back_->Map(D2D1_MAP_OPTIONS_READ, &mapped))) {
    return pixels;
  }
  const auto row_bytes = static_cast<std::size_t>(width_) * kBytesPerPixel;
  for (int row = 0; row < height_; ++row) {
    std::memcpy(pixels + static_cast<std::size_t>(row) * static_cast<std::size_t>(stride_),
                mapped.bits + static_cast<std::size_t>(row) * mapped.pitch, row_bytes);
  }
  context->read_back_->Unmap();
  return pixels;
}

void Bitmap::RestoreCpuPixels() {
  if (auto* context = dynamic_cast<BitmapContext*>(GetContext())) context->Upload();
}

void Bitmap::Cleanup() {
  if (auto* context = dynamic_cast<BitmapContext*>(GetContext())) context->Destroy();
  width_ = 0;
  height_ = 0;
  stride_ = 0;
  pixels_.reset();
}

BitmapContext::~BitmapContext() = default;

bool BitmapContext::IsDeviceIndependent() { return false; }

bool BitmapContext::Create(ResourceBase* resource) {
  Link(resource);
  return Restore();
}

void BitmapContext::Destroy() {
  read_back_.Release();
  bitmap_.Release();
}

bool BitmapContext::Restore() {
  Upload();
  return true;
}

void BitmapContext::Upload() {
  const auto* resource = static_cast<const Bitmap*>(GetResource());
  if (resource->stride_ < 1 || resource->height_ < 1 || !resource->pixels_) return;
  const auto pitch = static_cast<UINT32>(resource->stride_);
  if (bitmap_) {
    bitmap_->CopyFromMemory(nullptr, resource->pixels_.get(), pitch);
  } else {
    bitmap_ = MakeBitmap(resource->pixels_.get(), pitch, D2D1_BITMAP_OPTIONS_TARGET);
  }
}

CComPtr<ID2D1Bitmap1> BitmapContext::MakeBitmap(const void* pixels, UINT32 pitch,
                                                D2D1_BITMAP_OPTIONS options) {
  CComPtr<ID2D1Bitmap1> bitmap;
  ID2D1DeviceContext* context =
      GetDeviceContext() ? GetDeviceContext()->GetD2DDeviceContext() : nullptr;
  if (!context) return bitmap;
  const auto* resource = static_cast<const Bitmap*>(GetResource());
  D2D1_BITMAP_PROPERTIES1 properties = {
      .pixelFormat = {DXGI_FORMAT_B8G8R8A8_UNORM, D2D1_ALPHA_MODE_PREMULTIPLIED},
      .dpiX = 96.0f,
      .dpiY = 96.0f,
      .bitmapOptions = options,
      .colorContext = nullptr,
  };
  context->GetDpi(&properties.dpiX, &properties.dpiY);
  context->CreateBitmap(
      {static_cast<UINT32>(resource->width_), static_cast<UINT32>(resource->height_)}, pixels,
      pitch, &properties, &bitmap);
  return bitmap;
}

}  // namespace Vantra
