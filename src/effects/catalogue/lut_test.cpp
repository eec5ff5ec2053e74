#include <vantrix/effects/catalogue/lut.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "tests/harness/device_fixture.h"
#include "tests/harness/effect_check.h"

namespace VantraFx {
namespace {

using namespace Vantra::Testing;

// What a look of this test gives for red, green and blue: red and blue change places, green bends.
std::array<double, 3> Look(double r, double g, double b) { return {b, g * g, r}; }

// A filter with a picture of the test's own as its look: red, green, blue, alpha bytes.
template <class Base>
Subject Showing(std::vector<unsigned char> rgba, int width, int height) {
  class Shown : public Vantra::EffectSingleAmout {
   public:
    Shown() : EffectSingleAmout(Base::GetEffectGUID()) {}
    void Show(Vantra::Bitmap& look) { dynamic_cast<LookupShader&>(*GetShader()).ShowLook(look); }
  };
  const std::string_view name = Base::Description().GetIdentity().name;
  return {std::string(name), [=](Vantra::Device& device) -> std::unique_ptr<Vantra::Effect> {
            auto effect = std::make_unique<Shown>();
            if (!effect->Create(&device)) return nullptr;
            Vantra::Bitmap look;
            look.Create(&device);
            look.SetPixels(rgba.data(), width, height, width * 4, 0);
            effect->Show(look);
            return effect;
          }};
}

TEST(LookupFilters, AThreeDimensionalLookReplacesColoursByTheAmount) {
  std::vector<unsigned char> rgba(512 * 512 * 4, 255);
  for (int i = 0; i < 512 * 512; ++i) {
    const int x = i % 512;
    const int y = i / 512;
    const int tile = y / 64 * 8 + x / 64;
    const auto color = Look(x % 64 / 63.0, y % 64 / 63.0, tile / 63.0);
    std::transform(color.begin(), color.end(), rgba.begin() + i * 4,
                   [](double v) { return static_cast<unsigned char>(std::lround(v * 255)); });
  }
  const auto mixed = [](double amount) {
    return [amount](Place& place) {
      const Rgba p = place.Own();
      const auto [r, g, b] = Look(p.r, p.g, p.b);
      return Rgba{p.r + amount * (r - p.r), p.g + amount * (g - p.g), p.b + amount * (b - p.b),
                  p.a};
    };
  };
  const Tolerance coarse{2, "the look has 64 steps of 8 bits, and devices filter coarsely"};
  CheckEffect(Showing<InstagramFilter>(rgba, 512, 512), {{{}, mixed(1), coarse},
                                                         {{{L"Amout", 0.25f}}, mixed(0.25), coarse},
                                                         {{{kSetAmout, 0.0f}}, mixed(0)}});
}

TEST(LookupFilters, CurvesReplaceEachChannelByItself) {
  std::vector<unsigned char> rgba(256 * 4, 255);
  for (std::size_t i = 0; i < 256; ++i) {
    rgba[i * 4] = static_cast<unsigned char>(255 - i);
    rgba[i * 4 + 1] = static_cast<unsigned char>(i / 2);
    rgba[i * 4 + 2] = 77;
  }
  // A value v stands at v of the width, half a texel from the centre of its own.
  const auto curve = [](double v, auto at) {
    const double place = std::clamp(v * 256 - 0.5, 0.0, 255.0);
    const double low = std::floor(place);
    return (at(low) + (place - low) * (at(std::min(low + 1, 255.0)) - at(low))) / 255;
  };
  CheckEffect(Showing<InstagramVideo>(rgba, 256, 1),
              {{{},
                [&](Place& place) {
                  const Rgba p = place.Own();
                  return Rgba{curve(p.r, [](double i) { return 255 - i; }),
                              curve(p.g, [](double i) { return std::floor(i / 2); }), 77 / 255.0,
                              p.a};
                },
                {1, "devices filter with eight bits of a texel"}}});
}

class LookupNames : public DeviceFixture {};

TEST_F(LookupNames, ANameBehindThePrefixPicksTheLookAndTheClass) {
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
