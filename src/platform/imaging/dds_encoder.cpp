#include "platform/imaging/dds_encoder.h"

#include <array>

#include "platform/imaging/pixels.h"

namespace Vantra::Platform {
namespace {

constexpr std::size_t kHeaderBytes = 128;

// What the header says it holds: capabilities, height, width, pitch, pixel format.
constexpr UINT kHeaderFlags = 1 | 2 | 4 | 8 | 0x1000;
// Colours by masks, with alpha.
constexpr UINT kFormatFlags = 0x40 | 1;
constexpr UINT kTexture = 0x1000;

class DdsPictureWriter final : public PictureWriter {
 public:
  DdsPictureWriter(ByteSink sink, UINT width)
      : sink_(std::move(sink)), row_bytes_(width * kBytesPerPixel) {}

  HRESULT Open(UINT width, UINT height) {
    std::array<BYTE, kHeaderBytes> header{'D', 'D', 'S', ' '};
    const auto put = [&header](std::size_t at, UINT value) {
      for (std::size_t i = 0; i < 4; ++i) header[at + i] = static_cast<BYTE>(value >> 8 * i);
    };
    put(4, kHeaderBytes - 4);
    put(8, kHeaderFlags);
    put(12, height);
    put(16, width);
    put(20, static_cast<UINT>(row_bytes_));
    put(76, 32);  // bytes of the pixel format
    put(80, kFormatFlags);
    put(88, 32);  // bits of a pixel
    put(92, 0x00FF0000);
    put(96, 0x0000FF00);
    put(100, 0x000000FF);
    put(104, 0xFF000000);
    put(108, kTexture);
    return sink_(header.data(), header.size());
  }

  HRESULT WriteRow(const BYTE* row) override { return sink_(row, row_bytes_); }
  HRESULT Finish() override { return S_OK; }

 private:
  ByteSink sink_;
  std::size_t row_bytes_;
};

HRESULT Open(ByteSink sink, UINT width, UINT height, std::unique_ptr<PictureWriter>* writer) {
  auto made = std::make_unique<DdsPictureWriter>(std::move(sink), width);
  const HRESULT result = made->Open(width, height);
  if (SUCCEEDED(result)) *writer = std::move(made);
  return result;
}

}  // namespace

const Encoding kDdsEncoding = {GUID_ContainerFormatDds, Open};

}  // namespace Vantra::Platform
