#include <fmt/format.h>

#include "platform/d2d/blur_reference.h"
#include "platform/d2d/builtin/builtin_fixture.h"
#include "tests/harness/engine_under_test.h"

namespace Vantra {
namespace {

using namespace Testing;

// In levels, beyond what rounding makes.
struct Margin {
  double levels;
  const char* cause;
};
constexpr Margin kHalfFloats = {0.07, "16-bit floats between the passes"};
constexpr Margin kSmallPicture[] = {{0.5, "2 to 4 cells for a deviation, and 16-bit floats"},
                                    {0.25, "4 to 8 cells for a deviation, and 16-bit floats"},
                                    {0.12, "8 to 16 cells for a deviation, and 16-bit floats"}};
constexpr Margin kExact = {1e-9 - 0.5, "whole bytes, through a double"};
constexpr Margin kFloats = {0.001, "sums of 32-bit floats"};
constexpr Margin kWideSteps = {0.2, "wide steps along the line, and 16-bit floats"};
constexpr Margin kWideSlantedSteps = {
    6, "the first pass takes the nearer pixel of places between two"};

class Blurs : public BuiltInEffects {
 protected:
  void Make(REFCLSID id, const Picture& picture) { effect_ = BuiltInEffects::Make(id, picture); }
  template <class T>
  HRESULT SetTo(UINT32 index, T value) {
    return Set(*effect_, index, value,
               std::is_same_v<T, FLOAT> ? D2D1_PROPERTY_TYPE_FLOAT : D2D1_PROPERTY_TYPE_UNKNOWN);
  }
  CComPtr<ID2D1Image> Output() {
    CComPtr<ID2D1Image> output;
    effect_->GetOutput(&output);
    return output;
  }
  std::array<float, 4> Bounds() {
    const D2D1_RECT_F r = BuiltInEffects::Bounds(*effect_);
    return {r.left, r.top, r.right, r.bottom};
  }
  // Draws the part of the effect's output that the window shows.
  Picture DrawWindow(const Window& window) {
    const auto margin = static_cast<float>(window.margin);
    const D2D1_POINT_2F offset = {margin, margin};
    return Draw(Picture("black", window.width, window.height), [&] {
      Context()->DrawImage(Output(), &offset, nullptr, D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR,
                           D2D1_COMPOSITE_MODE_SOURCE_COPY);
    });
  }
  // Rounding alone makes a difference of up to half a level.
  void Check(Window formula, const Margin& margin, const std::string& what) {
    const Picture result = DrawWindow(formula);
    EXPECT_EQ(result_, S_OK) << what;
    double largest = 0;
    for (int y = 0; y < formula.height; ++y) {
      for (int x = 0; x < formula.width; ++x) {
        for (std::size_t c = 0; c < 4; ++c) {
          largest = std::max(largest, std::abs(result.At(x, y)[c] - 255 * formula.At(x, y)[c]));
        }
      }
    }
    fmt::print("  {}: largest difference {:.3f} levels of {:.2f} allowed: {}\n", what, largest,
               0.5 + margin.levels, margin.cause);
    EXPECT_LE(largest, 0.5 + margin.levels) << what;
  }

  CComPtr<ID2D1Effect> effect_;
};

Picture DrawEdge() {
  Picture picture("edge", 53, 41);
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      picture.At(x, y) = x < 23 ? Pixel{0, 0, 0, 255} : Pixel{255, 255, 255, 255};
    }
  }
  return picture;
}

Picture DrawDots() {
  Picture picture("dots", 61, 30);
  for (const auto& [x, y] : {std::pair(0, 0), {31, 14}, {38, 17}, {60, 3}}) {
    picture.At(x, y) = {255, 255, 255, 255};
  }
  return picture;
}

