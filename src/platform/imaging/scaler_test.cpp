// The scaler and pictures in memory, against plain formulas.

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "platform/imaging/test_pictures.h"

namespace Vantra::Platform {
namespace {

// A source of noise in red, green, blue, alpha, and its pixels.
struct Source {
  Source(UINT w, UINT h) : width(w), height(h) {
    const Bytes file = EncodePng(MakePng(PngColour::kRgba, 8, w, h, false, false));
    const auto decoded = AsRgba(OpenFrame(MakeStream(file)));
    EXPECT_EQ(MakeFactory()->CreateBitmapFromSourceRect(decoded, 0, 0, w, h, &bitmap), S_OK);
    pixels = DecodePicture(file).pixels;
  }

  // A channel, with the edge repeated.
  double At(int x, int y, int channel) const {
    x = std::clamp(x, 0, static_cast<int>(width) - 1);
    y = std::clamp(y, 0, static_cast<int>(height) - 1);
    return pixels[(static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)) * 4 +
                  static_cast<std::size_t>(channel)];
  }

  UINT width;
  UINT height;
  Bytes pixels;
  CComPtr<IWICBitmap> bitmap;
};

// Weight of source pixel `k` in new pixel `i` of a side that changes from `from` to `to` pixels.
double Weight(WICBitmapInterpolationMode mode, int k, int i, int from, int to) {
  const double step = static_cast<double>(from) / to;
  const double middle = (i + 0.5) * step;
  if (mode == WICBitmapInterpolationModeNearestNeighbor) return std::floor(middle) == k ? 1 : 0;
  if (mode == WICBitmapInterpolationModeFant && to < from) {
    return std::max(0.0, std::min(k + 1.0, (i + 1) * step) - std::max<double>(k, i * step)) / step;
  }
  const double distance = std::abs(k + 0.5 - middle);
  if (mode != WICBitmapInterpolationModeCubic) return std::max(0.0, 1 - distance);
  if (distance < 1) return 1.5 * std::pow(distance, 3) - 2.5 * distance * distance + 1;
  if (distance < 2) {
    return -0.5 * std::pow(distance, 3) + 2.5 * distance * distance - 4 * distance + 2;
  }
  return 0;
}

TEST(Scaler, FollowsTheFormulaOfEveryModeInEveryDirection) {
  // Sums of floats: a value this near to a half may be rounded either way.
  constexpr double kHalfway = 1e-3;
  for (const auto& [from_width, from_height, width, height] : {std::array{17, 11, 17, 11},
                                                               {17, 11, 34, 33},
                                                               {17, 11, 5, 4},
                                                               {17, 11, 40, 3},
                                                               {17, 11, 7, 25},
                                                               {1, 1, 3, 2},
                                                               {64, 48, 1, 1},
                                                               // Read in several bands.
                                                               {2000, 70, 3, 50},
                                                               {2000, 70, 2, 90}}) {
    const Source source(static_cast<UINT>(from_width), static_cast<UINT>(from_height));
    for (const auto mode :
         {WICBitmapInterpolationModeNearestNeighbor, WICBitmapInterpolationModeLinear,
          WICBitmapInterpolationModeCubic, WICBitmapInterpolationModeFant}) {
      CComPtr<IWICBitmapScaler> scaler;
      ASSERT_EQ(MakeFactory()->CreateBitmapScaler(&scaler), S_OK);
      ASSERT_EQ(scaler->Initialize(source.bitmap, static_cast<UINT>(width),
                                   static_cast<UINT>(height), mode),
                S_OK);
      const auto stride = static_cast<UINT>(width) * 4;
      Bytes out(std::size_t{stride} * static_cast<UINT>(height));
      ASSERT_EQ(scaler->CopyPixels(nullptr, stride, static_cast<UINT>(out.size()), out.data()),
                S_OK);
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
          for (int channel = 0; channel < 4; ++channel) {
            double expected = 0;
            for (int j = -3; j < from_height + 3; ++j) {
              const double down = Weight(mode, j, y, from_height, height);
              if (down == 0) continue;
              for (int i = -3; i < from_width + 3; ++i) {
                const double across = Weight(mode, i, x, from_width, width);
                if (across != 0) expected += down * across * source.At(i, j, channel);
              }
            }
            expected = std::clamp(expected, 0.0, 255.0);
            const int actual = out[static_cast<std::size_t>((y * width + x) * 4 + channel)];
            ASSERT_LE(std::abs(actual - expected), 0.5 + kHalfway)
                << "mode " << mode << " " << width << "x" << height << " at " << x << "," << y;
          }
        }
      }
      // A part is the same pixels.
      if (width < 3 || height < 3) continue;
      const WICRect part{width - 2, 1, 2, height - 1};
      Bytes part_pixels(static_cast<std::size_t>(part.Height) * 8);
      ASSERT_EQ(
          scaler->CopyPixels(&part, 8, static_cast<UINT>(part_pixels.size()), part_pixels.data()),
          S_OK);
      for (std::size_t y = 0; y < static_cast<std::size_t>(part.Height); ++y) {
        const std::size_t at = (y + 1) * stride + stride - 8;
        EXPECT_TRUE(std::equal(part_pixels.begin() + static_cast<std::ptrdiff_t>(y * 8),
                               part_pixels.begin() + static_cast<std::ptrdiff_t>(y * 8 + 8),
                               out.begin() + static_cast<std::ptrdiff_t>(at)));
      }
    }
  }
}

