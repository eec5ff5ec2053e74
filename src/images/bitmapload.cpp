#include <vantrix/device/devicecontext.h>
#include <vantrix/device/dexception.h>
#include <vantrix/images/bitmap.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "images/pictureformat.h"

namespace Vantra {
namespace {

constexpr const char* kOpen = "Create Decoder From Filename";
constexpr const char* kFrame = "Get Frame";
constexpr const char* kConvert = "Create Format Converter";

// Throws unless `result` is a success.
void Check(HRESULT result, const char* function, int line, const char* what) {
  if (FAILED(result)) {
    ThrowDException(__FILE__, function, line, DException::kDecode, "%s Failed: 0x%x", what,
                    static_cast<unsigned int>(result));
  }
}

// How large a frame is to become; a picture is not scaled unless asked for.
struct Scaling {
  bool wanted;
  UINT64 width;
  UINT64 height;
};

// The length of a side when the other one changes from `from` to `to`.
UINT64 InProportion(UINT side, int to, UINT from) {
  const float ratio = static_cast<float>(to) / static_cast<float>(from);
  return static_cast<UINT64>(static_cast<float>(side) * ratio);
}

Scaling DecideScaling(UINT own_width, UINT own_height, int width, int height) {
  const auto wanted_width = static_cast<UINT>(std::max(width, 0));
  const auto wanted_height = static_cast<UINT>(std::max(height, 0));
  if (width > 0 && height > 0) return {true, wanted_width, wanted_height};
  if (width > 0) return {true, wanted_width, InProportion(own_height, width, own_width)};
  if (height > 0 && wanted_height != own_height) {
    return {true, InProportion(own_width, height, own_height), wanted_height};
  }
  return {false, own_width, own_height};
}

bool IsMovieName(const std::wstring& path) {
  constexpr std::wstring_view kExtension = L".swf";
  const std::size_t found = path.find(kExtension);
  return found != std::wstring::npos && found + kExtension.size() == path.size();
}

CComPtr<IWICStream> StreamOver(IWICImagingFactory2* factory, const void* bytes,
                               unsigned long count) {
  CComPtr<IWICStream> stream;
  if (!factory || FAILED(factory->CreateStream(&stream))) return nullptr;
  constexpr unsigned long kMost = std::numeric_limits<DWORD>::max();
  // The stream is only read.
  stream->InitializeFromMemory(static_cast<BYTE*>(const_cast<void*>(bytes)),
                               static_cast<DWORD>(std::min(count, kMost)));
  return stream;
}

CComPtr<IWICBitmapDecoder> OpenStream(IWICImagingFactory2* factory, IStream* stream,
                                      const char* function) {
  CComPtr<IWICBitmapDecoder> decoder;
  Check(factory ? factory->CreateDecoderFromStream(stream, nullptr, WICDecodeMetadataCacheOnDemand,
                                                   &decoder)
                : E_FAIL,
        function, __LINE__, kOpen);
  return decoder;
}

}  // namespace

IWICImagingFactory2* Bitmap::GetImagingFactory() {
  const BitmapContext* context = GetBitmapContext();
  return context && context->GetDeviceContext()
             ? context->GetDeviceContext()->GetWicImagingFactory()
             : nullptr;
}

ID2D1DeviceContext* Bitmap::GetDrawingContext() {
  const BitmapContext* context = GetBitmapContext();
  return context && context->GetDeviceContext() ? context->GetDeviceContext()->GetD2DDeviceContext()
                                                : nullptr;
}

Bitmap::FileFormat Bitmap::CheckFileFormat(REFGUID container) {
  if (container == GUID_ContainerFormatBmp) return FileFormat::kBmp;
  if (container == GUID_ContainerFormatPng) return FileFormat::kPng;
  if (container == GUID_ContainerFormatJpeg) return FileFormat::kJpeg;
  if (container == GUID_ContainerFormatTiff) return FileFormat::kTiff;
  if (container == GUID_ContainerFormatGif) return FileFormat::kGif;
  if (container == GUID_ContainerFormatWmp) return FileFormat::kHdPhoto;
  if (container == GUID_ContainerFormatDds) return FileFormat::kDds;
  return FileFormat::kUnknown;
}

void Bitmap::StoreFileFormat(IWICBitmapDecoder* decoder) {
  GUID container{};
  decoder->GetContainerFormat(&container);
  file_format_ = CheckFileFormat(container);
}

bool Bitmap::LoadFile(const std::wstring& path, int width, int height,
                      const MultipleOptions* options) {
  constexpr const char* kFunction = "Vantra::Bitmap::LoadFile";
  Cleanup();
  IWICImagingFactory2* factory = GetImagingFactory();
  CComPtr<IWICBitmapDecoder> decoder;
  const HRESULT result = factory ? factory->CreateDecoderFromFilename(
                                       (L"\\\\?\\" + path).c_str(), nullptr, GENERIC_READ,
                                       WICDecodeMetadataCacheOnDemand, &decoder)
                                 : E_FAIL;
  if (FAILED(result) && IsMovieName(path)) return LoadSwf(path, width, height);
  Check(result, kFunction, __LINE__, kOpen);
  Decode(factory, decoder, width, height, options, kFunction);
  return true;
}

void Bitmap::LoadStream(IStream* stream, int width, int height, const MultipleOptions* options) {
  constexpr const char* kFunction = "Vantra::Bitmap::LoadStream";
  Cleanup();
  IWICImagingFactory2* factory = GetImagingFactory();
  const CComPtr<IWICBitmapDecoder> decoder = OpenStream(factory, stream, kFunction);
  Decode(factory, decoder, width, height, options, kFunction);
}

void Bitmap::LoadMemory(const void* bytes, unsigned long count, int width, int height,
                        const MultipleOptions* options) {
  LoadStream(StreamOver(GetImagingFactory(), bytes, count), width, height, options);
}

void Bitmap::LoadResource(const std::wstring& name, int width, int height,
                          const MultipleOptions* options) {
  HRSRC resource = FindResourceW(nullptr, name.c_str(), RT_RCDATA);
  const DWORD size = SizeofResource(nullptr, resource);
  const void* bytes = LockResource(::LoadResource(nullptr, resource));
  if (bytes && size > 0) LoadMemory(bytes, size, width, height, options);
}

void Bitmap::Decode(IWICImagingFactory2* factory, IWICBitmapDecoder* decoder, int width, int height,
                    const MultipleOptions* options, const char* function) {
  try {
    DecodePicture(factory, decoder, width, height, options, function);
  } catch (...) {
    const int frame_count = frame_count_;
    Cleanup();
    frame_count_ = frame_count;
    throw;
  }
}

void Bitmap::DecodePicture(IWICImagingFactory2* factory, IWICBitmapDecoder* decoder, int width,
                           int height, const MultipleOptions* options, const char* function) {
  UINT count = 0;
  if (FAILED(decoder->GetFrameCount(&count)) || count == 0) count = 1;
  frame_count_ = static_cast<int>(std::min<UINT>(count, std::numeric_limits<int>::max()));
  current_frame_ = 0;
  StoreFileFormat(decoder);
  if (file_format_ == FileFormat::kGif) {
    GetGifMeta(factory, decoder);
    if (meta_gif_->pixel_width != 0 && meta_gif_->pixel_height != 0) {
      Check(TakeSize(meta_gif_->pixel_width, meta_gif_->pixel_height), function, __LINE__, kFrame);
      ClearPixels();
      RestoreCpuPixels();
      return;
    }
  }

  CComPtr<IWICBitmapFrameDecode> frame;
  Check(decoder->GetFrame(0, &frame), function, __LINE__, kFrame);
  CComPtr<IWICFormatConverter> converter;
  Check(factory->CreateFormatConverter(&converter), function, __LINE__, kConvert);
  UINT own_width = 0;
  UINT own_height = 0;
  Check(frame->GetSize(&own_width, &own_height), function, __LINE__, kFrame);
  if (own_width == 0 || own_height == 0) Check(E_FAIL, function, __LINE__, kFrame);
  const Scaling scaling = DecideScaling(own_width, own_height, width, height);
  if (scaling.wanted) {
    // A side of 0 is refused by the scaler.
    Check(CheckPictureSize(scaling.width, scaling.height), function, __LINE__, kConvert);
    CComPtr<IWICBitmapScaler> scaler;
    if (SUCCEEDED(factory->CreateBitmapScaler(&scaler))) {
      scaler->Initialize(frame, static_cast<UINT>(scaling.width), static_cast<UINT>(scaling.height),
                         WICBitmapInterpolationModeCubic);
    }
    Check(ConvertPicture(converter, scaler), function, __LINE__, kConvert);
  } else {
    Check(ConvertPicture(converter, frame), function, __LINE__, kConvert);
  }

  UINT final_width = 0;
  UINT final_height = 0;
  converter->GetSize(&final_width, &final_height);
  Check(TakeSize(final_width, final_height), function, __LINE__, kConvert);
  CopyWhole(converter, final_width, final_height, pixels_.get());
  LoadMultipleOptions(options);
  if (!pixels_) Check(E_OUTOFMEMORY, function, __LINE__, kConvert);
  RestoreCpuPixels();
}

HRESULT Bitmap::TakeSize(UINT width, UINT height) {
  const HRESULT result = CheckPictureSize(width, height);
  if (FAILED(result)) return result;
  pixels_ = MakePixels(width, height);
  if (!pixels_) return E_OUTOFMEMORY;
  width_ = static_cast<int>(width);
  height_ = static_cast<int>(height);
  stride_ = static_cast<int>(width * kBytesPerPixel);
  return S_OK;
}

void Bitmap::ClearPixels() {
  std::memset(pixels_.get(), 0,
              static_cast<std::size_t>(stride_) * static_cast<std::size_t>(height_));
}

std::unique_ptr<Bitmap::Frame> Bitmap::LoadFrame(IStream* stream) {
  if (stream) stream->Seek({0}, STREAM_SEEK_SET, nullptr);
  return DecodeFrame(stream);
}

std::unique_ptr<Bitmap::Frame> Bitmap::LoadFrame(const void* bytes, unsigned long count) {
  return DecodeFrame(StreamOver(GetImagingFactory(), bytes, count));
}

std::unique_ptr<Bitmap::Frame> Bitmap::DecodeFrame(IStream* stream) {
  constexpr const char* kFunction = "Vantra::Bitmap::LoadFrame";
  IWICImagingFactory2* factory = GetImagingFactory();
  const CComPtr<IWICBitmapDecoder> decoder = OpenStream(factory, stream, kFunction);
  CComPtr<IWICBitmapFrameDecode> picture;
  Check(decoder->GetFrame(0, &picture), kFunction, __LINE__, kFrame);
  CComPtr<IWICFormatConverter> converter;
  Check(factory->CreateFormatConverter(&converter), kFunction, __LINE__, kConvert);
  Check(ConvertPicture(converter, picture), kFunction, __LINE__, kConvert);
  auto frame = std::make_unique<Frame>();
  converter->GetSize(&frame->width, &frame->height);
  if (frame->width != 0 && frame->height != 0) {
    frame->pixels = MakePixels(frame->width, frame->height);
    Check(frame->pixels ? S_OK : E_OUTOFMEMORY, kFunction, __LINE__, kConvert);
    CopyWhole(converter, frame->width, frame->height, frame->pixels.get());
  }
  StoreFileFormat(decoder);
  return frame;
}

void Bitmap::AddFrame(std::unique_ptr<Frame> frame) {
  if (frame->width != 0 && frame->height != 0) frames_.push_back(std::move(frame));
  frame_count_ = static_cast<int>(frames_.size());
  current_frame_ = 0;
}

void Bitmap::ShowFirstFrame(const char* function) {
  if (frames_.empty()) return;
  UINT width = 0;
  UINT height = 0;
  for (const auto& frame : frames_) {
    width = std::max(width, frame->width);
    height = std::max(height, frame->height);
  }
  Check(TakeSize(width, height), function, __LINE__, kConvert);
  ClearPixels();
  CopyFrame(*frames_.front());
  RestoreCpuPixels();
}

void Bitmap::LoadStreams(const std::vector<IStream*>& streams) {
  Cleanup();
  for (IStream* stream : streams) AddFrame(LoadFrame(stream));
  ShowFirstFrame("Vantra::Bitmap::LoadStreams");
}

void Bitmap::LoadFiles(const std::vector<std::wstring>& paths) {
  Cleanup();
  IWICImagingFactory2* factory = GetImagingFactory();
  for (const std::wstring& path : paths) {
    // The file is read by its decoder, since its size alone says nothing of what it holds.
    CComPtr<IWICStream> stream;
    STATSTG statistics{};
    if (!factory || FAILED(factory->CreateStream(&stream)) ||
        FAILED(stream->InitializeFromFilename(path.c_str(), GENERIC_READ)) ||
        FAILED(stream->Stat(&statistics, STATFLAG_NONAME)) || statistics.cbSize.QuadPart == 0) {
      continue;
    }
    AddFrame(DecodeFrame(stream));
  }
  ShowFirstFrame("Vantra::Bitmap::LoadFiles");
}

}  // namespace Vantra
