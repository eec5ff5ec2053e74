#include "platform/imaging/jpeg_encoder.h"

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdio>
#include <utility>
#include <vector>

#include "platform/imaging/pixels.h"

// The library has a type of this name, of another size than the contract's.
#define INT32 JpegInt32
#include <jpeglib.h>
#undef INT32

#include <jerror.h>

namespace Vantra::Platform {
namespace {

constexpr int kQuality = 90;
constexpr UINT16 kPixelsPerInch = 96;

constexpr PixelLayout kRowLayout = {.blue_first = true, .premultiplied = false};
constexpr PixelLayout kOverBlack = {.blue_first = true, .premultiplied = true};

bool IsOpaque(const BYTE* row, std::size_t count) {
  BYTE all = 255;
  for (std::size_t i = 0; i < count; ++i) all &= row[i * kBytesPerPixel + 3];
  return all == 255;
}

class JpegPictureWriter final : public PictureWriter {
 public:
  explicit JpegPictureWriter(ByteSink sink) : sink_(std::move(sink)) {}
  ~JpegPictureWriter() override { jpeg_destroy_compress(&jpeg_); }

  HRESULT Open(UINT width, UINT height) {
    row_.resize(width * kBytesPerPixel);
    jpeg_.err = jpeg_std_error(&errors_);
    jpeg_.client_data = this;
    errors_.error_exit = OnError;
    errors_.emit_message = [](j_common_ptr, int) {};
    destination_.init_destination = OnStart;
    destination_.empty_output_buffer = OnFull;
    destination_.term_destination = OnEnd;
    return Run([=, this] {
      jpeg_create_compress(&jpeg_);
      jpeg_.dest = &destination_;
      jpeg_.image_width = width;
      jpeg_.image_height = height;
      jpeg_.input_components = kBytesPerPixel;
      jpeg_.in_color_space = JCS_EXT_BGRX;
      // Its colours are at half the resolution, and its codes fixed, so that rows go straight out.
      jpeg_set_defaults(&jpeg_);
      jpeg_set_quality(&jpeg_, kQuality, TRUE);
      constexpr UINT8 kPerInch = 1;
      jpeg_.density_unit = kPerInch;
      jpeg_.X_density = jpeg_.Y_density = kPixelsPerInch;
      jpeg_start_compress(&jpeg_, TRUE);
    });
  }

  HRESULT WriteRow(const BYTE* row) override {
    const std::size_t count = row_.size() / kBytesPerPixel;
    if (!IsOpaque(row, count)) {
      std::copy_n(row, row_.size(), row_.begin());
      ConvertPixels(row_.data(), count, kRowLayout, kOverBlack);
      row = row_.data();
    }
    return Run([=, this] {
      // The library only reads it.
      JSAMPROW rows[] = {const_cast<BYTE*>(row)};
      jpeg_write_scanlines(&jpeg_, rows, 1);
    });
  }

  HRESULT Finish() override {
    return Run([this] { jpeg_finish_compress(&jpeg_); });
  }

 private:
  // The library reports an error by a jump to here. `steps` may hold nothing that has a destructor.
  template <class Steps>
  HRESULT Run(Steps steps) {
    // What it can fail with apart from writing is lack of memory.
    if (setjmp(jump_) != 0) return FAILED(failure_) ? failure_ : E_OUTOFMEMORY;
    steps();
    return S_OK;
  }

  static JpegPictureWriter& Of(void* jpeg) {
    return *static_cast<JpegPictureWriter*>(static_cast<j_common_ptr>(jpeg)->client_data);
  }
  [[noreturn]] static void OnError(j_common_ptr jpeg) { std::longjmp(Of(jpeg).jump_, 1); }

  static void OnStart(j_compress_ptr jpeg) {
    jpeg->dest->next_output_byte = Of(jpeg).buffer_.data();
    jpeg->dest->free_in_buffer = Of(jpeg).buffer_.size();
  }
  static boolean OnFull(j_compress_ptr jpeg) {
    Of(jpeg).Write(kBufferBytes);
    OnStart(jpeg);
    return TRUE;
  }
  static void OnEnd(j_compress_ptr jpeg) {
    Of(jpeg).Write(kBufferBytes - jpeg->dest->free_in_buffer);
  }

  void Write(std::size_t size) {
    failure_ = sink_(buffer_.data(), size);
    if (FAILED(failure_)) ERREXIT(&jpeg_, JERR_FILE_WRITE);
  }

  static constexpr std::size_t kBufferBytes = 16384;

  ByteSink sink_;
  jpeg_compress_struct jpeg_{};
  jpeg_error_mgr errors_{};
  jpeg_destination_mgr destination_{};
  std::jmp_buf jump_;
  HRESULT failure_ = S_OK;
  std::vector<BYTE> row_;
  std::array<JOCTET, kBufferBytes> buffer_;
};

HRESULT Open(ByteSink sink, UINT width, UINT height, std::unique_ptr<PictureWriter>* writer) {
  auto made = std::make_unique<JpegPictureWriter>(std::move(sink));
  const HRESULT result = made->Open(width, height);
  if (SUCCEEDED(result)) *writer = std::move(made);
  return result;
}

}  // namespace

const Encoding kJpegEncoding = {GUID_ContainerFormatJpeg, Open};

}  // namespace Vantra::Platform
