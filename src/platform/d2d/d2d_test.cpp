#include <cmath>
#include <limits>

#include "platform/d2d/d2d_device_context.h"
#include "tests/harness/device_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;

class Drawing : public DeviceFixture {
 protected:
  ID2D1DeviceContext* Context() { return device_.GetD2DDeviceContext(); }

  // What a session that draws an image leaves in a target of the picture's contents.
  Picture Draw(const Picture& background, ID2D1Image* image, const D2D1_POINT_2F* offset,
               const D2D1_RECT_F* rectangle = nullptr,
               D2D1_INTERPOLATION_MODE interpolation = D2D1_INTERPOLATION_MODE_LINEAR,
               D2D1_COMPOSITE_MODE composite = D2D1_COMPOSITE_MODE_SOURCE_OVER) {
    Bitmap target;
    Upload(target, background);
    Context()->BeginDraw();
    Context()->SetTarget(target.GetBitmap());
    Context()->DrawImage(image, offset, rectangle, interpolation, composite);
    result_ = Context()->EndDraw(nullptr, nullptr);
    return Read(target);
  }

  HRESULT result_ = S_OK;
};

// Source-over of premultiplied pixels, the image's origin at (left, top).
Formula Over(const Picture& image, int left, int top) {
  return [&image, left, top](const Picture& background, int x, int y) {
    Color color;
    const int u = x - left;
    const int v = y - top;
    const bool inside = u >= 0 && v >= 0 && u < image.width && v < image.height;
    const Pixel source = inside ? image.At(u, v) : Pixel{};
    for (std::size_t c = 0; c < 4; ++c) {
      color[c] = source[c] / 255.0 + background.At(x, y)[c] / 255.0 * (1 - source[3] / 255.0);
    }
    return color;
  };
}

TEST_F(Drawing, ABitmapIsBlendedAtItsPlaceAndCutByTheTarget) {
  const Picture background = DrawSceneWithAlpha(40, 30);
  const Picture image = DrawSceneWithAlpha(13, 11);
  Bitmap bitmap;
  Upload(bitmap, image);
  for (const D2D1_POINT_2F offset : {D2D1_POINT_2F{0, 0}, {5, 7}, {-4, -3}, {33, 25}, {100, 0}}) {
    const Picture result = Draw(background, bitmap.GetBitmap(), &offset);
    EXPECT_EQ(result_, S_OK);
    const auto difference = Compare(
        background, result, Over(image, static_cast<int>(offset.x), static_cast<int>(offset.y)),
        {1, "blending hardware may round the product first"});
    EXPECT_FALSE(difference) << *difference;
  }
}

TEST_F(Drawing, ARectangleOfTheImageGoesToTheOffset) {
  const Picture background("black", 12, 12);
  const Picture image = DrawScene(8, 8);
  Bitmap bitmap;
  Upload(bitmap, image);
  const D2D1_POINT_2F offset = {1, 2};
  const D2D1_RECT_F part = {3, 4, 100, 6};
  const Picture result = Draw(background, bitmap.GetBitmap(), &offset, &part);
  for (int y = 0; y < 12; ++y) {
    for (int x = 0; x < 12; ++x) {
      const bool inside = x >= 1 && x < 6 && y >= 2 && y < 4;
      ASSERT_EQ(result.At(x, y), inside ? image.At(x + 2, y + 2) : Pixel{}) << x << "," << y;
    }
  }
}

TEST_F(Drawing, AFractionalOffsetInterpolatesOrTakesTheNearestPixel) {
  Picture image("step", 2, 1);
  image.pixels = {{0, 0, 0, 255}, {200, 200, 200, 255}};
  const Picture background("black", 4, 1);
  Bitmap bitmap;
  Upload(bitmap, image);
  const D2D1_POINT_2F offset = {1.25f, 0};
  const Picture linear = Draw(background, bitmap.GetBitmap(), &offset);
  EXPECT_EQ(linear.At(0, 0), (Pixel{0, 0, 0, 0}));
  EXPECT_EQ(linear.At(1, 0), (Pixel{0, 0, 0, 191}));
  EXPECT_NEAR(linear.At(2, 0)[0], 150, 1);
  EXPECT_EQ(linear.At(3, 0), (Pixel{50, 50, 50, 64}));
  const Picture nearest = Draw(background, bitmap.GetBitmap(), &offset, nullptr,
                               D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR);
  EXPECT_EQ(nearest.At(2, 0), (Pixel{200, 200, 200, 255}));
  Context()->SetAntialiasMode(D2D1_ANTIALIAS_MODE_ALIASED);
  const Picture aliased = Draw(background, bitmap.GetBitmap(), &offset);
  EXPECT_EQ(aliased.At(1, 0), (Pixel{0, 0, 0, 255}));
  EXPECT_EQ(aliased.At(3, 0), (Pixel{0, 0, 0, 0}));
}

