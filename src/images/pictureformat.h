#pragma once

/// The pixel format of bitmaps, and how pictures of other formats become of it.

#include <vantrix/platform/wincodec.h>

#include <memory>
#include <new>

namespace Vantra {

constexpr std::size_t kBytesPerPixel = 4;

/// `WINCODEC_ERR_IMAGESIZEOUTOFRANGE` for a picture beyond the limits of the platform.
constexpr HRESULT CheckPictureSize(UINT64 width, UINT64 height) {
  return width > WIC_MAXIMUM_SIDE || height > WIC_MAXIMUM_SIDE ||
                 width * height > WIC_MAXIMUM_PIXELS
             ? WINCODEC_ERR_IMAGESIZEOUTOFRANGE
             : S_OK;
}

/// Makes `converter` give the pixels of `picture`, which may be null, in the format of bitmaps.
inline HRESULT ConvertPicture(IWICFormatConverter* converter, IWICBitmapSource* picture) {
  return converter->Initialize(picture, GUID_WICPixelFormat32bppPBGRA, WICBitmapDitherTypeNone,
                               nullptr, 0.0, WICBitmapPaletteTypeCustom);
}

/// Memory for a picture within the limits; null when there is none.
inline std::unique_ptr<char[]> MakePixels(UINT width, UINT height) {
  return std::unique_ptr<char[]>(
      new (std::nothrow) char[std::size_t{width} * height * kBytesPerPixel]);
}

/// Copies all pixels of a picture, as rows without padding. A damaged one gives what could be
/// decoded, and zeros.
inline void CopyWhole(IWICBitmapSource* picture, UINT width, UINT height, char* pixels) {
  const UINT stride = width * UINT{kBytesPerPixel};
  picture->CopyPixels(nullptr, stride, stride * height, reinterpret_cast<BYTE*>(pixels));
}

}  // namespace Vantra
