#pragma once

// What tests reach of the private parts of pictures.

#include <vantrix/images/bitmap.h>
#include <vantrix/images/gifrender.h>

namespace Vantra {

struct BitmapAccess {
  static void Split(Bitmap& bitmap, const Bitmap::MultipleOptions* options) {
    bitmap.LoadMultipleOptions(options);
  }
  static void SetFileFormat(Bitmap& bitmap, Bitmap::FileFormat format) {
    bitmap.file_format_ = format;
  }
  static void SetFrameCount(Bitmap& bitmap, int count) { bitmap.frame_count_ = count; }
  static int GetCurrentFrame(const Bitmap& bitmap) { return bitmap.current_frame_; }
  static Bitmap::FileFormat CheckFileFormat(REFGUID container) {
    return Bitmap::CheckFileFormat(container);
  }
  static void Decode(Bitmap& bitmap, IWICImagingFactory2* factory, IWICBitmapDecoder* decoder) {
    bitmap.Decode(factory, decoder, 0, 0, nullptr, "Test");
  }
};

struct GifRenderAccess {
  static bool EndOfAnimation(const GifRender& render) { return render.EndOfAnimation(); }
};

}  // namespace Vantra
