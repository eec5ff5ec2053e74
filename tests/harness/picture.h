#pragma once

// Pictures for tests, and how two of them differ.

#include <vantrix/platform/wincodec.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Vantra::Testing {

// Blue, green, red, alpha, premultiplied, as in memory.
using Pixel = std::array<std::uint8_t, 4>;

struct Picture {
  std::string name;
  int width = 0;
  int height = 0;
  std::vector<Pixel> pixels;

  Picture(std::string picture_name, int picture_width, int picture_height)
      : name(std::move(picture_name)),
        width(picture_width),
        height(picture_height),
        pixels(static_cast<std::size_t>(picture_width) * static_cast<std::size_t>(picture_height)) {
  }

  Pixel& At(int x, int y) { return pixels[Index(x, y)]; }
  const Pixel& At(int x, int y) const { return pixels[Index(x, y)]; }
  const std::uint8_t* Bytes() const { return pixels.data()->data(); }

 private:
  std::size_t Index(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
           static_cast<std::size_t>(x);
  }
};

// Opaque: smooth areas, edges, highlights and a fine grain, as a photograph has.
Picture DrawScene(int width, int height);
// The same with alpha of every value, colours premultiplied.
Picture DrawSceneWithAlpha(int width, int height);
// Every byte value in every channel, unrelated between channels. Not premultiplied.
Picture DrawNoise(int width, int height, unsigned seed);

// Writes pixels of one of the platform's formats, without padding, as a PNG file.
void WritePng(const std::filesystem::path& path, unsigned width, unsigned height,
              const void* pixels, const WICPixelFormatGUID& format);

// The files of the photographs that the build was pointed to; there may be none.
std::vector<std::filesystem::path> ListPhotographs();

// The same, decoded.
std::vector<Picture> LoadPhotographs();

// A picture that is stored in the library. Throws where there is none.
Picture LoadTexture(const std::string& name);

// A pixel's channels in 0 to 1, in memory order.
using Color = std::array<double, 4>;

// What an effect should make of the pixel at (x, y), computed from its formula.
using Formula = std::function<Color(const Picture& input, int x, int y)>;

struct Tolerance {
  // Largest accepted difference in steps of 1/255.
  int steps = 0;
  // Why it is not zero, or why the next is not its own.
  const char* cause = "";
  // How far, in such steps, a value may lie from the middle between two and be rounded either way.
  // The engines compute in floats; the start value is a few units of the last place at 255.
  double halfway = 1e-4;
};

// How far, in steps, a byte lies from what a value of 0 to 1 may be rounded to; values beyond are
// clamped, and what is not a number is 0.
int Distance(std::uint8_t actual, double expected, const Tolerance& tolerance = {});

// Compares a result with the formula. The largest difference is always printed. Returns a
// description of the first pixel beyond the tolerance, or nothing.
std::optional<std::string> Compare(const Picture& input, const Picture& result,
                                   const Formula& formula, Tolerance tolerance = {});

}  // namespace Vantra::Testing
