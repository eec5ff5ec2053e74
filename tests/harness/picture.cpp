#include "tests/harness/picture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>
#include <random>
#include <stdexcept>

namespace Vantra::Testing {
namespace {

std::uint8_t ToByte(double value) {
  return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 1.0) * 255));
}

void Require(HRESULT result, const std::string& name) {
  if (FAILED(result)) throw std::runtime_error("cannot read or write " + name);
}

CComPtr<IWICImagingFactory2> MakeFactory() {
  CComPtr<IWICImagingFactory2> factory;
  Require(CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER,
                           IID_PPV_ARGS(&factory)),
          "anything");
  return factory;
}

Picture Decode(IWICImagingFactory2* factory, IWICBitmapDecoder* decoder, const std::string& name) {
  CComPtr<IWICBitmapFrameDecode> frame;
  CComPtr<IWICFormatConverter> converter;
  UINT width = 0;
  UINT height = 0;
  Require(decoder->GetFrame(0, &frame), name);
  Require(factory->CreateFormatConverter(&converter), name);
  Require(converter->Initialize(frame, GUID_WICPixelFormat32bppPBGRA, WICBitmapDitherTypeNone,
                                nullptr, 0, WICBitmapPaletteTypeCustom),
          name);
  Require(converter->GetSize(&width, &height), name);
  Picture picture(name, static_cast<int>(width), static_cast<int>(height));
  Require(
      converter->CopyPixels(nullptr, width * 4, width * height * 4, picture.pixels.data()->data()),
      name);
  return picture;
}

}  // namespace

void WritePng(const std::filesystem::path& path, unsigned width, unsigned height,
              const void* pixels, const WICPixelFormatGUID& format) {
  const CComPtr<IWICImagingFactory2> factory = MakeFactory();
  CComPtr<IWICStream> stream;
  CComPtr<IWICBitmapEncoder> encoder;
  CComPtr<IWICBitmapFrameEncode> frame;
  Require(factory->CreateStream(&stream), path);
  Require(stream->InitializeFromFilename(path.wstring().c_str(), GENERIC_WRITE), path);
  Require(factory->CreateEncoder(GUID_ContainerFormatPng, nullptr, &encoder), path);
  Require(encoder->Initialize(stream, WICBitmapEncoderNoCache), path);
  Require(encoder->CreateNewFrame(&frame, nullptr), path);
  Require(frame->Initialize(nullptr), path);
  Require(frame->SetSize(width, height), path);
  WICPixelFormatGUID taken = format;
  Require(frame->SetPixelFormat(&taken), path);
  auto* bytes = static_cast<BYTE*>(const_cast<void*>(pixels));
  Require(frame->WritePixels(height, width * 4, width * height * 4, bytes), path);
  Require(frame->Commit(), path);
  Require(encoder->Commit(), path);
  Require(stream->Commit(0), path);
}

Picture DrawScene(int width, int height) {
  Picture picture("scene", width, height);
  std::mt19937 random(7);
  std::uniform_real_distribution<double> grain(-0.02, 0.02);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double u = (x + 0.5) / width;
      const double v = (y + 0.5) / height;
      const double sun = std::exp(-60 * ((u - 0.7) * (u - 0.7) + (v - 0.3) * (v - 0.3)));
      const double hill = v > 0.6 + 0.1 * std::sin(9 * u) ? 0.35 : 0.0;
      const double g = grain(random);
      picture.At(x, y) = {ToByte(0.9 - 0.8 * v - hill + sun + g),
                          ToByte(0.3 + 0.4 * u - hill / 2 + sun + g),
                          ToByte(0.2 + 0.5 * v + sun + g), 255};
    }
  }
  return picture;
}

Picture DrawSceneWithAlpha(int width, int height) {
  Picture picture = DrawScene(width, height);
  picture.name = "scene with alpha";
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      Pixel& pixel = picture.At(x, y);
      const int alpha = (x * 3 + y * 5) % 256;
      for (int c = 0; c < 3; ++c) {
        pixel[static_cast<std::size_t>(c)] =
            static_cast<std::uint8_t>((pixel[static_cast<std::size_t>(c)] * alpha + 127) / 255);
      }
      pixel[3] = static_cast<std::uint8_t>(alpha);
    }
  }
  return picture;
}

