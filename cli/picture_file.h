#pragma once

// Pictures between files and memory.

#include <vantrix/vantrix.h>

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "cli/text.h"

namespace Vantrix::Command {

// Rows of blue, green, red, alpha bytes, premultiplied, without padding.
struct Picture {
  unsigned width = 0;
  unsigned height = 0;
  std::vector<unsigned char> pixels;
};

// Opens a picture file, its format told by content. Throws `CommandError` that tells the cause and
// the file, as the following do.
CComPtr<IWICBitmapDecoder> OpenPicture(Vantra::Device& device, const std::string& path);

// Copies a source's pixels, which must be in the layout of `Picture`. `path` is the file that they
// come from.
Picture CopyPicture(IWICBitmapSource* source, const std::string& path);

// Throws `CommandError` when `result` is a failure to do `action`, as in "read", with a file.
void Check(HRESULT result, const char* action, const std::string& path);

// Decodes the first picture of a file; with a size, scaled to fill it and cut equally on both
// sides.
Picture ReadPicture(Vantra::Device& device, const std::string& path, std::optional<Size> size);

// The same for a picture that is scaled down, where it is larger, to lie within a size.
Picture ReadPictureWithin(Vantra::Device& device, const std::string& path, Size size);

// Writes a picture in the format that the extension names, PNG without one that is known, or the
// rows as they are when it is ".bgra". A file that is there stays as it was until the new one is
// complete.
void WritePicture(Vantra::Device& device, const std::string& path, const Picture& picture);

// Writes bytes as they are, with the same care.
void WriteBytes(const std::string& path, const void* data, std::size_t size);

// Appends bytes to an open file.
HRESULT WriteAll(std::FILE* file, const void* data, std::size_t size);

// Throws `CommandError` for a size that WebP files cannot have.
void CheckWebpSize(const std::string& path, unsigned width, unsigned height);

// The extension of a name, in small letters and with its dot; empty when it has none.
std::string ExtensionOf(const std::string& path);

// The extensions of the formats that pictures are written in, without their dots.
std::vector<std::string> ListExtensions();

}  // namespace Vantrix::Command
