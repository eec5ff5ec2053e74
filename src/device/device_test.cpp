#include <vantrix/device/dexception.h>

#include <algorithm>
#include <future>
#include <latch>
#include <map>

#include "tests/harness/device_fixture.h"
#include "tests/harness/engine_under_test.h"

namespace Vantra {
namespace {

using namespace Testing;

constexpr D3DCOLORVALUE kClear = {0, 0, 0, 0};

struct Frame {
  unsigned width = 0;
  unsigned height = 0;
  std::vector<Pixel> pixels;
};

// A callback that keeps frames without their padding.
Device::RenderCallback Keep(std::vector<Frame>& frames) {
  return [&frames](void* data, unsigned width, unsigned height, unsigned pitch) {
    EXPECT_GE(pitch, width * 4);
    Frame frame{width, height, std::vector<Pixel>(std::size_t{width} * height)};
    for (unsigned y = 0; y < height; ++y) {
      std::memcpy(&frame.pixels[std::size_t{y} * width],
                  static_cast<const char*>(data) + std::size_t{y} * pitch, std::size_t{width} * 4);
    }
    frames.push_back(std::move(frame));
  };
}

TEST(Devices, AFrameOfTheDevicesSizeReachesTheCallback) {
  Device device;
  EXPECT_FALSE(device.BeginDraw(nullptr, kClear));
  device.Intialize(nullptr);
  EXPECT_EQ(device.GetWidth(), 800);
  EXPECT_EQ(device.GetHeight(), 600);
  std::vector<Frame> frames;
  device.SetRenderCallback(Keep(frames));

  EXPECT_TRUE(device.BeginDraw(nullptr, {1, 0.5f, 0, 0.5f}));
  device.EndDrawCallback();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].width, 800u);
  EXPECT_EQ(frames[0].height, 600u);
  // The colour has straight alpha, the frame premultiplied; halves are rounded up.
  for (const Pixel& pixel : frames[0].pixels) ASSERT_EQ(pixel, (Pixel{0, 64, 128, 128}));

  device.Resize(1, 600);
  EXPECT_EQ(device.GetWidth(), 800);
  device.Resize(33, 2);
  device.BeginDraw(nullptr, kClear);
  device.EndDrawCallback();
  EXPECT_EQ(frames.back().width, 33u);
  EXPECT_EQ(frames.back().height, 2u);

  device.BeginDraw(nullptr, kClear);
  device.EndDrawNoCallback();
  device.SetRenderCallback({});
  device.BeginDraw(nullptr, kClear);
  device.EndDrawCallback();
  EXPECT_EQ(frames.size(), 2u);
}

TEST(Devices, ResizingToTheSameSizeMakesNothingAnew) {
  Device device;
  device.Intialize(nullptr);
  ID3D11Texture2D* texture = device.GetContext()->GetRenderTexture();
  ID2D1DeviceContext* context = device.GetD2DDeviceContext();
  device.Resize(800, 600);
  EXPECT_EQ(device.GetContext()->GetRenderTexture(), texture);
  EXPECT_EQ(device.GetD2DDeviceContext(), context);
  EXPECT_THROW(device.Resize(1 << 20, 600), DException);
  EXPECT_FALSE(device.BeginDraw(nullptr, kClear));
  device.Resize(64, 64);
  EXPECT_TRUE(device.BeginDraw(nullptr, kClear));
  device.EndDrawNoCallback();
}

TEST(Devices, AWindowIsRefusedAndCleanupAllowsANewStart) {
  Device device;
  EXPECT_THROW(device.Intialize(reinterpret_cast<HWND>(&device)), DException);
  device.Intialize(nullptr);
  device.Cleanup();
  EXPECT_EQ(device.GetD2DDeviceContext(), nullptr);
  EXPECT_FALSE(device.BeginDraw(nullptr, kClear));
  VantraFx::Posterize effect;
  device.Clear(kClear);
  device.DrawImage(&effect, nullptr, nullptr, D2D1_INTERPOLATION_MODE_LINEAR,
                   D2D1_COMPOSITE_MODE_SOURCE_OVER);
  device.EndDrawCallback();
  device.Cleanup();
  device.Intialize(nullptr);
  EXPECT_TRUE(device.BeginDraw(nullptr, kClear));
  device.EndDrawNoCallback();
}

