#include "platform/imaging/webp_decoder.h"

#include <cstring>
#include <webp/decode.h>
#include <webp/demux.h>

#include "platform/imaging/file_part.h"
#include "platform/imaging/metadata_value.h"

namespace Vantra::Platform {
namespace {

constexpr std::size_t kHeaderBytes = 12;

bool Recognises(std::span<const BYTE> start) {
  return start.size() >= kHeaderBytes && std::memcmp(&start[0], "RIFF", 4) == 0 &&
         std::memcmp(&start[8], "WEBP", 4) == 0;
}

struct DeleteAnimation {
  void operator()(WebPAnimDecoder* decoder) const { WebPAnimDecoderDelete(decoder); }
};

// Draws the frames of an animation.
class Animation {
 public:
  // Null when the file is broken.
  static std::unique_ptr<Animation> Make(const WebPData& file) {
    std::unique_ptr<Animation> made(new Animation);
    WebPAnimDecoderOptions options;
    if (WebPAnimDecoderOptionsInit(&options) == 0) return nullptr;
    options.color_mode = MODE_BGRA;
    made->decoder_.reset(WebPAnimDecoderNew(&file, &options));
    if (made->decoder_ == nullptr ||
        WebPAnimDecoderGetInfo(made->decoder_.get(), &made->info_) == 0) {
      return nullptr;
    }
    return made;
  }

  const WebPAnimInfo& Info() const { return info_; }

  // The pixels after a frame, or null when one up to it is broken. They stay until the next call.
  const BYTE* Draw(UINT frame) {
    if (frame < drawn_) {
      WebPAnimDecoderReset(decoder_.get());
      drawn_ = 0;
    }
    while (drawn_ <= frame) {
      int time = 0;
      std::uint8_t* pixels = nullptr;
      if (WebPAnimDecoderGetNext(decoder_.get(), &pixels, &time) == 0) {
        drawn_ = info_.frame_count + 1;  // so that the next call begins anew
        return nullptr;
      }
      pixels_ = pixels;
      ++drawn_;
    }
    return pixels_;
  }

  // How long a frame is shown, in milliseconds.
  ULONG Duration(UINT frame) const {
    WebPIterator iterator;
    const WebPDemuxer* demuxer = WebPAnimDecoderGetDemuxer(decoder_.get());
    if (WebPDemuxGetFrame(demuxer, static_cast<int>(frame) + 1, &iterator) == 0) return 0;
    const auto duration = static_cast<ULONG>(iterator.duration);
    WebPDemuxReleaseIterator(&iterator);
    return duration;
  }

 private:
  Animation() = default;

  std::unique_ptr<WebPAnimDecoder, DeleteAnimation> decoder_;
  WebPAnimInfo info_{};
  const BYTE* pixels_ = nullptr;
  UINT drawn_ = 0;  // frames, since the start
};

class AnimationReader final : public PictureReader {
 public:
  AnimationReader(Animation& animation, UINT frame) : animation_(animation), frame_(frame) {}

  HRESULT Open() {
    return SetSize(animation_.Info().canvas_width, animation_.Info().canvas_height);
  }
  PixelLayout Layout() const override { return {.blue_first = true, .premultiplied = false}; }
  HRESULT ReadRow(BYTE* row) override {
    if (pixels_ == nullptr) pixels_ = animation_.Draw(frame_);
    if (pixels_ == nullptr) return WINCODEC_ERR_BADIMAGE;
    const std::size_t row_bytes = Width() * kBytesPerPixel;
    std::memcpy(row, pixels_ + next_row_++ * row_bytes, row_bytes);
    return S_OK;
  }
  HRESULT Finish() override { return S_OK; }

 private:
  Animation& animation_;
  UINT frame_;
  const BYTE* pixels_ = nullptr;
  std::size_t next_row_ = 0;
};

class StillReader final : public PictureReader {
 public:
  StillReader(std::span<const BYTE> file, const WebPBitstreamFeatures& features)
      : file_(file), opaque_(features.has_alpha == 0) {}

  HRESULT Open(UINT width, UINT height) { return SetSize(width, height); }
  PixelLayout Layout() const override {
    return {.blue_first = true, .premultiplied = false, .opaque = opaque_};
  }
  HRESULT ReadRow(BYTE* row) override;
  HRESULT Finish() override { return status_ == VP8_STATUS_OK ? S_OK : WINCODEC_ERR_BADIMAGE; }

 private:
  HRESULT Decode();