TEST(Scaler, KeepsItsStatesAndRefusesWhatItCannotDo) {
  const Source source(4, 3);
  CComPtr<IWICBitmapScaler> scaler;
  ASSERT_EQ(MakeFactory()->CreateBitmapScaler(&scaler), S_OK);
  UINT side = 0;
  BYTE pixel[4] = {};
  const auto linear = WICBitmapInterpolationModeLinear;
  EXPECT_EQ(scaler->GetSize(&side, &side), WINCODEC_ERR_NOTINITIALIZED);
  EXPECT_EQ(scaler->CopyPixels(nullptr, 4, 4, pixel), WINCODEC_ERR_NOTINITIALIZED);
  EXPECT_EQ(scaler->Initialize(nullptr, 1, 1, linear), E_INVALIDARG);
  EXPECT_EQ(scaler->Initialize(source.bitmap, 0, 1, linear), E_INVALIDARG);
  EXPECT_EQ(scaler->Initialize(source.bitmap, 1, 1, static_cast<WICBitmapInterpolationMode>(4)),
            E_INVALIDARG);
  EXPECT_EQ(scaler->Initialize(source.bitmap, UINT32_MAX, UINT32_MAX, linear), S_OK);
  EXPECT_EQ(scaler->Initialize(source.bitmap, 1, 1, linear), WINCODEC_ERR_WRONGSTATE);
  EXPECT_EQ(scaler->CopyPixels(nullptr, 4, 4, pixel), E_INVALIDARG);
  // One pixel of a picture that is far too large.
  const WICRect corner{INT32_MAX - 1, INT32_MAX - 1, 1, 1};
  EXPECT_EQ(scaler->CopyPixels(&corner, 4, 4, pixel), S_OK);
}

TEST(Scaler, PassesOnADamagedSourceWithTheRowsThatThereAre) {
  Bytes file = EncodeBmp(MakeBmp(24, 64, 64, true, false));
  file.resize(file.size() / 2);
  const auto frame = OpenFrame(MakeStream(file));
  CComPtr<IWICBitmapScaler> scaler;
  CComPtr<IWICBitmap> copy;
  ASSERT_TRUE(frame);
  ASSERT_EQ(MakeFactory()->CreateBitmapScaler(&scaler), S_OK);
  ASSERT_EQ(scaler->Initialize(frame, 32, 32, WICBitmapInterpolationModeFant), S_OK);
  Bytes out(32 * 32 * 4, 0xA5);
  EXPECT_EQ(scaler->CopyPixels(nullptr, 32 * 4, 32 * 32 * 4, out.data()), WINCODEC_ERR_BADIMAGE);
  EXPECT_EQ(out[3], 255);
  EXPECT_EQ(out.back(), 0);
  EXPECT_EQ(MakeFactory()->CreateBitmapFromSourceRect(frame, 0, 60, 4, 4, &copy),
            WINCODEC_ERR_BADIMAGE);
  EXPECT_EQ(copy, nullptr);
}

TEST(MemoryBitmap, HoldsARectangleOfItsSourceAndNothingBeyond) {
  const Source source(9, 7);
  const auto factory = MakeFactory();
  CComPtr<IWICBitmap> part;
  ASSERT_EQ(factory->CreateBitmapFromSourceRect(source.bitmap, 2, 3, 5, 4, &part), S_OK);
  BYTE pixels[8];
  const WICRect corner{3, 3, 2, 1};
  ASSERT_EQ(part->CopyPixels(&corner, 8, 8, pixels), S_OK);
  EXPECT_TRUE(std::equal(pixels, pixels + 8, &source.pixels[(6 * 9 + 5) * 4]));
  const std::array<UINT, 4> outside[] = {
      {0, 0, 0, 1}, {0, 0, 1, 0}, {5, 0, 5, 1}, {0, 7, 1, 1}, {UINT32_MAX, 0, 2, 1}};
  for (const auto& [x, y, width, height] : outside) {
    part.Release();
    EXPECT_EQ(factory->CreateBitmapFromSourceRect(source.bitmap, x, y, width, height, &part),
              E_INVALIDARG);
  }
}

}  // namespace
}  // namespace Vantra::Platform
