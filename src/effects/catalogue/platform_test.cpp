#include <vantrix/effects/catalogue/platform.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>

#include "platform/d2d/blur_reference.h"
#include "tests/harness/device_fixture.h"
#include "tests/harness/effect_check.h"

namespace VantraFx {
namespace {

using namespace Vantra::Testing;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// A property of the platform effect behind a created effect.
template <class T = float>
T Property(const Vantra::Effect& effect, unsigned int index) {
  T value{};
  EXPECT_EQ(effect.GetValue(index, reinterpret_cast<unsigned char*>(&value), sizeof(value)), S_OK);
  return value;
}

using ColorMatrix = std::array<float, 20>;
constexpr ColorMatrix kNeutral = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

ColorMatrix MatrixOf(const StandardAdjust& effect) {
  return Property<ColorMatrix>(effect, D2D1_COLORMATRIX_PROP_COLOR_MATRIX);
}

D2D1_MATRIX_4X4_F MatrixOf(const WarpPerspective& effect) {
  return Property<D2D1_MATRIX_4X4_F>(effect, D2D1_3DTRANSFORM_PROP_TRANSFORM_MATRIX);
}

class PlatformEffects : public DeviceFixture {
 protected:
  // Loses the device and lets it recover, so that the platform effects are made anew.
  void LoseDevice() {
    ASSERT_TRUE(Vantra::Platform::InjectDeviceLoss(device_.GetD3D11Device()));
    device_.BeginDraw(nullptr, {0, 0, 0, 0});
    device_.EndDrawCallback();
  }
};

TEST(PlatformEffectClasses, PublishTheirAttributes) {
  const std::string head = "<?xml version='1.0'?> <attributes> ";
  const std::string amount =
      "<attribute name='Amout' type='float'> <min value='0'/> <max value='1'/> <def "
      "value='0.125'/> <step value='0.01'/> </attribute> ";
  EXPECT_EQ(GaussianBlur().GetXmlAttributes(), head + amount + "</attributes>");
  EXPECT_EQ(Morphology().GetXmlAttributes(),
            head + amount +
                "<attribute name='Erode' type='bool'> <def value='true'/> </attribute> "
                "</attributes>");
  EXPECT_EQ(DirectionalBlur().GetXmlAttributes(),
            head + amount +
                "<attribute name='Angle' type='int'> <min value='0'/> <max value='360'/> <def "
                "value='45'/> </attribute> </attributes>");
  for (const auto& create :
       {StandardAdjust::CreateInstance, GammaTransfer::CreateInstance,
        LinearTransfer::CreateInstance, ConvolveMatrix::CreateInstance, Border::CreateInstance,
        WarpPerspective::CreateInstance, BarrelDistortion::CreateInstance}) {
    EXPECT_EQ(create()->GetXmlAttributes(), "");
  }
}

// Whether both ways of the factory make an `E`.
template <class E>
bool IsMade(const wchar_t* name, const GUID& id) {
  Vantra::EffectFactory factory;
  return E::GetEffectGUID() == id &&
         dynamic_cast<E*>(factory.CreateEffectByID(std::wstring(name)).get()) &&
         dynamic_cast<E*>(factory.CreateEffectByID(id).get());
}

TEST(PlatformEffectClasses, AreFoundByNameAndId) {
  EXPECT_TRUE(IsMade<GammaTransfer>(L"CLSID_D2D1GammaTransfer", CLSID_D2D1GammaTransfer));
  EXPECT_TRUE(IsMade<LinearTransfer>(L"CLSID_D2D1LinearTransfer", CLSID_D2D1LinearTransfer));
  EXPECT_TRUE(IsMade<GaussianBlur>(L"CLSID_D2D1GaussianBlur", CLSID_D2D1GaussianBlur));
  EXPECT_TRUE(IsMade<Morphology>(L"CLSID_D2D1Morphology", CLSID_D2D1Morphology));
  EXPECT_TRUE(IsMade<DirectionalBlur>(L"CLSID_D2D1DirectionalBlur", CLSID_D2D1DirectionalBlur));
  EXPECT_TRUE(IsMade<ConvolveMatrix>(L"CLSID_D2D1ConvolveMatrix", CLSID_D2D1ConvolveMatrix));
  EXPECT_TRUE(IsMade<WarpPerspective>(L"CLSID_D2D13DTransform", CLSID_D2D13DTransform));
  EXPECT_TRUE(IsMade<StandardAdjust>(L"clsid_standardadjust", StandardAdjust::GetEffectGUID()));
  EXPECT_EQ(StandardAdjust().GetEffectID(), CLSID_D2D1ColorMatrix);
  EXPECT_EQ(Border().GetEffectID(), CLSID_D2D1Border);
  Vantra::EffectFactory factory;
  for (const GUID& id :
       {CLSID_D2D1ColorMatrix, CLSID_D2D1Border, BarrelDistortion::GetEffectGUID()}) {
    EXPECT_FALSE(factory.CreateEffectByID(id));
  }
}

TEST_F(PlatformEffects, TakeValuesBeforeTheyAreCreated) {
  GaussianBlur blur;
  Set(blur, L"amout", L"1");
  EXPECT_EQ(Get(blur, L"Amout"), L"1.000000");
  EXPECT_THROW(Set(blur, L"Amout", L"much"), std::invalid_argument);
  EXPECT_THROW(Set(blur, L"Amout", L"1e99"), std::out_of_range);
  EXPECT_EQ(Get(blur, L"AMOUT"), L"1.000000");
  blur.SetAttribute(L"anything", 0.5f);
  EXPECT_EQ(Get(blur, L"Amout"), L"0.500000");
  EXPECT_EQ(Get(blur, L"anything"), L"untouched");
  blur.SetDefaultParameters();
  EXPECT_EQ(Get(blur, L"Amout"), L"0.500000");

  Morphology morphology;
  Set(morphology, L"Amout", L"0.75");
  morphology.SetAmout(0.5f);
  morphology.SetAttribute(L"Amout", 0.5f);
  EXPECT_EQ(Get(morphology, L"Amout"), L"0.750000");
  EXPECT_EQ(Get(morphology, L"Erode"), L"true");
  for (const auto& [text, read] :
       {std::pair{L"false", L"false"}, {L"False", L"true"}, {L"", L"true"}}) {
    Set(morphology, L"erode", text);
    EXPECT_EQ(Get(morphology, L"Erode"), read) << text;
  }

  DirectionalBlur line;
  EXPECT_EQ(Get(line, L"Angle"), L"45");
  for (const auto& [text, read] : {std::pair{L"360", L"360"}, {L"-45.75", L"-45"}}) {
    Set(line, L"Angle", text);
    EXPECT_EQ(Get(line, L"Angle"), read);
  }
  line.SetAttribute(L"Angle", 90.0f);
  line.SetAttribute(L"Amout", 0.0f);
  EXPECT_EQ(Get(line, L"Angle") + Get(line, L"Amout"), L"-450.125000");
}

TEST_F(PlatformEffects, AmountsBecomeTheUnitsOfThePlatformEffect) {
  GaussianBlur blur;
  ASSERT_TRUE(blur.Create(&device_));
  const auto deviation = [&blur] {
    return Property(blur, D2D1_GAUSSIANBLUR_PROP_STANDARD_DEVIATION);
  };
  EXPECT_EQ(deviation(), 8.0f);
  EXPECT_EQ(Property<UINT32>(blur, D2D1_GAUSSIANBLUR_PROP_OPTIMIZATION),
            D2D1_GAUSSIANBLUR_OPTIMIZATION_BALANCED);
  Set(blur, L"Amout", L"0");
  EXPECT_EQ(deviation(), 0.0f);
  Set(blur, L"Amout", L"1");
  EXPECT_EQ(deviation(), 64.0f);
  blur.SetAttribute(L"anything", 0.5f);
  EXPECT_EQ(deviation(), 32.0f);
  // What the platform effect refuses leaves it as it was.
  blur.SetAmout(kNaN);
  EXPECT_EQ(deviation(), 32.0f);

  DirectionalBlur line;
  ASSERT_TRUE(line.Create(&device_));
  EXPECT_EQ(Property(line, D2D1_DIRECTIONALBLUR_PROP_STANDARD_DEVIATION), 16.0f);
  EXPECT_EQ(Property(line, D2D1_DIRECTIONALBLUR_PROP_ANGLE), 45.0f);
  EXPECT_EQ(Property<UINT32>(line, D2D1_DIRECTIONALBLUR_PROP_OPTIMIZATION),
            D2D1_DIRECTIONALBLUR_OPTIMIZATION_BALANCED);
  Set(line, L"Amout", L"0.5");
  EXPECT_EQ(Property(line, D2D1_DIRECTIONALBLUR_PROP_STANDARD_DEVIATION), 64.0f);
  Set(line, L"Angle", L"-45.75");
  EXPECT_EQ(Property(line, D2D1_DIRECTIONALBLUR_PROP_ANGLE), -45.75f);

  Morphology square;
  ASSERT_TRUE(square.Create(&device_));
  const auto side = [&square] {
    const auto width = Property<UINT32>(square, D2D1_MORPHOLOGY_PROP_WIDTH);
    EXPECT_EQ(Property<UINT32>(square, D2D1_MORPHOLOGY_PROP_HEIGHT), width);
    return width;
  };
  EXPECT_EQ(side(), 8u);
  Set(square, L"Amout", L"1");
  EXPECT_EQ(side(), 64u);
  square.SetAmout(0.515f);
  EXPECT_EQ(side(), 32u);
  // Sides beyond 1 to 100, or that no integer holds.
  for (const float amount : {0.0f, 0.01f, -1.0f, 1.6f, 1e30f, kNaN}) {
    square.SetAmout(amount);
    EXPECT_EQ(side(), 32u) << amount;
  }
  Set(square, L"Erode", L"false");
  EXPECT_EQ(Property<UINT32>(square, D2D1_MORPHOLOGY_PROP_MODE), D2D1_MORPHOLOGY_MODE_DILATE);

  // What was taken is written to the platform effects that follow a loss, not what was refused.
  blur.SetAmout(0.25f);
  square.SetAmout(0.25f);
  blur.SetAmout(10);
  Set(line, L"Amout", L"-0.25");
  Set(line, L"Angle", L"nan");
  square.SetAmout(10);
  GaussianBlur unmade;
  unmade.SetAmout(10);
  ASSERT_TRUE(unmade.Create(&device_));
  EXPECT_EQ(Property(unmade, D2D1_GAUSSIANBLUR_PROP_STANDARD_DEVIATION), 8.0f);
  LoseDevice();
  EXPECT_EQ(Get(blur, L"Amout") + Get(line, L"Amout"), L"10.000000-0.250000");
  EXPECT_EQ(deviation(), 16.0f);
  EXPECT_EQ(Property(line, D2D1_DIRECTIONALBLUR_PROP_STANDARD_DEVIATION), 64.0f);
  EXPECT_EQ(Property(line, D2D1_DIRECTIONALBLUR_PROP_ANGLE), -45.75f);
  EXPECT_EQ(side(), 16u);
  EXPECT_EQ(Property<UINT32>(square, D2D1_MORPHOLOGY_PROP_MODE), D2D1_MORPHOLOGY_MODE_DILATE);
}

TEST_F(PlatformEffects, ValuesOutliveTheMakingOfThePlatformEffect) {
  ConvolveMatrix convolve;
  StandardAdjust adjust;
  GammaTransfer gamma;
  WarpPerspective warp;
  convolve.SetKernel(5);
  adjust.SetContrast(100);
  gamma.SetGamma(-50.9f);
  warp.SetPoints({2, 2}, {0, 0}, {6, 0}, {0, 6}, {6, 6});
  const auto expect_values = [&] {
    EXPECT_EQ(Property<UINT32>(convolve, D2D1_CONVOLVEMATRIX_PROP_KERNEL_SIZE_X), 20u);
    EXPECT_EQ(MatrixOf(adjust)[5], 2.0f);
    EXPECT_EQ(Property(gamma, D2D1_GAMMATRANSFER_PROP_BLUE_EXPONENT), 0.5f);
    EXPECT_EQ(MatrixOf(warp)._11, 3.0f);
  };
  const std::array<Vantra::Effect*, 4> effects = {&convolve, &adjust, &gamma, &warp};
  for (Vantra::Effect* effect : effects) ASSERT_TRUE(effect->Create(&device_));
  expect_values();
  LoseDevice();
  expect_values();

  adjust.SetDefaultParameters();
  EXPECT_FALSE(adjust.IsAdjusting());
  EXPECT_EQ(MatrixOf(adjust)[5], 1.0f);
  gamma.SetDefaultParameters();
  EXPECT_FALSE(gamma.IsAdjusting());
  EXPECT_EQ(Property(gamma, D2D1_GAMMATRANSFER_PROP_RED_EXPONENT), 1.0f);
  warp.SetDefaultParameters();
  EXPECT_EQ(MatrixOf(warp)._41, 230.0f);
}

using Rgb = std::array<double, 3>;

struct Adjustment {
  int hue;
  int saturation;
  int brightness;
  int contrast;
};

// The four steps one by one, the last two as SVG's filters of colour matrices have them.
Rgb Adjusted(Rgb p, const Adjustment& by) {
  for (double& c : p) c = (c + by.brightness / 100.0) * (by.contrast + 100) / 100.0;
  const double s = (by.saturation + 100) / 100.0;
  const double grey = 0.213 * p[0] + 0.715 * p[1] + 0.072 * p[2];
  for (double& c : p) c = grey + s * (c - grey);
  const double angle = by.hue * std::numbers::pi / 100;
  const double c = std::cos(angle);
  const double n = std::sin(angle);
  return {(0.213 + c * 0.787 - n * 0.213) * p[0] + (0.715 - c * 0.715 - n * 0.715) * p[1] +
              (0.072 - c * 0.072 + n * 0.928) * p[2],
          (0.213 - c * 0.213 + n * 0.143) * p[0] + (0.715 + c * 0.285 + n * 0.140) * p[1] +
              (0.072 - c * 0.072 - n * 0.283) * p[2],
          (0.213 - c * 0.213 - n * 0.787) * p[0] + (0.715 - c * 0.715 + n * 0.715) * p[1] +
              (0.072 + c * 0.928 + n * 0.072) * p[2]};
}

constexpr Adjustment kAdjustments[] = {
    {0, 0, 0, 0},  {0, 0, 10, 100}, {0, 0, 0, -100}, {0, -100, 0, 0},    {0, 80, 0, 0},
    {25, 0, 0, 0}, {-100, 0, 0, 0}, {100, 0, 0, 0},  {-30, 40, 15, -20}, {70, -60, -25, 90}};

// A function of straight red, green and blue, with alpha kept.
PixelFormula OnStraight(const std::function<Rgb(const Rgb&)>& function) {
  return [function](Place& place) {
    const Rgba p = place.Own();
    const Rgb rgb = function(p.a > 0 ? Rgb{p.r / p.a, p.g / p.a, p.b / p.a} : Rgb{});
    return Rgba{rgb[0] * p.a, rgb[1] * p.a, rgb[2] * p.a, p.a};
  };
}

TEST(PlatformEffectPixels, StandardAdjustTakesItsStepsInOrder) {
  std::vector<EffectCase> cases;
  for (const Adjustment& by : kAdjustments) {
    cases.push_back({{{StandardAdjust::ATTRIBUTE_HUE(), static_cast<float>(by.hue)},
                      {StandardAdjust::ATTRIBUTE_SATURATION(), static_cast<float>(by.saturation)},
                      {StandardAdjust::ATTRIBUTE_BRIGHTNESS(), static_cast<float>(by.brightness)},
                      {StandardAdjust::ATTRIBUTE_CONTRAST(), static_cast<float>(by.contrast)}},
                     OnStraight([by](const Rgb& rgb) { return Adjusted(rgb, by); })});
  }
  CheckEffect(L"StandardAdjust", cases);
  // Brightness comes before contrast: (0 + 0.1) * 2 is 51 of 255, and half of it at half alpha.
  CheckPixels(L"StandardAdjust", {{L"brightness", 10.0f}, {L"contrast", 100.0f}},
              {{{0, 0, 0, 255}, {51, 51, 51, 255}}, {{0, 0, 0, 130}, {26, 26, 26, 130}}});
}

TEST_F(PlatformEffects, StandardAdjustTakesWholeNumbersByName) {
  StandardAdjust adjust;
  ASSERT_TRUE(adjust.Create(&device_));
  for (const wchar_t* name : {L"HUE", L"saturation", L"brightness", L"contrast"}) {
    adjust.SetAttribute(name, -1.9f);
    EXPECT_TRUE(adjust.IsAdjusting()) << name;
    EXPECT_NE(MatrixOf(adjust), kNeutral) << name;
    adjust.SetAttribute(name, 0.9f);
    EXPECT_FALSE(adjust.IsAdjusting()) << name;
    EXPECT_EQ(MatrixOf(adjust), kNeutral) << name;
  }
  adjust.SetAttribute(L"gamma", 5.0f);
  Set(adjust, L"hue", L"5");
  EXPECT_FALSE(adjust.IsAdjusting());
  // Numbers that no integer holds become the nearest, and what is no number changes nothing.
  for (const float value : {1e30f, -1e30f, kNaN}) {
    adjust.SetAttribute(L"contrast", 0.0f);
    adjust.SetAttribute(L"contrast", value);
    EXPECT_EQ(adjust.IsAdjusting(), !std::isnan(value)) << value;
  }
  adjust.SetAttribute(L"contrast", 100.0f);
  adjust.SetAttribute(L"contrast", kNaN);
  EXPECT_EQ(MatrixOf(adjust)[5], 2.0f);
}

TEST(PlatformEffectPixels, TransfersMapStraightColours) {
  std::vector<EffectCase> cases;
  for (const float gamma : {0.0f, -100.0f, -45.0f, 120.0f, -300.0f}) {
    cases.push_back({{{L"any", gamma}},
                     OnStraight([gamma](Rgb rgb) {
                       for (double& c : rgb) c = std::pow(c, (gamma + 100) / 100);
                       return rgb;
                     }),
                     {0, "devices compute powers to some units of the last place", 1e-3}});
  }
  CheckEffect(L"D2D1GammaTransfer", cases);
  CheckEffect(L"D2D1LinearTransfer", {{{}, OnStraight([](const Rgb& rgb) {
                                         return Rgb{2.5 * rgb[0] - 1, 5 * rgb[1] - 1, rgb[2]};
                                       })}});
}

TEST_F(PlatformEffects, GammaTransferForgetsAFractionWhenItUpdates) {
  GammaTransfer gamma;
  ASSERT_TRUE(gamma.Create(&device_));
  for (const auto& [value, exponent, kept] :
       {std::tuple{50.5f, 1.505f, 1.5f}, {-0.5f, 0.995f, 1.0f}}) {
    gamma.SetGamma(value);
    EXPECT_EQ(gamma.IsAdjusting(), kept != 1.0f);
    EXPECT_EQ(Property(gamma, D2D1_GAMMATRANSFER_PROP_GREEN_EXPONENT), exponent);
    gamma.UpdateParameters();
    EXPECT_EQ(Property(gamma, D2D1_GAMMATRANSFER_PROP_GREEN_EXPONENT), kept);
  }
  gamma.SetGamma(50.0f);
  for (const float value : {kNaN, std::numeric_limits<float>::infinity()}) {
    gamma.SetGamma(value);
    gamma.UpdateParameters();
    EXPECT_EQ(Property(gamma, D2D1_GAMMATRANSFER_PROP_RED_EXPONENT), 1.5f);
  }
}

TEST(PlatformEffectPixels, ConvolveMatrixTakesEachOfItsKernels) {
  struct Kernel {
    std::wstring name;
    int width;
    int height;
    double divisor;
    std::vector<double> elements;
  };
  const std::vector<Kernel> kernels = {
      {L"Passthrough", 1, 1, 1, {1}},
      {L"Box Blur (width 5)", 5, 5, 25, std::vector<double>(25, 1)},
      {L"Simple Edge Detect", 3, 3, 1, {0, -1, 0, -1, 4, -1, 0, -1, 0}},
      {L"Simple Sharpen", 3, 3, 2, {0, -1, 0, -1, 6, -1, 0, -1, 0}},
      {L"Emboss", 3, 3, 1, {2, 1, 0, 1, 1, -1, 0, -1, -2}},
      {L"Horizontal Smear (width 20)", 20, 1, 20, std::vector<double>(20, 1)}};
  // On the picture as it is, transparent beyond its edges.
  const auto convolved = [](const Kernel& kernel) {
    return [&kernel](Place& place) {
      Color sum = {};
      for (int k = 0; k < kernel.width * kernel.height; ++k) {
        const int x = place.x + k % kernel.width - kernel.width / 2;
        const int y = place.y + k / kernel.width - kernel.height / 2;
        if (x < 0 || y < 0 || x >= place.input.width || y >= place.input.height) continue;
        const double weight = kernel.elements[static_cast<std::size_t>(k)] / kernel.divisor;
        for (std::size_t c = 0; c < 4; ++c) sum[c] += weight * place.input.At(x, y)[c] / 255.0;
      }
      return Rgba{sum[2], sum[1], sum[0], sum[3]};
    };
  };
  std::vector<EffectCase> cases = {{{}, convolved(kernels[2])}};
  for (int i = 0; i < ConvolveMatrix::kKernelCount; ++i) {
    const Kernel& kernel = kernels[static_cast<std::size_t>(i)];
    EXPECT_EQ(ConvolveMatrix::GetKernelName(i), kernel.name);
    cases.push_back({{{L"kernel", static_cast<float>(i) + 0.5f}}, convolved(kernel)});
  }
  CheckEffect(L"D2D1ConvolveMatrix", cases);

  ConvolveMatrix convolve;
  EXPECT_TRUE(convolve.SetKernel(5));
  for (const float index : {-1.0f, 6.0f, 1e30f, kNaN}) convolve.SetAttribute(L"kernel", index);
  convolve.SetAttribute(L"other", 0.0f);
  EXPECT_FALSE(convolve.SetKernel(-1));
  EXPECT_EQ(convolve.GetKernel(), 5);
  EXPECT_EQ(ConvolveMatrix::GetKernelName(6), nullptr);
}

// A row is computed once for all its pixels.
PixelFormula FromRows(const RowFormula& rows) {
  struct Last {
    const Vantra::Testing::Picture* picture = nullptr;
    int y = 0;
    std::vector<Color> row;
  };
  return [rows, last = std::make_shared<Last>()](Place& place) {
    if (last->picture != &place.input || last->y != place.y) {
      *last = {&place.input, place.y, rows(place.input, place.y, 0)};
    }
    const Color& color = last->row[static_cast<std::size_t>(place.x)];
    return Rgba{color[2], color[1], color[0], color[3]};
  };
}

TEST(PlatformEffectPixels, BlursAndMorphologyFollowTheirAmounts) {
  const Tolerance small = {0, "the picture is blurred in 4 to 8 cells for a deviation", 0.25};
  const Tolerance floats = {0, "many products are summed in floats", 1e-3};
  const Tolerance wide = {0, "wide steps along the line, and 16-bit floats", 0.2};
  CheckEffect(L"D2D1GaussianBlur",
              {{{}, FromRows(GaussianRows(8)), small},
               {{{L"Amout", L"0"}}, FromRows(GaussianRows(0))},
               {{{L"Amout", L"1"}}, FromRows(GaussianRows(64)), small},
               {{{L"Amout", L"0.5"}, {L"Amout", L"10"}}, FromRows(GaussianRows(32)), small}});
  const auto extrema = [](bool dilates, int side) {
    return FromRows(ExtremaRows(dilates, side, side));
  };
  CheckEffect(L"D2D1Morphology",
              {{{}, extrema(false, 8)},
               {{{L"Erode", L"false"}}, extrema(true, 8)},
               {{{L"Amout", L"1"}}, extrema(false, 64)},
               {{{L"Amout", L"1"}, {L"Erode", L"false"}}, extrema(true, 64)},
               {{{L"Amout", L"0.25"}, {L"Amout", L"0.015"}}, extrema(false, 16)}});
  CheckEffect(L"D2D1DirectionalBlur", {{{}, FromRows(LineRows(16, 45)), floats},
                                       {{{L"Amout", L"0"}}, FromRows(LineRows(0, 45))},
                                       {{{L"Amout", L"1"}}, FromRows(LineRows(128, 45)), wide},
                                       {{{L"Angle", L"0"}}, FromRows(LineRows(16, 0)), floats},
                                       {{{L"Angle", L"360"}}, FromRows(LineRows(16, 0)), floats},
                                       {{{L"Angle", L"30"}}, FromRows(LineRows(16, 30)), floats}});
  const Subject border("Border", [](Vantra::Device& device) {
    std::unique_ptr<Vantra::Effect> effect = Border::CreateInstance();
    if (!effect->Create(&device)) effect = nullptr;
    return effect;
  });
  CheckEffect(border, {{{}, [](Place& place) { return place.Own(); }}});
}

using Corners = std::array<D2D_POINT_2F, 4>;

void ExpectCorners(const WarpPerspective& effect, D2D_SIZE_F size, const Corners& points) {
  const D2D1_MATRIX_4X4_F m = MatrixOf(effect);
  for (std::size_t i = 0; i < 4; ++i) {
    const double x = i % 2 ? size.width : 0;
    const double y = i / 2 ? size.height : 0;
    const double w = x * m._14 + y * m._24 + m._44;
    // The elements are floats, of which a corner is a quotient of sums.
    EXPECT_NEAR((x * m._11 + y * m._21 + m._41) / w, points[i].x, 1e-3) << i;
    EXPECT_NEAR((x * m._12 + y * m._22 + m._42) / w, points[i].y, 1e-3) << i;
  }
}

TEST_F(PlatformEffects, WarpPerspectiveTakesTheCornersToThePoints) {
  WarpPerspective warp;
  ASSERT_TRUE(warp.Create(&device_));
  ExpectCorners(warp, {1280, 720}, {{{230, 160}, {1060, 230}, {0, 715}, {1272, 600}}});
  const Corners corners = {{{100, 20}, {500, 60}, {30, 470}, {620, 400}}};
  warp.SetPoints({640, 480}, corners[0], corners[1], corners[2], corners[3]);
  ExpectCorners(warp, {640, 480}, corners);

  // A parallelogram has no perspective, and the picture's own corners change nothing.
  warp.SetPoints({4, 4}, {1, 1}, {9, 2}, {3, 7}, {11, 8});
  EXPECT_EQ(MatrixOf(warp)._14, 0.0f);
  EXPECT_EQ(MatrixOf(warp)._24, 0.0f);
  warp.SetPoints({1281, 719}, {0, 0}, {1281, 0}, {0, 719}, {1281, 719});
  const D2D1_MATRIX_4X4_F same = MatrixOf(warp);
  constexpr D2D1_MATRIX_4X4_F kSame = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  EXPECT_EQ(std::memcmp(&same, &kSame, sizeof(kSame)), 0);

  // The platform effect takes the matrix as it is meant.
  Picture grey("grey", 40, 40);
  grey.pixels.assign(1600, Pixel{50, 50, 50, 255});
  warp.SetPoints({40, 40}, {4, 10}, {30, 2}, {12, 36}, {38, 30});
  const Picture shown = Run(warp, grey);
  for (const auto& [x, y] : {std::pair{6, 11}, {28, 4}, {13, 33}, {36, 29}}) {
    EXPECT_EQ(shown.At(x, y), grey.At(x, y)) << x << "," << y;
  }
  for (const auto& [x, y] : {std::pair{0, 0}, {2, 10}, {36, 12}, {6, 30}, {39, 39}}) {
    EXPECT_EQ(shown.At(x, y), Pixel{}) << x << "," << y;
  }

  // Three corners on a line, corners that are one, and a picture without width are not taken,
  // before the platform effect is remade and after.
  const Corners lines[] = {{{{0, 0}, {1, 1}, {2, 2}, {5, 9}}},
                           {{{0, 0}, {10, 0.1f}, {0, 10}, {70, 0.7f}}},
                           {{{0, 0}, {10, 0}, {0.1f, 10}, {0.7f, 70}}},
                           {{{1, 1}, {9, 0.3f}, {0, 9.3f}, {4.5f, 4.8f}}},
                           {{{0, 0}, {9, 0}, {0, 9}, {9, 0}}}};
  for (const Corners& line : lines) warp.SetPoints({4, 4}, line[0], line[1], line[2], line[3]);
  warp.SetPoints({0, 4}, {0, 0}, {9, 0}, {0, 9}, {9, 9});
  ExpectCorners(warp, {40, 40}, {{{4, 10}, {30, 2}, {12, 36}, {38, 30}}});
  LoseDevice();
  ExpectCorners(warp, {40, 40}, {{{4, 10}, {30, 2}, {12, 36}, {38, 30}}});
}

TEST_F(PlatformEffects, BorderMirrorsAndBarrelDistortionHasNothingBehindIt) {
  Border border;
  ASSERT_TRUE(border.Create(&device_));
  EXPECT_EQ(Property<UINT32>(border, D2D1_BORDER_PROP_EDGE_MODE_X), D2D1_BORDER_EDGE_MODE_MIRROR);
  EXPECT_EQ(Property<UINT32>(border, D2D1_BORDER_PROP_EDGE_MODE_Y), D2D1_BORDER_EDGE_MODE_MIRROR);
  const Vantra::Testing::LogWatch log;
  EXPECT_FALSE(BarrelDistortion::CreateInstance()->Create(&device_));
  EXPECT_EQ(log.messages, std::vector<std::string>{"Create effect Failed!"});
}

}  // namespace
}  // namespace VantraFx