  std::span<const BYTE> file_;
  bool opaque_;
  std::unique_ptr<BYTE[]> pixels_;
  VP8StatusCode status_ = VP8_STATUS_OK;
  UINT rows_ = 0;  // that could be decoded
  UINT next_row_ = 0;
};

HRESULT StillReader::ReadRow(BYTE* row) {
  if (pixels_ == nullptr) {
    const HRESULT result = Decode();
    if (FAILED(result)) return result;
  }
  if (next_row_ >= rows_) return WINCODEC_ERR_BADIMAGE;
  const std::size_t row_bytes = Width() * kBytesPerPixel;
  std::memcpy(row, &pixels_[next_row_++ * row_bytes], row_bytes);
  // A lossless picture may hold values of an alpha that its header does not know of.
  if (opaque_) {
    for (std::size_t i = 3; i < row_bytes; i += kBytesPerPixel) row[i] = 255;
  }
  return S_OK;
}

HRESULT StillReader::Decode() {
  const std::size_t row_bytes = Width() * kBytesPerPixel;
  const std::size_t size = row_bytes * Height();
  // Untouched until rows are decoded.
  pixels_.reset(new BYTE[size]);
  WebPDecoderConfig config;
  if (WebPInitDecoderConfig(&config) == 0) return E_FAIL;
  config.output.colorspace = MODE_BGRA;
  config.output.is_external_memory = 1;
  config.output.u.RGBA = {pixels_.get(), static_cast<int>(row_bytes), size};
  const struct DeleteDecoder {
    void operator()(WebPIDecoder* decoder) const { WebPIDelete(decoder); }
  } kDelete;
  const std::unique_ptr<WebPIDecoder, DeleteDecoder> decoder(WebPIDecode(nullptr, 0, &config),
                                                             kDelete);
  if (decoder == nullptr) return E_OUTOFMEMORY;
  status_ = WebPIUpdate(decoder.get(), file_.data(), file_.size());
  if (status_ == VP8_STATUS_OUT_OF_MEMORY) return E_OUTOFMEMORY;
  int last_row = 0;
  if (WebPIDecGetRGB(decoder.get(), &last_row, nullptr, nullptr, nullptr) != nullptr) {
    rows_ = status_ == VP8_STATUS_OK ? Height() : static_cast<UINT>(last_row);
  }
  return S_OK;
}

class WebpFile final : public PictureFile {
 public:
  HRESULT Open(StreamReader& stream);

  UINT FrameCount() const override {
    return animation_ == nullptr ? 1 : animation_->Info().frame_count;
  }
  HRESULT OpenFrame(UINT index, std::unique_ptr<PictureReader>* reader) override;

  bool HasMetadata() const override { return animation_ != nullptr; }
  HRESULT ReadMetadata(std::wstring_view name, PROPVARIANT* value) override {
    if (name != L"/ANIM/LoopCount") return WINCODEC_ERR_PROPERTYNOTFOUND;
    *value = MakeWordValue(static_cast<WORD>(animation_->Info().loop_count));
    return S_OK;
  }
  HRESULT ReadFrameMetadata(UINT index, std::wstring_view name, PROPVARIANT* value) override {
    if (name != L"/ANMF/FrameDuration") return WINCODEC_ERR_PROPERTYNOTFOUND;
    *value = MakeLongValue(animation_->Duration(index));
    return S_OK;
  }

 private:
  std::vector<BYTE> bytes_;
  WebPBitstreamFeatures features_{};
  std::unique_ptr<Animation> animation_;  // null for a still picture
};

HRESULT WebpFile::Open(StreamReader& stream) {
  BYTE header[kHeaderBytes];
  if (stream.Read(header, sizeof header) != sizeof header) {
    return FAILED(stream.Failure()) ? stream.Failure() : WINCODEC_ERR_BADHEADER;
  }
  UINT64 size = 8;
  for (unsigned i = 0; i < 4; ++i) size += UINT64{header[4 + i]} << 8 * i;
  if (size > kMaximumWebpBytes) return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
  const HRESULT result = ReadFilePart(stream, 0, size, &bytes_);
  if (FAILED(result)) return result;
  if (WebPGetFeatures(bytes_.data(), bytes_.size(), &features_) != VP8_STATUS_OK ||
      features_.width <= 0 || features_.height <= 0) {
    return WINCODEC_ERR_BADHEADER;
  }
  const UINT64 pixels =
      static_cast<UINT64>(features_.width) * static_cast<UINT64>(features_.height);
  const bool animated = features_.has_animation != 0;
  if (pixels > (animated ? kMaximumWebpCanvasPixels : kMaximumWebpPixels)) {
    return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
  }
  if (pixels > kLargeWebpPixels && pixels / kMostWebpPixelsPerByte > size) {
    return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
  }
  if (!animated) return S_OK;

  const WebPData file = {bytes_.data(), bytes_.size()};
  // Looks at the chunks alone.
  const struct DeleteDemuxer {
    void operator()(WebPDemuxer* demuxer) const { WebPDemuxDelete(demuxer); }
  } kDelete;
  const std::unique_ptr<WebPDemuxer, DeleteDemuxer> demuxer(WebPDemux(&file), kDelete);
  if (demuxer == nullptr) return WINCODEC_ERR_BADHEADER;
  const UINT64 frames = WebPDemuxGetI(demuxer.get(), WEBP_FF_FRAME_COUNT);
  if (frames == 0) return WINCODEC_ERR_BADHEADER;
  if (frames > WIC_MAXIMUM_FRAMES || frames * pixels > kMaximumWebpAnimationPixels) {
    return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
  }
  animation_ = Animation::Make(file);
  return animation_ == nullptr ? WINCODEC_ERR_BADHEADER : S_OK;
}

HRESULT WebpFile::OpenFrame(UINT index, std::unique_ptr<PictureReader>* reader) {
  if (animation_ != nullptr) {
    auto made = std::make_unique<AnimationReader>(*animation_, index);
    const HRESULT result = made->Open();
    if (SUCCEEDED(result)) *reader = std::move(made);
    return result;
  }
  auto made = std::make_unique<StillReader>(bytes_, features_);
  const HRESULT result =
      made->Open(static_cast<UINT>(features_.width), static_cast<UINT>(features_.height));
  if (SUCCEEDED(result)) *reader = std::move(made);
  return result;
}

HRESULT Open(StreamReader& stream, std::unique_ptr<PictureFile>* file) {
  auto made = std::make_unique<WebpFile>();
  const HRESULT result = made->Open(stream);
  if (SUCCEEDED(result)) *file = std::move(made);
  return result;
}

}  // namespace

const Coder kWebpCoder = {GUID_ContainerFormatWebp, Recognises, Open};

}  // namespace Vantra::Platform
