#pragma once

/// The image object of the library.

#include <vantrix/device/resourcebase.h>
#include <vantrix/export.h>
#include <vantrix/platform/d2d1.h>

#include <memory>

namespace Vantra {

/// Holds a picture twice, as CPU pixels and as a GPU bitmap: rows of blue, green, red, alpha bytes,
/// alpha premultiplied, top row first. What has been uploaded survives the loss of the device; what
/// was drawn into the GPU bitmap since does not.
class VANTRIX_API Bitmap final : public ResourceBase {
 public:
  Bitmap() = default;
  ~Bitmap() override;

  long GetWidth() const { return width_; }
  long GetHeight() const { return height_; }
  /// Bytes from row to row of the CPU pixels.
  long GetStride() const { return stride_; }
  /// The CPU pixels, null when there are none; owned by the bitmap.
  char* GetBits() const { return pixels_.get(); }
  /// The GPU bitmap, without a reference for the caller; null when there is none.
  ID2D1Bitmap1* GetBitmap() const;
  /// True when there is no GPU bitmap.
  bool IsEmpty() const override;

  /// Takes `height` rows of `stride` bytes and uploads them. Null `pixels` keep what the CPU pixels
  /// hold; after a change of size that is undefined. With `flip` set, or with a negative `stride`,
  /// but not with both, the first row becomes the last. Width and height count by their absolute
  /// value. A side below 1 empties the bitmap. Needs a created bitmap.
  void SetPixels(const unsigned char* pixels, long width, long height, long stride, int flip);
  /// Changes the size; the contents are undefined until something is drawn. The present size does
  /// nothing.
  void SetPixelSize(long width, long height);
  /// Waits for the device, reads the GPU bitmap into the CPU pixels and returns them. When that
  /// fails they stay as they were.
  unsigned char* GetGpuPixels();
  /// Uploads the CPU pixels.
  void RestoreCpuPixels();
  /// Drops pixels and GPU bitmaps, and sets the size to 0.
  void Cleanup();

 protected:
  Context* OnCreate() override;
  void OnDestroy() override;

 private:
  friend class BitmapContext;

  int width_ = 0;
  int height_ = 0;
  int stride_ = 0;
  std::unique_ptr<char[]> pixels_;
};

/// The live half of a bitmap.
class VANTRIX_API BitmapContext : public ResourceContext {
 public:
  ~BitmapContext() override;

  bool IsDeviceIndependent() override;
  bool Create(ResourceBase* resource) override;
  void Destroy() override;
  bool Restore() override;

  ID2D1Bitmap1* GetBitmap() const { return bitmap_; }

 private:
  friend class Bitmap;

  /// Hands the CPU pixels to the GPU bitmap, which is made when it is missing.
  void Upload();
  /// Makes a bitmap of the resource's size; empty when the platform refuses it.
  CComPtr<ID2D1Bitmap1> MakeBitmap(const void* pixels, UINT32 pitch, D2D1_BITMAP_OPTIONS options);

  CComPtr<ID2D1Bitmap1> bitmap_;
  CComPtr<ID2D1Bitmap1> read_back_;
};

}  // namespace Vantra
