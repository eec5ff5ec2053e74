#include "cli/convert_command.h"

#include <vantrix/vantrix.h>

#include <fmt/format.h>
#include <fstream>
#include <vector>

#include "cli/command_error.h"
#include "cli/engines_command.h"
#include "cli/picture_file.h"
#include "cli/text.h"

namespace Vantrix::Command {
namespace {

struct FrameFormat {
  const char* name;
  DXGI_FORMAT format;
  // Bytes from row to row of the first plane, in halves of the width.
  std::size_t half_strides;
  // Whether two planes of half the size follow the first, or one with both.
  bool chroma_planes;
};

constexpr FrameFormat kFormats[] = {
    {"nv12", DXGI_FORMAT_NV12, 2, true},      {"i420", DXGI_FORMAT_420_OPAQUE, 2, true},
    {"yuy2", DXGI_FORMAT_YUY2, 4, false},     {"ayuv", DXGI_FORMAT_AYUV, 8, false},
    {"grey", DXGI_FORMAT_R8_UNORM, 2, false},
};

const FrameFormat& FindFormat(const std::string& name) {
  for (const FrameFormat& each : kFormats) {
    if (name == each.name) return each;
  }
  throw CommandError(kWrongUsage,
                     fmt::format("--format {}: expected nv12, i420, yuy2, ayuv or grey", name));
}

std::vector<unsigned char> ReadFrame(const ConvertOptions& options, std::size_t size) {
  std::ifstream file(options.input, std::ios::binary);
  std::vector<unsigned char> frame(size);
  if (!file) throw CommandError(kFailed, fmt::format("cannot read {}", options.input));
  file.read(reinterpret_cast<char*>(frame.data()), static_cast<std::streamsize>(size));
  if (static_cast<std::size_t>(file.gcount()) != size) {
    throw CommandError(kFailed,
                       fmt::format("cannot read {}: a frame of {} pixels in {} has {} bytes",
                                   options.input, options.size, options.format, size));
  }
  return frame;
}

}  // namespace

void Convert(const ConvertOptions& options) {
  const FrameFormat& format = FindFormat(options.format);
  const Size size = ParseSize(options.size);
  // Formats with less colour than brightness pair their pixels.
  const bool paired = format.chroma_planes || format.format == DXGI_FORMAT_YUY2;
  if ((paired && size.width % 2 != 0) || (format.chroma_planes && size.height % 2 != 0)) {
    throw CommandError(kWrongUsage, fmt::format("--size {}: {} frames have even sides",
                                                options.size, options.format));
  }
  const std::size_t stride = size.width * format.half_strides / 2;
  const std::size_t plane = stride * size.height;
  const std::vector<unsigned char> frame =
      ReadFrame(options, format.chroma_planes ? plane + plane / 2 : plane);

  Vantra::Device device;
  StartDevice(device);
  Vantra::Bitmap bitmap;
  bitmap.Create(&device);
  try {
    bitmap.SetPixelsEx(frame.data(), size.width, size.height, static_cast<long>(stride),
                       format.format);
  } catch (const Vantra::DException&) {
    throw CommandError(
        kFailed, fmt::format("cannot convert {}: {} pixels are too many for {}", options.input,
                             options.size, Vantra::Platform::GetEngineChoice().engine.name));
  }
  if (bitmap.IsEmpty() || FAILED(device.GetD3D11Device()->GetDeviceRemovedReason())) {
    throw CommandError(kFailed, fmt::format("cannot convert {}: the device failed", options.input));
  }
  const auto* pixels = reinterpret_cast<const unsigned char*>(bitmap.GetBits());
  Picture picture{size.width, size.height, {}};
  picture.pixels.assign(pixels, pixels + std::size_t{size.width} * size.height * 4);
  WritePicture(device, options.output, picture);
}

}  // namespace Vantrix::Command
