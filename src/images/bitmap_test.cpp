#include <algorithm>
#include <limits>

#include "tests/harness/device_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;

using Bitmaps = BitmapFixture;

TEST_F(Bitmaps, PixelsComeBackFromTheDeviceAsTheyWent) {
  const Picture picture = DrawNoise(7, 5, 2);
  EXPECT_TRUE(bitmap_.IsEmpty());
  Upload(bitmap_, picture);
  EXPECT_FALSE(bitmap_.IsEmpty());
  std::fill_n(bitmap_.GetBits(), 7 * 5 * 4, '\0');
  EXPECT_EQ(Read(bitmap_).pixels, picture.pixels);
  std::fill_n(bitmap_.GetBits(), 7 * 5 * 4, '\x11');
  bitmap_.RestoreCpuPixels();
  EXPECT_EQ(Read(bitmap_).At(6, 4), (Pixel{0x11, 0x11, 0x11, 0x11}));
}

TEST_F(Bitmaps, FlippingFollowsTheFlagAndTheSignOfTheStride) {
  const unsigned char rows[] = {1, 1, 1, 1, 2, 2, 2, 2};
  const auto first = [&](long height, long stride, int flip) {
    bitmap_.SetPixels(rows, 1, height, stride, flip);
    return bitmap_.GetBits()[0];
  };
  EXPECT_EQ(first(2, 4, 0), 1);
  EXPECT_EQ(first(2, 4, 1), 2);
  EXPECT_EQ(first(2, -4, 0), 2);
  EXPECT_EQ(first(2, -4, 1), 1);
  EXPECT_EQ(first(-2, 4, 0), 1);
  EXPECT_EQ(bitmap_.GetHeight(), 2);
}

TEST_F(Bitmaps, AWideStrideIsKeptAndItsPaddingLeftAlone) {
  std::vector<unsigned char> rows(2 * 12);
  for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = static_cast<unsigned char>(i);
  bitmap_.SetPixels(rows.data(), 2, 2, 12, 0);
  EXPECT_EQ(bitmap_.GetStride(), 12);
  bitmap_.GetBits()[0] = 99;
  bitmap_.GetBits()[9] = 77;
  const unsigned char* read = bitmap_.GetGpuPixels();
  EXPECT_EQ(read[0], 0);
  EXPECT_EQ(read[9], 77);
  EXPECT_EQ(read[12], 12);
}

TEST_F(Bitmaps, SizesThatAreNoneEmptyTheBitmap) {
  const Picture picture = DrawScene(4, 4);
  for (const auto& [width, height, stride] : {std::tuple<long, long, long>{0, 4, 16},
                                              {4, 0, 16},
                                              {4, 4, 0},
                                              {std::numeric_limits<long>::min(), 4, 16},
                                              {1L << 40, 4, 16}}) {
    Upload(bitmap_, picture);
    bitmap_.SetPixels(picture.Bytes(), width, height, stride, 0);
    EXPECT_TRUE(bitmap_.IsEmpty());
    EXPECT_EQ(bitmap_.GetBits(), nullptr);
    EXPECT_EQ(bitmap_.GetGpuPixels(), nullptr);
  }
  bitmap_.SetPixelSize(1 << 20, 2);
  EXPECT_TRUE(bitmap_.IsEmpty());
}

TEST_F(Bitmaps, AnUnchangedSizeKeepsBufferAndBitmap) {
  Upload(bitmap_, DrawScene(4, 4));
  const char* bits = bitmap_.GetBits();
  ID2D1Bitmap1* gpu = bitmap_.GetBitmap();
  const Picture other = DrawNoise(4, 4, 5);
  Upload(bitmap_, other);
  bitmap_.SetPixelSize(4, -4);
  EXPECT_EQ(bitmap_.GetBits(), bits);
  EXPECT_EQ(bitmap_.GetBitmap(), gpu);
  bitmap_.SetPixels(nullptr, 4, 4, 16, 0);
  EXPECT_EQ(Read(bitmap_).pixels, other.pixels);
  bitmap_.Destroy();
  EXPECT_EQ(bitmap_.GetWidth(), 0);
  EXPECT_EQ(bitmap_.GetBitmap(), nullptr);
}

// Every channel, alpha too, times alpha.
Color TimesAlpha(const Picture& input, int x, int y) {
  const Pixel& s = input.At(x, y);
  Color color;
  for (std::size_t c = 0; c < color.size(); ++c) color[c] = s[c] / 255.0 * (s[3] / 255.0);
  return color;
}

