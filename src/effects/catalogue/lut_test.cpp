#include <vantrix/effects/catalogue/lut.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "tests/harness/device_fixture.h"

namespace VantraFx {
namespace {

using namespace Vantra::Testing;

// What a look of this test gives for red, green and blue: red and blue change places, green bends.
std::array<double, 3> Look(double r, double g, double b) { return {b, g * g, r}; }

class LookupFilters : public DeviceFixture {
 protected:
  // A filter with a picture of the test's own as its look: red, green, blue, alpha bytes.
  template <class E>
  void Load(E& effect, const std::vector<unsigned char>& rgba, int width, int height) {
    ASSERT_TRUE(effect.Create(&device_));
    Vantra::Bitmap look;
    look.Create(&device_);
    look.SetPixels(rgba.data(), width, height, width * 4, 0);
    effect.Show(look);
  }
};

// Gives the test a way to a shader's texture.
template <class Base>
class Shown : public Vantra::EffectSingleAmout {
 public:
  Shown() : EffectSingleAmout(Base::GetEffectGUID()) {}
  void Show(Vantra::Bitmap& look) {
    auto* shader = dynamic_cast<LookupShader*>(GetShader());
    ASSERT_NE(shader, nullptr);
    shader->ShowLook(look);
  }
};

TEST_F(LookupFilters, AThreeDimensionalLookReplacesColoursByTheAmount) {
  std::vector<unsigned char> rgba(512 * 512 * 4, 255);
  const auto byte = [](double v) { return static_cast<unsigned char>(std::lround(v * 255)); };
  for (int y = 0; y < 512; ++y) {
    for (int x = 0; x < 512; ++x) {
      const int tile = y / 64 * 8 + x / 64;
      const auto color = Look(x % 64 / 63.0, y % 64 / 63.0, tile / 63.0);
      for (std::size_t c = 0; c < 3; ++c) {
        rgba[static_cast<std::size_t>(y * 512 + x) * 4 + c] = byte(color[c]);
      }
    }
  }
  Shown<InstagramFilter> effect;
  Load(effect, rgba, 512, 512);
  for (const float amount : {1.0f, 0.25f, 0.0f}) {
    effect.SetAttribute(L"Amout", amount);
    for (const Picture& picture : {DrawScene(64, 48), DrawSceneWithAlpha(33, 21)}) {
      const auto difference = Compare(
          picture, Run(effect, picture),
          [amount](const Picture& input, int x, int y) {
            const Pixel& p = input.At(x, y);
            const std::array<double, 3> rgb = {p[2] / 255.0, p[1] / 255.0, p[0] / 255.0};
            const auto look = Look(rgb[0], rgb[1], rgb[2]);
            Color color{0, 0, 0, p[3] / 255.0};
            for (std::size_t c = 0; c < 3; ++c) color[2 - c] = rgb[c] + amount * (look[c] - rgb[c]);
            return color;
          },
          {amount == 0.0f ? 0 : 2, "the look has 64 steps of 8 bits, and devices filter coarsely"});
      EXPECT_FALSE(difference) << amount << ": " << *difference;
    }
  }
}

TEST_F(LookupFilters, CurvesReplaceEachChannelByItself) {
  std::vector<unsigned char> rgba(256 * 4, 255);
  for (std::size_t i = 0; i < 256; ++i) {
    rgba[i * 4] = static_cast<unsigned char>(255 - i);
    rgba[i * 4 + 1] = static_cast<unsigned char>(i / 2);
    rgba[i * 4 + 2] = 77;
  }
  Shown<InstagramVideo> effect;
  Load(effect, rgba, 256, 1);
  const Picture scene = DrawScene(64, 48);
  // A value v stands at v of the width, half a texel from the centre of its own.
  const auto curve = [](double v, auto at) {
    const double place = std::clamp(v * 256 - 0.5, 0.0, 255.0);
    const double low = std::floor(place);
    return (at(low) + (place - low) * (at(std::min(low + 1, 255.0)) - at(low))) / 255;
  };
  const auto difference = Compare(
      scene, Run(effect, scene),
      [&](const Picture& input, int x, int y) {
        const Pixel& p = input.At(x, y);
        return Color{77 / 255.0, curve(p[1] / 255.0, [](double i) { return std::floor(i / 2); }),
                     curve(p[2] / 255.0, [](double i) { return 255 - i; }), p[3] / 255.0};
      },
      {1, "devices filter with eight bits of a texel"});
  EXPECT_FALSE(difference) << *difference;
}

TEST_F(LookupFilters, ANameBehindThePrefixPicksTheLookAndTheClass) {
  Vantra::EffectFactory& factory = device_.GetEffectFactory();
  const auto look = [&](const wchar_t* name) {
    const auto effect = factory.CreateEffectByID(std::wstring(name));
    auto* filter = dynamic_cast<InstagramFilter*>(effect.get());
    auto* video = dynamic_cast<InstagramVideo*>(effect.get());
    return filter  ? L"F " + filter->GetLookupTexture()
           : video ? L"V " + video->GetLookupTexture()
                   : L"none";
  };
  EXPECT_EQ(look(L"CLSID_InstagramAden"), L"F IDR_INSTLUT_Aden");
  EXPECT_EQ(look(L"clsid_instagramADEN"), L"F IDR_INSTLUT_ADEN");
  EXPECT_EQ(look(L"CLSID_V_InstagramMoon"), L"V IDR_INSTLUT_V_Moon");
  EXPECT_EQ(look(L"CLSID_InstagramFilter"), L"F IDR_INSTLUT_Filter");
  EXPECT_EQ(look(L"CLSID_InstagramVideo"), L"F IDR_INSTLUT_Video");
  for (const wchar_t* name : {L"CLSID_Instagram", L"CLSID_V_Instagram", L"xCLSID_InstagramAden"}) {
    EXPECT_EQ(look(name), L"none") << name;
  }
  const auto by_id = factory.CreateEffectByID(InstagramVideo::GetEffectGUID());
  EXPECT_EQ(dynamic_cast<InstagramVideo&>(*by_id).GetLookupTexture(), L"");

  // A look that is not there leaves an effect that runs: black at full strength, else mixed.
  const auto missing = factory.CreateEffectByID(std::wstring(L"CLSID_InstagramNothing"));
  ASSERT_TRUE(missing->Create(&device_));
  const Picture scene = DrawScene(8, 8);
  EXPECT_EQ(Run(*missing, scene).At(3, 3), (Pixel{0, 0, 0, 255}));
  missing->SetAmout(0);
  EXPECT_EQ(Run(*missing, scene).pixels, scene.pixels);
}

}  // namespace
}  // namespace VantraFx
