#include <vantrix/images/bitmap.h>
#include <vantrix/sundrix/logger.h>

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <sstream>
#include <string_view>

#include "images/pictureformat.h"

namespace Vantra {
namespace {

constexpr unsigned int kShortestDelay = 90;
constexpr unsigned int kMillisecondsInHundredth = 10;

// A value of a file's metadata, freed with the object. One of another type than asked for counts as
// missing.
class Metadata {
 public:
  Metadata(IWICMetadataQueryReader* reader, const wchar_t* name) {
    PropVariantInit(&value_);
    if (FAILED(reader->GetMetadataByName(name, &value_))) PropVariantInit(&value_);
  }
  Metadata(const Metadata&) = delete;
  Metadata& operator=(const Metadata&) = delete;
  ~Metadata() { PropVariantClear(&value_); }

  std::optional<bool> Bool() const {
    return value_.vt == VT_BOOL ? std::optional(value_.boolVal != VARIANT_FALSE) : std::nullopt;
  }
  std::optional<unsigned int> Byte() const {
    return value_.vt == VT_UI1 ? std::optional<unsigned int>(value_.bVal) : std::nullopt;
  }
  std::optional<unsigned int> Word() const {
    return value_.vt == VT_UI2 ? std::optional<unsigned int>(value_.uiVal) : std::nullopt;
  }
  std::span<const BYTE> Bytes() const {
    if (value_.vt != (VT_VECTOR | VT_UI1)) return {};
    return {value_.caub.pElems, value_.caub.cElems};
  }

