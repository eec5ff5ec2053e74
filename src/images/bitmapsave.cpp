#include <vantrix/device/dexception.h>
#include <vantrix/images/bitmap.h>

namespace Vantra {
namespace {

constexpr const char* kFunction = "Vantra::Bitmap::SaveImage";

// Throws unless `result` is a success.
void Check(HRESULT result, int line, const char* what) {
  if (FAILED(result)) {
    ThrowDException(__FILE__, kFunction, line, DException::kSave, "%s Failed: 0x%x", what,
                    static_cast<unsigned int>(result));
  }
}

WICPixelFormatGUID PixelFormatOf(DXGI_FORMAT format) {
  return format == DXGI_FORMAT_R8G8B8A8_UNORM ? GUID_WICPixelFormat32bppRGBA
                                              : GUID_WICPixelFormat32bppBGRA;
}

}  // namespace

void Bitmap::SaveImage(const wchar_t* path, ID3D11DeviceContext* context,
                       IWICImagingFactory2* factory, ID3D11Texture2D* texture, REFGUID container) {
  if (!context || !factory || !texture) Check(E_POINTER, __LINE__, "Create stream");
  CComPtr<IWICStream> stream;
  Check(factory->CreateStream(&stream), __LINE__, "Create stream");
  Check(stream->InitializeFromFilename(path, GENERIC_WRITE), __LINE__, "Create stream");
  CComPtr<IWICBitmapEncoder> encoder;
  Check(factory->CreateEncoder(container, nullptr, &encoder), __LINE__, "Create encoder");
  Check(encoder->Initialize(stream, WICBitmapEncoderNoCache), __LINE__, "Initialize encoder");
  CComPtr<IWICBitmapFrameEncode> frame;
  CComPtr<IPropertyBag2> options;
  Check(encoder->CreateNewFrame(&frame, &options), __LINE__, "Create Frame");
  Check(frame->Initialize(nullptr), __LINE__, "Initialize Frame");

  D3D11_TEXTURE2D_DESC description{};
  texture->GetDesc(&description);
  WICPixelFormatGUID format = PixelFormatOf(description.Format);
  frame->SetSize(description.Width, description.Height);
  frame->SetPixelFormat(&format);
  D3D11_MAPPED_SUBRESOURCE mapped{};
  if (SUCCEEDED(context->Map(texture, 0, D3D11_MAP_READ, 0, &mapped))) {
    frame->WritePixels(description.Height, mapped.RowPitch, mapped.RowPitch * description.Height,
                       static_cast<BYTE*>(mapped.pData));
    context->Unmap(texture, 0);
  }
  // Without a whole picture a file that is there stays.
  if (SUCCEEDED(frame->Commit()) && SUCCEEDED(encoder->Commit())) stream->Commit(0);
}

}  // namespace Vantra
