#include "platform/imaging/png_decoder.h"

#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <png.h>

namespace Vantra::Platform {
namespace {

constexpr BYTE kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

// Largest memory for one chunk other than pixels. Only palettes and transparency are kept, which
// take less than 1 KiB.
constexpr png_alloc_size_t kMaximumChunkBytes = 64 * 1024;

// Largest number of the file's bytes for a row, beyond twice those of the row: what is more is
// compressed data behind the pixels, which the library would expand to nothing, however long it
// takes.
constexpr std::size_t kMaximumExcess = 16 * 1024;

// From how many pixels on an interlaced picture is refused whose file has less than a byte for so
// many of them, since all of it is held in memory.
constexpr UINT64 kLargeInterlacedPixels = UINT64{1} << 25;
constexpr UINT64 kMostPixelsPerByte = 4096;

struct Free {
  void operator()(BYTE* bytes) const { std::free(bytes); }
};

class PngReader final : public PictureReader {
 public:
  explicit PngReader(StreamReader& stream) : stream_(stream) {}
  ~PngReader() override { png_destroy_read_struct(&png_, &info_, nullptr); }

  HRESULT Open();
  PixelLayout Layout() const override {
    return {.blue_first = true, .premultiplied = false, .opaque = opaque_};
  }
  HRESULT ReadRow(BYTE* row) override;
  HRESULT Finish() override;

 private:
  // The library reports an error by a jump to here. `steps` may hold nothing that has a destructor.
  template <class Steps>
  bool Run(Steps steps) {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    steps();
    return true;
  }

  [[noreturn]] static void OnError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
  static void OnWarning(png_structp, png_const_charp) {}
  static void OnRead(png_structp png, png_bytep bytes, std::size_t size);
  static png_voidp OnAllocate(png_structp png, png_alloc_size_t size);
  static void OnFree(png_structp, png_voidp bytes) { std::free(bytes); }

  HRESULT CheckSize();
  HRESULT ReadInterlaced();
  // For use within `Run`.
  void ReadLibraryRow(BYTE* row) {
    row_bytes_left_ = 2 * stored_row_bytes_ + kMaximumExcess;
    png_read_row(png_, row, nullptr);
    row_bytes_left_.reset();
  }

  // The cause of a failure: `otherwise`, unless it lies outside the file's content.
  HRESULT Cause(HRESULT otherwise) const {
    if (FAILED(stream_.Failure())) return stream_.Failure();
    return out_of_memory_ ? E_OUTOFMEMORY : otherwise;
  }