TEST_F(Drawing, AnEffectOverPixelsIsBlendedAndOverNothingReplaces) {
  VantraFx::Posterize effect;
  ASSERT_TRUE(effect.Create(&device_));
  const Picture image = DrawSceneWithAlpha(20, 10);
  const Picture posterized = Run(effect, image);
  Bitmap bitmap;
  Upload(bitmap, image);
  effect.SetInput(0, &bitmap);
  CComPtr<ID2D1Image> output;
  effect.GetEffect()->GetOutput(&output);
  const Picture background = DrawScene(25, 12);
  const D2D1_POINT_2F offset = {3, 1};
  const auto difference =
      Compare(background, Draw(background, output, &offset), Over(posterized, 3, 1),
              {1, "blending hardware may round the product first"});
  EXPECT_FALSE(difference) << *difference;
  const Picture copy = Draw(background, output, &offset, nullptr, D2D1_INTERPOLATION_MODE_LINEAR,
                            D2D1_COMPOSITE_MODE_BOUNDED_SOURCE_COPY);
  EXPECT_EQ(copy.At(3, 1), posterized.At(0, 0));
  EXPECT_EQ(copy.At(2, 1), background.At(2, 1));
}

TEST_F(Drawing, CallsOutOfOrderAreReportedAtTheNextEndAndLoseNothing) {
  const Picture scene = DrawScene(4, 4);
  Bitmap bitmap, target;
  Upload(bitmap, scene);
  Upload(target, scene);
  ID2D1DeviceContext* context = Context();
  EXPECT_EQ(context->EndDraw(nullptr, nullptr), D2DERR_WRONG_STATE);
  context->SetTarget(target.GetBitmap());
  context->Clear(nullptr);
  context->BeginDraw();
  EXPECT_EQ(context->EndDraw(nullptr, nullptr), D2DERR_WRONG_STATE);
  EXPECT_EQ(Read(target).pixels, scene.pixels);
  context->BeginDraw();
  context->BeginDraw();
  EXPECT_EQ(context->EndDraw(nullptr, nullptr), D2DERR_WRONG_STATE);
  context->BeginDraw();
  EXPECT_EQ(context->EndDraw(nullptr, nullptr), S_OK);

  const auto fails = [&](auto draw) {
    context->BeginDraw();
    draw();
    D2D1_TAG tags[2] = {7, 7};
    const HRESULT result = context->EndDraw(&tags[0], &tags[1]);
    EXPECT_EQ(tags[0] + tags[1], 0u);
    context->SetTarget(target.GetBitmap());
    return result;
  };
  const auto draw_image = [&](ID2D1Image* image, D2D1_POINT_2F offset,
                              D2D1_COMPOSITE_MODE mode = D2D1_COMPOSITE_MODE_SOURCE_OVER) {
    context->DrawImage(image, &offset, nullptr, D2D1_INTERPOLATION_MODE_LINEAR, mode);
  };
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(fails([&] { draw_image(nullptr, {0, 0}); }), E_INVALIDARG);
  EXPECT_EQ(fails([&] { draw_image(bitmap.GetBitmap(), {nan, 0}); }), E_INVALIDARG);
  EXPECT_EQ(fails([&] { draw_image(bitmap.GetBitmap(), {1e30f, 0}); }), E_INVALIDARG);
  EXPECT_EQ(fails([&] { draw_image(target.GetBitmap(), {0, 0}); }), D2DERR_BITMAP_BOUND_AS_TARGET);
  VantraFx::Posterize effect;
  ASSERT_TRUE(effect.Create(&device_));
  effect.SetInput(0, &target);
  effect.SetClearBackground(0);
  EXPECT_EQ(fails([&] { effect.Apply(&target); }), D2DERR_BITMAP_BOUND_AS_TARGET);
  EXPECT_EQ(fails([&] {
              draw_image(bitmap.GetBitmap(), {0, 0}, static_cast<D2D1_COMPOSITE_MODE>(13));
            }),
            E_INVALIDARG);
  EXPECT_EQ(fails([&] {
              context->SetTarget(nullptr);
              context->Clear(nullptr);
            }),
            D2DERR_WRONG_STATE);
  EXPECT_EQ(Read(target).pixels, scene.pixels);
}