TEST_F(Blurs, GaussianIsWithinALevelOfItsKernel) {
  const Picture pictures[] = {DrawSceneWithAlpha(64, 37), DrawNoise(50, 45, 3), DrawEdge(),
                              DrawDots(), DrawNoise(1, 1, 5)};
  const struct {
    FLOAT deviation;
    UINT32 optimization;
    Margin margin;
  } kCases[] = {{0.3f, 1, kHalfFloats},    {1, 2, kHalfFloats},       {3.9f, 0, kHalfFloats},
                {7.9f, 1, kHalfFloats},    {4, 0, kSmallPicture[0]},  {8, 0, kSmallPicture[0]},
                {8, 1, kSmallPicture[1]},  {16, 1, kSmallPicture[1]}, {31, 1, kSmallPicture[1]},
                {64, 1, kSmallPicture[1]}, {16, 2, kSmallPicture[2]}, {250, 1, kSmallPicture[1]}};
  for (const auto& test : kCases) {
    for (const UINT32 border : {kSoft, kHard}) {
      for (const Picture& picture : pictures) {
        Make(CLSID_D2D1GaussianBlur, picture);
        ASSERT_EQ(SetTo(D2D1_GAUSSIANBLUR_PROP_STANDARD_DEVIATION, test.deviation), S_OK);
        ASSERT_EQ(SetTo(D2D1_GAUSSIANBLUR_PROP_OPTIMIZATION, test.optimization), S_OK);
        ASSERT_EQ(SetTo(D2D1_GAUSSIANBLUR_PROP_BORDER_MODE, border), S_OK);
        Check(MakeWindow(picture, border == kSoft ? 20 : 0, GaussianRows(test.deviation, border)),
              test.margin,
              fmt::format("{} by {}, border {}, optimization {}", picture.name, test.deviation,
                          border, test.optimization));
      }
    }
  }
}

TEST_F(Blurs, DirectionalFollowsItsLine) {
  const Picture pictures[] = {DrawSceneWithAlpha(30, 27), DrawNoise(21, 25, 3), DrawNoise(1, 1, 5)};
  const struct {
    FLOAT deviation;
    UINT32 optimization;
    Margin straight;
    Margin slanted;
  } kCases[] = {{0.3f, 1, kFloats, kFloats},
                {11.9f, 0, kFloats, kFloats},
                {24, 2, kFloats, kFloats},
                {24, 1, kWideSteps, kWideSlantedSteps},
                {250, 1, kWideSteps, kWideSlantedSteps}};
  for (const auto& test : kCases) {
    for (const FLOAT angle : {30.f, 45.f, 450.f, -77.f, 362.f}) {
      const bool is_straight = std::fmod(angle, 45) == 0;
      for (const UINT32 border : {kSoft, kHard}) {
        for (const Picture& picture : pictures) {
          Make(CLSID_D2D1DirectionalBlur, picture);
          ASSERT_EQ(SetTo(D2D1_DIRECTIONALBLUR_PROP_STANDARD_DEVIATION, test.deviation), S_OK);
          ASSERT_EQ(SetTo(D2D1_DIRECTIONALBLUR_PROP_ANGLE, angle), S_OK);
          ASSERT_EQ(SetTo(D2D1_DIRECTIONALBLUR_PROP_OPTIMIZATION, test.optimization), S_OK);
          ASSERT_EQ(SetTo(D2D1_DIRECTIONALBLUR_PROP_BORDER_MODE, border), S_OK);
          Check(
              MakeWindow(picture, border == kSoft ? 5 : 0, LineRows(test.deviation, angle, border)),
              is_straight ? test.straight : test.slanted,
              fmt::format("{} by {} at {} degrees, border {}", picture.name, test.deviation, angle,
                          border));
        }
      }
    }
  }
}

TEST_F(Blurs, MorphologyTakesExtremaOfWindows) {
  const struct {
    int width, height;
  } kSizes[] = {{1, 1}, {2, 1}, {1, 7}, {6, 3}, {16, 9}, {64, 20}, {9, 100}};
  for (const Picture& picture : {DrawNoise(70, 33, 4), DrawNoise(1, 1, 5)}) {
    for (const auto& size : kSizes) {
      for (const bool dilates : {false, true}) {
        Make(CLSID_D2D1Morphology, picture);
        ASSERT_EQ(SetTo(D2D1_MORPHOLOGY_PROP_MODE, UINT32{dilates}), S_OK);
        ASSERT_EQ(SetTo(D2D1_MORPHOLOGY_PROP_WIDTH, static_cast<UINT32>(size.width)), S_OK);
        ASSERT_EQ(SetTo(D2D1_MORPHOLOGY_PROP_HEIGHT, static_cast<UINT32>(size.height)), S_OK);
        Check(
            MakeWindow(picture, 60, ExtremaRows(dilates, size.width, size.height)), kExact,
            fmt::format("{} by {}x{}, dilates {}", picture.name, size.width, size.height, dilates));
      }
    }
  }
}