TEST(Devices, ALossDropsTheFrameRebuildsEverythingAndTellsTheHostOnce) {
  RebuiltDevice device;
  device.Intialize(nullptr);
  std::vector<Frame> frames;
  device.SetRenderCallback(Keep(frames));
  const Picture picture = DrawScene(8, 8);
  Bitmap bitmap;
  bitmap.Create(&device);
  bitmap.SetPixels(picture.Bytes(), 8, 8, 32, 0);
  VantraFx::Posterize effect;
  ASSERT_TRUE(effect.Create(&device));
  Effect::Attribute amout{L"Amout", L"2"};
  effect.SetAttribute(&amout);

  ASSERT_TRUE(Platform::InjectDeviceLoss(device.GetD3D11Device()));
  device.BeginDraw(nullptr, kClear);
  device.EndDrawCallback();
  EXPECT_EQ(device.rebuilt, 1);
  EXPECT_TRUE(frames.empty());

  // The bitmap came back from its CPU pixels, the effect from its start values and without input.
  std::fill_n(bitmap.GetBits(), picture.pixels.size() * 4, '\x5A');
  EXPECT_EQ(std::memcmp(bitmap.GetGpuPixels(), picture.Bytes(), picture.pixels.size() * 4), 0);
  effect.GetAttribute(&amout);
  EXPECT_EQ(amout.value, L"10");
  effect.SetInput(0, &bitmap);
  device.BeginDraw(nullptr, kClear);
  device.DrawImage(&effect, nullptr, nullptr, D2D1_INTERPOLATION_MODE_LINEAR,
                   D2D1_COMPOSITE_MODE_SOURCE_OVER);
  device.EndDrawCallback();
  EXPECT_EQ(device.rebuilt, 1);
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].pixels[0][3], 255);
  EXPECT_EQ(frames[0].pixels[8][3], 0);
}

TEST(Devices, ALossAtAnyEngineCallNeverDeliversAnUnfinishedFrame) {
  RebuiltDevice device;
  device.Intialize(nullptr);
  device.Resize(64, 48);
  const std::vector<unsigned char> camera(32 * 32 * 3 / 2, 100);
  const Picture logo = DrawSceneWithAlpha(16, 16);
  Bitmap video, overlay;
  video.Create(&device);
  overlay.Create(&device);
  overlay.SetPixels(logo.Bytes(), 16, 16, 64, 0);
  VantraFx::Posterize first, second;
  ASSERT_TRUE(first.Create(&device) && second.Create(&device));
  std::vector<Frame> frames;
  device.SetRenderCallback(Keep(frames));
  const auto draw = [&] {
    frames.clear();
    try {
      video.SetPixelsEx(camera.data(), 32, 32, 32, DXGI_FORMAT_NV12);
    } catch (const DException&) {
      // A plane's texture could not be made any more.
    }
    first.SetInput(0, &video);
    second.SetInput(0, &first);
    second.SetAttribute(L"Amout", 3.0f);
    device.BeginDraw(nullptr, {0, 0, 1, 1});
    device.DrawImage(&second, D2D1_INTERPOLATION_MODE_LINEAR, D2D1_COMPOSITE_MODE_SOURCE_OVER);
    device.DrawImage(&overlay, D2D_POINT_2F{20.5f, 9}, D2D1_INTERPOLATION_MODE_LINEAR,
                     D2D1_COMPOSITE_MODE_SOURCE_OVER);
    device.EndDrawCallback();
  };
  draw();
  ASSERT_EQ(frames.size(), 1u);
  const std::vector<Pixel> expected = frames[0].pixels;

  for (unsigned calls = 0;; ++calls) {
    const int rebuilt = device.rebuilt;
    Platform::InjectDeviceLoss(device.GetD3D11Device(), calls);
    draw();
    if (device.rebuilt == rebuilt && !frames.empty()) {
      // The frame made fewer calls than that: the walk is done.
      EXPECT_GT(calls, 6u);
      break;
    }
    EXPECT_TRUE(frames.empty());
    // A loss behind the session's end shows at the next one.
    if (device.rebuilt == rebuilt) draw();
    EXPECT_EQ(device.rebuilt, rebuilt + 1);
    draw();
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].pixels, expected);
  }
}

