#include <cstdlib>

#include "images/bitmap_access.h"
#include "platform/imaging/test_gifs.h"
#include "tests/harness/file_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;
using Platform::GifPatch;
using Platform::GifPicture;

class GifRenders : public FileFixture {
 protected:
  void Load(const GifPicture& gif) {
    const Bytes file = EncodeGif(gif);
    bitmap_.LoadMemory(file.data(), file.size());
  }
};

// What a GIF shows, composed plainly. The picture begins as `shown` was left.
class Composer {
 public:
  explicit Composer(const Bitmap& gif)
      : gif_(gif),
        shown_("shown", static_cast<int>(gif.GetWidth()), static_cast<int>(gif.GetHeight())),
        saved_(shown_) {}

  const Picture& Next() {
    if (last_ && last_->disposal == 2) Fill(*last_, {});
    if (last_ && last_->disposal == 3) shown_ = saved_;
    const Bitmap::Frame& frame = *gif_.GetFrames()[next_];
    if (frame.disposal == 3) saved_ = shown_;
    if (next_ == 0) shown_.pixels.assign(shown_.pixels.size(), {});
    Draw(frame);
    last_ = &frame;
    next_ = (next_ + 1) % gif_.GetFrames().size();
    return shown_;
  }

 private:
  template <class Change>
  void ForEach(const Bitmap::Frame& frame, Change change) {
    for (int y = 0; y < static_cast<int>(frame.height); ++y) {
      for (int x = 0; x < static_cast<int>(frame.width); ++x) {
        const int u = x + static_cast<int>(frame.rect.left);
        const int v = y + static_cast<int>(frame.rect.top);
        if (u < shown_.width && v < shown_.height) change(x, y, shown_.At(u, v));
      }
    }
  }
  void Fill(const Bitmap::Frame& frame, const Pixel& colour) {
    ForEach(frame, [&](int, int, Pixel& pixel) { pixel = colour; });
  }
  void Draw(const Bitmap::Frame& frame) {
    ForEach(frame, [&](int x, int y, Pixel& pixel) {
      Pixel source;
      std::memcpy(source.data(), &frame.pixels[(static_cast<unsigned>(y) * frame.width + x) * 4],
                  4);
      if (source[3] == 255) pixel = source;
    });
  }

  const Bitmap& gif_;
  Picture shown_;
  Picture saved_;
  const Bitmap::Frame* last_ = nullptr;
  std::size_t next_ = 0;
};

// Patches of several sizes and places, with holes, some of them beyond the screen.
GifPicture MakeAnimation(std::initializer_list<unsigned> disposals) {
  GifPicture gif;
  gif.width = 40;
  gif.height = 30;
  gif.palette = Platform::MakeGifPalette(16, 5);
  unsigned i = 0;
  for (const unsigned disposal : disposals) {
    GifPatch patch = Platform::MakeGifPatch(16, 9 + i * 7 % 19, 25 - i * 5 % 17, i % 2 == 1);
    patch.left = i * 11 % 23;
    patch.top = i * 7 % 13;
    patch.disposal = disposal;
    patch.transparent = static_cast<BYTE>(i % 16);
    patch.delay = 10;
    gif.frames.push_back(patch);
    ++i;
  }
  return gif;
}

TEST_F(GifRenders, FramesAreComposedAsEachOfThemAsksFor) {
  for (const GifPicture& gif :
       {MakeAnimation({0, 1, 2, 3, 0, 3, 3, 2, 2, 1, 7}), MakeAnimation({3, 2, 3, 0}),
        MakeAnimation({2}), MakeAnimation({3}), MakeAnimation({1, 3})}) {
    Load(gif);
    Composer composer(bitmap_);
    GifRender render;
    render.Initialize(&device_, &bitmap_);
    const std::size_t frames = gif.frames.size();
    for (std::size_t i = 0; i < 3 * frames; ++i) {
      render.Update(static_cast<double>(i) * 100);
      ASSERT_EQ(Read(bitmap_).pixels, composer.Next().pixels) << i << " of " << frames;
    }
  }
}

TEST_F(GifRenders, AFrameStaysForItsDelayFromWhenItWasDrawn) {
  GifPicture gif = MakeAnimation({0, 0, 0});
  gif.frames[1].delay = 20;
  Load(gif);
  std::vector<Picture> steps;
  Composer composer(bitmap_);
  for (int i = 0; i < 3; ++i) steps.push_back(composer.Next());
  const auto shown = [&] {
    const Picture now = Read(bitmap_);
    for (int i = 0; i < 3; ++i) {
      if (now.pixels == steps[static_cast<std::size_t>(i)].pixels) return i;
    }
    return -1;
  };
  GifRender render;
  render.Update(0);
  render.Initialize(&device_, &bitmap_);
  render.Start(1000);
  EXPECT_EQ(shown(), -1);
  // The time, and the frame then shown.
  for (const auto& [time, frame] : {std::pair{1000.0, 0},
                                    {1099.9, 0},
                                    {1100.0, 1},
                                    {1299.0, 1},
                                    {1450.0, 2},
                                    {1549.0, 2},
                                    {1550.0, 0}}) {
    render.Update(time);
    EXPECT_EQ(shown(), frame) << time;
  }
  render.Stop(1551);
  render.Pause(1551);
  render.Resume(1551);
  // A start makes the shown frame stay from then on; times may lie before the last.
  render.Start(1600);
  render.Update(1650);
  EXPECT_EQ(shown(), 0);
  render.Update(1700);
  EXPECT_EQ(shown(), 1);
  render.Update(5);
  EXPECT_EQ(shown(), 1);
  // From the beginning, at the first time that has passed the former frame's delay.
  render.Initialize(&device_, &bitmap_);
  render.Update(200);
  EXPECT_EQ(shown(), 0);
}

