#include "platform/imaging/png_writer.h"

#include <cerrno>
#include <climits>
#include <cstdio>

#include "platform/imaging/errno_result.h"
#include "platform/imaging/picture_reader.h"
#include "platform/imaging/pixels.h"
#include "platform/imaging/png_encoder.h"
#include "platform/imaging/replacement_file.h"

namespace Vantra::Platform {
namespace {

HRESULT WriteRows(std::FILE* file, const PixelRows& rows) {
  const auto write = [file](const BYTE* bytes, std::size_t size) {
    if (std::fwrite(bytes, 1, size, file) == size) return S_OK;
    return ResultFromErrno(errno != 0 ? errno : EIO);
  };
  std::unique_ptr<PictureWriter> writer;
  HRESULT result =
      OpenPngWriter(write, rows.width, rows.height, LayoutOf(rows.format)->blue_first, &writer);
  for (UINT y = 0; y < rows.height && SUCCEEDED(result); ++y) {
    result = writer->WriteRow(rows.pixels + y * rows.stride);
  }
  return SUCCEEDED(result) ? writer->Finish() : result;
}

}  // namespace

HRESULT WritePng(const std::string& name, const PixelRows& rows) {
  const std::optional<PixelLayout> layout = LayoutOf(rows.format);
  if (!layout || layout->premultiplied) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  if (rows.pixels == nullptr || rows.width == 0 || rows.height == 0 || rows.width > INT_MAX ||
      rows.height > INT_MAX || rows.stride / kBytesPerPixel < rows.width) {
    return E_INVALIDARG;
  }
  return ReplaceFile(name, [&rows](std::FILE* file) { return WriteRows(file, rows); });
}

}  // namespace Vantra::Platform