TEST(Devices, ALossWhileTheDeviceIsResizedOrRebuiltIsRecoveredFrom) {
  RebuiltDevice device;
  device.Intialize(nullptr);
  VantraFx::Posterize effect;
  ASSERT_TRUE(effect.Create(&device));
  const auto draws = [&device] {
    const bool begun = device.BeginDraw(nullptr, kClear);
    device.EndDrawNoCallback();
    return begun;
  };
  for (unsigned calls = 0; calls < 12; ++calls) {
    Platform::InjectDeviceLoss(device.GetD3D11Device(), calls);
    try {
      device.Resize(100 + calls, 50);
    } catch (const DException&) {
      EXPECT_FALSE(device.BeginDraw(nullptr, kClear));
    }
    // Some sessions later the loss has been met, and everything is back.
    for (int session = 0; session < 8; ++session) draws();
    EXPECT_TRUE(draws());
    EXPECT_EQ(device.GetWidth(), 100 + calls);
    EXPECT_NE(effect.GetEffect(), nullptr);
  }
  EXPECT_EQ(device.rebuilt, 12);
}

TEST(Devices, ALossWhileAnEffectIsMadeLeavesItEmptyAndUsableLater) {
  Device device;
  device.Intialize(nullptr);
  VantraFx::Posterize effect;
  Platform::InjectDeviceLoss(device.GetD3D11Device());
  EXPECT_FALSE(effect.Create(&device));
  Effect::Attribute amout{L"Amout", L"3"};
  effect.SetAttribute(&amout);
  effect.GetAttribute(&amout);
  EXPECT_EQ(amout.value, L"3");
  device.BeginDraw(nullptr, kClear);
  device.EndDrawNoCallback();
  EXPECT_TRUE(effect.Create(&device));
}

TEST(Devices, TheCallbackMayReplaceItselfResizeAndEndTheDevice) {
  Device device;
  device.Intialize(nullptr);
  int calls = 0;
  const auto frame = [&device] {
    device.BeginDraw(nullptr, kClear);
    device.EndDrawCallback();
  };
  const std::string kept(100, 'x');
  device.SetRenderCallback([&, kept](void*, unsigned, unsigned, unsigned) {
    device.SetRenderCallback({});
    calls += static_cast<int>(kept.size());
  });
  frame();
  frame();
  EXPECT_EQ(calls, 100);
  device.SetRenderCallback([&](void* data, unsigned width, unsigned height, unsigned pitch) {
    device.Resize(10, 10);
    // The frame stays what it was.
    EXPECT_EQ(static_cast<unsigned char*>(data)[(height - 1) * pitch + width * 4 - 1], 0);
  });
  frame();
  device.SetRenderCallback([&](void*, unsigned, unsigned, unsigned) { device.Cleanup(); });
  frame();
  EXPECT_FALSE(device.BeginDraw(nullptr, kClear));
  device.Intialize(nullptr);
  device.SetRenderCallback([](void*, unsigned, unsigned, unsigned) { throw 42; });
  EXPECT_THROW(frame(), int);
  device.SetRenderCallback({});
  frame();
}

TEST(Devices, AnEffectThatWasNeverRegisteredMayOutliveItsDevice) {
  VantraFx::Posterize effect;
  {
    Device device;
    device.Intialize(nullptr);
    effect.SetEffectID({1, 2, 3, {4}});
    EXPECT_FALSE(effect.Create(&device));
    effect.SetEffectID(VantraFx::Posterize::GetEffectGUID());
    EXPECT_NE(effect.GetEffect(), nullptr);
    // Now it is registered, so that the end of the device takes its platform effect along.
    device.Cleanup();
    EXPECT_EQ(effect.GetEffect(), nullptr);
    effect.SetEffectID({5, 6, 7, {8}});
    EXPECT_FALSE(effect.Create(&device));
  }
  effect.Destroy();
}

TEST(Engines, HardwareComesFirstThenTheCpuThenVulkanInSoftware) {
  const Platform::EngineList list = Platform::ListEngines();
  const auto rank = [](const Platform::EngineInfo& engine) {
    return engine.type == Platform::DeviceType::kSoftware ? 2
           : engine.kind == Platform::EngineKind::kCpu    ? 1
                                                          : 0;
  };
  EXPECT_TRUE(std::is_sorted(list.engines.begin(), list.engines.end(),
                             [&](const auto& a, const auto& b) { return rank(a) < rank(b); }));
  std::map<Platform::EngineKind, unsigned> counts;
  for (const Platform::EngineInfo& engine : list.engines) {
    EXPECT_EQ(engine.index, counts[engine.kind]++);
    EXPECT_EQ(engine.type == Platform::DeviceType::kCpu, engine.kind == Platform::EngineKind::kCpu);
    EXPECT_FALSE(engine.name.empty());
    EXPECT_FALSE(engine.driver.empty());
    EXPECT_GE(engine.maximumTextureSize, 4096u);
  }
  EXPECT_LE(counts[Platform::EngineKind::kCpu], 1u);

  ASSERT_TRUE(Platform::SelectEngine(Platform::EngineKind::kAutomatic));
  Device device;
  device.Intialize(nullptr);
  EXPECT_EQ(Platform::GetEngineChoice().engine.name, list.engines.front().name);
  EXPECT_EQ(Platform::GetEngineChoice().engine.kind, list.engines.front().kind);
  if (list.engines.front().kind == Platform::EngineKind::kCpu) {
    EXPECT_EQ(Platform::GetEngineChoice().reason.rfind("there is no usable GPU", 0), 0u);
  }
  EXPECT_TRUE(SelectEngineUnderTest());
}