TEST_F(Blurs, BoundsGrowByWhatIsReached) {
  using Box = std::array<float, 4>;
  Make(CLSID_D2D1GaussianBlur, DrawNoise(20, 10, 1));
  SetTo(D2D1_GAUSSIANBLUR_PROP_STANDARD_DEVIATION, 2.4f);
  EXPECT_EQ(Bounds(), (Box{-8, -8, 28, 18}));
  SetTo(D2D1_GAUSSIANBLUR_PROP_BORDER_MODE, kHard);
  EXPECT_EQ(Bounds(), (Box{0, 0, 20, 10}));
  for (const FLOAT wrong : {-0.1f, 250.1f, NAN}) {
    EXPECT_EQ(SetTo(D2D1_GAUSSIANBLUR_PROP_STANDARD_DEVIATION, wrong), E_INVALIDARG);
  }
  // What a part needs of the input.
  const D2D1_RECT_F part = {10, 5, 12, 6};
  const D2D1_EFFECT_INPUT_DESCRIPTION input = {effect_, 0, {-100, -100, 100, 100}};
  D2D1_RECT_F needed;
  SetTo(D2D1_GAUSSIANBLUR_PROP_STANDARD_DEVIATION, 1.f);
  EXPECT_EQ(Context()->GetEffectRequiredInputRectangles(effect_, &part, &input, &needed, 1), S_OK);
  // The CPU engine's sums along a line begin at the image's edge.
  EXPECT_EQ((Box{needed.left, needed.top, needed.right, needed.bottom}),
            IsOnCpu() ? (Box{0, 0, 20, 10}) : (Box{7, 2, 15, 9}));

  Make(CLSID_D2D1DirectionalBlur, DrawNoise(20, 10, 1));
  SetTo(D2D1_DIRECTIONALBLUR_PROP_STANDARD_DEVIATION, 4.f);
  const struct {
    FLOAT angle;
    float x, y;
  } kLines[] = {{0, 12, 0}, {-90, 0, 12}, {45, 9, 9}, {30, 11, 7}, {120, 7, 11}};
  for (const auto& line : kLines) {
    SetTo(D2D1_DIRECTIONALBLUR_PROP_ANGLE, line.angle);
    EXPECT_EQ(Bounds(), (Box{-line.x, -line.y, 20 + line.x, 10 + line.y})) << line.angle;
  }

  Make(CLSID_D2D1Morphology, DrawNoise(20, 10, 1));
  SetTo(D2D1_MORPHOLOGY_PROP_WIDTH, 4u);
  SetTo(D2D1_MORPHOLOGY_PROP_HEIGHT, 5u);
  EXPECT_EQ(Bounds(), (Box{2, 2, 19, 8}));
  SetTo(D2D1_MORPHOLOGY_PROP_MODE, UINT32{D2D1_MORPHOLOGY_MODE_DILATE});
  EXPECT_EQ(Bounds(), (Box{-1, -2, 22, 12}));
}

// What is made between the passes is larger than what is drawn.
TEST_F(Blurs, PicturesAsLargeAsATextureCanBeAreDrawnInParts) {
  const int limit = static_cast<int>(Context()->GetMaximumBitmapSize());
  constexpr int kReach = 750;
  const std::vector<double> weights = Gaussian(250, kReach);
  for (const bool is_wide : {true, false}) {
    Picture dots("dots", is_wide ? limit : 2, is_wide ? 2 : limit), white = dots;
    const auto along = [&](const Picture& picture, int i) {
      return is_wide ? picture.At(i, 0)[3] : picture.At(0, i)[3];
    };
    dots.pixels.front() = dots.pixels.back() = {255, 255, 255, 255};
    white.pixels.assign(white.pixels.size(), {255, 255, 255, 255});

    Make(CLSID_D2D1Morphology, dots);
    SetTo(D2D1_MORPHOLOGY_PROP_MODE, UINT32{D2D1_MORPHOLOGY_MODE_DILATE});
    SetTo(D2D1_MORPHOLOGY_PROP_WIDTH, 100u);
    SetTo(D2D1_MORPHOLOGY_PROP_HEIGHT, 100u);
    const Picture dilated = Show(*effect_, dots.width, dots.height);
    EXPECT_EQ(result_, S_OK);
    int different = 0;
    for (int i = 0; i < limit; ++i) {
      const bool is_lit = i - 50 <= 0 || i + 49 >= limit - 1;
      different += along(dilated, i) != (is_lit ? 255 : 0);
    }
    EXPECT_EQ(different, 0) << is_wide;

    for (const UINT32 border : {kSoft, kHard}) {
      Make(CLSID_D2D1DirectionalBlur, white);
      SetTo(D2D1_DIRECTIONALBLUR_PROP_STANDARD_DEVIATION, 250.f);
      SetTo(D2D1_DIRECTIONALBLUR_PROP_ANGLE, is_wide ? 0.f : 90.f);
      SetTo(D2D1_DIRECTIONALBLUR_PROP_BORDER_MODE, border);
      const Picture blurred = Show(*effect_, white.width, white.height);
      EXPECT_EQ(result_, S_OK);
      double largest = 0;
      for (int i = 0; i < limit; ++i) {
        double share = 0;
        for (int k = -kReach; k <= kReach; ++k) {
          const bool is_inside = i + k >= 0 && i + k < limit;
          if (is_inside || border == kHard) share += weights[static_cast<std::size_t>(k + kReach)];
        }
        largest = std::max(largest, std::abs(along(blurred, i) - 255 * share));
      }
      EXPECT_LE(largest, 0.5 + kWideSteps.levels) << is_wide << border << ": " << kWideSteps.cause;
    }
  }
}

