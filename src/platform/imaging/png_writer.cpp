#include "platform/imaging/png_writer.h"

#include <cerrno>
#include <climits>
#include <csetjmp>
#include <cstdio>
#include <png.h>

#include "platform/imaging/errno_result.h"
#include "platform/imaging/picture_reader.h"
#include "platform/imaging/pixels.h"
#include "platform/imaging/replacement_file.h"

namespace Vantra::Platform {
namespace {

class PngEncoder {
 public:
  PngEncoder(std::FILE* file, const PixelRows& rows) : file_(file), rows_(rows) {}
  ~PngEncoder() { png_destroy_write_struct(&png_, &info_); }
  PngEncoder(const PngEncoder&) = delete;
  PngEncoder& operator=(const PngEncoder&) = delete;

  HRESULT Encode() {
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, OnError, OnWarning);
    if (png_ == nullptr) return E_OUTOFMEMORY;
    info_ = png_create_info_struct(png_);
    if (info_ == nullptr) return E_OUTOFMEMORY;
    png_set_write_fn(png_, this, OnWrite, OnFlush);
    // The library reports an error by a jump to here.
    // What it can fail with apart from writing is lack of memory.
    if (setjmp(png_jmpbuf(png_)) != 0) return error_ != 0 ? ResultFromErrno(error_) : E_OUTOFMEMORY;
    png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_IHDR(png_, info_, rows_.width, rows_.height, 8, PNG_COLOR_TYPE_RGB_ALPHA,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png_, info_);
    if (LayoutOf(rows_.format)->blue_first) png_set_bgr(png_);
    for (UINT y = 0; y < rows_.height; ++y) {
      png_write_row(png_, rows_.pixels + y * rows_.stride);
    }
    png_write_end(png_, info_);
    return S_OK;
  }

 private:
  [[noreturn]] static void OnError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
  static void OnWarning(png_structp, png_const_charp) {}
  static void OnWrite(png_structp png, png_bytep bytes, std::size_t size) {
    auto* encoder = static_cast<PngEncoder*>(png_get_io_ptr(png));
    if (std::fwrite(bytes, 1, size, encoder->file_) == size) return;
    encoder->error_ = errno != 0 ? errno : EIO;
    png_error(png, "write error");
  }
  static void OnFlush(png_structp) {}

  std::FILE* file_;
  const PixelRows& rows_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  int error_ = 0;
};

}  // namespace

HRESULT WritePng(const std::string& name, const PixelRows& rows) {
  const std::optional<PixelLayout> layout = LayoutOf(rows.format);
  if (!layout || layout->premultiplied) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  if (rows.pixels == nullptr || rows.width == 0 || rows.height == 0 || rows.width > INT_MAX ||
      rows.height > INT_MAX || rows.stride / kBytesPerPixel < rows.width) {
    return E_INVALIDARG;
  }
  return ReplaceFile(name, [&rows](std::FILE* file) { return PngEncoder(file, rows).Encode(); });
}

}  // namespace Vantra::Platform
