#include "cli/picture_file.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fmt/format.h>

#include "cli/command_error.h"
#include "platform/com/com_object.h"
#include "platform/imaging/errno_result.h"
#include "platform/imaging/replacement_file.h"

namespace Vantrix::Command {
namespace {

namespace Platform = Vantra::Platform;

constexpr std::size_t kBytesPerPixel = 4;

constexpr DWORD kErrorDiskFull = 112;

std::string Describe(HRESULT result) {
  switch (result) {
    case HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND):
      return "no such file";
    case HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED):
      return "permission denied";
    case HRESULT_FROM_WIN32(kErrorDiskFull):
      return "no space is left";
    case WINCODEC_ERR_UNKNOWNIMAGEFORMAT:
      return "no picture of a known format";
    case WINCODEC_ERR_COMPONENTNOTFOUND:
      return "pictures of this format cannot be written";
    case WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT:
      return "the picture is of a variant that cannot be read";
    case WINCODEC_ERR_BADHEADER:
      return "the picture's header is damaged";
    case WINCODEC_ERR_BADIMAGE:
      return "the picture is damaged or cut short";
    case WINCODEC_ERR_IMAGESIZEOUTOFRANGE:
      return fmt::format("it is beyond the limits, such as {} pixels a side, {} in all, {} frames",
                         WIC_MAXIMUM_SIDE, WIC_MAXIMUM_PIXELS, WIC_MAXIMUM_FRAMES);
    case WINCODEC_ERR_STREAMREAD:
      return "the file cannot be read";
    case E_OUTOFMEMORY:
      return "not enough memory";
    default:
      return fmt::format("error 0x{:08x}", static_cast<unsigned>(result));
  }
}

struct Format {
  const char* extension;
  GUID container;
};

constexpr Format kFormats[] = {
    {".bmp", GUID_ContainerFormatBmp},   {".dds", GUID_ContainerFormatDds},
    {".gif", GUID_ContainerFormatGif},   {".hdp", GUID_ContainerFormatWmp},
    {".jpeg", GUID_ContainerFormatJpeg}, {".jpg", GUID_ContainerFormatJpeg},
    {".jxr", GUID_ContainerFormatWmp},   {".png", GUID_ContainerFormatPng},
    {".tif", GUID_ContainerFormatTiff},  {".tiff", GUID_ContainerFormatTiff},
    {".wdp", GUID_ContainerFormatWmp},   {".webp", GUID_ContainerFormatWebp},
};

GUID FormatOf(const std::string& path) {
  const std::string extension = ExtensionOf(path);
  for (const Format& each : kFormats) {
    if (extension == each.extension) return each.container;
  }
  return GUID_ContainerFormatPng;
}

// A file as encoders write to it, from its start to its end.
class FileStream final
    : public Platform::ComObject<Platform::Implements<IStream, ISequentialStream>> {
 public:
  explicit FileStream(std::FILE* file) : file_(file) {}

  HRESULT Write(const void* buffer, ULONG size, ULONG* written) override {
    const HRESULT result = WriteAll(file_, buffer, size);
    if (written != nullptr) *written = SUCCEEDED(result) ? size : 0;
    return result;
  }

  HRESULT Read(void*, ULONG, ULONG*) override { return E_NOTIMPL; }
  HRESULT Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) override { return E_NOTIMPL; }
  HRESULT SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  HRESULT Commit(DWORD) override { return S_OK; }
  HRESULT Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }

 private:
  std::FILE* file_;
};

HRESULT Encode(IWICImagingFactory2* factory, REFGUID container, const Picture& picture,
               IStream* stream) {
  CComPtr<IWICBitmapEncoder> encoder;
  CComPtr<IWICBitmapFrameEncode> frame;
  HRESULT result = factory->CreateEncoder(container, nullptr, &encoder);
  if (SUCCEEDED(result)) result = encoder->Initialize(stream, WICBitmapEncoderNoCache);
  if (SUCCEEDED(result)) result = encoder->CreateNewFrame(&frame, nullptr);
  if (SUCCEEDED(result)) result = frame->Initialize(nullptr);
  if (SUCCEEDED(result)) result = frame->SetSize(picture.width, picture.height);
  WICPixelFormatGUID format = GUID_WICPixelFormat32bppPBGRA;
  if (SUCCEEDED(result)) result = frame->SetPixelFormat(&format);
  if (SUCCEEDED(result)) {
    // The frame only reads them.
    auto* pixels = const_cast<unsigned char*>(picture.pixels.data());
    result = frame->WritePixels(picture.height, picture.width * UINT{kBytesPerPixel},
                                static_cast<UINT>(picture.pixels.size()), pixels);
  }
  if (SUCCEEDED(result)) result = frame->Commit();
  return SUCCEEDED(result) ? encoder->Commit() : result;
}

}  // namespace