TEST(Engines, TheChoiceIsKeptAndExplained) {
  std::map<Platform::EngineKind, unsigned> counts;
  for (const Platform::EngineInfo& engine : Platform::ListEngines().engines) {
    ++counts[engine.kind];
    ASSERT_TRUE(Platform::SelectEngine(engine.kind, engine.index)) << engine.name;
    Device device;
    device.Intialize(nullptr);
    const Platform::EngineChoice choice = Platform::GetEngineChoice();
    EXPECT_TRUE(choice.running);
    EXPECT_EQ(choice.engine.name, engine.name);
    EXPECT_EQ(choice.engine.index, engine.index);
    EXPECT_EQ(choice.reason, "it was asked for");
    // One that is not there leaves the choice as it was.
    for (const auto kind : {Platform::EngineKind::kCpu, Platform::EngineKind::kVulkan}) {
      EXPECT_FALSE(Platform::SelectEngine(kind, 99));
    }
    device.Cleanup();
    device.Intialize(nullptr);
    EXPECT_EQ(Platform::GetEngineChoice().engine.name, engine.name);
  }
  EXPECT_TRUE(SelectEngineUnderTest());
  EXPECT_FALSE(Platform::InjectDeviceLoss(nullptr));
}

TEST(Engines, DevicesOnThreadsAndEnginesOfTheirOwnDrawAtTheSameTime) {
  const Picture noise = DrawNoise(40, 30, 1);
  const auto posterized = [&noise](std::latch& started) {
    TestDevice device;
    try {
      device.Start();
    } catch (...) {
      started.count_down();
      throw;
    }
    started.count_down();
    Picture result("", 0, 0);
    // Over and over, as making and drawing are where devices could meet.
    for (int i = 0; i < 20; ++i) {
      Bitmap input, output;
      device.Upload(input, noise);
      device.Prepare(output, noise.width, noise.height);
      VantraFx::Posterize effect;
      EXPECT_TRUE(effect.Create(&device.GetDevice()));
      effect.SetAttribute(L"Amout", 3.0f);
      effect.SetInput(0, &input);
      device.GetDevice().BeginDraw(&output);
      effect.Apply(&output);
      device.GetDevice().EndDrawNoCallback();
      result = TestDevice::Read(output);
    }
    device.GetDevice().Cleanup();
    return result;
  };
  std::latch alone(1);
  const Picture expected = posterized(alone);
  std::vector<std::future<Picture>> results;
  for (const Platform::EngineKind kind : EnginesUnderTest()) {
    ASSERT_TRUE(Platform::SelectEngine(kind));
    std::latch started(2);
    for (int i = 0; i < 2; ++i) {
      results.push_back(std::async(std::launch::async, posterized, std::ref(started)));
    }
    // The choice is taken by then.
    started.wait();
  }
  for (auto& result : results) EXPECT_EQ(result.get().pixels, expected.pixels);
  EXPECT_TRUE(SelectEngineUnderTest());
}

TEST(Engines, TheCpuEngineDrawsWithNoMoreThreadsThanItIsToldTo) {
  ASSERT_EQ(Platform::SelectEngine(Platform::EngineKind::kCpu), HasCpuEngine());
  if (!HasCpuEngine()) return;
  const auto threads = [](unsigned wanted) {
    Platform::SetCpuThreads(wanted);
    TestDevice device;
    device.Start();
    const unsigned count = Render::Simd::ThreadCount(device.Engine());
    device.Stop();
    return count;
  };
  EXPECT_EQ(threads(1), 1u);
  const unsigned all = threads(0);
  EXPECT_GE(all, 1u);
  EXPECT_EQ(threads(100000), all);
  Platform::SetCpuThreads(0);
  EXPECT_TRUE(SelectEngineUnderTest());
}

}  // namespace
}  // namespace Vantra
