#include <vantrix/device/devicecontext.h>
#include <vantrix/device/dexception.h>
#include <vantrix/images/bitmap.h>

#include <algorithm>
#include <limits>
#include <new>

#include "images/pictureformat.h"
#include "platform/com/com_object.h"

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

// What every step of saving an image fails with.
void CheckImage(HRESULT result, int line) { Check(result, line, "Create GPU Bitmap"); }

WICPixelFormatGUID PixelFormatOf(DXGI_FORMAT format) {
  switch (format) {
    case DXGI_FORMAT_R32G32B32A32_FLOAT:
      return GUID_WICPixelFormat128bppRGBAFloat;
    case DXGI_FORMAT_R16G16B16A16_FLOAT:
      return GUID_WICPixelFormat64bppRGBAHalf;
    case DXGI_FORMAT_R16G16B16A16_UNORM:
      return GUID_WICPixelFormat64bppRGBA;
    case DXGI_FORMAT_R10G10B10A2_UNORM:
      return GUID_WICPixelFormat32bppRGBA1010102;
    case DXGI_FORMAT_R8G8B8A8_UNORM:
    case DXGI_FORMAT_R8G8B8A8_UNORM_SRGB:
      return GUID_WICPixelFormat32bppRGBA;
    case DXGI_FORMAT_R32_FLOAT:
      return GUID_WICPixelFormat32bppGrayFloat;
    case DXGI_FORMAT_R16_FLOAT:
      return GUID_WICPixelFormat16bppGrayHalf;
    case DXGI_FORMAT_R16_UNORM:
      return GUID_WICPixelFormat16bppGray;
    case DXGI_FORMAT_R8_UNORM:
      return GUID_WICPixelFormat8bppGray;
    case DXGI_FORMAT_A8_UNORM:
      return GUID_WICPixelFormat8bppAlpha;
    case DXGI_FORMAT_R9G9B9E5_SHAREDEXP:
      return GUID_WICPixelFormat32bppRGBE;
    case DXGI_FORMAT_B5G6R5_UNORM:
      return GUID_WICPixelFormat16bppBGR565;
    case DXGI_FORMAT_B5G5R5A1_UNORM:
      return GUID_WICPixelFormat16bppBGRA5551;
    case DXGI_FORMAT_B8G8R8A8_UNORM:
    case DXGI_FORMAT_B8G8R8A8_UNORM_SRGB:
      return GUID_WICPixelFormat32bppBGRA;
    case DXGI_FORMAT_B8G8R8X8_UNORM:
    case DXGI_FORMAT_B8G8R8X8_UNORM_SRGB:
      return GUID_WICPixelFormat32bppBGR;
    case DXGI_FORMAT_R10G10B10_XR_BIAS_A2_UNORM:
      return GUID_WICPixelFormat32bppRGBA1010102XR;
    default:
      return GUID_WICPixelFormat32bppRGB;
  }
}

// A stream over memory that lives as long as the stream.
class BufferStream final
    : public Platform::ComObject<Platform::Implements<IWICStream, IStream, ISequentialStream>> {
 public:
  HRESULT Initialize(IWICImagingFactory2* factory, std::size_t size) {
    const HRESULT result = factory->CreateStream(&stream_);
    if (FAILED(result)) return result;
    const std::size_t most = std::numeric_limits<DWORD>::max();
    size = std::min(size, most);
    buffer_.reset(new (std::nothrow) BYTE[size]());
    if (!buffer_) return E_OUTOFMEMORY;
    return stream_->InitializeFromMemory(buffer_.get(), static_cast<DWORD>(size));
  }

  HRESULT InitializeFromMemory(BYTE* buffer, DWORD size) override {
    return stream_->InitializeFromMemory(buffer, size);
  }
  HRESULT InitializeFromFilename(LPCWSTR name, DWORD access) override {
    return stream_->InitializeFromFilename(name, access);
  }
  HRESULT Read(void* buffer, ULONG size, ULONG* read) override {
    return stream_->Read(buffer, size, read);
  }
  HRESULT Write(const void* buffer, ULONG size, ULONG* written) override {
    return stream_->Write(buffer, size, written);
  }
  HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) override {
    return stream_->Seek(move, origin, position);
  }
  HRESULT SetSize(ULARGE_INTEGER size) override { return stream_->SetSize(size); }
  HRESULT Commit(DWORD flags) override { return stream_->Commit(flags); }
  HRESULT Stat(STATSTG* statistics, DWORD flag) override { return stream_->Stat(statistics, flag); }

 private:
  std::unique_ptr<BYTE[]> buffer_;
  CComPtr<IWICStream> stream_;
};

