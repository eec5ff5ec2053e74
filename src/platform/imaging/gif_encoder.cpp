#include "platform/imaging/gif_encoder.h"

#include <cstring>
#include <vector>

#include "platform/imaging/gif_writer.h"
#include "platform/imaging/pixels.h"

namespace Vantra::Platform {
namespace {

// Keeps the picture, whose colours are chosen when all are known.
class GifPictureWriter final : public PictureWriter {
 public:
  GifPictureWriter(std::unique_ptr<GifWriter> writer, UINT width, UINT height)
      : writer_(std::move(writer)), width_(width), height_(height) {
    pixels_.reserve(std::size_t{width} * height * kBytesPerPixel);
  }

  HRESULT WriteRow(const BYTE* row) override {
    pixels_.insert(pixels_.end(), row, row + std::size_t{width_} * kBytesPerPixel);
    return S_OK;
  }

  HRESULT Finish() override {
    const HRESULT result = writer_->AddFrame({.pixels = pixels_.data(),
                                              .stride = std::size_t{width_} * kBytesPerPixel,
                                              .width = width_,
                                              .height = height_});
    return FAILED(result) ? result : writer_->Finish();
  }

 private:
  std::unique_ptr<GifWriter> writer_;
  UINT width_;
  UINT height_;
  std::vector<BYTE> pixels_;
};

HRESULT Open(ByteSink sink, UINT width, UINT height, std::unique_ptr<PictureWriter>* writer) {
  std::unique_ptr<GifWriter> gif;
  const HRESULT result = GifWriter::Open(std::move(sink), width, height, std::nullopt, &gif);
  if (SUCCEEDED(result)) {
    *writer = std::make_unique<GifPictureWriter>(std::move(gif), width, height);
  }
  return result;
}

}  // namespace

const Encoding kGifEncoding = {GUID_ContainerFormatGif, Open};

}  // namespace Vantra::Platform
