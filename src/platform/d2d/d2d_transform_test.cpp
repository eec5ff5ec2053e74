#include <limits>

#include "platform/d2d/drawing_reference.h"

namespace Vantra {
namespace {

using namespace Testing;

using Transforms = DrawingFixture;

constexpr Tolerance kSampling = {2, "samplers weigh in steps of 1/256 before the blending rounds"};

constexpr D2D1_INTERPOLATION_MODE kAllInterpolations[] = {
    D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR,
    D2D1_INTERPOLATION_MODE_LINEAR,
    D2D1_INTERPOLATION_MODE_CUBIC,
    D2D1_INTERPOLATION_MODE_MULTI_SAMPLE_LINEAR,
    D2D1_INTERPOLATION_MODE_ANISOTROPIC,
    D2D1_INTERPOLATION_MODE_HIGH_QUALITY_CUBIC,
};

TEST_F(Transforms, EachInterpolationFollowsItsFormulaMovedScaledAndTurned) {
  const Picture background("black", 34, 30);
  const Picture image = DrawSceneWithAlpha(16, 13);
  Bitmap bitmap;
  Upload(bitmap, image);
  // a x + b y + c and d x + e y + f, with places that fall on no border between pixels.
  const D2D1_MATRIX_3X2_F transforms[] = {
      {1, 0, 0, 1, 3.25f, 2.625f},                // moved
      {1.7f, 0, 0, 2.1f, 1.03f, 0.51f},           // larger
      {0.37f, 0, 0, 0.31f, 4.11f, 3.07f},         // smaller
      {0.055f, 0, 0, 0.06f, 4.03f, 3.05f},        // to a pixel
      {-1.3f, 0, 0, 0.45f, 26.17f, 3.09f},        // mirrored, one way larger
      {0.8f, 0.6f, -0.6f, 0.8f, 9.03f, 2.41f},    // turned
      {0.4f, 0.1f, -0.5f, 0.35f, 10.03f, 4.41f},  // turned, slanted and smaller
  };
  for (const D2D1_MATRIX_3X2_F& t : transforms) {
    for (const D2D1_INTERPOLATION_MODE interpolation : kAllInterpolations) {
      const Picture result = Draw(background, [&] {
        Context()->SetTransform(&t);
        Context()->SetAntialiasMode(D2D1_ANTIALIAS_MODE_ALIASED);
        Context()->DrawImage(bitmap.GetBitmap(), nullptr, nullptr, interpolation,
                             D2D1_COMPOSITE_MODE_SOURCE_OVER);
      });
      Expectation expected;
      expected.image = &image;
      expected.part = {0, 0, 16, 13};
      expected.interpolation = interpolation;
      expected.to_image = [&](double x, double y) {
        const double determinant = double{t._11} * t._22 - double{t._12} * t._21;
        const double dx = x - t._31, dy = y - t._32;
        return Place((dx * t._22 - dy * t._21) / determinant,
                     (dy * t._11 - dx * t._12) / determinant);
      };
      Check(expected, background, result, kSampling,
            "interpolation " + std::to_string(interpolation) + " scale " + std::to_string(t._11));
    }
  }
}

TEST_F(Transforms, QuarterTurnsAndMirrorsMoveBytes) {
  const Picture background("black", 12, 12);
  const Picture image = DrawSceneWithAlpha(7, 5);
  Bitmap bitmap;
  Upload(bitmap, image);
  // A quarter turn as sine and cosine give it, a half turn, a mirror.
  const float almost_zero = static_cast<float>(std::cos(std::acos(-1.0) / 2));
  const std::pair<D2D1_MATRIX_3X2_F, std::function<std::pair<int, int>(int, int)>> turns[] = {
      {{almost_zero, 1, -1, almost_zero, 8, 2},
       [](int x, int y) { return std::pair(y - 2, 7 - x); }},
      {{-1, 0, 0, -1, 9, 8}, [](int x, int y) { return std::pair(8 - x, 7 - y); }},
      {{1, 0, 0, -1, 1, 8}, [](int x, int y) { return std::pair(x - 1, 7 - y); }},
  };
  for (const auto& [transform, source] : turns) {
    for (const D2D1_INTERPOLATION_MODE interpolation : kAllInterpolations) {
      const Picture result = Draw(background, [&, t = transform] {
        Context()->SetTransform(&t);
        Context()->DrawImage(bitmap.GetBitmap(), nullptr, nullptr, interpolation,
                             D2D1_COMPOSITE_MODE_SOURCE_OVER);
      });
      for (int y = 0; y < 12; ++y) {
        for (int x = 0; x < 12; ++x) {
          const auto [u, v] = source(x, y);
          const bool inside = u >= 0 && v >= 0 && u < 7 && v < 5;
          ASSERT_EQ(result.At(x, y), inside ? image.At(u, v) : Pixel{}) << x << "," << y;
        }
      }
    }
  }
}

TEST_F(Transforms, PerspectiveGoesByTheHomography) {
  const Picture background = DrawScene(40, 30);
  const Picture image = DrawSceneWithAlpha(20, 16);
  Bitmap bitmap;
  Upload(bitmap, image);
  // The part is drawn 1.5 times larger, then tilted, then moved.
  const D2D1_RECT_F source = {4, 2, 18, 14};
  const D2D1_RECT_F destination = {2, 1, 23, 19};
  const D2D1_MATRIX_4X4_F tilt = {0.9f, 0.1f, 0, 0.01f, 0.2f,  1.1f,  0, 0.02f,
                                  7,    7,    1, 7,     3.03f, 2.07f, 0, 1};
  const D2D1_MATRIX_3X2_F move = {1, 0, 0, 1, 4, 1};
  for (const D2D1_INTERPOLATION_MODE interpolation :
       {D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR, D2D1_INTERPOLATION_MODE_LINEAR,
        D2D1_INTERPOLATION_MODE_CUBIC}) {
    const Picture result = Draw(background, [&] {
      Context()->SetAntialiasMode(D2D1_ANTIALIAS_MODE_ALIASED);
      Context()->SetTransform(&move);
      Context()->DrawBitmap(bitmap.GetBitmap(), &destination, 0.75f, interpolation, &source, &tilt);
    });
    Expectation expected;
    expected.image = &image;
    expected.part = {4, 2, 18, 14};
    expected.interpolation = interpolation;
    expected.opacity = 0.75;
    expected.to_image = [](double x, double y) {
      // p (0.01 X + 0.02 Y + 1) = 0.9 X + 0.2 Y + 3.03 and q (...) = 0.1 X + 1.1 Y + 2.07, where
      // (p, q) is the place before the move: two equations for X and Y.
      const double p = x - 4, q = y - 1;
      const double a = 0.9 - 0.01 * p, b = 0.2 - 0.02 * p, c = p - 3.03;
      const double d = 0.1 - 0.01 * q, e = 1.1 - 0.02 * q, f = q - 2.07;
      const double tilted_x = (c * e - b * f) / (a * e - b * d);
      const double tilted_y = (a * f - c * d) / (a * e - b * d);
      return Place((tilted_x - 2) / 1.5 + 4, (tilted_y - 1) / 1.5 + 2);
    };
    Check(expected, background, result, kSampling, std::to_string(interpolation));
  }
  // What lies behind the eye is not seen: the plane's w is x - 10, and grows to the right.
  const D2D1_MATRIX_4X4_F through = {10, 0, 0, 1, 0, 10, 0, 0, 0, 0, 1, 0, 0, 0, 0, -10};
  const Picture half = Draw(background, [&] {
    Context()->DrawBitmap(bitmap.GetBitmap(), nullptr, 1, D2D1_INTERPOLATION_MODE_LINEAR, nullptr,
                          &through);
  });
  EXPECT_EQ(result_, S_OK);
  // x = 20 is the nearest that is seen, at 10 * 20 / (20 - 10) and the move's 4.
  EXPECT_EQ(half.At(23, 3), background.At(23, 3));
  EXPECT_NE(half.At(26, 3), background.At(26, 3));
}

TEST_F(Transforms, RectanglesScaleAndAreCutByTheBitmap) {
  const Picture background = DrawScene(24, 20);
  const Picture image = DrawSceneWithAlpha(8, 6);
  Bitmap bitmap;
  Upload(bitmap, image);
  // The source begins 2 pixels before the bitmap: as much of the destination stays free.
  const D2D1_RECT_F source = {-2, 1, 6, 5};
  const D2D1_RECT_F destination = {3, 2, 19, 10};
  const Picture result = Draw(background, [&] {
    Context()->DrawBitmap(bitmap.GetBitmap(), &destination, 1,
                          D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR, &source, nullptr);
  });
  Expectation expected;
  expected.image = &image;
  expected.part = {0, 1, 6, 5};
  expected.to_image = [](double x, double y) { return Place((x - 3) / 2 - 2, (y - 2) / 2 + 1); };
  Check(expected, background, result, {1, "blending hardware may round the product first"},
        "source beyond the bitmap");

  // Parts of pixels: the first and the last are read, those behind them are not.
  const D2D1_RECT_F parts = {1.5f, 1, 5.25f, 4};
  const D2D1_RECT_F four_times = {2, 2, 17, 14};
  for (const D2D1_INTERPOLATION_MODE interpolation : kAllInterpolations) {
    const Picture large = Draw(background, [&] {
      Context()->DrawBitmap(bitmap.GetBitmap(), &four_times, 1, interpolation, &parts, nullptr);
    });
    expected.part = {1.5, 1, 5.25, 4};
    expected.interpolation = interpolation;
    expected.to_image = [](double x, double y) {
      return Place((x - 2) / 4 + 1.5, (y - 2) / 4 + 1);
    };
    Check(expected, background, large, kSampling, "parts of pixels");
  }
  for (const D2D1_RECT_F& none : {D2D1_RECT_F{3, 2, 3, 9}, {9, 2, 3, 9}, {3, 9, 9, 2}}) {
    for (const bool as_source : {false, true}) {
      const Picture same = Draw(background, [&] {
        Context()->DrawBitmap(bitmap.GetBitmap(), as_source ? &destination : &none, 1,
                              D2D1_INTERPOLATION_MODE_LINEAR, as_source ? &none : nullptr, nullptr);
      });
      EXPECT_EQ(result_, S_OK);
      EXPECT_EQ(same.pixels, background.pixels);
    }
  }
}

TEST_F(Transforms, UnitsScaleEverythingByTheResolution) {
  const Picture background("black", 30, 20);
  const Picture image = DrawSceneWithAlpha(8, 6);
  Bitmap bitmap;
  Upload(bitmap, image);
  // The bitmap has 96 pixels an inch, the target 192 by 144: 2 by 1.5 pixels to a pixel.
  Context()->SetDpi(192, 144);
  Context()->SetUnitMode(D2D1_UNIT_MODE_DIPS);
  const D2D1_POINT_2F offset = {3, 4};
  const D2D1_RECT_F part = {1, 2, 6, 6};
  const D2D1_RECT_F clip = {0, 0, 5, 100};
  Expectation expected;
  expected.image = &image;
  expected.part = {1, 2, 6, 6};
  expected.clip = {0, 0, 10, 100};
  expected.interpolation = D2D1_INTERPOLATION_MODE_LINEAR;
  expected.to_image = [](double x, double y) { return Place(x / 2 - 3 + 1, y / 1.5 - 4 + 2); };
  const Picture scaled = Draw(background, [&] {
    Context()->PushAxisAlignedClip(&clip, D2D1_ANTIALIAS_MODE_ALIASED);
    Context()->DrawImage(bitmap.GetBitmap(), &offset, &part, D2D1_INTERPOLATION_MODE_LINEAR,
                         D2D1_COMPOSITE_MODE_SOURCE_OVER);
    Context()->PopAxisAlignedClip();
  });
  Check(expected, background, scaled, kSampling, "units");
  D2D1_RECT_F bounds;
  EXPECT_EQ(Context()->GetImageLocalBounds(bitmap.GetBitmap(), &bounds), S_OK);
  EXPECT_EQ(bounds.right, 8);

  // A bitmap of the target's resolution keeps its pixels, whatever that resolution is.
  for (const float dpi : {192.0f, 97.3f, 31.7f}) {
    Context()->SetDpi(dpi, dpi);
    D2D1_BITMAP_PROPERTIES1 properties = {
        {DXGI_FORMAT_B8G8R8A8_UNORM, D2D1_ALPHA_MODE_PREMULTIPLIED},
        dpi,
        dpi,
        D2D1_BITMAP_OPTIONS_NONE,
        nullptr};
    CComPtr<ID2D1Bitmap1> fine;
    ASSERT_EQ(Context()->CreateBitmap({8, 6}, image.Bytes(), 32, &properties, &fine), S_OK);
    const Picture same = Draw(background, [&] {
      Context()->DrawImage(fine, nullptr, nullptr, D2D1_INTERPOLATION_MODE_LINEAR,
                           D2D1_COMPOSITE_MODE_SOURCE_OVER);
    });
    for (int y = 0; y < 6; ++y) {
      for (int x = 0; x < 8; ++x) ASSERT_EQ(same.At(x, y), image.At(x, y)) << dpi;
    }
    EXPECT_EQ(Context()->GetImageLocalBounds(fine, &bounds), S_OK);
    EXPECT_FLOAT_EQ(bounds.right, 8 * 96 / dpi);
  }
}

TEST_F(Transforms, NumbersThatAreNoneDrawNothingAndAreReported) {
  const Picture background = DrawScene(8, 8);
  Bitmap bitmap;
  Upload(bitmap, DrawScene(4, 4));
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinity = std::numeric_limits<float>::infinity();
  const D2D1_MATRIX_3X2_F identity = {1, 0, 0, 1, 0, 0};
  const D2D1_MATRIX_4X4_F flat = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  const auto draw = [&](const D2D1_RECT_F* destination, float opacity, const D2D1_RECT_F* source,
                        const D2D1_MATRIX_4X4_F* perspective, unsigned interpolation = 1) {
    const Picture result = Draw(background, [&] {
      Context()->DrawBitmap(bitmap.GetBitmap(), destination, opacity,
                            static_cast<D2D1_INTERPOLATION_MODE>(interpolation), source,
                            perspective);
    });
    EXPECT_EQ(result.pixels, background.pixels);
    return result_;
  };
  const D2D1_RECT_F good = {0, 0, 4, 4};
  for (const float bad : {nan, infinity, -infinity, 1e9f}) {
    const D2D1_RECT_F rect = {0, bad, 4, 4};
    EXPECT_EQ(draw(&rect, 1, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(draw(&good, 1, &rect, nullptr), E_INVALIDARG);
    D2D1_MATRIX_4X4_F perspective = flat;
    perspective._24 = bad;
    EXPECT_EQ(draw(nullptr, 1, nullptr, &perspective), E_INVALIDARG);
    D2D1_MATRIX_3X2_F transform = identity;
    transform._12 = bad;
    Context()->SetTransform(&transform);
    EXPECT_EQ(draw(nullptr, 1, nullptr, nullptr), E_INVALIDARG);
    Context()->SetTransform(&identity);
    const Picture image = Draw(background, [&] {
      Context()->DrawImage(bitmap.GetBitmap(), nullptr, &rect, D2D1_INTERPOLATION_MODE_LINEAR,
                           D2D1_COMPOSITE_MODE_SOURCE_COPY);
    });
    EXPECT_EQ(result_, E_INVALIDARG);
    EXPECT_EQ(image.pixels, background.pixels);
  }
  EXPECT_EQ(draw(nullptr, nan, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(draw(nullptr, 1, nullptr, nullptr, 6), E_INVALIDARG);
  Context()->SetTransform(nullptr);
  Context()->SetAntialiasMode(static_cast<D2D1_ANTIALIAS_MODE>(2));
  EXPECT_EQ(Context()->GetAntialiasMode(), D2D1_ANTIALIAS_MODE_PER_PRIMITIVE);
  Draw(background, [] {});
  EXPECT_EQ(result_, E_INVALIDARG);

  // What cannot be inverted takes the image to a line, or to nowhere.
  for (const D2D1_MATRIX_3X2_F& singular :
       {D2D1_MATRIX_3X2_F{0, 0, 0, 0, 2, 2}, {1, 2, 2, 4, 0, 0}, {0.1f, 0.3f, 0.2f, 0.6f, 1, 1}}) {
    Context()->SetTransform(&singular);
    EXPECT_EQ(draw(nullptr, 1, nullptr, nullptr), S_OK);
  }
  Context()->SetTransform(&identity);
  D2D1_MATRIX_4X4_F behind = flat;
  behind._44 = -1;
  EXPECT_EQ(draw(nullptr, 1, nullptr, &behind), S_OK);
  behind._44 = 0;
  EXPECT_EQ(draw(nullptr, 1, nullptr, &behind), S_OK);
}

TEST_F(Transforms, RepeatedFramesMakeNothingAnew) {
  Bitmap bitmap, target;
  Upload(bitmap, DrawScene(32, 32));
  Prepare(target, 32, 32);
  const D2D1_MATRIX_3X2_F turned = {0.8f, 0.6f, -0.6f, 0.8f, 9, 2};
  Context()->SetTransform(&turned);
  const auto frame = [&] {
    const std::uint64_t before = Engine().CallCount();
    device_.BeginDraw(&target, {0, 0, 0, 0});
    for (const D2D1_INTERPOLATION_MODE interpolation : kAllInterpolations) {
      device_.DrawImage(&bitmap, interpolation, D2D1_COMPOSITE_MODE_SOURCE_OVER);
    }
    device_.EndDrawNoCallback();
    return Engine().CallCount() - before;
  };
  // The clear, six passes and the submission; the first time two programs are made, and the frame
  // waits to be submitted with the next.
  EXPECT_EQ(frame(), 9u);
  EXPECT_EQ(frame(), 8u);
}

TEST_F(Transforms, ALossAtAnyCallIsRecoveredFrom) {
  Bitmap bitmap;
  Upload(bitmap, DrawScene(16, 16));
  const D2D1_RECT_F clip = {2, 2, 12, 12};
  const D2D1_MATRIX_3X2_F turned = {0.8f, 0.6f, -0.6f, 0.8f, 9, 2};
  const auto frame = [&] {
    device_.BeginDraw(nullptr, {0, 0, 0, 1});
    device_.SetTransform(turned);
    Context()->PushAxisAlignedClip(&clip, D2D1_ANTIALIAS_MODE_ALIASED);
    device_.Clear({1, 0, 0, 1});
    device_.DrawImage(&bitmap, D2D1_INTERPOLATION_MODE_CUBIC,
                      D2D1_COMPOSITE_MODE_BOUNDED_SOURCE_COPY);
    device_.DrawBitmap(&bitmap, nullptr, 0.5f, D2D1_INTERPOLATION_MODE_LINEAR, nullptr);
    Context()->PopAxisAlignedClip();
    device_.EndDrawNoCallback();
  };
  frame();
  const std::uint64_t before = Engine().CallCount();
  frame();
  const std::uint64_t calls = Engine().CallCount() - before;
  for (std::uint64_t lost = 0; lost < calls; ++lost) {
    Engine().InjectLoss(lost);
    frame();
    // The context is a new one: its state is back at the start.
    D2D1_MATRIX_3X2_F transform;
    device_.GetTransform(&transform);
    EXPECT_EQ(transform._11, 1) << lost;
    frame();
    EXPECT_FALSE(Engine().Lost()) << lost;
  }
}

}  // namespace
}  // namespace Vantra