// Encodes an image into a stream that is ready to be written.
void EncodeImage(IWICStream* stream, ID2D1DeviceContext* context, IWICImagingFactory2* factory,
                 ID2D1Image* image, REFGUID container, const WICImageParameters* parameters) {
  CComPtr<IWICBitmapEncoder> encoder;
  CheckImage(factory->CreateEncoder(container, nullptr, &encoder), __LINE__);
  CheckImage(encoder->Initialize(stream, WICBitmapEncoderNoCache), __LINE__);
  CComPtr<IWICBitmapFrameEncode> frame;
  CheckImage(encoder->CreateNewFrame(&frame, nullptr), __LINE__);
  CheckImage(frame->Initialize(nullptr), __LINE__);
  CComPtr<ID2D1Device> device;
  context->GetDevice(&device);
  CComPtr<IWICImageEncoder> image_encoder;
  CheckImage(factory->CreateImageEncoder(device, &image_encoder), __LINE__);
  CheckImage(image_encoder->WriteFrame(image, frame, parameters), __LINE__);
  CheckImage(frame->Commit(), __LINE__);
  CheckImage(encoder->Commit(), __LINE__);
  CheckImage(stream->Commit(0), __LINE__);
}

// The start and the length of the part of a side that a rectangle from `first` to `last` asks for.
struct Part {
  std::int64_t start;
  std::int64_t length;
};

Part ClipSide(LONG first, LONG last, std::int64_t side, std::int64_t drawn_side) {
  std::int64_t start = std::max<LONG>(first, 0);
  if (start >= side) start = 0;
  std::int64_t length = std::min(drawn_side, std::int64_t{last} - first);
  if (start + length > side) length = side - start;
  return {start, length};
}

}  // namespace

void Bitmap::SaveFile(const std::wstring& path, REFGUID container, const RECT* rectangle) {
  ID2D1Bitmap1* bitmap = GetBitmap();
  WICImageParameters parameters{};
  bool partly = false;
  if (bitmap && rectangle) {
    const D2D1_SIZE_U size = bitmap->GetPixelSize();
    const Part x = ClipSide(rectangle->left, rectangle->right, width_, size.width);
    const Part y = ClipSide(rectangle->top, rectangle->bottom, height_, size.height);
    partly = x.length >= 1 && y.length >= 1;
    parameters.PixelFormat = bitmap->GetPixelFormat();
    bitmap->GetDpi(&parameters.DpiX, &parameters.DpiY);
    parameters.Left = static_cast<FLOAT>(x.start);
    parameters.Top = static_cast<FLOAT>(y.start);
    if (partly) {
      parameters.PixelWidth = static_cast<UINT32>(x.length);
      parameters.PixelHeight = static_cast<UINT32>(y.length);
    }
  }
  SaveImage(path.c_str(), GetDrawingContext(), GetImagingFactory(), bitmap, container,
            partly ? &parameters : nullptr);
}

CComPtr<IWICStream> Bitmap::SaveStream(REFGUID container) {
  CComPtr<IWICStream> stream;
  SaveImage(stream, GetDrawingContext(), GetImagingFactory(), this, container);
  return stream;
}

void Bitmap::SaveImage(const wchar_t* path, ID2D1DeviceContext* context,
                       IWICImagingFactory2* factory, ID2D1Image* image, REFGUID container,
                       const WICImageParameters* parameters) {
  if (!context || !factory) CheckImage(E_POINTER, __LINE__);
  CComPtr<IWICStream> stream;
  CheckImage(factory->CreateStream(&stream), __LINE__);
  CheckImage(stream->InitializeFromFilename(path, GENERIC_WRITE), __LINE__);
  EncodeImage(stream, context, factory, image, container, parameters);
}

void Bitmap::SaveImage(CComPtr<IWICStream>& stream, ID2D1DeviceContext* context,
                       IWICImagingFactory2* factory, const Bitmap* bitmap, REFGUID container) {
  if (!context || !factory || !bitmap) CheckImage(E_POINTER, __LINE__);
  const CComPtr<BufferStream> made = Platform::MakeCom<BufferStream>();
  CheckImage(made ? S_OK : E_OUTOFMEMORY, __LINE__);
  const auto width = static_cast<std::size_t>(bitmap->width_);
  const auto height = static_cast<std::size_t>(bitmap->height_);
  CheckImage(made->Initialize(factory, width * height * kBytesPerPixel), __LINE__);
  stream = made.p;
  EncodeImage(stream, context, factory, bitmap->GetBitmap(), container, nullptr);
}

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
