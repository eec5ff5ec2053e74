#include "picture_target.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "platform/imaging/test_pictures.h"

namespace Vantra::Fuzz {
namespace {

using Platform::Bytes;

// Keeps one input's time within milliseconds; the limits proper have unit tests.
constexpr UINT64 kMostPixels = 1 << 16;
constexpr UINT kMostFrames = 8;

void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "broken promise: %s\n", what);
  std::abort();
}

bool IsStatedOpeningFailure(HRESULT result) {
  return result == WINCODEC_ERR_UNKNOWNIMAGEFORMAT || result == WINCODEC_ERR_BADHEADER ||
         result == WINCODEC_ERR_IMAGESIZEOUTOFRANGE ||
         result == WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
}

// The buffer is as long as it must be and no longer, for the address sanitizer.
HRESULT Copy(IWICBitmapSource* source, const WICRect& rect, Bytes* pixels) {
  const auto stride = static_cast<UINT>(rect.Width) * 4;
  pixels->assign(std::size_t{stride} * static_cast<UINT>(rect.Height), 0xA5);
  return source->CopyPixels(&rect, stride, static_cast<UINT>(pixels->size()), pixels->data());
}

// Asks a decoder or a frame for all that it could tell, and for its palette.
template <class Owner>
void ReadMetadata(IWICImagingFactory2* factory, Owner* owner) {
  CComPtr<IWICPalette> palette;
  Require(factory->CreatePalette(&palette) == S_OK, "there is a palette");
  const HRESULT copied = owner->CopyPalette(palette);
  Require(
      copied == S_OK || copied == WINCODEC_ERR_PALETTEUNAVAILABLE || IsStatedOpeningFailure(copied),
      "reading a palette fails with a stated result");
  CComPtr<IWICMetadataQueryReader> reader;
  if (FAILED(owner->GetMetadataQueryReader(&reader))) return;
  for (const LPCWSTR name :
       {L"/logscrdesc/Width", L"/logscrdesc/Height", L"/logscrdesc/GlobalColorTableFlag",
        L"/logscrdesc/BackgroundColorIndex", L"/logscrdesc/PixelAspectRatio",
        L"/appext/application", L"/appext/data", L"/imgdesc/Left", L"/imgdesc/Top",
        L"/imgdesc/Width", L"/imgdesc/Height", L"/grctlext/Delay", L"/grctlext/Disposal",
        L"/grctlext/TransparencyFlag"}) {
    PROPVARIANT value;
    PropVariantInit(&value);
    const HRESULT found = reader->GetMetadataByName(name, &value);
    Require(found == S_OK || (found == WINCODEC_ERR_PROPERTYNOTFOUND && value.vt == VT_EMPTY),
            "a value is there or not");
    Require(PropVariantClear(&value) == S_OK, "a value can be cleared");
  }
}

// Copies a frame whole, converted and in part.
void DecodeFrame(IWICImagingFactory2* factory, IWICBitmapFrameDecode* frame) {
  UINT width = 0;
  UINT height = 0;
  frame->GetSize(&width, &height);
  Require(width > 0 && height > 0 && width <= WIC_MAXIMUM_SIDE && height <= WIC_MAXIMUM_SIDE &&
              UINT64{width} * height <= WIC_MAXIMUM_PIXELS,
          "the size is within the limits");
  if (UINT64{width} * height > kMostPixels) return;

  const WICRect whole{0, 0, static_cast<INT>(width), static_cast<INT>(height)};
  Bytes pixels;
  const HRESULT copied = Copy(frame, whole, &pixels);
  Require(copied == S_OK || copied == WINCODEC_ERR_BADIMAGE, "copying fails with a stated result");

  WICPixelFormatGUID format{};
  frame->GetPixelFormat(&format);
  const bool blue_first =
      format == GUID_WICPixelFormat32bppBGRA || format == GUID_WICPixelFormat32bppPBGRA;
  const bool premultiplied =
      format == GUID_WICPixelFormat32bppPRGBA || format == GUID_WICPixelFormat32bppPBGRA;
  CComPtr<IWICFormatConverter> converter;
  Require(factory->CreateFormatConverter(&converter) == S_OK, "there is a converter");
  Require(converter->Initialize(frame, GUID_WICPixelFormat32bppPBGRA, WICBitmapDitherTypeNone,
                                nullptr, 0, WICBitmapPaletteTypeCustom) == S_OK,
          "a frame can be converted");
  Bytes converted;
  Require(Copy(converter, whole, &converted) == copied, "a second copy gives the same result");
  for (std::size_t i = 0; i < pixels.size(); i += 4) {
    for (int channel = 0; channel < 3; ++channel) {
      const int colour = pixels[i + (blue_first ? channel : 2 - channel)];
      Require(
          converted[i + channel] == (premultiplied ? colour : (colour * pixels[i + 3] + 127) / 255),
          "a second copy gives the same pixels, premultiplied");
    }
    Require(converted[i + 3] == pixels[i + 3], "alpha is the same");
  }

  // Its lower right part by itself gives the same pixels, if the picture is sound.
  const WICRect part{whole.Width / 2, whole.Height / 2, whole.Width - whole.Width / 2,
                     whole.Height - whole.Height / 2};
  Bytes part_pixels;
  Require(Copy(frame, part, &part_pixels) == copied,
          "a part down to the end gives the same result");
  if (FAILED(copied)) return;
  for (INT y = 0; y < part.Height; ++y) {
    const std::size_t from = static_cast<std::size_t>(part.Y + y) * width + part.X;
    const std::size_t row_bytes = static_cast<std::size_t>(part.Width) * 4;
    Require(std::equal(part_pixels.begin() + static_cast<std::ptrdiff_t>(y * row_bytes),
                       part_pixels.begin() + static_cast<std::ptrdiff_t>((y + 1) * row_bytes),
                       pixels.begin() + static_cast<std::ptrdiff_t>(from * 4)),
            "a part gives the same pixels");
  }
}

}  // namespace

void DecodePictureFile(std::span<const BYTE> file, const GUID& container) {
  const auto factory = Platform::MakeFactory();
  CComPtr<IWICBitmapDecoder> decoder;
  const HRESULT opened = factory->CreateDecoderFromStream(Platform::MakeStream(file), nullptr,
                                                          WICDecodeMetadataCacheOnDemand, &decoder);
  if (FAILED(opened)) {
    Require(decoder == nullptr, "a failed call gives no decoder");
    Require(IsStatedOpeningFailure(opened), "opening fails with a stated result");
    return;
  }
  GUID found{};
  decoder->GetContainerFormat(&found);
  if (found != container) return;
  UINT count = 0;
  Require(decoder->GetFrameCount(&count) == S_OK && count > 0, "there is a frame");
  ReadMetadata(factory.p, decoder.p);
  for (UINT i = 0; i < std::min(count, kMostFrames); ++i) {
    CComPtr<IWICBitmapFrameDecode> frame;
    const HRESULT result = decoder->GetFrame(i, &frame);
    if (SUCCEEDED(result)) {
      ReadMetadata(factory.p, frame.p);
      DecodeFrame(factory, frame);
    } else {
      Require(frame == nullptr, "a failed call gives no frame");
      Require(IsStatedOpeningFailure(result), "opening a frame fails with a stated result");
    }
  }
}

}  // namespace Vantra::Fuzz