TEST_F(Drawing, ACycleIsAnErrorAndEndsWhenItIsBroken) {
  VantraFx::Posterize a, b, c;
  for (Effect* each :
       {static_cast<Effect*>(&a), static_cast<Effect*>(&b), static_cast<Effect*>(&c)}) {
    ASSERT_TRUE(each->Create(&device_));
  }
  Bitmap bitmap, target;
  Upload(bitmap, DrawScene(4, 4));
  Prepare(target, 4, 4);
  const auto apply = [&] {
    Context()->BeginDraw();
    c.Apply(&target);
    return Context()->EndDraw(nullptr, nullptr);
  };
  EXPECT_EQ(apply(), D2DERR_INVALID_GRAPH_CONFIGURATION);
  b.SetInput(0, &a);
  c.SetInput(0, &b);
  a.SetInput(0, &c);
  EXPECT_EQ(apply(), D2DERR_CYCLIC_GRAPH);
  a.SetInput(0, &a);
  EXPECT_EQ(apply(), D2DERR_CYCLIC_GRAPH);
  a.SetInput(0, &bitmap);
  EXPECT_EQ(apply(), S_OK);

  // A chain turned round, the new end first: the circle of the first step is opened by the second.
  b.SetInput(0, &c);
  EXPECT_EQ(apply(), D2DERR_CYCLIC_GRAPH);
  c.SetInput(0, &bitmap);
  Context()->BeginDraw();
  b.Apply(&target);
  EXPECT_EQ(Context()->EndDraw(nullptr, nullptr), S_OK);
}

TEST_F(Drawing, BitmapsCopyMapAndRefuseWhatDoesNotFit) {
  const Picture scene = DrawScene(6, 5);
  Bitmap bitmap;
  Upload(bitmap, scene);
  D2D1_BITMAP_PROPERTIES1 properties = {{DXGI_FORMAT_B8G8R8A8_UNORM, D2D1_ALPHA_MODE_PREMULTIPLIED},
                                        96,
                                        96,
                                        D2D1_BITMAP_OPTIONS_TARGET,
                                        nullptr};
  CComPtr<ID2D1Bitmap1> copy;
  ASSERT_EQ(Context()->CreateBitmap({4, 4}, nullptr, 0, &properties, &copy), S_OK);
  const D2D1_POINT_2U to = {1, 0};
  const D2D1_RECT_U from = {2, 1, 5, 5};
  EXPECT_EQ(copy->CopyFromBitmap(&to, bitmap.GetBitmap(), &from), S_OK);
  const D2D1_RECT_U beyond = {2, 1, 7, 5};
  EXPECT_EQ(copy->CopyFromBitmap(nullptr, bitmap.GetBitmap(), &beyond), E_INVALIDARG);
  EXPECT_EQ(copy->CopyFromBitmap(nullptr, bitmap.GetBitmap(), nullptr), E_INVALIDARG);
  const D2D1_POINT_2U far_away = {0xFFFFFFFF, 0};
  EXPECT_EQ(copy->CopyFromBitmap(&far_away, bitmap.GetBitmap(), &from), E_INVALIDARG);
  D2D1_MAPPED_RECT mapped;
  EXPECT_EQ(copy->Map(D2D1_MAP_OPTIONS_READ, &mapped), E_INVALIDARG);

  properties.bitmapOptions = D2D1_BITMAP_OPTIONS_CANNOT_DRAW | D2D1_BITMAP_OPTIONS_CPU_READ;
  CComPtr<ID2D1Bitmap1> readable;
  ASSERT_EQ(Context()->CreateBitmap({4, 4}, nullptr, 0, &properties, &readable), S_OK);
  EXPECT_EQ(readable->CopyFromBitmap(nullptr, copy, nullptr), S_OK);
  EXPECT_EQ(readable->Unmap(), D2DERR_WRONG_STATE);
  ASSERT_EQ(readable->Map(D2D1_MAP_OPTIONS_READ, &mapped), S_OK);
  EXPECT_EQ(readable->Map(D2D1_MAP_OPTIONS_READ, &mapped), D2DERR_WRONG_STATE);
  EXPECT_EQ(std::memcmp(mapped.bits + mapped.pitch + 4, scene.At(2, 2).data(), 12), 0);
  EXPECT_EQ(std::memcmp(mapped.bits, Pixel{}.data(), 4), 0);
  EXPECT_EQ(readable->Unmap(), S_OK);

  CComPtr<ID2D1Bitmap1> none;
  EXPECT_EQ(Context()->CreateBitmap({0, 4}, nullptr, 0, &properties, &none), E_INVALIDARG);
  EXPECT_EQ(Context()->CreateBitmap({1u << 20, 4}, nullptr, 0, &properties, &none),
            D2DERR_MAX_TEXTURE_SIZE_EXCEEDED);
  properties.pixelFormat.format = DXGI_FORMAT_UNKNOWN;
  EXPECT_EQ(Context()->CreateBitmap({4, 4}, nullptr, 0, &properties, &none), E_INVALIDARG);
  EXPECT_EQ(none, nullptr);
}

