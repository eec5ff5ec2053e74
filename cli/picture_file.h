#pragma once

// Pictures between files and memory.

#include <vantrix/vantrix.h>

#include <cstddef>
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

// Decodes a picture file; with a size, scaled to fill it and cut equally on both sides. Throws
// `CommandError` that tells the cause and the file.
Picture ReadPicture(Vantra::Device& device, const std::string& path, std::optional<Size> size);

// The same for a picture that is scaled down, where it is larger, to lie within a size.
Picture ReadPictureWithin(Vantra::Device& device, const std::string& path, Size size);

// Writes a picture in the format that the extension names, PNG without one that is known, or the
// rows as they are when it is ".bgra". A file that is there stays as it was until the new one is
// complete.
void WritePicture(Vantra::Device& device, const std::string& path, const Picture& picture);

// Writes bytes as they are, with the same care.
void WriteBytes(const std::string& path, const void* data, std::size_t size);

}  // namespace Vantrix::Command
