#include "cli/picture_file.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <fmt/format.h>
#include <string_view>

#include "cli/command_error.h"
#include "platform/com/utf8.h"
#include "platform/imaging/errno_result.h"
#include "platform/imaging/pixels.h"
#include "platform/imaging/png_writer.h"
#include "platform/imaging/replacement_file.h"

namespace Vantrix::Command {
namespace {

namespace Platform = Vantra::Platform;

constexpr std::size_t kBytesPerPixel = 4;

std::string Describe(HRESULT result) {
  switch (result) {
    case HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND):
      return "no such file";
    case HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED):
      return "permission denied";
    case WINCODEC_ERR_UNKNOWNIMAGEFORMAT:
      return "neither a PNG nor a JPEG nor a BMP picture";
    case WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT:
      return "the picture is of a variant that cannot be read";
    case WINCODEC_ERR_BADHEADER:
      return "the picture's header is damaged";
    case WINCODEC_ERR_BADIMAGE:
      return "the picture is damaged or cut short";
    case WINCODEC_ERR_IMAGESIZEOUTOFRANGE:
      return fmt::format("the picture is larger than {} pixels a side or {} in all",
                         WIC_MAXIMUM_SIDE, WIC_MAXIMUM_PIXELS);
    case WINCODEC_ERR_STREAMREAD:
      return "the file cannot be read";
    case E_OUTOFMEMORY:
      return "not enough memory";
    default:
      return fmt::format("error 0x{:08x}", static_cast<unsigned>(result));
  }
}

void Check(HRESULT result, const char* action, const std::string& path) {
  if (FAILED(result)) {
    throw CommandError(kFailed, fmt::format("cannot {} {}: {}", action, path, Describe(result)));
  }
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace

Picture ReadPicture(Vantra::Device& device, const std::string& path, std::optional<Size> size) {
  CComPtr<IWICBitmapSource> source;
  Picture picture;
  Check(device.LoadFile(Widen(path).c_str(), size ? static_cast<int>(size->width) : 0,
                        size ? static_cast<int>(size->height) : 0, &source),
        "read", path);
  Check(source->GetSize(&picture.width, &picture.height), "read", path);
  const std::size_t stride = picture.width * kBytesPerPixel;
  picture.pixels.resize(stride * picture.height);
  Check(source->CopyPixels(nullptr, static_cast<UINT>(stride),
                           static_cast<UINT>(picture.pixels.size()), picture.pixels.data()),
        "read", path);
  return picture;
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

void WritePicture(const std::string& path, const Picture& picture) {
  if (EndsWith(path, ".bgra")) {
    return WriteBytes(path, picture.pixels.data(), picture.pixels.size());
  }
  std::vector<unsigned char> straight = picture.pixels;
  Platform::ConvertPixels(straight.data(), straight.size() / kBytesPerPixel,
                          {.blue_first = true, .premultiplied = true},
                          {.blue_first = true, .premultiplied = false});
  Check(Platform::WritePng(path, {.pixels = straight.data(),
                                  .stride = picture.width * kBytesPerPixel,
                                  .width = picture.width,
                                  .height = picture.height,
                                  .format = GUID_WICPixelFormat32bppBGRA}),
        "write", path);
}

void WriteBytes(const std::string& path, const void* data, std::size_t size) {
  const HRESULT result = Platform::ReplaceFile(path, [data, size](std::FILE* file) {
    return std::fwrite(data, 1, size, file) == size ? S_OK : Platform::ResultFromErrno(errno);
  });
  Check(result, "write", path);
}

}  // namespace Vantrix::Command
