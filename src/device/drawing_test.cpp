#include <cmath>
#include <functional>

#include "tests/harness/device_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;

using DeviceDrawing = DeviceFixture;

constexpr D2D1_INTERPOLATION_MODE kNearest = D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR;
constexpr D2D1_COMPOSITE_MODE kOver = D2D1_COMPOSITE_MODE_SOURCE_OVER;
constexpr D2D_RECT_F kPart = {2, 1, 5, 4};

TEST_F(DeviceDrawing, EveryFormOfAnOperationDrawsTheSame) {
  const Picture scene = DrawScene(8, 6);
  Bitmap bitmap, target;
  Upload(bitmap, scene);
  Prepare(target, 12, 10);
  VantraFx::Posterize effect;
  ASSERT_TRUE(effect.Create(&device_));
  effect.SetInput(0, &bitmap);
  const D2D_POINT_2F offset = {3, 2};
  const D2D_RECT_F to = {3, 2, 6, 5};
  const D2D_MATRIX_4X4_F identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

  // What each draws: the part at the offset, the whole at the offset, the whole at 0,0.
  const std::pair<int, std::function<void()>> forms[] = {
      {0, [&] { device_.DrawImage(&bitmap, &offset, &kPart, kNearest, kOver); }},
      {0, [&] { device_.DrawImage(&effect, &offset, &kPart, kNearest, kOver); }},
      {0, [&] { device_.DrawImage(&bitmap, offset, kPart, kNearest, kOver); }},
      {0, [&] { device_.DrawImage(&effect, offset, kPart, kNearest, kOver); }},
      {0, [&] { device_.DrawBitmap(&bitmap, to, 1, kNearest, kPart, identity); }},
      {0, [&] { device_.DrawBitmap(&bitmap, &to, 1, kNearest, &kPart, &identity); }},
      {0, [&] { device_.DrawBitmap(&bitmap, &to, 1, kNearest, &kPart); }},
      {1, [&] { device_.DrawImage(&bitmap, offset, kNearest, kOver); }},
      {1, [&] { device_.DrawImage(&effect, offset, kNearest, kOver); }},
      {2, [&] { device_.DrawImage(&bitmap, kNearest, kOver); }},
      {2, [&] { device_.DrawImage(&effect, kNearest, kOver); }},
      {2, [&] { device_.DrawImage(&bitmap, nullptr, nullptr, kNearest, kOver); }},
      {2, [&] { device_.DrawImage(&effect, nullptr, nullptr, kNearest, kOver); }},
      {2, [&] { device_.DrawBitmap(&bitmap, nullptr, 1, kNearest, nullptr); }},
  };
  Set(effect, L"Amout", L"256");
  for (std::size_t form = 0; form < std::size(forms); ++form) {
    const auto& [what, draw] = forms[form];
    ASSERT_TRUE(device_.BeginDraw(&target, {0, 0, 0, 0}));
    draw();
    EXPECT_EQ(device_.GetD2DDeviceContext()->EndDraw(nullptr, nullptr), S_OK) << form;
    const Picture result = Read(target);
    for (int y = 0; y < result.height; ++y) {
      for (int x = 0; x < result.width; ++x) {
        const int u = what == 2 ? x : x - 3 + (what == 0 ? 2 : 0);
        const int v = what == 2 ? y : y - 2 + (what == 0 ? 1 : 0);
        const bool inside =
            what == 0 ? u >= 2 && u < 5 && v >= 1 && v < 4 : u >= 0 && u < 8 && v >= 0 && v < 6;
        const Pixel expected = inside ? scene.At(u, v) : Pixel{};
        for (std::size_t c = 0; c < 4; ++c) {
          // The effect has 256 steps that are not those of the pixels.
          ASSERT_NEAR(result.At(x, y)[c], expected[c], 1) << form << " at " << x << "," << y;
        }
      }
    }
  }
}

