#include "cli/picture_info.h"

#include <algorithm>
#include <optional>
#include <span>
#include <string_view>

#include "cli/picture_file.h"

namespace Vantrix::Command {
namespace {

constexpr unsigned kMillisecondsInHundredth = 10;

struct FormatName {
  GUID container;
  const char* name;
};

constexpr FormatName kNames[] = {
    {GUID_ContainerFormatBmp, "BMP"},      {GUID_ContainerFormatDds, "DDS"},
    {GUID_ContainerFormatGif, "GIF"},      {GUID_ContainerFormatJpeg, "JPEG"},
    {GUID_ContainerFormatPng, "PNG"},      {GUID_ContainerFormatTiff, "TIFF"},
    {GUID_ContainerFormatWmp, "HD Photo"}, {GUID_ContainerFormatWebp, "WebP"},
};

// A value of a file's metadata, or none.
class Metadata {
 public:
  Metadata(IWICMetadataQueryReader* reader, const wchar_t* name) {
    PropVariantInit(&value_);
    reader->GetMetadataByName(name, &value_);
  }
  Metadata(const Metadata&) = delete;
  Metadata& operator=(const Metadata&) = delete;
  ~Metadata() { PropVariantClear(&value_); }

  std::optional<unsigned> Number() const {
    if (value_.vt == VT_UI2) return value_.uiVal;
    if (value_.vt == VT_UI4) return static_cast<unsigned>(value_.ulVal);
    return std::nullopt;
  }
  std::span<const BYTE> Bytes() const {
    if (value_.vt != (VT_VECTOR | VT_UI1)) return {};
    return {value_.caub.pElems, value_.caub.cElems};
  }

 private:
  PROPVARIANT value_;
};

// A GIF without the extension is shown once; one with it tells the repetitions.
unsigned ReadGifPlays(IWICMetadataQueryReader* reader) {
  const Metadata application(reader, L"/appext/application");
  const std::span<const BYTE> name = application.Bytes();
  const bool known =
      std::ranges::any_of(std::initializer_list<std::string_view>{"NETSCAPE2.0", "ANIMEXTS1.0"},
                          [name](std::string_view each) { return std::ranges::equal(name, each); });
  const Metadata extension(reader, L"/appext/data");
  const std::span<const BYTE> data = extension.Bytes();
  if (!known || data.size() < 4 || data[0] == 0 || data[1] != 1) return 1;
  const unsigned repetitions = data[2] + 256u * data[3];
  return repetitions == 0 ? 0 : repetitions + 1;
}

unsigned ReadDelay(IWICBitmapFrameDecode* frame, bool gif) {
  CComPtr<IWICMetadataQueryReader> reader;
  if (FAILED(frame->GetMetadataQueryReader(&reader))) return 0;
  if (!gif) return Metadata(reader, L"/ANMF/FrameDuration").Number().value_or(0);
  return Metadata(reader, L"/grctlext/Delay").Number().value_or(0) * kMillisecondsInHundredth;
}

}  // namespace

PictureInfo ReadPictureInfo(IWICBitmapDecoder* decoder, const std::string& path) {
  GUID container{};
  PictureInfo info;
  CComPtr<IWICBitmapFrameDecode> frame;
  Check(decoder->GetContainerFormat(&container), "read", path);
  Check(decoder->GetFrameCount(&info.frames), "read", path);
  Check(decoder->GetFrame(0, &frame), "read", path);
  Check(frame->GetSize(&info.width, &info.height), "read", path);
  for (const FormatName& each : kNames) {
    if (each.container == container) info.format = each.name;
  }

  const bool gif = container == GUID_ContainerFormatGif;
  CComPtr<IWICMetadataQueryReader> reader;
  if (FAILED(decoder->GetMetadataQueryReader(&reader))) return info;
  if (gif) {
    const unsigned width = Metadata(reader, L"/logscrdesc/Width").Number().value_or(0);
    const unsigned height = Metadata(reader, L"/logscrdesc/Height").Number().value_or(0);
    // Without a screen the first frame stands for it.
    if (width != 0 && height != 0) {
      info.width = width;
      info.height = height;
    }
    info.plays = ReadGifPlays(reader);
  } else if (const auto plays = Metadata(reader, L"/ANIM/LoopCount").Number()) {
    info.plays = *plays;
  } else {
    return info;
  }
  for (unsigned i = 0; i < info.frames; ++i) {
    frame.Release();
    Check(decoder->GetFrame(i, &frame), "read", path);
    info.delays.push_back(ReadDelay(frame, gif));
  }
  return info;
}

}  // namespace Vantrix::Command
