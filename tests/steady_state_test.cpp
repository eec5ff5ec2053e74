// A frame like the last takes no memory: every allocation is counted, of the thread that draws and
// of the threads of the CPU engine. A Vulkan driver's threads are its own affair.

#include <atomic>
#include <cstdlib>
#include <new>

#include "images/bitmap_access.h"
#include "tests/harness/device_fixture.h"
#include "tests/harness/engine_under_test.h"

namespace {

std::atomic<bool> s_counting_all = false;
thread_local bool s_counting = false;
std::atomic<long> s_allocations = 0;

void Count() {
  if (s_counting || s_counting_all) ++s_allocations;
}

void SetCounting(bool counting) {
  if (Vantra::Testing::IsOnCpu()) {
    s_counting_all = counting;
  } else {
    s_counting = counting;
  }
}

}  // namespace

void* operator new(std::size_t size) {
  Count();
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  Count();
  return std::malloc(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace Vantra {
namespace {

using namespace Testing;

class SteadyState : public DeviceFixture {
 protected:
  // Fails unless `repeat` takes no memory.
  template <class Repeat>
  void ExpectSteady(Repeat repeat) {
    const std::uint64_t objects = ObjectsMade();
    // A thread of the engine takes memory with its first turn, which may come late on a machine
    // that is busy otherwise.
    for (int attempt = 0; attempt < 10; ++attempt) {
      s_allocations = 0;
      SetCounting(true);
      repeat();
      SetCounting(false);
      if (s_allocations == 0) break;
    }
    EXPECT_EQ(s_allocations, 0);
    EXPECT_EQ(ObjectsMade(), objects);
  }
};

TEST_F(SteadyState, AFrameTakesNoMemoryAndOneSubmission) {
  device_.Resize(320, 180);
  const Picture logo = DrawSceneWithAlpha(32, 32);
  std::vector<unsigned char> camera(320 * 180 * 3 / 2, 90);
  Bitmap frame, overlay;
  frame.Create(&device_);
  Upload(overlay, logo);
  VantraFx::Posterize posterize;
  VantraFx::GaussianBlur blur;
  VantraFx::Morphology erode;
  VantraFx::StandardAdjust adjust;
  Effect* const chain[] = {&posterize, &blur, &erode, &adjust};
  for (Effect* effect : chain) ASSERT_TRUE(effect->Create(&device_));
  int delivered = 0;
  device_.SetRenderCallback([&](void*, unsigned, unsigned, unsigned) { ++delivered; });
  const auto draw = [&](bool convert) {
    if (convert) {
      frame.SetPixelsEx(camera.data(), 320, 180, 320, DXGI_FORMAT_NV12);
    } else {
      frame.RestoreCpuPixels();
    }
    posterize.SetInput(0, &frame);
    for (std::size_t i = 1; i < std::size(chain); ++i) chain[i]->SetInput(0, chain[i - 1]);
    posterize.SetAttribute(L"Amout", 12.0f);
    adjust.SetSaturation(30);
    device_.BeginDraw(nullptr, {0, 0, 0, 1});
    device_.DrawImage(&adjust, D2D1_INTERPOLATION_MODE_LINEAR, D2D1_COMPOSITE_MODE_SOURCE_OVER);
    device_.DrawImage(&overlay, D2D_POINT_2F{4.5f, 7}, D2D1_INTERPOLATION_MODE_CUBIC,
                      D2D1_COMPOSITE_MODE_SOURCE_OVER);
    device_.EndDrawCallback();
  };
  // Several times round whatever the engine keeps in turns.
  for (int i = 0; i < 20; ++i) draw(true);

  for (const bool convert : {false, true}) {
    ExpectSteady([&] {
      const std::uint64_t submissions = Engine().SubmissionCount();
      delivered = 0;
      for (int i = 0; i < 20; ++i) draw(convert);
      EXPECT_EQ(delivered, 20);
      if (!convert) {
        EXPECT_EQ(Engine().SubmissionCount() - submissions, 20u);
      }
    });
  }
}

TEST_F(SteadyState, APlayingGifTakesNoMemoryAfterItsFirstPass) {
  Bitmap gif;
  Prepare(gif, 90, 70);
  gif.RestoreCpuPixels();
  // All disposals, and a patch of another size for each frame.
  constexpr unsigned kFrames = 9;
  for (unsigned i = 0; i < kFrames; ++i) {
    auto frame = std::make_unique<Bitmap::Frame>();
    frame->width = 20 + i * 37 % 61;
    frame->height = 20 + i * 23 % 47;
    frame->pixels.reset(new char[frame->width * frame->height * 4]());
    frame->rect = {static_cast<float>(i), 3, static_cast<float>(i + frame->width),
                   static_cast<float>(3 + frame->height)};
    frame->delay = 90;
    frame->disposal = i % 4;
    gif.GetFrames().push_back(std::move(frame));
  }
  BitmapAccess::SetFrameCount(gif, kFrames);
  GifRender render;
  render.Initialize(&device_, &gif);
  double time = 0;
  const auto play = [&] {
    for (unsigned i = 0; i < 2 * kFrames; ++i) render.Update(time += 100);
  };
  for (int i = 0; i < 10; ++i) play();
  ExpectSteady(play);
}

}  // namespace
}  // namespace Vantra