 private:
  PROPVARIANT value_;
};

bool IsLoopExtension(std::span<const BYTE> name) {
  constexpr std::string_view kNames[] = {"NETSCAPE2.0", "ANIMEXTS1.0"};
  return std::any_of(std::begin(kNames), std::end(kNames), [&](std::string_view known) {
    return std::equal(name.begin(), name.end(), known.begin(), known.end());
  });
}

// The number of repetitions in an extension's data, 0 when there is none.
unsigned int ReadLoopCount(std::span<const BYTE> data) {
  if (data.size() < 4 || data[0] == 0 || data[1] != 1) return 0;
  return data[2] + 256u * data[3];
}

// A pixel of the screen is as wide as it is high times the ratio; the side that this makes too long
// is shortened.
void ApplyAspectRatio(unsigned int aspect, Bitmap::MetaGif* meta) {
  meta->pixel_width = meta->logical_width;
  meta->pixel_height = meta->logical_height;
  if (aspect == 0) return;
  const float ratio = (static_cast<float>(aspect) + 15.0f) * 0.015625f;
  if (ratio > 1.0f) {
    meta->pixel_height =
        static_cast<unsigned int>(static_cast<float>(meta->logical_height) / ratio);
  } else {
    meta->pixel_width = static_cast<unsigned int>(static_cast<float>(meta->logical_width) * ratio);
  }
}

HRESULT Log(HRESULT result, const char* text, UINT index, int line) {
  std::ostringstream message;
  message << text << index;
  sundrix::Logger::GetInstance()(sundrix::error, message.str(), "Vantra::Bitmap::GetGifFrame",
                                 __FILE__, line);
  return result;
}

}  // namespace

void Bitmap::GetGifMeta(IWICImagingFactory2* factory, IWICBitmapDecoder* decoder) {
  meta_gif_ = std::make_unique<MetaGif>();
  CComPtr<IWICMetadataQueryReader> reader;
  if (FAILED(decoder->GetMetadataQueryReader(&reader)) || !reader) return;
  if (SUCCEEDED(GetGifBackgroundColor(factory, decoder, reader))) {
    chroma_key_ = std::make_unique<D3DCOLORVALUE>(meta_gif_->background_color);
  }
  meta_gif_->logical_width = Metadata(reader, L"/logscrdesc/Width").Word().value_or(0);
  meta_gif_->logical_height = Metadata(reader, L"/logscrdesc/Height").Word().value_or(0);
  if (const auto aspect = Metadata(reader, L"/logscrdesc/PixelAspectRatio").Byte()) {
    ApplyAspectRatio(*aspect, meta_gif_.get());
  }
  if (IsLoopExtension(Metadata(reader, L"/appext/application").Bytes())) {
    meta_gif_->loop_count = ReadLoopCount(Metadata(reader, L"/appext/data").Bytes());
    meta_gif_->has_loop = meta_gif_->loop_count != 0;
  }
  for (int i = 0; i < frame_count_; ++i) GetGifFrame(factory, decoder, static_cast<UINT>(i));
}

HRESULT Bitmap::GetGifBackgroundColor(IWICImagingFactory2* factory, IWICBitmapDecoder* decoder,
                                      IWICMetadataQueryReader* reader) {
  if (!Metadata(reader, L"/logscrdesc/GlobalColorTableFlag").Bool().value_or(false)) return E_FAIL;
  const auto index = Metadata(reader, L"/logscrdesc/BackgroundColorIndex").Byte();
  if (!index) return E_FAIL;
  CComPtr<IWICPalette> palette;
  HRESULT result = factory->CreatePalette(&palette);
  if (FAILED(result)) return result;
  result = decoder->CopyPalette(palette);
  if (FAILED(result)) return result;
  std::array<WICColor, 256> colors{};
  UINT count = 0;
  result = palette->GetColors(static_cast<UINT>(colors.size()), colors.data(), &count);
  if (FAILED(result)) return result;
  if (*index < count) {
    const WICColor c = colors[*index];
    const auto channel = [](WICColor value) { return static_cast<float>(value & 255) / 255.0f; };
    meta_gif_->background_color = {channel(c >> 16), channel(c >> 8), channel(c), channel(c >> 24)};
  }
  return S_OK;
}

HRESULT Bitmap::GetGifFrame(IWICImagingFactory2* factory, IWICBitmapDecoder* decoder, UINT index) {
  auto frame = std::make_unique<Frame>();
  CComPtr<IWICBitmapFrameDecode> picture;
  HRESULT result = decoder->GetFrame(index, &picture);
  if (FAILED(result)) return Log(result, "Can't get frame of GIF: ", index, __LINE__);
  CComPtr<IWICFormatConverter> converter;
  result = factory->CreateFormatConverter(&converter);
  if (FAILED(result)) {
    return Log(result, "Can't create format converter for GIF frame: ", index, __LINE__);
  }
  result = ConvertPicture(converter, picture);
  if (FAILED(result)) {
    return Log(result, "Can't initialize format converter for GIF frame: ", index, __LINE__);
  }
  CComPtr<IWICMetadataQueryReader> reader;
  result = picture->GetMetadataQueryReader(&reader);
  if (FAILED(result)) {
    return Log(result, "Can't get meta query reader for GIF frame: ", index, __LINE__);
  }

  const unsigned int left = Metadata(reader, L"/imgdesc/Left").Word().value_or(0);
  const unsigned int top = Metadata(reader, L"/imgdesc/Top").Word().value_or(0);
  const auto width = Metadata(reader, L"/imgdesc/Width").Word();
  const auto height = Metadata(reader, L"/imgdesc/Height").Word();
  frame->rect = {static_cast<float>(left), static_cast<float>(top),
                 width ? static_cast<float>(left + *width) : 0.0f,
                 height ? static_cast<float>(top + *height) : 0.0f};
  frame->delay = std::max(kShortestDelay, Metadata(reader, L"/grctlext/Delay").Word().value_or(0) *
                                              kMillisecondsInHundredth);
  frame->disposal = Metadata(reader, L"/grctlext/Disposal").Byte().value_or(0);
  frame->transparent = Metadata(reader, L"/grctlext/TransparencyFlag").Bool().value_or(false);

  converter->GetSize(&frame->width, &frame->height);
  if (frame->width == 0 || frame->height == 0) return S_OK;
  frame->pixels = MakePixels(frame->width, frame->height);
  if (!frame->pixels) return E_OUTOFMEMORY;
  CopyWhole(converter, frame->width, frame->height, frame->pixels.get());
  frames_.push_back(std::move(frame));
  return S_OK;
}

}  // namespace Vantra
