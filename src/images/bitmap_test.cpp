#include <algorithm>
#include <limits>

#include "tests/harness/device_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;

class Bitmaps : public DeviceFixture {
 protected:
  void SetUp() override {
    DeviceFixture::SetUp();
    bitmap_.Create(&device_);
  }

  Bitmap bitmap_;
};

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

}  // namespace
}  // namespace Vantra
