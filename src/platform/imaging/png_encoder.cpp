#include "platform/imaging/png_encoder.h"

#include <csetjmp>
#include <png.h>

namespace Vantra::Platform {
namespace {

class PngPictureWriter final : public PictureWriter {
 public:
  explicit PngPictureWriter(ByteSink sink) : sink_(std::move(sink)) {}
  ~PngPictureWriter() override { png_destroy_write_struct(&png_, &info_); }

  HRESULT Open(UINT width, UINT height) {
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, OnError, OnWarning);
    if (png_ == nullptr) return E_OUTOFMEMORY;
    info_ = png_create_info_struct(png_);
    if (info_ == nullptr) return E_OUTOFMEMORY;
    png_set_write_fn(png_, this, OnWrite, OnFlush);
    return Run([=, this] {
      png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
      png_set_IHDR(png_, info_, width, height, 8, PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
                   PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
      png_write_info(png_, info_);
      png_set_bgr(png_);
    });
  }

  HRESULT WriteRow(const BYTE* row) override {
    return Run([=, this] { png_write_row(png_, row); });
  }

  HRESULT Finish() override {
    return Run([this] { png_write_end(png_, info_); });
  }

 private:
  // The library reports an error by a jump to here. `steps` may hold nothing that has a destructor.
  template <class Steps>
  HRESULT Run(Steps steps) {
    // What it can fail with apart from writing is lack of memory.
    if (setjmp(png_jmpbuf(png_)) != 0) return FAILED(failure_) ? failure_ : E_OUTOFMEMORY;
    steps();
    return S_OK;
  }

  [[noreturn]] static void OnError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
  static void OnWarning(png_structp, png_const_charp) {}
  static void OnFlush(png_structp) {}
  static void OnWrite(png_structp png, png_bytep bytes, std::size_t size) {
    auto* writer = static_cast<PngPictureWriter*>(png_get_io_ptr(png));
    writer->failure_ = writer->sink_(bytes, size);
    if (FAILED(writer->failure_)) png_error(png, "write error");
  }

  ByteSink sink_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  HRESULT failure_ = S_OK;
};

HRESULT Open(ByteSink sink, UINT width, UINT height, std::unique_ptr<PictureWriter>* writer) {
  auto made = std::make_unique<PngPictureWriter>(std::move(sink));
  const HRESULT result = made->Open(width, height);
  if (SUCCEEDED(result)) *writer = std::move(made);
  return result;
}

}  // namespace

const Encoding kPngEncoding = {GUID_ContainerFormatPng, Open};

}  // namespace Vantra::Platform
