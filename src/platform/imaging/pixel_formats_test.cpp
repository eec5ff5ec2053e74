// What encoders take, against the meaning of each format.

#include "platform/imaging/pixel_formats.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

#include "platform/imaging/test_pictures.h"

namespace Vantra::Platform {
namespace {

// Converts one pixel, which stands at the end of its memory, to red, green, blue, alpha.
std::array<int, 4> Convert(const GUID& id, const Bytes& pixel) {
  const PixelFormat* format = FindPixelFormat(id);
  EXPECT_NE(format, nullptr);
  EXPECT_EQ(format->bytes_per_pixel, pixel.size());
  BYTE bgra[4] = {1, 2, 3, 4};
  format->to_bgra(pixel.data(), 1, bgra);
  return {bgra[2], bgra[1], bgra[0], bgra[3]};
}

template <class Word>
Bytes Pack(std::initializer_list<Word> words) {
  Bytes bytes(words.size() * sizeof(Word));
  std::memcpy(bytes.data(), words.begin(), bytes.size());
  return bytes;
}

// A share of 1 at 0 to 255.
int Level(double share) {
  if (std::isnan(share)) return 0;
  return static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * 255));
}

using Rgba = std::array<int, 4>;

TEST(PixelFormats, BytesAreTakenByTheirPlaces) {
  const Bytes pixel = {10, 20, 30, 40};
  EXPECT_EQ(Convert(GUID_WICPixelFormat32bppBGRA, pixel), (Rgba{30, 20, 10, 40}));
  EXPECT_EQ(Convert(GUID_WICPixelFormat32bppRGBA, pixel), (Rgba{10, 20, 30, 40}));
  EXPECT_EQ(Convert(GUID_WICPixelFormat32bppBGR, pixel), (Rgba{30, 20, 10, 255}));
  EXPECT_EQ(Convert(GUID_WICPixelFormat32bppRGB, pixel), (Rgba{10, 20, 30, 255}));
  EXPECT_EQ(Convert(GUID_WICPixelFormat32bppPBGRA, pixel), (Rgba{191, 128, 64, 40}));
  EXPECT_EQ(Convert(GUID_WICPixelFormat32bppPRGBA, pixel), (Rgba{64, 128, 191, 40}));
  EXPECT_EQ(Convert(GUID_WICPixelFormat8bppGray, {77}), (Rgba{77, 77, 77, 255}));
  EXPECT_EQ(Convert(GUID_WICPixelFormat8bppAlpha, {77}), (Rgba{0, 0, 0, 77}));
  EXPECT_EQ(FindPixelFormat(GUID_NULL), nullptr);
}

TEST(PixelFormats, EveryWholeNumberOfEveryDepthIsRoundedToNearest) {
  for (unsigned value = 0; value < 0x10000; ++value) {
    const auto word = static_cast<std::uint16_t>(value);
    const int level = Level(value / 65535.0);
    ASSERT_EQ(Convert(GUID_WICPixelFormat16bppGray, Pack({word})),
              (Rgba{level, level, level, 255}));
    const auto other = static_cast<std::uint16_t>(0xFFFF - value);
    ASSERT_EQ(Convert(GUID_WICPixelFormat64bppRGBA, Pack<std::uint16_t>({word, other, 0, word})),
              (Rgba{level, 255 - level, 0, level}));
    const auto part = [value](int from, int bits) {
      return Level((value >> from) % (1u << bits) / ((1 << bits) - 1.0));
    };
    ASSERT_EQ(Convert(GUID_WICPixelFormat16bppBGR565, Pack({word})),
              (Rgba{part(11, 5), part(5, 6), part(0, 5), 255}));
    ASSERT_EQ(Convert(GUID_WICPixelFormat16bppBGRA5551, Pack({word})),
              (Rgba{part(10, 5), part(5, 5), part(0, 5), part(15, 1)}));
  }
  for (unsigned value = 0; value < 1024; ++value) {
    const unsigned other = 1023 - value;
    const unsigned pixel = value | other << 10 | (value ^ 0x155) << 20 | (value & 3) << 30;
    ASSERT_EQ(Convert(GUID_WICPixelFormat32bppRGBA1010102, Pack({pixel})),
              (Rgba{Level(value / 1023.0), Level(other / 1023.0), Level((value ^ 0x155) / 1023.0),
                    Level((value & 3) / 3.0)}));
    const auto extended = [](unsigned number) { return Level((number - 384.0) / 510); };
    ASSERT_EQ(Convert(GUID_WICPixelFormat32bppRGBA1010102XR, Pack({pixel})),
              (Rgba{extended(value), extended(other), extended(value ^ 0x155),
                    Level((value & 3) / 3.0)}));
  }
}