TEST_F(Drawing, RegistrationsCountAndBadDescriptorsAreRefused) {
  ID2D1Factory1* factory = device_.GetD2DFactory();
  const GUID id = {42, 4, 2, {}};
  const auto make = [](IUnknown** effect) {
    *effect = nullptr;
    return E_OUTOFMEMORY;
  };
  const wchar_t* good = L"<Effect><Inputs><Input name='Source'/></Inputs></Effect>";
  const auto put = [&](const wchar_t* text) {
    return factory->RegisterEffectFromString(id, text, nullptr, 0, make);
  };
  for (const wchar_t* bad :
       {L"", L"<Effect>", L"<Other/>", L"<Effect/>", L"<Effect><Inputs/></Effect>",
        L"<Effect><Property name='Own' type='float'/><Inputs><Input/></Inputs></Effect>",
        L"<Effect><Inputs><Input/><Input/><Input/><Input/></Inputs></Effect>"}) {
    EXPECT_EQ(put(bad), E_INVALIDARG) << bad;
  }
  EXPECT_EQ(factory->UnregisterEffect(id), D2DERR_EFFECT_IS_NOT_REGISTERED);
  EXPECT_EQ(put(good), S_OK);
  EXPECT_EQ(put(good), S_OK);
  EXPECT_EQ(factory->UnregisterEffect(id), S_OK);
  CComPtr<ID2D1Effect> effect;
  EXPECT_EQ(Context()->CreateEffect(id, &effect), E_OUTOFMEMORY);
  EXPECT_EQ(factory->UnregisterEffect(id), S_OK);
  EXPECT_EQ(Context()->CreateEffect(id, &effect), D2DERR_EFFECT_IS_NOT_REGISTERED);
  EXPECT_FALSE(effect);
}

TEST_F(Drawing, FramesOfOneKindReuseTheirTextures) {
  VantraFx::Posterize first, second;
  ASSERT_TRUE(first.Create(&device_) && second.Create(&device_));
  Bitmap bitmap, target;
  Upload(bitmap, DrawScene(32, 32));
  Prepare(target, 32, 32);
  first.SetInput(0, &bitmap);
  second.SetInput(0, &first);
  const auto frame = [&] {
    const std::uint64_t before = Engine().CallCount();
    device_.BeginDraw(nullptr, {0, 0, 0, 0});
    second.Apply(&target);
    device_.EndDrawNoCallback();
    return Engine().CallCount() - before;
  };
  const std::uint64_t making = frame();
  // Two clears, two passes and the submission: no texture is made, no program, no copy. The first
  // frame makes a texture, and waits to be submitted with the second.
  EXPECT_EQ(frame(), 5u);
  EXPECT_EQ(making, 5u);
}

TEST_F(Drawing, AFrameThatIsHandedToTheHostMakesOneSubmission) {
  VantraFx::Posterize first, second;
  ASSERT_TRUE(first.Create(&device_) && second.Create(&device_));
  const Picture scene = DrawScene(64, 64);
  Bitmap bitmap;
  Upload(bitmap, scene);
  int delivered = 0;
  device_.SetRenderCallback([&](void*, unsigned, unsigned, unsigned) { ++delivered; });
  const auto frame = [&] {
    const std::uint64_t before = Engine().SubmissionCount();
    Upload(bitmap, scene);
    first.SetInput(0, &bitmap);
    second.SetInput(0, &first);
    device_.BeginDraw(nullptr, {0, 0, 0, 0});
    device_.DrawImage(&second, D2D1_INTERPOLATION_MODE_LINEAR, D2D1_COMPOSITE_MODE_SOURCE_OVER);
    device_.DrawImage(&bitmap, D2D1_INTERPOLATION_MODE_LINEAR, D2D1_COMPOSITE_MODE_SOURCE_OVER);
    device_.EndDrawCallback();
    return Engine().SubmissionCount() - before;
  };
  for (int i = 0; i < 5; ++i) EXPECT_EQ(frame(), 1u);
  EXPECT_EQ(delivered, 5);
}

}  // namespace
}  // namespace Vantra