TEST_F(DeviceDrawing, StateIsWhatWasSet) {
  const D2D_MATRIX_3X2_F turned = {0, 1, -1, 0, 7, 8};
  D2D_MATRIX_3X2_F found;
  device_.GetTransform(&found);
  EXPECT_EQ(found._11 + found._22, 2);
  device_.SetTransform(turned);
  device_.GetTransform(&found);
  EXPECT_EQ(std::memcmp(&found, &turned, sizeof(found)), 0);
  const D2D_MATRIX_3X2_F identity = {1, 0, 0, 1, 0, 0};
  device_.SetTransform(&identity);
  device_.GetTransform(&found);
  EXPECT_EQ(std::memcmp(&found, &identity, sizeof(found)), 0);

  EXPECT_EQ(device_.GetAntialiasMode(), D2D1_ANTIALIAS_MODE_PER_PRIMITIVE);
  device_.SetAntialiasMode(D2D1_ANTIALIAS_MODE_ALIASED);
  EXPECT_EQ(device_.GetAntialiasMode(), D2D1_ANTIALIAS_MODE_ALIASED);
  EXPECT_EQ(device_.GetTextAntialiasMode(), D2D1_TEXT_ANTIALIAS_MODE_DEFAULT);
  device_.SetTextAntialiasMode(D2D1_TEXT_ANTIALIAS_MODE_GRAYSCALE);
  EXPECT_EQ(device_.GetTextAntialiasMode(), D2D1_TEXT_ANTIALIAS_MODE_GRAYSCALE);
  EXPECT_EQ(device_.GetPrimitiveBlend(), D2D1_PRIMITIVE_BLEND_SOURCE_OVER);
  device_.SetPrimitiveBlend(D2D1_PRIMITIVE_BLEND_MIN);
  EXPECT_EQ(device_.GetPrimitiveBlend(), D2D1_PRIMITIVE_BLEND_MIN);
  const D2D1_RENDERING_CONTROLS controls = {D2D1_BUFFER_PRECISION_8BPC_UNORM, {256, 128}};
  device_.SetRenderingControls(&controls);
  D2D1_RENDERING_CONTROLS kept;
  device_.GetRenderingControls(&kept);
  EXPECT_EQ(kept.tileSize.width, 256u);
  EXPECT_EQ(kept.tileSize.height, 128u);

  // The device draws in pixels; only then does the resolution show in the size.
  EXPECT_EQ(device_.GetUnitMode(), D2D1_UNIT_MODE_PIXELS);
  device_.SetDpi(192, 48);
  EXPECT_EQ(device_.GetSize().width, 800);
  device_.SetUnitMode(D2D1_UNIT_MODE_DIPS);
  EXPECT_EQ(device_.GetSize().width, 400);
  EXPECT_EQ(device_.GetSize().height, 1200);
  EXPECT_EQ(device_.GetPixelSize().width, 800u);
  EXPECT_EQ(device_.GetPixelSize().height, 600u);
  float x = 0, y = 0;
  for (const float bad : {0.0f, -1.0f, std::nanf(""), INFINITY}) device_.SetDpi(bad, 96);
  device_.GetDpi(&x, &y);
  EXPECT_EQ(x, 192);
  EXPECT_EQ(y, 48);
  device_.SetDpi(0, 0);
  device_.GetDpi(&x, &y);
  EXPECT_EQ(x + y, 192);
  EXPECT_EQ(device_.GetPixelFormat().format, DXGI_FORMAT_B8G8R8A8_UNORM);
  EXPECT_EQ(device_.GetPixelFormat().alphaMode, D2D1_ALPHA_MODE_PREMULTIPLIED);
  EXPECT_GE(device_.GetMaximumBitmapSize(), 4096u);
}

TEST_F(DeviceDrawing, BoundsAreThoseOfTheImageBeforeAndAfterTheTransform) {
  Bitmap bitmap, empty;
  Upload(bitmap, DrawScene(8, 6));
  device_.SetTransform({0, 2, -1, 0, 10, 20});
  D2D_RECT_F bounds;
  EXPECT_EQ(device_.GetImageLocalBounds(&bitmap, &bounds), S_OK);
  EXPECT_EQ(bounds.left + bounds.top, 0);
  EXPECT_EQ(bounds.right, 8);
  EXPECT_EQ(bounds.bottom, 6);
  EXPECT_EQ(device_.GetImageWorldBounds(&bitmap, &bounds), S_OK);
  EXPECT_EQ(bounds.left, 4);
  EXPECT_EQ(bounds.right, 10);
  EXPECT_EQ(bounds.top, 20);
  EXPECT_EQ(bounds.bottom, 36);
  EXPECT_EQ(device_.GetImageLocalBounds(&empty, &bounds), E_INVALIDARG);
  EXPECT_EQ(bounds.right, 0);
  EXPECT_EQ(device_.GetImageWorldBounds(&bitmap, nullptr), E_POINTER);
}

TEST(DeviceDrawingStopped, CallsDoNothingAndGettersGiveZeros) {
  Device device;
  Bitmap bitmap;
  VantraFx::Posterize effect;
  device.DrawBitmap(&bitmap, nullptr, 1, kNearest, nullptr);
  device.DrawImage(&bitmap, kNearest, kOver);
  device.DrawImage(&effect, kNearest, kOver);
  device.SetTransform({2, 0, 0, 2, 0, 0});
  device.SetDpi(1, 1);
  device.SetUnitMode(D2D1_UNIT_MODE_PIXELS);
  D2D_MATRIX_3X2_F transform;
  device.GetTransform(&transform);
  EXPECT_EQ(transform._11, 0);
  float x = 5, y = 5;
  device.GetDpi(&x, &y);
  EXPECT_EQ(x + y, 0);
  EXPECT_EQ(device.GetSize().width, 0);
  EXPECT_EQ(device.GetMaximumBitmapSize(), 0u);
  EXPECT_EQ(device.GetUnitMode(), D2D1_UNIT_MODE_DIPS);
  D2D_RECT_F bounds;
  unsigned int count = 0;
  EXPECT_EQ(device.GetImageWorldBounds(&bitmap, &bounds), E_FAIL);
  EXPECT_EQ(device.GetImageLocalBounds(&bitmap, &bounds), E_FAIL);
  EXPECT_EQ(device.GetEffectInvalidRectangleCount(&effect, &count), E_FAIL);
  EXPECT_EQ(device.GetEffectInvalidRectangles(&effect, &bounds, 1), E_FAIL);
  EXPECT_EQ(device.GetEffectRequiredInputRectangles(&effect, nullptr, nullptr, nullptr, 0), E_FAIL);
  EXPECT_EQ(device.InvalidateEffectInputRectangle(&effect, 0, nullptr), E_FAIL);
}

}  // namespace
}  // namespace Vantra