void Check(HRESULT result, const char* action, const std::string& path) {
  if (FAILED(result)) {
    throw CommandError(kFailed, fmt::format("cannot {} {}: {}", action, path, Describe(result)));
  }
}

CComPtr<IWICBitmapDecoder> OpenPicture(Vantra::Device& device, const std::string& path) {
  // The prefix keeps a name from being taken for another.
  const std::wstring name = L"\\\\?\\" + Widen(path);
  CComPtr<IWICBitmapDecoder> decoder;
  Check(device.GetWicImagingFactory()->CreateDecoderFromFilename(
            name.c_str(), nullptr, GENERIC_READ, WICDecodeMetadataCacheOnDemand, &decoder),
        "read", path);
  return decoder;
}

Picture CopyPicture(IWICBitmapSource* source, const std::string& path) {
  Picture picture;
  Check(source->GetSize(&picture.width, &picture.height), "read", path);
  const std::size_t stride = picture.width * kBytesPerPixel;
  picture.pixels.resize(stride * picture.height);
  Check(source->CopyPixels(nullptr, static_cast<UINT>(stride),
                           static_cast<UINT>(picture.pixels.size()), picture.pixels.data()),
        "read", path);
  return picture;
}

Picture ReadPicture(Vantra::Device& device, const std::string& path, std::optional<Size> size) {
  CComPtr<IWICBitmapSource> source;
  Check(device.LoadFile(Widen(path).c_str(), size ? static_cast<int>(size->width) : 0,
                        size ? static_cast<int>(size->height) : 0, &source),
        "read", path);
  return CopyPicture(source, path);
}

Picture ReadPictureWithin(Vantra::Device& device, const std::string& path, Size size) {
  CComPtr<IWICBitmapSource> source;
  UINT width = 0;
  UINT height = 0;
  Check(device.LoadFile(Widen(path).c_str(), 0, 0, &source), "read", path);
  Check(source->GetSize(&width, &height), "read", path);
  const double scale = std::min(
      {1.0, static_cast<double>(size.width) / width, static_cast<double>(size.height) / height});
  const auto scaled = [scale](UINT side) {
    return static_cast<unsigned>(std::max(1L, std::lround(side * scale)));
  };
  return ReadPicture(device, path, Size{scaled(width), scaled(height)});
}

void WritePicture(Vantra::Device& device, const std::string& path, const Picture& picture) {
  if (ExtensionOf(path) == ".bgra") {
    return WriteBytes(path, picture.pixels.data(), picture.pixels.size());
  }
  const GUID container = FormatOf(path);
  if (container == GUID_ContainerFormatWebp) CheckWebpSize(path, picture.width, picture.height);
  const HRESULT result = Platform::ReplaceFile(path, [&](std::FILE* file) {
    const CComPtr<FileStream> stream = Platform::MakeCom<FileStream>(file);
    if (stream == nullptr) return E_OUTOFMEMORY;
    return Encode(device.GetWicImagingFactory(), container, picture, stream);
  });
  Check(result, "write", path);
}

HRESULT WriteAll(std::FILE* file, const void* data, std::size_t size) {
  if (std::fwrite(data, 1, size, file) == size) return S_OK;
  return Platform::ResultFromErrno(errno != 0 ? errno : EIO);
}

void WriteBytes(const std::string& path, const void* data, std::size_t size) {
  const HRESULT result = Platform::ReplaceFile(
      path, [data, size](std::FILE* file) { return WriteAll(file, data, size); });
  Check(result, "write", path);
}

void CheckWebpSize(const std::string& path, unsigned width, unsigned height) {
  constexpr unsigned kMaximumSide = 16383;
  if (std::max(width, height) <= kMaximumSide) return;
  throw CommandError(kFailed, fmt::format("cannot write {}: WebP has at most {} pixels a side",
                                          path, kMaximumSide));
}

std::string ExtensionOf(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

std::vector<std::string> ListExtensions() {
  std::vector<std::string> extensions;
  for (const Format& each : kFormats) extensions.emplace_back(each.extension + 1);
  return extensions;
}

}  // namespace Vantrix::Command