TEST_F(Bitmaps, StraightAlphaIsConvertedOnTheDeviceAndKeptOnTheCpu) {
  const Picture picture = DrawNoise(33, 17, 9);
  // The first frame, one of unchanged size, and one in the caller's own session.
  for (const int draw : {1, 1, 0}) {
    if (!draw) device_.BeginDraw(nullptr);
    bitmap_.SetPixelsAlphaStraight(picture.Bytes(), 33, 17, 33 * 4, 0, draw);
    if (!draw) device_.EndDrawNoCallback();
    EXPECT_EQ(std::memcmp(bitmap_.GetBits(), picture.Bytes(), picture.pixels.size() * 4), 0);
    const auto difference = Compare(picture, Read(bitmap_), TimesAlpha);
    EXPECT_FALSE(difference) << *difference;
  }
  // A frame of another size, and back to pixels that need no conversion.
  const Picture small = DrawNoise(5, 3, 10);
  bitmap_.SetPixelsAlphaStraight(small.Bytes(), 5, -3, 20, 0, 1);
  EXPECT_FALSE(Compare(small, Read(bitmap_), TimesAlpha));
  bitmap_.SetPixelsAlphaStraight(nullptr, 6, 3, 24, 0, 1);
  EXPECT_FALSE(bitmap_.IsEmpty());
  Upload(bitmap_, small);
  EXPECT_EQ(Read(bitmap_).pixels, small.pixels);
}

TEST_F(Bitmaps, ANegativeStrideOfStraightAlphaWalksBackAndDoesNotFlip) {
  const unsigned char rows[] = {1, 1, 1, 255, 2, 2, 2, 255};
  const auto first = [&](const unsigned char* start, long stride, int flip) {
    bitmap_.SetPixelsAlphaStraight(start, 1, 2, stride, flip, 1);
    return bitmap_.GetBits()[0];
  };
  EXPECT_EQ(first(rows, 4, 0), 1);
  EXPECT_EQ(first(rows, 4, 1), 2);
  EXPECT_EQ(first(rows + 4, -4, 0), 2);
  EXPECT_EQ(first(rows + 4, -4, 1), 1);
  EXPECT_EQ(Read(bitmap_).At(0, 0)[0], 1);
}

TEST_F(Bitmaps, ALossKeepsTheCpuPixelsAndTheFramesAndNothingElse) {
  RebuiltDevice device;
  device.Intialize(nullptr);
  const Picture picture = DrawNoise(9, 4, 3);
  Bitmap straight;
  Bitmap drawn;
  straight.Create(&device);
  drawn.Create(&device);
  straight.SetPixelsAlphaStraight(picture.Bytes(), 9, 4, 36, 0, 1);
  drawn.SetPixels(picture.Bytes(), 9, 4, 36, 0);
  device.BeginDraw(&drawn, {0, 0, 0, 1});
  device.EndDrawNoCallback();
  Platform::InjectDeviceLoss(device.GetD3D11Device());
  device.BeginDraw(nullptr, {0, 0, 0, 0});
  device.EndDrawNoCallback();
  ASSERT_EQ(device.rebuilt, 1);
  EXPECT_EQ(Read(drawn).pixels, picture.pixels);
  EXPECT_EQ(Read(straight).pixels, picture.pixels);
  // The next frame is converted again.
  straight.SetPixelsAlphaStraight(picture.Bytes(), 9, 4, 36, 0, 1);
  const auto difference = Compare(picture, Read(straight), TimesAlpha);
  EXPECT_FALSE(difference) << *difference;
}

TEST_F(Bitmaps, CopyingGivesADestinationOfAnotherWidthTheSize) {
  const Picture picture = DrawNoise(7, 5, 2);
  Upload(bitmap_, picture);
  Bitmap copy;
  copy.Create(&device_);
  bitmap_.CopyTo(&copy);
  EXPECT_EQ(Read(copy).pixels, picture.pixels);

  // The same width: more rows keep their own, fewer keep all.
  const Picture tall = DrawNoise(7, 6, 3);
  Upload(copy, tall);
  bitmap_.CopyTo(&copy);
  EXPECT_EQ(Read(copy).At(6, 4), picture.At(6, 4));
  EXPECT_EQ(Read(copy).At(0, 5), tall.At(0, 5));
  const Picture flat = DrawNoise(7, 4, 3);
  Upload(copy, flat);
  bitmap_.CopyTo(&copy);
  EXPECT_EQ(Read(copy).pixels, flat.pixels);

  bitmap_.CopyTo(&bitmap_);
  EXPECT_EQ(Read(bitmap_).pixels, picture.pixels);
  Bitmap none;
  none.CopyTo(&copy);
  EXPECT_TRUE(copy.IsEmpty());
  bitmap_.CopyTo(&none);
  EXPECT_TRUE(none.IsEmpty());
}

