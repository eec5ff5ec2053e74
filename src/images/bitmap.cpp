#include <vantrix/device/device.h>
#include <vantrix/effects/catalogue/color.h>
#include <vantrix/images/bitmap.h>
#include <vantrix/images/colorspaceconverter.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "images/pictureformat.h"

namespace Vantra {
namespace {

// 64 GiB. No device has a picture of that size, so the allocator is not asked for one.
constexpr std::size_t kMostBytes = std::size_t{1} << 36;

// Copies rows of `row_bytes` bytes. A negative step leads backwards.
void CopyRows(char* destination, std::ptrdiff_t destination_step, const unsigned char* source,
              std::ptrdiff_t source_step, std::size_t row_bytes, int rows) {
  for (std::ptrdiff_t row = 0; row < rows; ++row) {
    std::memcpy(destination + row * destination_step, source + row * source_step, row_bytes);
  }
}

}  // namespace

Bitmap::Bitmap() = default;

Bitmap::~Bitmap() { Destroy(); }

Context* Bitmap::OnCreate() { return new BitmapContext; }

void Bitmap::OnDestroy() { Cleanup(); }

ID2D1Bitmap1* Bitmap::GetBitmap() const {
  const auto* context = dynamic_cast<const BitmapContext*>(GetContext());
  return context ? context->GetBitmap() : nullptr;
}

bool Bitmap::IsEmpty() const { return GetBitmap() == nullptr; }

int Bitmap::ToField(long value) {
  const long magnitude = value == std::numeric_limits<long>::min() ? 0 : std::labs(value);
  return magnitude > std::numeric_limits<int>::max() ? 0 : static_cast<int>(magnitude);
}

BitmapContext* Bitmap::GetBitmapContext() { return dynamic_cast<BitmapContext*>(GetContext()); }

bool Bitmap::Prepare(long width, long height, long stride) {
  const int new_width = ToField(width);
  const int new_height = ToField(height);
  const int new_stride = ToField(stride);
  if (new_width != width_ || new_height != height_ || new_stride != stride_) {
    Cleanup();
    width_ = new_width;
    height_ = new_height;
    stride_ = new_stride;
  }
  if (width_ < 1 || height_ < 1 || stride_ < 1) return false;
  if (!pixels_) {
    const std::size_t size = static_cast<std::size_t>(height_) * static_cast<std::size_t>(stride_);
    if (size <= kMostBytes) pixels_.reset(new (std::nothrow) char[size]);
  }
  return pixels_ != nullptr;
}

void Bitmap::SetPixels(const unsigned char* pixels, long width, long height, long stride,
                       int flip) {
  if (!Prepare(width, height, stride)) return;
  if (pixels) {
    const auto row_bytes = static_cast<std::size_t>(stride_);
    const bool bottom_up = (flip != 0) != (stride < 0);
    const std::ptrdiff_t last = std::ptrdiff_t{stride_} * (height_ - 1);
    CopyRows(pixels_.get() + (bottom_up ? last : 0), bottom_up ? -stride_ : stride_, pixels,
             stride_, row_bytes, height_);
  }
  RestoreCpuPixels();
}

void Bitmap::SetPixelsAlphaStraight(const unsigned char* pixels, long width, long height,
                                    long stride, int flip, int draw) {
  if (!Prepare(width, height, stride)) return;
  if (pixels) {
    const std::ptrdiff_t last = std::ptrdiff_t{stride_} * (height_ - 1);
    CopyRows(pixels_.get() + (flip ? last : 0), flip ? -stride_ : stride_, pixels, stride,
             static_cast<std::size_t>(stride_), height_);
  }
  BitmapContext* context = GetBitmapContext();
  if (!context || !context->GetDeviceContext()) return;
  if (pixels && !alpha_effect_) {
    alpha_effect_ = std::make_unique<VantraFx::AlphaConvert>();
    // The next frame tries anew.
    if (!alpha_effect_->Create(GetDevice())) alpha_effect_.reset();
  }
  const auto pitch = static_cast<UINT32>(stride_);
  const auto make = [&](CComPtr<ID2D1Bitmap1>& bitmap) {
    if (!bitmap) bitmap = context->MakeBitmap(nullptr, pitch, D2D1_BITMAP_OPTIONS_TARGET);
  };
  make(context->raw_input_);
  make(context->bitmap_);
  ID2D1Effect* effect = alpha_effect_ ? alpha_effect_->GetEffect() : nullptr;
  ID2D1DeviceContext* drawing = context->GetDeviceContext()->GetD2DDeviceContext();
  if (!effect || !drawing || !context->raw_input_ || !context->bitmap_) return;
  context->raw_input_->CopyFromMemory(nullptr, pixels_.get(), pitch);
  if (draw) drawing->BeginDraw();
  effect->SetInput(0, context->raw_input_, TRUE);
  alpha_effect_->Apply(this);
  if (draw) drawing->EndDraw(nullptr, nullptr);
}

void Bitmap::SetPixelSize(long width, long height) {
  if (ToField(width) == width_ && ToField(height) == height_) return;
  SetPixels(nullptr, width, height, ToField(width) * long{kBytesPerPixel}, 0);
}

unsigned char* Bitmap::GetGpuPixels() {
  auto* pixels = reinterpret_cast<unsigned char*>(pixels_.get());
  BitmapContext* context = GetBitmapContext();
  const std::size_t row_bytes = static_cast<std::size_t>(width_) * kBytesPerPixel;
  // Rows that do not fit were refused when they were to be uploaded.
  if (width_ < 1 || height_ < 1 || stride_ < 1 || static_cast<std::size_t>(stride_) < row_bytes ||
      !pixels || !context || !context->bitmap_) {
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
  CopyRows(pixels_.get(), stride_, mapped.bits, static_cast<std::ptrdiff_t>(mapped.pitch),
           row_bytes, height_);
  context->read_back_->Unmap();
  return pixels;
}

void Bitmap::RestoreCpuPixels() {
  if (BitmapContext* context = GetBitmapContext()) context->Upload();
}

void Bitmap::Refresh() {
  const BitmapContext* context = GetBitmapContext();
  if (context && context->bitmap_ && pixels_) {
    context->bitmap_->CopyFromMemory(nullptr, pixels_.get(), static_cast<UINT32>(stride_));
  }
}

void Bitmap::CopyTo(Bitmap* destination) const {
  if (destination == this) return;
  if (destination->width_ != width_) {
    destination->SetPixels(nullptr, width_, height_, width_ * long{kBytesPerPixel}, 0);
  }
  if (GetBitmap() && destination->GetBitmap()) {
    destination->GetBitmap()->CopyFromBitmap(nullptr, GetBitmap(), nullptr);
  }
}

void Bitmap::Cleanup() {
  converter_.reset();
  alpha_effect_.reset();
  if (BitmapContext* context = GetBitmapContext()) context->Destroy();
  width_ = 0;
  height_ = 0;
  stride_ = 0;
  frame_count_ = 0;
  pixels_.reset();
  chroma_key_.reset();
  meta_gif_.reset();
  frames_.clear();
}

BitmapContext::~BitmapContext() = default;

bool BitmapContext::IsDeviceIndependent() { return false; }

bool BitmapContext::Create(ResourceBase* resource) {
  Link(resource);
  return Restore();
}

void BitmapContext::Destroy() {
  raw_input_.Release();
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
