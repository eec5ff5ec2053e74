#include <vantrix/effects/catalogue/color.h>

#include <cmath>

#include "tests/harness/device_fixture.h"

namespace VantraFx {
namespace {

using namespace Vantra::Testing;

class ColorEffects : public DeviceFixture {
 protected:
  template <class E>
  std::unique_ptr<Vantra::Effect> Make() {
    std::unique_ptr<Vantra::Effect> effect = E::CreateInstance();
    EXPECT_TRUE(effect->Create(&device_));
    return effect;
  }
};

// Each channel, alpha too, times alpha.
Color TimesAlpha(const Picture& input, int x, int y) {
  const Pixel& s = input.At(x, y);
  Color color;
  for (std::size_t c = 0; c < color.size(); ++c) color[c] = s[c] / 255.0 * (s[3] / 255.0);
  return color;
}

TEST_F(ColorEffects, AlphaConvertMultipliesEveryChannelByAlpha) {
  std::vector<Picture> pictures = LoadPhotographs();
  pictures.push_back(DrawNoise(256, 256, 3));
  for (const auto& [width, height] : {std::pair{1, 1}, {3, 2}, {1921, 1081}}) {
    pictures.push_back(DrawSceneWithAlpha(width, height));
  }
  const auto convert = Make<AlphaConvert>();
  for (const Picture& picture : pictures) {
    const auto difference = Compare(picture, Run(*convert, picture), TimesAlpha);
    EXPECT_FALSE(difference) << *difference;
  }
}

TEST_F(ColorEffects, AlphaConvertKeepsWhatIsOpaqueAndSquaresAlpha) {
  Picture picture("alphas", 4, 1);
  picture.pixels = {{1, 2, 3, 255}, {255, 128, 0, 128}, {255, 255, 255, 0}, {51, 102, 204, 51}};
  // 128 * 128 / 255 = 64.25, 51 is a fifth of 255.
  const std::vector<Pixel> expected = {
      {1, 2, 3, 255}, {128, 64, 0, 64}, {0, 0, 0, 0}, {10, 20, 41, 10}};
  EXPECT_EQ(Run(*Make<AlphaConvert>(), picture).pixels, expected);
}

// floor(s × amout + 0.5) ÷ amout on each channel of the premultiplied sample.
Formula Posterized(double amout) {
  return [amout](const Picture& input, int x, int y) {
    Color color;
    for (std::size_t c = 0; c < color.size(); ++c) {
      color[c] = std::floor(input.At(x, y)[c] / 255.0 * amout + 0.5) / amout;
    }
    return color;
  };
}

TEST_F(ColorEffects, PosterizeFollowsItsFormulaOnEveryPixel) {
  std::vector<Picture> pictures = LoadPhotographs();
  pictures.push_back(DrawScene(640, 427));
  for (const auto& [width, height] : {std::pair{1, 1}, {3, 2}, {4096, 3}, {1921, 1081}}) {
    pictures.push_back(DrawSceneWithAlpha(width, height));
  }
  pictures.push_back(DrawNoise(64, 64, 1));

  const auto posterize = Make<Posterize>();
  // The start value first; then the ends of the range, values between, and values beyond it.
  for (const double amout : {10.0, 1.0, 2.0, 12.0, 255.0, 256.0, 7.5, 1000.0}) {
    if (amout != 10.0) Set(*posterize, L"Amout", std::to_wstring(amout).c_str());
    for (const Picture& picture : pictures) {
      const auto difference = Compare(picture, Run(*posterize, picture), Posterized(amout));
      EXPECT_FALSE(difference) << "amout " << amout << ": " << *difference;
    }
  }
}

TEST_F(ColorEffects, PosterizeAtOneStepGivesNoneOrAll) {
  Picture picture("steps", 4, 1);
  picture.pixels = {{0, 127, 128, 255}, {128, 128, 128, 128}, {127, 127, 127, 127}, {0, 0, 0, 0}};
  const auto posterize = Make<Posterize>();
  Set(*posterize, L"amout", L"1");
  const std::vector<Pixel> expected = {
      {0, 0, 255, 255}, {255, 255, 255, 255}, {0, 0, 0, 0}, {0, 0, 0, 0}};
  EXPECT_EQ(Run(*posterize, picture).pixels, expected);
}

TEST_F(ColorEffects, PosterizeOfNoStepsIsBlackAndNotNoise) {
  // Every channel is 0 ÷ 0, which is not a number and is stored as 0.
  Picture picture("values", 2, 1);
  picture.pixels = {{0, 1, 254, 255}, {0, 0, 0, 0}};
  const auto posterize = Make<Posterize>();
  Set(*posterize, L"Amout", L"0");
  for (const Pixel& pixel : Run(*posterize, picture).pixels) EXPECT_EQ(pixel, (Pixel{0, 0, 0, 0}));
}

}  // namespace
}  // namespace VantraFx