Picture DrawNoise(int width, int height, unsigned seed) {
  Picture picture("noise", width, height);
  std::mt19937 random(seed);
  for (Pixel& pixel : picture.pixels) {
    for (std::uint8_t& channel : pixel) channel = static_cast<std::uint8_t>(random());
  }
  return picture;
}

std::vector<std::filesystem::path> ListPhotographs() {
  std::vector<std::filesystem::path> paths;
#ifdef VANTRIX_TEST_PHOTOGRAPHS
  for (const auto& entry : std::filesystem::directory_iterator(VANTRIX_TEST_PHOTOGRAPHS)) {
    const std::string extension = entry.path().extension().string();
    if (extension == ".png" || extension == ".jpg") paths.push_back(entry.path());
  }
#endif
  return paths;
}

std::vector<Picture> LoadPhotographs() {
  std::vector<Picture> pictures;
  const CComPtr<IWICImagingFactory2> factory = MakeFactory();
  for (const std::filesystem::path& path : ListPhotographs()) {
    CComPtr<IWICBitmapDecoder> decoder;
    Require(factory->CreateDecoderFromFilename(path.wstring().c_str(), nullptr, GENERIC_READ,
                                               WICDecodeMetadataCacheOnDemand, &decoder),
            path);
    pictures.push_back(Decode(factory, decoder, path.filename()));
  }
  return pictures;
}

Picture LoadTexture(const std::string& name) {
  const HRSRC resource =
      FindResourceW(nullptr, std::wstring(name.begin(), name.end()).c_str(), RT_RCDATA);
  const void* bytes = LockResource(LoadResource(nullptr, resource));
  const CComPtr<IWICImagingFactory2> factory = MakeFactory();
  CComPtr<IWICStream> stream;
  CComPtr<IWICBitmapDecoder> decoder;
  Require(factory->CreateStream(&stream), name);
  Require(stream->InitializeFromMemory(static_cast<BYTE*>(const_cast<void*>(bytes)),
                                       SizeofResource(nullptr, resource)),
          name);
  Require(
      factory->CreateDecoderFromStream(stream, nullptr, WICDecodeMetadataCacheOnDemand, &decoder),
      name);
  return Decode(factory, decoder, name);
}

int Distance(std::uint8_t actual, double expected, const Tolerance& tolerance) {
  const double scaled = (std::isnan(expected) ? 0.0 : std::clamp(expected, 0.0, 1.0)) * 255;
  const int low = static_cast<int>(std::floor(scaled + 0.5 - tolerance.halfway));
  const int high = static_cast<int>(std::floor(scaled + 0.5 + tolerance.halfway));
  return std::max({low - actual, actual - high, 0});
}

std::optional<std::string> Compare(const Picture& input, const Picture& result,
                                   const Formula& formula, Tolerance tolerance) {
  if (result.width != input.width || result.height != input.height || result.pixels.empty()) {
    return fmt::format("{}: the result is {}x{} where the input is {}x{}", input.name, result.width,
                       result.height, input.width, input.height);
  }
  int largest = 0;
  std::optional<std::string> first;
  for (int y = 0; y < result.height; ++y) {
    for (int x = 0; x < result.width; ++x) {
      const Color expected = formula(input, x, y);
      for (std::size_t c = 0; c < expected.size(); ++c) {
        const std::uint8_t actual = result.At(x, y)[c];
        const int difference = Distance(actual, expected[c], tolerance);
        largest = std::max(largest, difference);
        if (difference > tolerance.steps && !first) {
          first = fmt::format("{} {}x{}: pixel ({}, {}) channel {}: {} where the formula gives {}",
                              input.name, input.width, input.height, x, y, c, actual,
                              expected[c] * 255);
        }
      }
    }
  }
  fmt::print("  {} {}x{}: largest difference {} of {} allowed{}{}\n", input.name, input.width,
             input.height, largest, tolerance.steps, *tolerance.cause ? ": " : "", tolerance.cause);
  return first;
}

}  // namespace Vantra::Testing