TEST_F(Bitmaps, SizesThatNoMemoryHoldsGiveNoPixels) {
  constexpr long kMost = std::numeric_limits<int>::max();
  const Picture picture = DrawScene(4, 4);
  bitmap_.SetPixels(picture.Bytes(), kMost, kMost, kMost, 0);
  EXPECT_EQ(bitmap_.GetBits(), nullptr);
  bitmap_.SetPixelsAlphaStraight(picture.Bytes(), kMost, kMost, kMost, 1, 1);
  bitmap_.SetPixelSize(kMost, kMost);
  EXPECT_TRUE(bitmap_.IsEmpty());
  EXPECT_EQ(bitmap_.GetGpuPixels(), nullptr);
  // Rows that are shorter than the width says.
  bitmap_.SetPixelsAlphaStraight(picture.Bytes(), 100, 4, 16, 0, 1);
  bitmap_.GetGpuPixels();
  Upload(bitmap_, picture);
  EXPECT_EQ(Read(bitmap_).pixels, picture.pixels);
}

TEST_F(Bitmaps, AVideoFrameIsConvertedIntoBothCopies) {
  // Grey bytes stand for themselves; a stride above the width is that of the source alone.
  const unsigned char rows[] = {10, 20, 30, 99, 40, 50, 60, 99};
  bitmap_.SetPixelsEx(rows, 3, 2, 4, DXGI_FORMAT_R8_UNORM);
  EXPECT_EQ(bitmap_.GetStride(), 12);
  EXPECT_EQ(static_cast<unsigned char>(bitmap_.GetBits()[12]), 40);
  const ID2D1Bitmap1* gpu = bitmap_.GetBitmap();
  const Picture frame = Read(bitmap_);
  EXPECT_EQ(frame.At(2, 0), (Pixel{30, 30, 30, 255}));
  EXPECT_EQ(frame.At(1, 1), (Pixel{50, 50, 50, 255}));
  const unsigned char next[] = {1, 2, 3, 4, 5, 6};
  bitmap_.SetPixelsEx(next, 3, 2, 3, DXGI_FORMAT_R8_UNORM);
  EXPECT_EQ(bitmap_.GetBitmap(), gpu);
  EXPECT_EQ(Read(bitmap_).At(2, 1), (Pixel{6, 6, 6, 255}));
  bitmap_.SetPixelsEx(next, 0, 2, 3, DXGI_FORMAT_R8_UNORM);
  EXPECT_TRUE(bitmap_.IsEmpty());
  bitmap_.SetPixelsEx(nullptr, 3, 2, 3, DXGI_FORMAT_NV12);
  EXPECT_FALSE(bitmap_.IsEmpty());
}

TEST_F(Bitmaps, ResizingDrawsTheWholePictureIntoTheDestination) {
  Picture picture("quarters", 4, 4);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) {
      picture.At(x, y) = x < 2 ? Pixel{200, 0, 0, 255} : Pixel{0, 100, 0, 100};
    }
  }
  Upload(bitmap_, picture);
  Bitmap half, wide, same, none;
  Prepare(half, 2, 2);
  Upload(wide, DrawNoise(8, 4, 6));
  Upload(same, DrawNoise(4, 4, 7));
  none.Create(&device_);
  bitmap_.Resize(&half, D2D1_INTERPOLATION_MODE_LINEAR);
  EXPECT_EQ(Read(half).At(0, 1), picture.At(0, 0));
  EXPECT_EQ(Read(half).At(1, 0), picture.At(3, 0));
  bitmap_.Resize(&wide, D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR);
  for (int x = 0; x < 8; ++x) EXPECT_EQ(Read(wide).At(x, 3), picture.At(x / 2, 3));
  bitmap_.Resize(&same, D2D1_INTERPOLATION_MODE_CUBIC);
  EXPECT_EQ(Read(same).pixels, picture.pixels);
  bitmap_.Resize(&none, D2D1_INTERPOLATION_MODE_LINEAR);
  none.Resize(&half, D2D1_INTERPOLATION_MODE_LINEAR);
  EXPECT_EQ(Read(half).At(0, 1), picture.At(0, 0));
}

}  // namespace
}  // namespace Vantra
