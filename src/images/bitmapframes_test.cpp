#include "images/bitmap_access.h"
#include "tests/harness/device_fixture.h"

namespace Vantra {

namespace {

using namespace Testing;

class BitmapFrames : public BitmapFixture {
 protected:
  // Loads a picture as a file with these options would be.
  void Load(const Picture& picture, const Bitmap::MultipleOptions& options) {
    bitmap_.Cleanup();
    bitmap_.SetPixels(picture.Bytes(), picture.width, picture.height, picture.width * 4, 0);
    BitmapAccess::Split(bitmap_, &options);
    bitmap_.RestoreCpuPixels();
  }

  int Shown() const { return BitmapAccess::GetCurrentFrame(bitmap_); }
};

// The part of `whole` from (left, top).
std::vector<Pixel> Part(const Picture& whole, int left, int top, int width, int height) {
  std::vector<Pixel> part;
  for (int y = top; y < top + height; ++y) {
    for (int x = left; x < left + width; ++x) part.push_back(whole.At(x, y));
  }
  return part;
}

TEST_F(BitmapFrames, ASplitPictureStartsOnItsMiddleFrame) {
  const Picture picture = DrawNoise(11, 13, 4);
  for (const int count : {2, 4, 5}) {
    const int width = 11 / count;
    Load(picture, {.layout = 0, .count = count, .delay = 40});
    ASSERT_EQ(bitmap_.GetFrameCount(), count);
    ASSERT_EQ(bitmap_.GetFrames().size(), static_cast<std::size_t>(count));
    EXPECT_EQ(Shown(), count / 2);
    EXPECT_EQ(bitmap_.GetStride(), width * 4);
    EXPECT_EQ(Read(bitmap_).pixels, Part(picture, count / 2 * width, 0, width, 13));
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(bitmap_.GetFrames()[static_cast<std::size_t>(i)]->delay, 40u);
      bitmap_.SelectFrame(i);
      EXPECT_EQ(Read(bitmap_).pixels, Part(picture, i * width, 0, width, 13)) << i;
    }
    const int height = 13 / count;
    Load(picture, {.layout = -3, .count = count, .delay = 0});
    for (int i = 0; i < count; ++i) {
      bitmap_.SelectFrame(i);
      EXPECT_EQ(Read(bitmap_).pixels, Part(picture, 0, i * height, 11, height)) << i;
    }
  }
  // Beyond the list.
  bitmap_.SelectFrame(99);
  EXPECT_EQ(Shown(), 4);
  bitmap_.SelectFrame(-1);
  EXPECT_EQ(Shown(), 0);
  EXPECT_EQ(Read(bitmap_).pixels, Part(picture, 0, 0, 11, 2));
}

TEST_F(BitmapFrames, APictureOfOneFrameOrOfFramesWithoutPixelsStaysWhole) {
  const Picture picture = DrawNoise(8, 4, 4);
  for (const int count : {1, 0, -5, 9, std::numeric_limits<int>::max()}) {
    Load(picture, {.layout = 0, .count = count, .delay = 1});
    EXPECT_TRUE(bitmap_.GetFrames().empty());
    EXPECT_EQ(Read(bitmap_).pixels, picture.pixels);
  }
  BitmapAccess::Split(bitmap_, nullptr);
  bitmap_.SelectFrame(0);
  bitmap_.StartAnimation(1, true);
  bitmap_.Animation(2);
  bitmap_.StopAnimation();
  EXPECT_EQ(Read(bitmap_).pixels, picture.pixels);
}

TEST_F(BitmapFrames, AFrameOfAnotherSizeCoversTheTopLeftAndNeverMore) {
  const Picture picture = DrawNoise(4, 3, 4);
  Upload(bitmap_, picture);
  const auto add = [&](unsigned width, unsigned height, char value) {
    auto frame = std::make_unique<Bitmap::Frame>();
    frame->width = width;
    frame->height = height;
    frame->pixels.reset(new char[width * height * 4]);
    std::memset(frame->pixels.get(), value, width * height * 4);
    bitmap_.GetFrames().push_back(std::move(frame));
  };
  add(2, 1, 7);
  add(9, 9, 8);
  bitmap_.GetFrames().push_back(std::make_unique<Bitmap::Frame>());
  bitmap_.SelectFrame(0);
  Picture expected = picture;
  expected.At(0, 0) = expected.At(1, 0) = {7, 7, 7, 7};
  EXPECT_EQ(Read(bitmap_).pixels, expected.pixels);
  bitmap_.SelectFrame(1);
  for (const Pixel& pixel : Read(bitmap_).pixels) EXPECT_EQ(pixel, (Pixel{8, 8, 8, 8}));
  bitmap_.SelectFrame(2);
  EXPECT_EQ(Shown(), 2);
}

TEST_F(BitmapFrames, FramesFollowTheirDelaysRoundAndRoundAndOverTheWrapOfTheTick) {
  const Picture picture = DrawNoise(6, 2, 4);
  Load(picture, {.layout = 0, .count = 3, .delay = 10});
  bitmap_.StartAnimation(0xFFFFFFF0, true);
  EXPECT_EQ(Shown(), 0);
  EXPECT_EQ(Read(bitmap_).pixels, Part(picture, 0, 0, 2, 2));
  // Ticks since the start, and the frame then shown.
  for (const auto& [tick, frame] : {std::pair{10u, 0}, {11u, 1}, {21u, 1}, {22u, 2}, {33u, 0}}) {
    bitmap_.Animation((0xFFFFFFF0u + tick) & 0xFFFFFFFFu);
    EXPECT_EQ(Shown(), frame) << tick;
  }
  bitmap_.Animation(0x11 + 11);
  EXPECT_EQ(Read(bitmap_).pixels, Part(picture, 2, 0, 2, 2));

  // Without a restart the shown frame goes on; one beyond a shorter list is shown anew.
  bitmap_.StartAnimation(0, false);
  EXPECT_EQ(Shown(), 1);
  bitmap_.SelectFrame(2);
  bitmap_.GetFrames().pop_back();
  bitmap_.StartAnimation(0, false);
  EXPECT_EQ(Shown(), 1);

  // A delay of 0 asks for a later tick.
  Load(picture, {.layout = 0, .count = 2, .delay = 0});
  bitmap_.StartAnimation(5, true);
  bitmap_.Animation(5);
  EXPECT_EQ(Shown(), 0);
  bitmap_.Animation(6);
  EXPECT_EQ(Shown(), 1);

  BitmapAccess::SetFileFormat(bitmap_, Bitmap::FileFormat::kGif);
  bitmap_.StartAnimation(7, true);
  bitmap_.Animation(100);
  EXPECT_EQ(Shown(), 1);
}

TEST_F(BitmapFrames, CleanupDropsTheFramesAndKeepsFormatAndPosition) {
  Load(DrawNoise(8, 2, 4), {.layout = 0, .count = 4, .delay = 10});
  BitmapAccess::SetFileFormat(bitmap_, Bitmap::FileFormat::kPng);
  bitmap_.Cleanup();
  EXPECT_TRUE(bitmap_.IsEmpty());
  EXPECT_TRUE(bitmap_.GetFrames().empty());
  EXPECT_EQ(bitmap_.GetFrameCount(), 0);
  EXPECT_EQ(bitmap_.GetStride(), 0);
  EXPECT_EQ(bitmap_.GetChromaKey(), nullptr);
  EXPECT_EQ(bitmap_.GetFileFormat(), Bitmap::FileFormat::kPng);
  EXPECT_EQ(Shown(), 2);
}

TEST_F(BitmapFrames, ALossBringsBackTheShownFrame) {
  const Picture picture = DrawNoise(6, 2, 4);
  Load(picture, {.layout = 0, .count = 3, .delay = 10});
  Platform::InjectDeviceLoss(device_.GetD3D11Device());
  device_.BeginDraw(nullptr, {0, 0, 0, 0});
  device_.EndDrawNoCallback();
  EXPECT_EQ(Read(bitmap_).pixels, Part(picture, 2, 0, 2, 2));
  bitmap_.SelectFrame(2);
  EXPECT_EQ(Read(bitmap_).pixels, Part(picture, 4, 0, 2, 2));
}

}  // namespace
}  // namespace Vantra
