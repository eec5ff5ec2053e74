#include "platform/imaging/webp_encoder.h"

#include <cstring>
#include <limits>
#include <webp/encode.h>
#include <webp/mux.h>

#include "platform/imaging/pixels.h"

namespace Vantra::Platform {
namespace {

// Of 0 to 9, each slower than the last, for ever less of a gain.
constexpr int kLosslessLevel = 2;

// Of 0 to 6.
constexpr int kLossyMethod = 4;

constexpr UINT kMaximumLoops = 65535;
constexpr UINT kMaximumDuration = (1 << 24) - 1;

bool IsTooLarge(UINT width, UINT height) {
  return width > WEBP_MAX_DIMENSION || height > WEBP_MAX_DIMENSION;
}

// A picture of the library, of 32-bit words that are blue, green, red, alpha in memory.
class Picture {
 public:
  Picture() = default;
  ~Picture() { WebPPictureFree(&picture_); }
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;

  HRESULT Open(UINT width, UINT height) {
    if (IsTooLarge(width, height)) return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
    if (WebPPictureInit(&picture_) == 0) return E_FAIL;
    picture_.use_argb = 1;
    picture_.width = static_cast<int>(width);
    picture_.height = static_cast<int>(height);
    return WebPPictureAlloc(&picture_) != 0 ? S_OK : E_OUTOFMEMORY;
  }

  void SetRow(UINT y, const BYTE* row) {
    std::memcpy(picture_.argb + std::size_t{y} * static_cast<std::size_t>(picture_.argb_stride),
                row, static_cast<std::size_t>(picture_.width) * kBytesPerPixel);
  }

  WebPPicture* Get() { return &picture_; }

 private:
  WebPPicture picture_{};
};

bool SetLossless(WebPConfig* config) {
  if (WebPConfigInit(config) == 0 || WebPConfigLosslessPreset(config, kLosslessLevel) == 0) {
    return false;
  }
  config->exact = 1;
  return true;
}

class WebpPictureWriter final : public PictureWriter {
 public:
  explicit WebpPictureWriter(ByteSink sink) : sink_(std::move(sink)) {}

  HRESULT Open(UINT width, UINT height) { return picture_.Open(width, height); }

  HRESULT WriteRow(const BYTE* row) override {
    picture_.SetRow(next_row_++, row);
    return S_OK;
  }

  HRESULT Finish() override {
    WebPConfig config;
    if (!SetLossless(&config)) return E_FAIL;
    picture_.Get()->writer = OnWrite;
    picture_.Get()->custom_ptr = this;
    if (WebPEncode(&config, picture_.Get()) != 0) return S_OK;
    // What it can fail with apart from writing is lack of memory.
    return FAILED(failure_) ? failure_ : E_OUTOFMEMORY;
  }

 private:
  static int OnWrite(const std::uint8_t* bytes, std::size_t size, const WebPPicture* picture) {
    auto* writer = static_cast<WebpPictureWriter*>(picture->custom_ptr);
    // What is thrown here may not pass through the library.
    try {
      writer->failure_ = writer->sink_(bytes, size);
    } catch (...) {
      writer->failure_ = E_OUTOFMEMORY;
    }
    return SUCCEEDED(writer->failure_) ? 1 : 0;
  }

  ByteSink sink_;
  Picture picture_;
  UINT next_row_ = 0;
  HRESULT failure_ = S_OK;
};

struct DeleteEncoder {
  void operator()(WebPAnimEncoder* encoder) const { WebPAnimEncoderDelete(encoder); }
};

class AnimationWriter final : public WebpAnimationWriter {
 public:
  AnimationWriter(ByteSink sink, UINT width, UINT height)
      : sink_(std::move(sink)), width_(width), height_(height) {}

  HRESULT Start(const WebpAnimationOptions& options) {
    WebPAnimEncoderOptions encoding;
    if (WebPAnimEncoderOptionsInit(&encoding) == 0 || WebPConfigInit(&config_) == 0) return E_FAIL;
    encoding.anim_params.loop_count = static_cast<int>(options.loops);
    encoding.anim_params.bgcolor = 0;
    if (options.quality) {
      config_.quality = *options.quality;
      config_.method = kLossyMethod;
    } else if (!SetLossless(&config_)) {
      return E_FAIL;
    }
    encoder_.reset(
        WebPAnimEncoderNew(static_cast<int>(width_), static_cast<int>(height_), &encoding));
    if (encoder_ == nullptr) return E_OUTOFMEMORY;
    return picture_.Open(width_, height_);
  }

  HRESULT AddFrame(const BYTE* pixels, std::size_t stride, UINT duration) override {
    if (pixels == nullptr || stride / kBytesPerPixel < width_ || duration > kMaximumDuration ||
        time_ + duration > std::numeric_limits<int>::max()) {
      return E_INVALIDARG;
    }
    if (frames_ == WIC_MAXIMUM_FRAMES) return WINCODEC_ERR_UNSUPPORTEDOPERATION;
    for (UINT y = 0; y < height_; ++y) picture_.SetRow(y, pixels + y * stride);
    if (WebPAnimEncoderAdd(encoder_.get(), picture_.Get(), static_cast<int>(time_), &config_) ==
        0) {
      return E_OUTOFMEMORY;
    }
    time_ += duration;
    ++frames_;
    return S_OK;
  }

  HRESULT Finish() override {
    if (frames_ == 0) return WINCODEC_ERR_FRAMEMISSING;
    WebPData file;
    WebPDataInit(&file);
    HRESULT result = E_OUTOFMEMORY;
    if (WebPAnimEncoderAdd(encoder_.get(), nullptr, static_cast<int>(time_), nullptr) != 0 &&
        WebPAnimEncoderAssemble(encoder_.get(), &file) != 0) {
      result = sink_(file.bytes, file.size);
    }
    WebPDataClear(&file);
    return result;
  }

 private:
  ByteSink sink_;
  UINT width_;
  UINT height_;
  WebPConfig config_{};
  std::unique_ptr<WebPAnimEncoder, DeleteEncoder> encoder_;
  Picture picture_;
  UINT64 time_ = 0;  // when the next frame begins
  UINT frames_ = 0;
};

HRESULT Open(ByteSink sink, UINT width, UINT height, std::unique_ptr<PictureWriter>* writer) {
  auto made = std::make_unique<WebpPictureWriter>(std::move(sink));
  const HRESULT result = made->Open(width, height);
  if (SUCCEEDED(result)) *writer = std::move(made);
  return result;
}

}  // namespace

HRESULT WebpAnimationWriter::Open(ByteSink sink, UINT width, UINT height,
                                  const WebpAnimationOptions& options,
                                  std::unique_ptr<WebpAnimationWriter>* writer) {
  const bool quality_fits = !options.quality || (*options.quality >= 0 && *options.quality <= 100);
  if (width == 0 || height == 0 || options.loops > kMaximumLoops || !quality_fits) {
    return E_INVALIDARG;
  }
  if (IsTooLarge(width, height)) return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
  auto made = std::make_unique<AnimationWriter>(std::move(sink), width, height);
  const HRESULT result = made->Start(options);
  if (SUCCEEDED(result)) *writer = std::move(made);
  return result;
}

const Encoding kWebpEncoding = {GUID_ContainerFormatWebp, Open};

}  // namespace Vantra::Platform
