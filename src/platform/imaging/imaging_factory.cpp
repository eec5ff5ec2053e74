#include <vantrix/platform/wincodec.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "platform/com/com_object.h"
#include "platform/com/guard.h"
#include "platform/com/utf8.h"
#include "platform/imaging/decoder.h"
#include "platform/imaging/format_converter.h"
#include "platform/imaging/streams.h"

namespace Vantra::Platform {
namespace {

template <class Object, class Interface>
HRESULT Make(Interface** out) {
  if (out == nullptr) return E_POINTER;
  *out = MakeCom<Object>().Detach();
  return *out == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT OpenFile(const std::string& name, CComPtr<FileStream>& stream) {
  stream = MakeCom<FileStream>();
  return stream == nullptr ? E_OUTOFMEMORY : stream->Open(name);
}

// Opens a file by a name that may be written in the platform's manner. A back-slash is an ordinary
// character here, so the name comes first as it stands.
HRESULT OpenNamedFile(std::wstring_view wide_name, CComPtr<FileStream>& stream) {
  constexpr std::wstring_view kLongPathPrefix = L"\\\\?\\";
  if (wide_name.starts_with(kLongPathPrefix)) wide_name.remove_prefix(kLongPathPrefix.size());
  std::string name = ToUtf8(wide_name);
  const HRESULT result = OpenFile(name, stream);
  if (result != HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) || name.find('\\') == std::string::npos) {
    return result;
  }
  std::replace(name.begin(), name.end(), '\\', '/');
  return OpenFile(name, stream);
}

class ImagingFactory final : public ComObject<IWICImagingFactory2> {
 public:
  HRESULT CreateDecoderFromFilename(LPCWSTR name, const GUID*, DWORD access, WICDecodeOptions,
                                    IWICBitmapDecoder** decoder) override {
    if (decoder == nullptr) return E_POINTER;
    *decoder = nullptr;
    if (name == nullptr || access != GENERIC_READ) return E_INVALIDARG;
    return GuardMemory([&] {
      CComPtr<FileStream> stream;
      const HRESULT result = OpenNamedFile(name, stream);
      return FAILED(result) ? result : CreateDecoder(stream, decoder);
    });
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

  HRESULT CreateStream(IWICStream** stream) override { return Make<MemoryStream>(stream); }
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
