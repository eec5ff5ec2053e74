#include <algorithm>
#include <cmath>

#include "tests/harness/device_fixture.h"
#include "tests/harness/effect_check.h"

namespace VantraFx {
namespace {

using namespace Vantra::Testing;

double Sat(double x) { return std::clamp(x, 0.0, 1.0); }
double Lum(const Rgba& p) { return 0.3 * p.r + 0.59 * p.g + 0.11 * p.b; }

// Alpha too.
template <class F>
Rgba EachChannel(const Rgba& p, F f) {
  return {f(p.r), f(p.g), f(p.b), f(p.a)};
}

Rgba Mix(const Rgba& p, double r, double g, double b, double t) {
  return {p.r + t * (r - p.r), p.g + t * (g - p.g), p.b + t * (b - p.b), p.a};
}

TEST(ColorEffects, AlphaConvertMultipliesEveryChannelByAlpha) {
  CheckEffect(L"AlphaConvert", {{{}, [](Place& place) {
                                   const Rgba p = place.Own();
                                   return EachChannel(p, [&](double c) { return c * p.a; });
                                 }}});
  // 128 * 128 / 255 = 64.25, 51 is a fifth of 255.
  CheckPixels(L"AlphaConvert", {},
              {{{1, 2, 3, 255}, {1, 2, 3, 255}},
               {{255, 128, 0, 128}, {128, 64, 0, 64}},
               {{255, 255, 255, 0}, {0, 0, 0, 0}},
               {{51, 102, 204, 51}, {10, 20, 41, 10}}});
}

TEST(ColorEffects, InvertGivesTheNegative) {
  CheckEffect(L"EInvert", {{{}, [](Place& place) {
                              const Rgba p = place.Own();
                              return Rgba{1 - p.r, 1 - p.g, 1 - p.b, p.a};
                            }}});
}

TEST(ColorEffects, BrightExtractSpreadsWhatIsAboveTheThreshold) {
  CheckEffect(L"BrightExtract",
              Sweep(L"Amout", 0.5, {0, 0.25, 0.9, 1, -1, 1.5}, [](Place& place, double amout) {
                return EachChannel(place.Own(),
                                   [&](double c) { return Sat((c - amout) / (1 - amout)); });
              }));
  CheckPixels(L"BrightExtract", {{L"Amout", L"1"}},
              {{{255, 255, 255, 255}, {0, 0, 0, 0}}, {{0, 128, 254, 255}, {0, 0, 0, 0}}});
  // The amount is half the threshold's scale: 0.2, so 102 is a quarter of the way from 51.
  CheckPixels(L"BrightExtract", {{kSetAmout, 0.4f}}, {{{51, 102, 153, 255}, {0, 64, 128, 255}}});
}

TEST(ColorEffects, MonoChromeMixesWithItsOwnBrightness) {
  CheckEffect(L"MonoChrome", Sweep(L"Amout", 1, {0, 0.5, -1, 2}, [](Place& place, double amout) {
                const Rgba p = place.Own();
                const double y = 0.2125 * p.r + 0.7154 * p.g + 0.0721 * p.b;
                return Mix(p, y, y, y, amout);
              }));
}

TEST(ColorEffects, VibranceDrawsChannelsFromTheLargest) {
  CheckEffect(L"EVibrance",
              Sweep(L"Amout", 1, {-1, 0, 0.3, -2, 2}, [](Place& place, double vibrance) {
                const Rgba p = place.Own();
                const double mx = std::max({p.r, p.g, p.b});
                const double amt = (mx - (p.r + p.g + p.b) / 3) * vibrance * -3;
                return Mix(p, mx, mx, mx, amt);
              }));
}

TEST(ColorEffects, ExposureMultipliesByAPowerOfTwo) {
  CheckEffect(L"EExposure", Sweep(L"Amout", 1, {-3, 0, 3, -10, 0.5}, [](Place& place, double v) {
                const Rgba p = place.Own();
                return Mix(p, 0, 0, 0, 1 - std::exp2(v));
              }));
  CheckPixels(L"EExposure", {}, {{{10, 100, 200, 128}, {20, 200, 255, 128}}});
  // What is not a number is stored as 0.
  CheckPixels(L"EExposure", {{L"Amout", L"nan"}}, {{{10, 100, 200, 128}, {0, 0, 0, 128}}});
  CheckPixels(L"EExposure", {{L"Amout", L"inf"}}, {{{0, 1, 200, 128}, {0, 255, 255, 128}}});
  CheckPixels(L"EExposure", {{L"Amout", L"-inf"}}, {{{0, 1, 200, 128}, {0, 0, 0, 128}}});
}

TEST(ColorEffects, WhiteBalanceScalesTheChannelsByTheLight) {
  CheckEffect(L"EWhiteBalance",
              Sweep(L"Temperature", 1, {0, 0.3, 0.5, 0.75, -0.5, 3},
                    [](Place& place, double v) {
                      const Rgba p = place.Own();
                      const double mired = 1e6 / std::max(2500 + 5000 * v, 1000.0);
                      const double red = std::exp2(0.0026 * (200 - mired));
                      const double blue = std::exp2(-0.0048 * (200 - mired));
                      const double white = 0.3 * red + 0.59 + 0.11 * blue;
                      const auto end = [&](double c, double gain) {
                        return std::min(c * gain / white, std::max(c, p.a));
                      };
                      return Rgba{end(p.r, red), end(p.g, 1), end(p.b, blue), p.a};
                    },
                    {0, "devices compute exp2 to some units of the last place", 1e-3}));
  // At 5000 K every byte stays, and a channel beyond alpha is never drawn back.
  CheckPixels(L"EWhiteBalance", {{L"Temperature", L"0.5"}},
              {{{1, 2, 3, 0}, {1, 2, 3, 0}}, {{254, 255, 77, 128}, {254, 255, 77, 128}}});
}

TEST(ColorEffects, BlackAndWhiteDividesAtHalfTheBrightness) {
  CheckEffect(L"BlackAndWhite", Sweep(L"Amout", 1, {0, 0.4, -1, 2}, [](Place& place, double amout) {
                const Rgba p = place.Own();
                const double t = place.Less(Lum(p), 0.5) ? 0 : 1;
                return Mix(p, t, t, t, amout);
              }));
  // On the bound.
  CheckPixels(L"BlackAndWhite", {}, {{{81, 201, 0, 255}, {255, 255, 255, 255}}});
}

TEST(ColorEffects, PopArtPrintsThreeBands) {
  CheckEffect(L"PopArt", Sweep(L"Amout", 1, {0, 0.4, -1, 2}, [](Place& place, double amout) {
                const Rgba p = place.Own();
                if (place.Less(Lum(p), 0.3)) return Mix(p, 0, 0, 0, amout);
                if (place.Less(Lum(p), 0.6)) return Mix(p, 0.8, 0, 0, amout);
                return Mix(p, 0.9, 0.9, 0, amout);
              }));
  // On the bounds.
  CheckPixels(L"PopArt", {},
              {{{92, 112, 1, 255}, {0, 0, 204, 255}},
               {{175, 95, 4, 255}, {0, 0, 204, 255}},
               {{58, 248, 1, 255}, {0, 230, 230, 255}},
               {{23, 253, 4, 255}, {0, 230, 230, 255}}});
}

// Whether the hue of a pixel lies within whole degrees, by whole numbers alone.
bool HueIsWithin(const Pixel& p, int low, int high) {
  const int b = p[0], g = p[1], r = p[2];
  const int mx = std::max({r, g, b});
  const int d = mx - std::min({r, g, b});
  if (d == 0) return low <= 0 && high >= 0;
  const int n = r == mx && g != mx ? g - b : g == mx && b != mx ? b - r + 2 * d : r - g + 4 * d;
  return 60 * n >= low * d && 60 * n <= high * d;
}

TEST(ColorEffects, IsolationsKeepTheirHuesAndMixTheRestWithGrey) {
  // Grey, the pure colours from red to magenta, and pairs around the bounds of 5, -5, 30 and 260,
  // each with its brightness.
  const std::pair<Pixel, std::uint8_t> pixels[] = {
      {{90, 90, 90, 255}, 90},  {{0, 0, 200, 255}, 60},    {{0, 200, 200, 255}, 178},
      {{0, 200, 0, 255}, 118},  {{200, 200, 0, 255}, 140}, {{200, 0, 0, 255}, 22},
      {{200, 0, 200, 255}, 82}, {{0, 19, 240, 255}, 83},   {{0, 21, 240, 255}, 84},
      {{19, 0, 240, 255}, 74},  {{21, 0, 240, 255}, 74},   {{0, 101, 200, 255}, 120},
      {{0, 99, 200, 255}, 118}, {{240, 0, 79, 255}, 50},   {{240, 0, 81, 255}, 51}};
  struct Isolation {
    const wchar_t* name;
    int low;
    int high;
    // Which of those pixels stay.
    const char* kept;
  };
  const Isolation isolations[] = {
      {L"RedIsolation", -5, 5, "110000010100000"},
      {L"GreenIsolation", 60, 180, "001110000000000"},
      {L"BlueIsolation", 180, 260, "000011000000010"},
      {L"YellowIsolation", 30, 60, "001000000001000"},
  };
  for (const auto& [name, low, high, kept] : isolations) {
    CheckEffect(name, Sweep(L"Amout", 1, {0, 0.5, -1, 2},
                            [low = low, high = high](Place& place, double amout) {
                              const Rgba p = place.Own();
                              const Pixel& bytes = place.input.At(place.x, place.y);
                              if (HueIsWithin(bytes, low, high)) return p;
                              return Mix(p, Lum(p), Lum(p), Lum(p), amout);
                            }));
    std::vector<std::pair<Pixel, Pixel>> expected;
    for (std::size_t i = 0; i < std::size(pixels); ++i) {
      const auto& [pixel, grey] = pixels[i];
      expected.push_back({pixel, kept[i] == '1' ? pixel : Pixel{grey, grey, grey, pixel[3]}});
    }
    CheckPixels(name, {}, expected);
  }
}

TEST(ColorEffects, PhotoFilterTintsByBrightness) {
  const auto tinted = [](double r, double g, double b, double density) {
    return [=](Place& place) {
      const Rgba p = place.Own();
      const double l = Lum(p);
      const auto tint = [&](double c) {
        const double low = Sat(2 * l) * c;
        return low + 2 * Sat(l - 0.5) * (1 - low);
      };
      return Mix(p, tint(r), tint(g), tint(b), Sat(l * density));
    };
  };
  CheckEffect(L"PhotoFilter",
              {{{}, tinted(1, 0.5, 0.2, 0.35)},
               {{{L"Density", L"0"}}, tinted(1, 0.5, 0.2, 0)},
               {{{L"Density", L"1"}}, tinted(1, 0.5, 0.2, 1)},
               {{{L"Density", L"-2"}}, tinted(1, 0.5, 0.2, -2)},
               {{{L"Color", L"0,0.25;1 0"}, {L"Density", 4.0f}}, tinted(0, 0.25, 1, 4)},
               {{{L"Color", L"-0.5,2"}}, tinted(-0.5, 2, 0.2, 0.35)}});
}

TEST(ColorEffects, PosterizeRoundsEveryChannelToSteps) {
  CheckEffect(L"Posterize", Sweep(L"Amout", 10, {1, 2, 12, 255, 256, 7.5, 1000, -3},
                                  [](Place& place, double amout) {
                                    return EachChannel(place.Own(), [&](double c) {
                                      return place.Floor(c * amout + 0.5) / amout;
                                    });
                                  }));
  CheckPixels(L"Posterize", {{L"amout", L"1"}},
              {{{0, 127, 128, 255}, {0, 0, 255, 255}},
               {{128, 128, 128, 128}, {255, 255, 255, 255}},
               {{127, 127, 127, 127}, {0, 0, 0, 0}}});
  // Every channel is 0 ÷ 0, which is not a number and is stored as 0.
  CheckPixels(L"Posterize", {{L"Amout", L"0"}}, {{{0, 1, 254, 255}, {0, 0, 0, 0}}});
}

class ColorAttributes : public DeviceFixture {};

TEST_F(ColorAttributes, ArePublishedReadBackAndDrivenByTheAmount) {
  struct Row {
    const wchar_t* effect;
    const wchar_t* attribute;
    const wchar_t* published;  // min, max, def and step
    const wchar_t* start;
    const wchar_t* text;  // a value beyond the range, and how it reads back
    const wchar_t* read;
    const wchar_t* after_amount;  // how it reads back after SetAmout(0.5)
  };
  // A float holds 0.15, the start of the white balance, as a little more.
  constexpr const wchar_t* kMix = L"0 1 1 0.01";
  const Row rows[] = {
      {L"EExposure", L"Amout", L"-3 3 1 0.1", L"1.000000", L"-7.5", L"-7.500000", L"0.500000"},
      {L"EVibrance", L"Amout", L"-1 1 1 0.01", L"1.000000", L"4", L"4.000000", L"4.000000"},
      {L"EWhiteBalance", L"Temperature", L"0 1 0.3 0.01", L"15.000001", L"-1", L"-300.000000",
       L"0.000000"},
      {L"EWhiteBalance", L"Temperature", L"0 1 0.3 0.01", L"15.000001", L"0", L"-100.000000",
       L"0.000000"},
      {L"Posterize", L"Amout", L"1 256 10 ", L"10", L"7.5", L"8", L"8"},
      {L"BlackAndWhite", L"Amout", kMix, L"1.000000", L"9", L"9.000000", L"0.500000"},
      {L"MonoChrome", L"Amout", kMix, L"1.000000", L"9", L"9.000000", L"0.500000"},
      {L"RedIsolation", L"Amout", kMix, L"1.000000", L"9", L"9.000000", L"0.500000"},
      {L"GreenIsolation", L"Amout", kMix, L"1.000000", L"9", L"9.000000", L"0.500000"},
      {L"BlueIsolation", L"Amout", kMix, L"1.000000", L"9", L"9.000000", L"0.500000"},
      {L"YellowIsolation", L"Amout", kMix, L"1.000000", L"9", L"9.000000", L"0.500000"},
      {L"PopArt", L"Amout", kMix, L"1.000000", L"9", L"9.000000", L"0.500000"},
      {L"PhotoFilter", L"Density", L"0 1 0.35 0.01", L"0.350000", L"-2", L"-2.000000",
       L"-2.000000"},
      {L"PhotoFilter", L"Color", L"  1,0.5,0.2,1 ", L"1,0.5,0.2,1", L"2,-1", L"2,-1,0.2,1",
       L"2,-1,0.2,1"},
      {L"BrightExtract", L"Amout", L"0 1 0.5 0.01", L"0.500000", L"-1", L"-1.000000", L"0.250000"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.effect, row.effect + std::wcslen(row.effect)));
    const auto effect = Subject(row.effect).Create(device_, {});
    ASSERT_TRUE(effect);
    Vantra::EffectAttributesParser parser;
    parser.Parse(effect->GetXmlAttributes());
    const auto* attribute = parser.GetAttribute(row.attribute);
    ASSERT_TRUE(attribute);
    const auto text = [](const auto& bound) { return bound ? bound->value : std::wstring(); };
    EXPECT_EQ(text(attribute->min) + L' ' + text(attribute->max) + L' ' + text(attribute->def) +
                  L' ' + text(attribute->step),
              row.published);
    EXPECT_EQ(Get(*effect, row.attribute), row.start);
    Set(*effect, row.attribute, row.text);
    EXPECT_EQ(Get(*effect, row.attribute), row.read);
    EXPECT_THROW(Set(*effect, row.attribute, L"red"), std::invalid_argument);
    effect->SetAmout(0.5f);
    EXPECT_EQ(Get(*effect, row.attribute), row.after_amount);
    Set(*effect, row.attribute, L"nan");
    EXPECT_NE(Get(*effect, row.attribute).find(L"nan"), std::wstring::npos);
  }
  for (const wchar_t* name : {L"EInvert", L"AlphaConvert"}) {
    EXPECT_EQ(Subject(name).Create(device_, {{kSetAmout, 1.0f}})->GetXmlAttributes(), "");
  }
}

}  // namespace
}  // namespace VantraFx
