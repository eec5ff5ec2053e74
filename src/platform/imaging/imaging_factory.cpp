#include <vantrix/platform/wincodec.h>

#include "platform/com/com_object.h"
#include "platform/imaging/decoder.h"
#include "platform/imaging/encoder.h"
#include "platform/imaging/format_converter.h"
#include "platform/imaging/image_encoder.h"
#include "platform/imaging/memory_bitmap.h"
#include "platform/imaging/palette.h"
#include "platform/imaging/scaler.h"
#include "platform/imaging/streams.h"

namespace Vantra::Platform {
namespace {

template <class Object, class Interface>
HRESULT Make(Interface** out) {
  if (out == nullptr) return E_POINTER;
  *out = MakeCom<Object>().Detach();
  return *out == nullptr ? E_OUTOFMEMORY : S_OK;
}

class ImagingFactory final : public ComObject<IWICImagingFactory2> {
 public:
  HRESULT CreateDecoderFromFilename(LPCWSTR name, const GUID*, DWORD access, WICDecodeOptions,
                                    IWICBitmapDecoder** decoder) override {
    if (decoder == nullptr) return E_POINTER;
    *decoder = nullptr;
    if (name == nullptr || access != GENERIC_READ) return E_INVALIDARG;
    CComPtr<Stream> stream = MakeCom<Stream>();
    if (stream == nullptr) return E_OUTOFMEMORY;
    const HRESULT result = stream->InitializeFromFilename(name, access);
    return FAILED(result) ? result : CreateDecoder(stream, decoder);
  }

  HRESULT CreateDecoderFromStream(IStream* stream, const GUID*, WICDecodeOptions,
                                  IWICBitmapDecoder** decoder) override {
    if (decoder == nullptr) return E_POINTER;
    *decoder = nullptr;
    return stream == nullptr ? E_INVALIDARG : CreateDecoder(stream, decoder);
  }

  HRESULT CreateFormatConverter(IWICFormatConverter** converter) override {
    return Make<FormatConverter>(converter);
  }

  HRESULT CreateBitmapScaler(IWICBitmapScaler** scaler) override { return Make<Scaler>(scaler); }

  HRESULT CreateStream(IWICStream** stream) override { return Make<Stream>(stream); }

  HRESULT CreatePalette(IWICPalette** palette) override { return Make<Palette>(palette); }

  HRESULT CreateEncoder(REFGUID container, const GUID*, IWICBitmapEncoder** encoder) override {
    if (encoder == nullptr) return E_POINTER;
    *encoder = nullptr;
    return Platform::CreateEncoder(container, encoder);
  }

  HRESULT CreateBitmapFromSourceRect(IWICBitmapSource* source, UINT x, UINT y, UINT width,
                                     UINT height, IWICBitmap** bitmap) override {
    if (bitmap == nullptr) return E_POINTER;
    *bitmap = nullptr;
    return source == nullptr ? E_INVALIDARG : CopyToBitmap(source, {x, y, width, height}, bitmap);
  }

  HRESULT CreateImageEncoder(ID2D1Device* device, IWICImageEncoder** encoder) override {
    if (encoder == nullptr) return E_POINTER;
    *encoder = nullptr;
    if (device == nullptr) return E_INVALIDARG;
    *encoder = MakeCom<ImageEncoder>(device).Detach();
    return *encoder == nullptr ? E_OUTOFMEMORY : S_OK;
  }
};

}  // namespace
}  // namespace Vantra::Platform

HRESULT CoCreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid,
                         void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (outer != nullptr) return E_INVALIDARG;
  if (classId != CLSID_WICImagingFactory2 || (context & CLSCTX_INPROC_SERVER) == 0) {
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  using Vantra::Platform::ImagingFactory;
  const CComPtr<ImagingFactory> factory = Vantra::Platform::MakeCom<ImagingFactory>();
  return factory == nullptr ? E_OUTOFMEMORY : factory->QueryInterface(iid, object);
}