TEST(PixelFormats, NumbersWithAFractionAreBoundedAndWhatIsNoneIsZero) {
  for (unsigned value = 0; value < 0x10000; ++value) {
    const unsigned exponent = value >> 10 & 31;
    const double fraction = value % 1024 / 1024.0;
    double number = exponent == 0 ? fraction * std::pow(2, -14)
                                  : (1 + fraction) * std::pow(2, static_cast<int>(exponent) - 15);
    if (exponent == 31 && fraction > 0) number = NAN;
    if (value >= 0x8000) number = -number;
    const auto half = static_cast<std::uint16_t>(value);
    const int level = Level(number);
    ASSERT_EQ(Convert(GUID_WICPixelFormat16bppGrayHalf, Pack({half})),
              (Rgba{level, level, level, 255}))
        << value;
    ASSERT_EQ(
        Convert(GUID_WICPixelFormat64bppRGBAHalf, Pack<std::uint16_t>({0x3C00, half, 0, half})),
        (Rgba{255, level, 0, level}));
  }
  const float infinity = std::numeric_limits<float>::infinity();
  std::vector<float> numbers = {0,         -0.0f,         1,      -1,   2,    infinity,
                                -infinity, std::nanf(""), 1e-40f, 0.5f, 1e38f};
  // Both sides of every place where a level changes.
  for (int level = 0; level < 255; ++level) {
    const auto border = static_cast<float>((level + 0.5) / 255);
    numbers.insert(numbers.end(),
                   {border, std::nextafter(border, 0.0f), std::nextafter(border, 1.0f)});
  }
  for (const float number : numbers) {
    const int level = Level(number);
    ASSERT_EQ(Convert(GUID_WICPixelFormat32bppGrayFloat, Pack({number})),
              (Rgba{level, level, level, 255}))
        << number;
    ASSERT_EQ(Convert(GUID_WICPixelFormat128bppRGBAFloat, Pack({number, 0.0f, 0.25f, number})),
              (Rgba{level, 0, 64, level}));
  }
  for (int exponent = 0; exponent < 256; ++exponent) {
    for (int fraction = 0; fraction < 256; ++fraction) {
      const int level = Level(fraction / 256.0 * std::pow(2.0, exponent - 128));
      ASSERT_EQ(Convert(GUID_WICPixelFormat32bppRGBE,
                        {static_cast<BYTE>(fraction), 0, 128, static_cast<BYTE>(exponent)}),
                (Rgba{level, 0, Level(std::pow(2.0, exponent - 129)), 255}));
    }
  }
}

TEST(PixelFormats, AnEncoderTakesRowsOfAnyOfThem) {
  // Rows of 3 pixels of 2 and of 16 bytes, with bytes between them.
  for (const GUID& id : {GUID_WICPixelFormat16bppBGR565, GUID_WICPixelFormat128bppRGBAFloat}) {
    const PixelFormat* format = FindPixelFormat(id);
    const UINT stride = 3 * format->bytes_per_pixel + 6;
    Bytes pixels(stride * 2);
    Noise noise(3);
    for (BYTE& byte : pixels) byte = static_cast<BYTE>(noise.Below(0x40));
    Bytes file(1000);
    const auto stream = MakeStream(file);
    CComPtr<IWICBitmapEncoder> encoder;
    CComPtr<IWICBitmapFrameEncode> frame;
    ASSERT_EQ(MakeFactory()->CreateEncoder(GUID_ContainerFormatPng, nullptr, &encoder), S_OK);
    ASSERT_EQ(encoder->Initialize(stream, WICBitmapEncoderNoCache), S_OK);
    ASSERT_EQ(encoder->CreateNewFrame(&frame, nullptr), S_OK);
    ASSERT_EQ(frame->Initialize(nullptr), S_OK);
    ASSERT_EQ(frame->SetSize(3, 2), S_OK);
    GUID answer = id;
    ASSERT_EQ(frame->SetPixelFormat(&answer), S_OK);
    EXPECT_EQ(answer, id);
    const UINT size = stride + 3 * format->bytes_per_pixel;
    EXPECT_EQ(frame->WritePixels(2, stride, size - 1, pixels.data()),
              WINCODEC_ERR_INSUFFICIENTBUFFER);
    ASSERT_EQ(frame->WritePixels(2, stride, size, pixels.data()), S_OK);
    ASSERT_EQ(frame->Commit(), S_OK);
    ASSERT_EQ(encoder->Commit(), S_OK);
    const DecodedPicture read = DecodePicture(file);
    ASSERT_TRUE(read.Succeeded());
    for (UINT i = 0; i < 6; ++i) {
      const auto at = pixels.begin() +
                      static_cast<std::ptrdiff_t>(i / 3 * stride + i % 3 * format->bytes_per_pixel);
      const Rgba expected = Convert(id, Bytes(at, at + format->bytes_per_pixel));
      for (UINT c = 0; c < 4; ++c) EXPECT_EQ(read.pixels[i * 4 + c], expected[c]);
    }
  }
}

}  // namespace
}  // namespace Vantra::Platform
