#include "platform/d2d/drawing_reference.h"

namespace Vantra {
namespace {

using namespace Testing;

class Compositing : public DrawingFixture {
 protected:
  // An image that is a bitmap, and one that an effect makes of it, with the pixels of both.
  struct Images {
    Picture pixels;
    Bitmap bitmap = {};
    VantraFx::Posterize effect = {};
    Picture effect_pixels = pixels;
    CComPtr<ID2D1Image> effect_output = {};

    std::array<std::pair<ID2D1Image*, const Picture*>, 2> Both() {
      return {{{bitmap.GetBitmap(), &pixels}, {effect_output, &effect_pixels}}};
    }
  };
  void Make(Images& images) {
    Upload(images.bitmap, images.pixels);
    ASSERT_TRUE(images.effect.Create(&device_));
    images.effect_pixels = Run(images.effect, images.pixels);
    images.effect.SetInput(0, &images.bitmap);
    images.effect.GetEffect()->GetOutput(&images.effect_output);
  }
};

struct Mode {
  D2D1_COMPOSITE_MODE mode;
  const char* name;
  bool unbounded;
  Equation equation;
};

const Mode kModes[] = {
    {D2D1_COMPOSITE_MODE_SOURCE_OVER, "source over", false,
     [](double s, double sa, double d, double) { return s + (1 - sa) * d; }},
    {D2D1_COMPOSITE_MODE_DESTINATION_OVER, "destination over", false,
     [](double s, double, double d, double da) { return (1 - da) * s + d; }},
    {D2D1_COMPOSITE_MODE_SOURCE_IN, "source in", true,
     [](double s, double, double, double da) { return da * s; }},
    {D2D1_COMPOSITE_MODE_DESTINATION_IN, "destination in", true,
     [](double, double sa, double d, double) { return sa * d; }},
    {D2D1_COMPOSITE_MODE_SOURCE_OUT, "source out", true,
     [](double s, double, double, double da) { return (1 - da) * s; }},
    {D2D1_COMPOSITE_MODE_DESTINATION_OUT, "destination out", false,
     [](double, double sa, double d, double) { return (1 - sa) * d; }},
    {D2D1_COMPOSITE_MODE_SOURCE_ATOP, "source atop", false,
     [](double s, double sa, double d, double da) { return da * s + (1 - sa) * d; }},
    {D2D1_COMPOSITE_MODE_DESTINATION_ATOP, "destination atop", true,
     [](double s, double sa, double d, double da) { return (1 - da) * s + sa * d; }},
    {D2D1_COMPOSITE_MODE_XOR, "xor", false,
     [](double s, double sa, double d, double da) { return (1 - da) * s + (1 - sa) * d; }},
    {D2D1_COMPOSITE_MODE_PLUS, "plus", false,
     [](double s, double, double d, double) { return s + d; }},
    {D2D1_COMPOSITE_MODE_SOURCE_COPY, "source copy", true,
     [](double s, double, double, double) { return s; }},
    {D2D1_COMPOSITE_MODE_BOUNDED_SOURCE_COPY, "bounded source copy", false,
     [](double s, double, double, double) { return s; }},
    {D2D1_COMPOSITE_MODE_MASK_INVERT, "mask invert", false,
     [](double s, double, double d, double) { return (1 - d) * s + (1 - s) * d; }},
};

constexpr Tolerance kBlending = {1, "blending hardware may round the product first"};

TEST_F(Compositing, EveryModeFollowsItsEquationInItsBounds) {
  const Picture background = DrawSceneWithAlpha(24, 20);
  Images images{DrawSceneWithAlpha(9, 8)};
  Make(images);
  const D2D1_RECT_F clip = {3, 4, 12, 30};
  // Over pixels, and over a target that was just cleared, where results may be put directly.
  const Picture blank("blank", 24, 20);
  for (const Mode& mode : kModes) {
    for (const unsigned variant : {0u, 1u, 2u, 3u}) {
      const bool clipped = variant & 1;
      const bool cleared = variant & 2;
      for (const auto& [drawn, pixels] : images.Both()) {
        // Partly and wholly beside the target, and beside the clip.
        for (const D2D1_POINT_2F offset : {D2D1_POINT_2F{5, 6}, {-3, 15}, {13, 6}, {100, 0}}) {
          const Picture result = Draw(background, [&, drawn = drawn] {
            if (cleared) Context()->Clear(nullptr);
            if (clipped) Context()->PushAxisAlignedClip(&clip, D2D1_ANTIALIAS_MODE_ALIASED);
            Context()->DrawImage(drawn, &offset, nullptr, D2D1_INTERPOLATION_MODE_CUBIC, mode.mode);
            if (clipped) Context()->PopAxisAlignedClip();
          });
          Expectation expected;
          expected.image = pixels;
          expected.to_image = [&](double x, double y) { return Place(x - offset.x, y - offset.y); };
          expected.part = {0, 0, 9, 8};
          expected.equation = mode.equation;
          expected.unbounded = mode.unbounded;
          if (clipped) expected.clip = {3, 4, 12, 30};
          Check(expected, cleared ? blank : background, result, kBlending, mode.name);
        }
      }
    }
  }
}

TEST_F(Compositing, ACopyOfASmallImageLeavesNothingElseInTheClip) {
  const Picture background = DrawScene(16, 12);
  Images images{DrawScene(5, 4)};
  Make(images);
  const D2D1_RECT_F clip = {1, 2, 13, 11};
  for (const auto& [drawn, pixels] : images.Both()) {
    // Within the clip, at its sides and across its corners.
    for (const D2D1_POINT_2F offset : {D2D1_POINT_2F{4, 5},
                                       {1, 2},
                                       {8, 7},
                                       {-2, 5},
                                       {10, 9},
                                       {4.25f, 5.375f},
                                       {-1.75f, 8.75f}}) {
      const Picture result = Draw(background, [&, drawn = drawn] {
        Context()->SetAntialiasMode(D2D1_ANTIALIAS_MODE_ALIASED);
        Context()->PushAxisAlignedClip(&clip, D2D1_ANTIALIAS_MODE_ALIASED);
        Context()->DrawImage(drawn, &offset, nullptr, D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR,
                             D2D1_COMPOSITE_MODE_SOURCE_COPY);
        Context()->PopAxisAlignedClip();
      });
      EXPECT_EQ(result_, S_OK);
      for (int y = 0; y < 12; ++y) {
        for (int x = 0; x < 16; ++x) {
          const bool in_clip = x >= 1 && y >= 2 && x < 13 && y < 11;
          const int column = static_cast<int>(std::floor(x + 0.5 - offset.x));
          const int row = static_cast<int>(std::floor(y + 0.5 - offset.y));
          const bool in_image = column >= 0 && row >= 0 && column < 5 && row < 4;
          ASSERT_EQ(result.At(x, y), !in_clip   ? background.At(x, y)
                                     : in_image ? pixels->At(column, row)
                                                : Pixel{})
              << x << "," << y << ", drawn at " << offset.x << "," << offset.y;
        }
      }
    }
  }
}

TEST_F(Compositing, EdgesOfTurnedAndFractionalPicturesKeepToTheMode) {
  const Picture background = DrawSceneWithAlpha(24, 20);
  const Picture image = DrawSceneWithAlpha(9, 8);
  Bitmap bitmap;
  Upload(bitmap, image);
  for (const Mode& mode : kModes) {
    Expectation expected;
    expected.image = &image;
    expected.part = {0, 0, 9, 8};
    expected.equation = mode.equation;
    expected.unbounded = mode.unbounded;
    expected.interpolation = D2D1_INTERPOLATION_MODE_LINEAR;
    const auto draw = [&](const D2D1_MATRIX_3X2_F& transform, D2D1_ANTIALIAS_MODE antialias) {
      return Draw(background, [&] {
        Context()->SetTransform(&transform);
        Context()->SetAntialiasMode(antialias);
        Context()->DrawImage(bitmap.GetBitmap(), nullptr, nullptr, expected.interpolation,
                             mode.mode);
      });
    };
    // A turn by 3-4-5's angle, so that sine and cosine are short.
    const D2D1_MATRIX_3X2_F turned = {0.8f, 0.6f, -0.6f, 0.8f, 9.03f, 2.41f};
    expected.to_image = [](double x, double y) {
      const double dx = x - 9.03, dy = y - 2.41;
      return Place(0.8 * dx + 0.6 * dy, -0.6 * dx + 0.8 * dy);
    };
    Check(expected, background, draw(turned, D2D1_ANTIALIAS_MODE_ALIASED),
          {2, "samplers weigh in steps of 1/256 before the blending rounds"}, mode.name);

    // Each side covers a part of its pixels.
    const D2D1_MATRIX_3X2_F moved = {1, 0, 0, 1, 5.25f, 6.5f};
    expected.to_image = [](double x, double y) { return Place(x - 5.25, y - 6.5); };
    expected.coverage = [](int x, int y) {
      const auto overlap = [](double first, double last, int pixel) {
        return std::max(0.0, std::min(last, pixel + 1.0) - std::max(first, 1.0 * pixel));
      };
      return overlap(5.25, 14.25, x) * overlap(6.5, 14.5, y);
    };
    Check(expected, background, draw(moved, D2D1_ANTIALIAS_MODE_PER_PRIMITIVE),
          {2, "samplers weigh in steps of 1/256 before the blending rounds"}, mode.name);
  }
}

TEST_F(Compositing, PrimitiveBlendsAndOpacityApplyToBitmaps) {
  const Picture background = DrawSceneWithAlpha(20, 16);
  const Picture image = DrawSceneWithAlpha(9, 8);
  Bitmap bitmap;
  Upload(bitmap, image);
  const std::pair<D2D1_PRIMITIVE_BLEND, Equation> blends[] = {
      {D2D1_PRIMITIVE_BLEND_SOURCE_OVER,
       [](double s, double sa, double d, double) { return s + (1 - sa) * d; }},
      {D2D1_PRIMITIVE_BLEND_COPY, [](double s, double, double, double) { return s; }},
      {D2D1_PRIMITIVE_BLEND_MIN, [](double s, double, double d, double) { return std::min(s, d); }},
      {D2D1_PRIMITIVE_BLEND_ADD, [](double s, double, double d, double) { return s + d; }},
      {D2D1_PRIMITIVE_BLEND_MAX, [](double s, double, double d, double) { return std::max(s, d); }},
  };
  for (const auto& [blend, equation] : blends) {
    for (const float opacity : {1.0f, 0.3f, 0.0f, 7.0f, -1.0f}) {
      for (const bool turned : {false, true}) {
        const D2D1_MATRIX_3X2_F transform =
            turned ? D2D1_MATRIX_3X2_F{0.8f, 0.6f, -0.6f, 0.8f, 7.03f, 1.41f}
                   : D2D1_MATRIX_3X2_F{1, 0, 0, 1, 4, 5};
        const Picture result = Draw(background, [&, mode = blend] {
          Context()->SetTransform(&transform);
          Context()->SetPrimitiveBlend(mode);
          Context()->SetAntialiasMode(D2D1_ANTIALIAS_MODE_ALIASED);
          Context()->DrawBitmap(bitmap.GetBitmap(), nullptr, opacity,
                                D2D1_INTERPOLATION_MODE_LINEAR, nullptr, nullptr);
        });
        Expectation expected;
        expected.image = &image;
        expected.to_image = [turned](double x, double y) {
          if (!turned) return Place(x - 4, y - 5);
          const double dx = x - 7.03, dy = y - 1.41;
          return Place(0.8 * dx + 0.6 * dy, -0.6 * dx + 0.8 * dy);
        };
        expected.part = {0, 0, 9, 8};
        expected.interpolation =
            turned ? D2D1_INTERPOLATION_MODE_LINEAR : D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR;
        expected.opacity = std::clamp(opacity, 0.0f, 1.0f);
        expected.equation = equation;
        Check(expected, background, result,
              {2, "samplers weigh in steps of 1/256 before the blending rounds"},
              "blend " + std::to_string(blend) + ", opacity " + std::to_string(opacity));
      }
    }
  }
}

TEST_F(Compositing, ClipsNestFollowTheTransformAndMustBalance) {
  const Picture background = DrawScene(16, 12);
  const D2D1_COLOR_F red = {1, 0, 0, 1};
  const D2D1_RECT_F outer = {2, 1, 14, 8.5f};
  const D2D1_RECT_F inner = {0, 0, 3, 100};
  const D2D1_MATRIX_3X2_F twice = {2, 0, 0, 2, 4.6f, 3};
  const auto push = [&](const D2D1_RECT_F& rect) {
    Context()->PushAxisAlignedClip(&rect, D2D1_ANTIALIAS_MODE_PER_PRIMITIVE);
  };
  const Picture result = Draw(background, [&] {
    push(outer);
    Context()->SetTransform(&twice);
    push(inner);
    Context()->Clear(&red);
    Context()->PopAxisAlignedClip();
    Context()->PopAxisAlignedClip();
  });
  EXPECT_EQ(result_, S_OK);
  for (int y = 0; y < 12; ++y) {
    for (int x = 0; x < 16; ++x) {
      // 4.6 to 10.6 across, from 3 down to the outer clip's 8.5.
      const bool inside = x + 0.5 >= 4.6 && x + 0.5 < 10.6 && y >= 3 && y + 0.5 < 8.5;
      ASSERT_EQ(result.At(x, y), inside ? (Pixel{0, 0, 255, 255}) : background.At(x, y))
          << x << "," << y;
    }
  }
  // A clip that lets nothing through.
  const D2D1_RECT_F nothing = {5, 5, 5, 9};
  EXPECT_EQ(Draw(background,
                 [&] {
                   push(nothing);
                   Context()->Clear(&red);
                   Context()->PopAxisAlignedClip();
                 })
                .pixels,
            background.pixels);
  EXPECT_EQ(result_, S_OK);
  Draw(background, [&] { push(outer); });
  EXPECT_EQ(result_, D2DERR_PUSH_POP_UNBALANCED);
  // The clip that was left is gone.
  EXPECT_EQ(Draw(background, [&] { Context()->Clear(&red); }).At(0, 0), (Pixel{0, 0, 255, 255}));
  EXPECT_EQ(result_, S_OK);
  Draw(background, [&] { Context()->PopAxisAlignedClip(); });
  EXPECT_EQ(result_, D2DERR_PUSH_POP_UNBALANCED);
  push(outer);
  EXPECT_EQ(Context()->EndDraw(nullptr, nullptr), D2DERR_WRONG_STATE);
  EXPECT_EQ(Draw(background,
                 [&] {
                   push({0, std::nanf(""), 5, 5});
                   Context()->Clear(&red);
                   Context()->PopAxisAlignedClip();
                 })
                .pixels,
            background.pixels);
  EXPECT_EQ(result_, E_INVALIDARG);
}

}  // namespace
}  // namespace Vantra