TEST_F(GifRenders, RepetitionsAreCountedAndStopNothing) {
  GifPicture gif = MakeAnimation({0, 2, 3});
  gif.before_frames = Platform::MakeGifApplication("NETSCAPE2.0", {1, 2, 0});
  Load(gif);
  GifRender render;
  render.Initialize(&device_, &bitmap_);
  for (int i = 1; i <= 12; ++i) {
    render.Update(i * 1000.0);
    EXPECT_EQ(GifRenderAccess::EndOfAnimation(render), i == 9) << i;
  }
  gif.before_frames = Platform::MakeGifApplication("NETSCAPE2.0", {1, 0, 0});
  Load(gif);
  render.Initialize(&device_, &bitmap_);
  for (int i = 1; i <= 6; ++i) {
    render.Update(i * 1000.0);
    EXPECT_FALSE(GifRenderAccess::EndOfAnimation(render)) << i;
  }
}

TEST_F(GifRenders, TheAnimationRestsWhereFramesAreMissing) {
  Load(MakeAnimation({0, 0, 0}));
  bitmap_.GetFrames().pop_back();
  Composer composer(bitmap_);
  composer.Next();
  const Picture last = composer.Next();
  GifRender render;
  render.Initialize(&device_, &bitmap_);
  for (int i = 0; i < 6; ++i) render.Update(i * 1000.0);
  EXPECT_EQ(Read(bitmap_).pixels, last.pixels);

  // A bitmap that is no GIF has nothing to play.
  const Picture picture = DrawNoise(4, 3, 2);
  Bitmap still;
  Upload(still, picture);
  render.Initialize(&device_, &still);
  render.Update(1000);
  EXPECT_EQ(Read(still).pixels, picture.pixels);
  render.Destroy();
  render.Destroy();
}

TEST_F(GifRenders, ALossCostsThePictureUpToTheNextFirstFrame) {
  for (const unsigned lost_at : {0u, 1u, 2u, 3u}) {
    RebuiltDevice device;
    device.Intialize(nullptr);
    Bitmap gif;
    gif.Create(&device);
    const Bytes file = EncodeGif(MakeAnimation({0, 2, 3, 1}));
    gif.LoadMemory(file.data(), file.size());
    Composer composer(gif);
    GifRender render;
    render.Initialize(&device, &gif);
    for (unsigned i = 0; i < 8; ++i) {
      if (i == lost_at) Platform::InjectDeviceLoss(device.GetD3D11Device());
      render.Update(i * 1000.0);
      const Picture& expected = composer.Next();
      EXPECT_EQ(device.rebuilt, i >= lost_at ? 1 : 0);
      if (i == lost_at) {
        // Of a session that was lost nothing is left. That which cleared the rectangle of frame 1
        // was one of its own: frame 2 is drawn after it.
        const D2D_RECT_F& drawn = gif.GetFrames()[i]->rect;
        const Picture shown = Read(gif);
        for (int y = 0; y < shown.height; ++y) {
          for (int x = 0; x < shown.width; ++x) {
            const auto u = static_cast<float>(x);
            const auto v = static_cast<float>(y);
            const bool in_frame =
                u >= drawn.left && u < drawn.right && v >= drawn.top && v < drawn.bottom;
            if (i == 2 && in_frame) continue;
            ASSERT_EQ(shown.At(x, y), Pixel{}) << lost_at;
          }
        }
      }
      // Before the loss nothing is read back, since that would be what comes back.
      if (i >= 4) {
        ASSERT_EQ(Read(gif).pixels, expected.pixels) << i;
      }
    }
    device.Cleanup();
    // On a device that is gone nothing is drawn, and nothing fails.
    render.Update(1e6);
  }
}

TEST_F(GifRenders, AnotherProgramComposesTheSame) {
  // Where the two differ by intent, the animation has nothing of it: ImageMagick draws on a screen
  // of square pixels, and begins each pass with what disposal 3 has put back before it. What both
  // do alike is compared: all disposals, a disposal 2 that leaves transparent pixels and not the
  // background colour, holes, patches beyond the screen, interlacing.
  if (std::system("convert -version > /dev/null 2>&1") != 0) {
    GTEST_SKIP() << "ImageMagick's convert is not installed";
  }
  GifPicture gif = MakeAnimation({1, 2, 0, 3, 3, 1, 2, 2, 0, 3, 1});
  gif.background = 4;
  Write("in.gif", EncodeGif(gif));
  const std::string folder = folder_.string();
  ASSERT_EQ(
      std::system(("convert " + folder + "/in.gif -coalesce PNG32:" + folder + "/%d.png").c_str()),
      0);
  ASSERT_TRUE(bitmap_.LoadFile(Path("in.gif")));
  GifRender render;
  render.Initialize(&device_, &bitmap_);
  Bitmap expected;
  expected.Create(&device_);
  for (std::size_t i = 0; i < gif.frames.size(); ++i) {
    ASSERT_TRUE(expected.LoadFile(Path(std::to_string(i) + ".png")));
    render.Update(static_cast<double>(i) * 1000);
    ASSERT_EQ(Read(bitmap_).pixels, Read(expected).pixels) << i;
  }
}

}  // namespace
}  // namespace Vantra
