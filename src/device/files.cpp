#include <vantrix/device/device.h>
#include <vantrix/images/bitmap.h>

#include <algorithm>
#include <cmath>

namespace Vantra {
namespace {

// The part of a side that is kept.
struct Crop {
  UINT start;
  UINT length;
};

std::int64_t Truncate(float value) { return static_cast<std::int64_t>(std::trunc(value)); }

// What is left of a side of `length` pixels that is scaled by `scale` and then must fill `wanted`
// pixels: as much of its middle as that takes.
Crop CropSide(UINT length, int wanted, float scale) {
  const auto whole = static_cast<float>(length);
  if (Truncate(whole * scale + 0.5f) <= wanted) return {0, length};
  const auto kept = static_cast<UINT>(
      std::min<std::int64_t>(Truncate(static_cast<float>(wanted) / scale + 0.5f), length));
  const std::int64_t start = Truncate(static_cast<float>(length - kept) * 0.5f);
  return {static_cast<UINT>(std::max<std::int64_t>(start, 0)), kept};
}

// A picture that fills `width` by `height` pixels and keeps its proportions; what sticks out is
// cut off equally on both sides.
HRESULT ScaleToFill(IWICImagingFactory2* factory, IWICBitmapSource* source, UINT source_width,
                    UINT source_height, int width, int height, IWICBitmapSource** result) {
  const float scale = std::max(static_cast<float>(height) / static_cast<float>(source_height),
                               static_cast<float>(width) / static_cast<float>(source_width));
  const Crop columns = CropSide(source_width, width, scale);
  const Crop rows = CropSide(source_height, height, scale);
  CComPtr<IWICBitmap> part;
  HRESULT status = factory->CreateBitmapFromSourceRect(source, columns.start, rows.start,
                                                       columns.length, rows.length, &part);
  if (FAILED(status)) return status;
  CComPtr<IWICBitmapScaler> scaler;
  status = factory->CreateBitmapScaler(&scaler);
  if (FAILED(status)) return status;
  status = scaler->Initialize(part, static_cast<UINT>(width), static_cast<UINT>(height),
                              WICBitmapInterpolationModeFant);
  return FAILED(status) ? status : scaler.QueryInterface(result);
}

// Encodes `picture` as a PNG into `stream`.
HRESULT Encode(IWICBitmapEncoder* encoder, IWICBitmapFrameEncode* frame, IPropertyBag2* options,
               IWICBitmapSource* picture) {
  HRESULT status = frame->Initialize(options);
  if (SUCCEEDED(status)) status = frame->WriteSource(picture, nullptr);
  if (SUCCEEDED(status)) status = frame->Commit();
  return SUCCEEDED(status) ? encoder->Commit() : status;
}

}  // namespace

HRESULT Device::LoadFile(const wchar_t* path, int width, int height, IWICBitmapSource** result) {
  *result = nullptr;
  IWICImagingFactory2* factory = GetWicImagingFactory();
  if (!factory) return E_FAIL;

  const std::wstring long_path = std::wstring(L"\\\\?\\") + path;
  CComPtr<IWICBitmapDecoder> decoder;
  HRESULT status = factory->CreateDecoderFromFilename(long_path.c_str(), nullptr, GENERIC_READ,
                                                      WICDecodeMetadataCacheOnDemand, &decoder);
  if (FAILED(status)) return status;
  UINT count = 0;
  status = decoder->GetFrameCount(&count);
  if (FAILED(status) || count == 0) return status;
  CComPtr<IWICBitmapFrameDecode> frame;
  status = decoder->GetFrame(0, &frame);
  if (FAILED(status)) return status;
  CComPtr<IWICFormatConverter> converter;
  status = factory->CreateFormatConverter(&converter);
  if (FAILED(status)) return status;
  UINT own_width = 0;
  UINT own_height = 0;
  status = frame->GetSize(&own_width, &own_height);
  if (FAILED(status)) return status;
  if (own_width == 0 || own_height == 0) return E_FAIL;
  status = converter->Initialize(frame, GUID_WICPixelFormat32bppPBGRA, WICBitmapDitherTypeNone,
                                 nullptr, 0.0, WICBitmapPaletteTypeMedianCut);
  if (FAILED(status)) return status;
  CComPtr<IWICBitmapSource> source;
  status = converter.QueryInterface(&source);
  if (FAILED(status)) return status;
  if (width > 0 && height > 0 && static_cast<UINT>(width) != own_width &&
      static_cast<UINT>(height) != own_height) {
    return ScaleToFill(factory, source, own_width, own_height, width, height, result);
  }
  *result = source.Detach();
  return S_OK;
}

bool Device::SaveFile(const std::wstring& source, const std::wstring& destination, int width,
                      int height) {
  CComPtr<IWICBitmapSource> picture;
  if (FAILED(LoadFile(source.c_str(), width, height, &picture)) || !picture) return false;
  IWICImagingFactory2* factory = GetWicImagingFactory();
  CComPtr<IWICStream> stream;
  if (FAILED(factory->CreateStream(&stream)) ||
      FAILED(stream->InitializeFromFilename(destination.c_str(), GENERIC_WRITE))) {
    return false;
  }
  CComPtr<IWICBitmapEncoder> encoder;
  if (FAILED(factory->CreateEncoder(GUID_ContainerFormatPng, nullptr, &encoder)) ||
      FAILED(encoder->Initialize(stream, WICBitmapEncoderNoCache))) {
    return false;
  }
  CComPtr<IWICBitmapFrameEncode> frame;
  CComPtr<IPropertyBag2> options;
  if (FAILED(encoder->CreateNewFrame(&frame, &options))) return false;
  // What fails from here on is not reported, but must not cost a file that is there.
  if (SUCCEEDED(Encode(encoder, frame, options, picture))) stream->Commit(0);
  return true;
}

void Device::SaveFile(const wchar_t* path, ID3D11Texture2D* texture) {
  Bitmap::SaveImage(path, context_->GetImmediateContext(), GetWicImagingFactory(), texture,
                    GUID_ContainerFormatBmp);
}

}  // namespace Vantra