// What is beyond a drawn part, and where the input lies, makes no difference.
TEST_F(Blurs, PartsAndMovedInputsGiveTheSamePixels) {
  const Picture picture = DrawNoise(90, 70, 2);
  const struct {
    CLSID id;
    FLOAT deviation;
    UINT32 border;
  } kCases[] = {{CLSID_D2D1GaussianBlur, 3, kSoft},     {CLSID_D2D1GaussianBlur, 9, kHard},
                {CLSID_D2D1GaussianBlur, 17, kSoft},    {CLSID_D2D1DirectionalBlur, 5, kSoft},
                {CLSID_D2D1DirectionalBlur, 40, kSoft}, {CLSID_D2D1DirectionalBlur, 30, kHard},
                {CLSID_D2D1GaussianBlur, 0, kSoft},     {CLSID_D2D1DirectionalBlur, 0, kSoft}};
  const auto draw = [&](ID2D1Image* image, const D2D1_POINT_2F& offset, const D2D1_RECT_F* part) {
    return Draw(Picture("black", 130, 110), [&] {
      Context()->DrawImage(image, &offset, part, D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR,
                           D2D1_COMPOSITE_MODE_SOURCE_COPY);
    });
  };
  for (const auto& test : kCases) {
    Make(test.id, picture);
    const bool is_line = test.id == CLSID_D2D1DirectionalBlur;
    SetTo(0, test.deviation);
    if (is_line) SetTo(D2D1_DIRECTIONALBLUR_PROP_ANGLE, 200.f);
    SetTo(is_line ? 3 : 2, test.border);
    const Picture whole = draw(Output(), {20, 20}, nullptr);
    const D2D1_RECT_F rect = {13, 31, 46, 52};
    const Picture part = draw(Output(), {33, 51}, &rect);
    int different = 0;
    for (int y = 51; y < 72; ++y) {
      for (int x = 33; x < 66; ++x) different += part.At(x, y) != whole.At(x, y);
    }
    EXPECT_EQ(different, 0) << test.deviation;
    if (test.deviation == 0) {
      EXPECT_EQ(whole.At(20 + 31, 20 + 17), picture.At(31, 17));
    }

    // Eroding moves the corner to (5, 4); the same pixels as a bitmap of their own are blurred
    // alike.
    CComPtr<ID2D1Effect> erode, blur = effect_;
    Make(CLSID_D2D1Morphology, picture);
    SetTo(D2D1_MORPHOLOGY_PROP_WIDTH, 10u);
    SetTo(D2D1_MORPHOLOGY_PROP_HEIGHT, 8u);
    const Picture eroded = draw(Output(), {-5, -4}, nullptr);
    blur->SetInput(0, Output(), TRUE);
    CComPtr<ID2D1Image> output;
    blur->GetOutput(&output);
    const Picture moved = draw(output, {20 - 5, 20 - 4}, nullptr);
    Picture cut("cut", 90 - 9, 70 - 7);
    for (int y = 0; y < cut.height; ++y) {
      for (int x = 0; x < cut.width; ++x) cut.At(x, y) = eroded.At(x, y);
    }
    Bitmap bitmap;
    Upload(bitmap, cut);
    blur->SetInput(0, bitmap.GetBitmap(), TRUE);
    EXPECT_EQ(draw(output, {20, 20}, nullptr).pixels, moved.pixels) << test.deviation;

    // Of nothing they make nothing.
    SetTo(D2D1_MORPHOLOGY_PROP_WIDTH, 100u);
    blur->SetInput(0, Output(), TRUE);
    EXPECT_EQ(draw(output, {20, 20}, nullptr).pixels, Picture("none", 130, 110).pixels);
    EXPECT_EQ(result_, S_OK);
  }
}

}  // namespace
}  // namespace Vantra