  StreamReader& stream_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  bool out_of_memory_ = false;
  int passes_ = 1;
  bool opaque_ = false;
  std::size_t stored_row_bytes_ = 0;
  // What may still be read for a row that is being read.
  std::optional<std::size_t> row_bytes_left_;
  // The whole of an interlaced picture, whose rows come several times.
  std::unique_ptr<BYTE, Free> image_;
  UINT rows_begun_ = 0;  // those that the first pass came to
  UINT next_row_ = 0;
};

void PngReader::OnRead(png_structp png, png_bytep bytes, std::size_t size) {
  auto* reader = static_cast<PngReader*>(png_get_io_ptr(png));
  if (reader->row_bytes_left_) {
    if (size > *reader->row_bytes_left_) png_error(png, "too much data");
    *reader->row_bytes_left_ -= size;
  }
  if (reader->stream_.Read(bytes, size) != size) png_error(png, "unexpected end");
}

png_voidp PngReader::OnAllocate(png_structp png, png_alloc_size_t size) {
  void* bytes = std::malloc(size);
  if (bytes == nullptr) static_cast<PngReader*>(png_get_mem_ptr(png))->out_of_memory_ = true;
  return bytes;
}

HRESULT PngReader::Open() {
  const HRESULT size_result = CheckSize();
  if (FAILED(size_result)) return size_result;

  png_ = png_create_read_struct_2(PNG_LIBPNG_VER_STRING, this, OnError, OnWarning, this, OnAllocate,
                                  OnFree);
  if (png_ == nullptr) return E_OUTOFMEMORY;
  info_ = png_create_info_struct(png_);
  if (info_ == nullptr) return E_OUTOFMEMORY;
  png_set_read_fn(png_, this, OnRead);

  const bool done = Run([this] {
    png_set_user_limits(png_, WIC_MAXIMUM_SIDE, WIC_MAXIMUM_SIDE);
    png_set_chunk_malloc_max(png_, kMaximumChunkBytes);
    // Skips every chunk that does not bear on the pixels, with all the ways in which its content
    // could be hostile.
    png_set_keep_unknown_chunks(png_, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_read_info(png_, info_);
    opaque_ = (png_get_color_type(png_, info_) & PNG_COLOR_MASK_ALPHA) == 0 &&
              png_get_valid(png_, info_, PNG_INFO_tRNS) == 0;
    stored_row_bytes_ = png_get_rowbytes(png_, info_);
    png_set_expand(png_);
    png_set_bgr(png_);
    png_set_scale_16(png_);
    png_set_gray_to_rgb(png_);
    png_set_add_alpha(png_, 0xFF, PNG_FILLER_AFTER);
    passes_ = png_set_interlace_handling(png_);
    png_read_update_info(png_, info_);
  });
  if (!done || png_get_image_width(png_, info_) != Width() ||
      png_get_image_height(png_, info_) != Height() ||
      png_get_rowbytes(png_, info_) != Width() * kBytesPerPixel) {
    return Cause(WINCODEC_ERR_BADHEADER);
  }
  return S_OK;
}

// The size stands at a fixed place. It is checked before the library sees the file, which would not
// tell a size beyond the limits from a broken header.
HRESULT PngReader::CheckSize() {
  struct {
    BYTE signature[sizeof kSignature];
    BYTE length[4];
    BYTE type[4];
    BYTE width[4];
    BYTE height[4];
  } head;
  const std::size_t read = stream_.Read(reinterpret_cast<BYTE*>(&head), sizeof head);
  const HRESULT failure = stream_.Failure();
  stream_.Rewind();
  if (FAILED(failure)) return failure;
  if (read != sizeof head || std::memcmp(head.type, "IHDR", sizeof head.type) != 0) {
    return WINCODEC_ERR_BADHEADER;
  }
  return SetSize(png_get_uint_32(head.width), png_get_uint_32(head.height));
}

HRESULT PngReader::ReadRow(BYTE* row) {
  if (passes_ == 1) {
    return Run([this, row] { ReadLibraryRow(row); }) ? S_OK : Cause(WINCODEC_ERR_BADIMAGE);
  }
  if (image_ == nullptr) {
    const HRESULT result = ReadInterlaced();
    if (FAILED(result)) return result;
  }
  if (next_row_ >= rows_begun_) return damage_;
  const std::size_t row_bytes = Width() * kBytesPerPixel;
  std::memcpy(row, image_.get() + next_row_++ * row_bytes, row_bytes);
  return S_OK;
}

HRESULT PngReader::ReadInterlaced() {
  const UINT64 pixels = UINT64{Width()} * Height();
  const std::optional<UINT64> size = stream_.Size();
  if (pixels > kLargeInterlacedPixels && size && pixels / kMostPixelsPerByte > *size) {
    return WINCODEC_ERR_BADIMAGE;
  }
  // Zeroed pages cost nothing until a row is written, so a short file that claims a large size
  // takes only what it fills.
  image_.reset(static_cast<BYTE*>(std::calloc(Height(), Width() * kBytesPerPixel)));
  if (image_ == nullptr) return E_OUTOFMEMORY;
  const bool complete = Run([this] {
    for (int pass = 0; pass < passes_; ++pass) {
      for (UINT y = 0; y < Height(); ++y) {
        ReadLibraryRow(image_.get() + y * (Width() * kBytesPerPixel));
        if (pass == 0) rows_begun_ = y + 1;
      }
    }
    png_read_end(png_, nullptr);
  });
  if (!complete) damage_ = Cause(WINCODEC_ERR_BADIMAGE);
  return S_OK;
}

HRESULT PngReader::Finish() {
  if (passes_ != 1) return damage_;
  return Run([this] { png_read_end(png_, nullptr); }) ? S_OK : Cause(WINCODEC_ERR_BADIMAGE);
}

bool Recognises(std::span<const BYTE> start) { return BeginsWith(start, kSignature); }

}  // namespace

const Coder kPngCoder = {GUID_ContainerFormatPng, Recognises, OpenSinglePicture<PngReader>};

}  // namespace Vantra::Platform
