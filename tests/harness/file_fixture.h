#pragma once

// A started device with a bitmap, and a folder for picture files.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/imaging/test_pictures.h"
#include "tests/harness/device_fixture.h"

namespace Vantra::Testing {

class FileFixture : public BitmapFixture {
 protected:
  using Bytes = Platform::Bytes;

  FileFixture() {
    char pattern[] = "/tmp/vantrix-XXXXXX";
    folder_ = mkdtemp(pattern);
  }
  ~FileFixture() override { std::filesystem::remove_all(folder_); }

  std::wstring Path(const std::string& name) const { return (folder_ / name).wstring(); }

  void Write(const std::string& name, const Bytes& bytes) const {
    std::ofstream(folder_ / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }

  Bytes ReadFile(const std::string& name) const {
    std::ifstream file(folder_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::ptrdiff_t FileCount() const {
    return std::distance(std::filesystem::directory_iterator(folder_),
                         std::filesystem::directory_iterator());
  }

  // A PNG file with alpha, and its premultiplied blue, green, red, alpha.
  struct Encoded {
    Bytes file;
    Picture picture;
  };
  static Encoded Encode(unsigned width, unsigned height) {
    const auto made = Platform::MakePng(Platform::PngColour::kRgba, 8, width, height, false, false);
    Encoded encoded{EncodePng(made),
                    Picture("file", static_cast<int>(width), static_cast<int>(height))};
    for (std::size_t i = 0; i < encoded.picture.pixels.size(); ++i) {
      const unsigned* s = &made.samples[i * 4];
      Pixel& pixel = encoded.picture.pixels[i];
      for (std::size_t c = 0; c < 3; ++c) {
        pixel[c] = static_cast<std::uint8_t>((s[2 - c] * s[3] + 127) / 255);
      }
      pixel[3] = static_cast<std::uint8_t>(s[3]);
    }
    return encoded;
  }

  // Writes such a file.
  Picture Make(const std::string& name, unsigned width, unsigned height) const {
    Encoded encoded = Encode(width, height);
    Write(name, encoded.file);
    return std::move(encoded.picture);
  }

  std::filesystem::path folder_;
};

}  // namespace Vantra::Testing
