#include "cli/animation.h"

#include <fmt/format.h>

#include "cli/command_error.h"
#include "cli/picture_file.h"
#include "cli/text.h"

namespace Vantrix::Command {
namespace {

// Frames that the library decodes and composes on the device.
class GifAnimation final : public Animation {
 public:
  GifAnimation(Vantra::Device& device, IWICBitmapDecoder* decoder, const std::string& path,
               PictureInfo info)
      : Animation(device, path, std::move(info)), d3d_device_(device.GetD3D11Device()) {
    // Loading takes what a damaged file has, so the damage has to be looked for.
    for (UINT i = 0; i < info_.frames; ++i) {
      CComPtr<IWICBitmapFrameDecode> frame;
      Check(decoder->GetFrame(i, &frame), "read", path);
      CopyPicture(frame, path);
    }
    bitmap_.Create(&device);
    try {
      bitmap_.LoadFile(Widen(path));
    } catch (const Vantra::DException&) {
      Check(E_OUTOFMEMORY, "read", path);
    }
    if (bitmap_.GetFrames().size() != info_.frames) Check(E_OUTOFMEMORY, "read", path);
    player_.Initialize(&device, &bitmap_);
  }

  unsigned Width() const override { return static_cast<unsigned>(bitmap_.GetWidth()); }
  unsigned Height() const override { return static_cast<unsigned>(bitmap_.GetHeight()); }

  Vantra::Bitmap& ComposeNext() override {
    player_.Update(time_);
    // A rebuilt device has lost what was composed.
    if (device_.GetD3D11Device() != d3d_device_) {
      throw CommandError(kFailed, fmt::format("drawing {} failed: the device was lost", path_));
    }
    time_ += bitmap_.GetFrames()[next_++]->delay;
    return bitmap_;
  }

 private:
  CComPtr<ID3D11Device> d3d_device_;
  Vantra::Bitmap bitmap_;
  Vantra::GifRender player_;
  // When the next frame is due.
  double time_ = 0;
  std::size_t next_ = 0;
};

// Frames that the decoder composes.
class DecodedAnimation final : public Animation {
 public:
  DecodedAnimation(Vantra::Device& device, IWICBitmapDecoder* decoder, const std::string& path,
                   PictureInfo info)
      : Animation(device, path, std::move(info)), decoder_(decoder) {
    bitmap_.Create(&device);
  }

  Vantra::Bitmap& ComposeNext() override {
    CComPtr<IWICBitmapFrameDecode> frame;
    CComPtr<IWICFormatConverter> converter;
    Check(decoder_->GetFrame(next_++, &frame), "read", path_);
    Check(device_.GetWicImagingFactory()->CreateFormatConverter(&converter), "read", path_);
    Check(converter->Initialize(frame, GUID_WICPixelFormat32bppPBGRA, WICBitmapDitherTypeNone,
                                nullptr, 0.0, WICBitmapPaletteTypeMedianCut),
          "read", path_);
    const Picture picture = CopyPicture(converter, path_);
    bitmap_.SetPixels(picture.pixels.data(), picture.width, picture.height, picture.width * 4L, 0);
    return bitmap_;
  }

 private:
  CComPtr<IWICBitmapDecoder> decoder_;
  Vantra::Bitmap bitmap_;
  UINT next_ = 0;
};

}  // namespace

std::unique_ptr<Animation> Animation::Open(Vantra::Device& device, const std::string& path) {
  const CComPtr<IWICBitmapDecoder> decoder = OpenPicture(device, path);
  PictureInfo info = ReadPictureInfo(decoder, path);
  if (info.delays.empty()) {
    throw CommandError(kFailed, fmt::format("{} is no animation but a {} picture; GIF and WebP "
                                            "files are animations",
                                            path, info.format));
  }
  if (1ULL * info.width * info.height * info.frames > kMaximumComposedPixels) {
    throw CommandError(
        kFailed, fmt::format("{} has {} frames of {}x{} pixels, and more than {} "
                             "pixels in all are not composed",
                             path, info.frames, info.width, info.height, kMaximumComposedPixels));
  }
  GUID container{};
  Check(decoder->GetContainerFormat(&container), "read", path);
  if (container == GUID_ContainerFormatGif) {
    return std::make_unique<GifAnimation>(device, decoder, path, std::move(info));
  }
  return std::make_unique<DecodedAnimation>(device, decoder, path, std::move(info));
}

}  // namespace Vantrix::Command
