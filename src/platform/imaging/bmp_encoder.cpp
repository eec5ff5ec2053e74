#include "platform/imaging/bmp_encoder.h"

#include <array>
#include <cstring>
#include <new>

#include "platform/imaging/picture_reader.h"

namespace Vantra::Platform {
namespace {

constexpr std::size_t kFileHeaderBytes = 14;
constexpr std::size_t kInfoHeaderBytes = 40;
constexpr std::size_t kHeaderBytes = kFileHeaderBytes + kInfoHeaderBytes;
constexpr UINT kBitsPerPixel = 32;
constexpr UINT kPixelsPerMetre = 3780;  // 96 to the inch

class BmpPictureWriter final : public PictureWriter {
 public:
  BmpPictureWriter(ByteSink sink, UINT width, UINT height)
      : sink_(std::move(sink)), width_(width), height_(height), row_(height) {}

  HRESULT Open() {
    pixels_.reset(new (std::nothrow) BYTE[height_ * RowBytes()]);
    return pixels_ == nullptr ? E_OUTOFMEMORY : S_OK;
  }

  HRESULT WriteRow(const BYTE* row) override {
    std::memcpy(&pixels_[--row_ * RowBytes()], row, RowBytes());
    return S_OK;
  }

  HRESULT Finish() override {
    const std::array<BYTE, kHeaderBytes> header = MakeHeader();
    const HRESULT result = sink_(header.data(), header.size());
    return FAILED(result) ? result : sink_(pixels_.get(), height_ * RowBytes());
  }

 private:
  std::size_t RowBytes() const { return width_ * kBytesPerPixel; }

  std::array<BYTE, kHeaderBytes> MakeHeader() const {
    std::array<BYTE, kHeaderBytes> header{};
    const auto put = [&header](std::size_t at, std::size_t value) {
      for (std::size_t i = 0; i < 4; ++i) header[at + i] = static_cast<BYTE>(value >> 8 * i);
    };
    const std::size_t pixel_bytes = height_ * RowBytes();
    header[0] = 'B';
    header[1] = 'M';
    put(2, kHeaderBytes + pixel_bytes);
    put(10, kHeaderBytes);
    put(14, kInfoHeaderBytes);
    put(18, width_);
    put(22, height_);
    put(26, 1 | kBitsPerPixel << 16);  // one plane
    put(34, pixel_bytes);
    put(38, kPixelsPerMetre);
    put(42, kPixelsPerMetre);
    return header;
  }

  ByteSink sink_;
  UINT width_;
  UINT height_;
  UINT row_;  // the one written last
  std::unique_ptr<BYTE[]> pixels_;
};

HRESULT Open(ByteSink sink, UINT width, UINT height, std::unique_ptr<PictureWriter>* writer) {
  auto made = std::make_unique<BmpPictureWriter>(std::move(sink), width, height);
  const HRESULT result = made->Open();
  if (SUCCEEDED(result)) *writer = std::move(made);
  return result;
}

}  // namespace

const Encoding kBmpEncoding = {GUID_ContainerFormatBmp, Open};

}  // namespace Vantra::Platform
