#include <vantrix/images/bitmap.h>
#include <vantrix/images/colorspaceconverter.h>

namespace Vantra {

void Bitmap::SetPixelsEx(const unsigned char* pixels, long width, long height, long stride,
                         DXGI_FORMAT format) {
  // The stride tells of the source only; an unchanged size keeps that of the CPU pixels.
  const bool same =
      ToField(width) == width_ && ToField(height) == height_ && stride_ >= ToField(width) * 4L;
  const long own_stride = same ? stride_ : ToField(width) * 4L;
  if (!Prepare(width, height, own_stride)) return;
  if (pixels) {
    if (!converter_) {
      converter_ = std::make_unique<ColorSpaceConverter>();
      converter_->Create(GetDevice());
    }
    converter_->Apply(pixels, static_cast<int>(width), static_cast<int>(height),
                      static_cast<int>(stride), reinterpret_cast<unsigned char*>(pixels_.get()),
                      stride_, format);
  }
  RestoreCpuPixels();
}

}  // namespace Vantra
