#include "platform/d2d/builtin/builtin_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;

using Function = std::function<double(double)>;
// For red, green, blue and alpha.
using Functions = std::array<Function, 4>;

// Each channel of the straight colour through its function.
Formula Transferred(const Functions& functions, bool clamp) {
  return [functions, clamp](const Picture& input, int x, int y) {
    const Pixel& p = input.At(x, y);
    const double alpha = p[3] / 255.0;
    std::array<double, 4> channel = {};
    for (std::size_t c = 0; c < 4; ++c) {
      const double straight = c == 3 ? alpha : p[3] ? p[2 - c] / 255.0 / alpha : 0;
      channel[c] = functions[c](straight);
      if (clamp) channel[c] = std::clamp(channel[c], 0.0, 1.0);
    }
    return Color{channel[2] * channel[3], channel[1] * channel[3], channel[0] * channel[3],
                 channel[3]};
  };
}

class Transfers : public BuiltInEffects {
 protected:
  // The effect over pictures with alpha, with and without its results clamped.
  void CheckTransfer(ID2D1Effect& effect, UINT32 clamp_property, const Functions& functions,
                     Tolerance tolerance, const std::string& what) {
    for (const Picture& picture : {DrawSceneWithAlpha(61, 47), DrawNoise(40, 40, 5)}) {
      Upload(input_, picture);
      effect.SetInput(0, input_.GetBitmap(), TRUE);
      for (const BOOL clamp : {FALSE, TRUE}) {
        ASSERT_EQ(Set(effect, clamp_property, clamp), S_OK);
        const auto difference = Compare(picture, Show(effect, picture.width, picture.height),
                                        Transferred(functions, clamp), tolerance);
        EXPECT_FALSE(difference) << what << clamp << ": " << *difference;
      }
    }
  }
};

struct Curve {
  float amplitude;
  float exponent;
  float offset;
  BOOL disabled;
};

TEST_F(Transfers, GammaRaisesEachStraightChannelToItsPower) {
  const CComPtr<ID2D1Effect> effect = Make(CLSID_D2D1GammaTransfer);
  constexpr Curve kSame = {1, 1, 0, FALSE};
  struct Case {
    std::array<Curve, 4> curves;
    Tolerance tolerance;
  };
  constexpr Tolerance kPower = {0, "devices compute powers to some units of the last place", 1e-3};
  const Case cases[] = {
      {{kSame, kSame, kSame, kSame}, {}},
      {{{{1, 2.2f, 0, FALSE}, {1, 0.45f, 0, FALSE}, {0.8f, 3, 0.1f, FALSE}, kSame}}, kPower},
      {{{{-1.5f, 2, 1.25f, FALSE}, {2, 1, -0.5f, FALSE}, kSame, {1, 0.5f, 0, FALSE}}}, kPower},
      // Powers of 0, to 0 and below it.
      {{{{0.5f, 0, 0.25f, FALSE}, {0.1f, -1, 0, FALSE}, {0, -2, 0.5f, FALSE}, kSame}}, kPower},
      {{{{0, 3, 1, TRUE}, kSame, {0, 2, 0, TRUE}, {0.5f, 1, 0.25f, FALSE}}}, {}},
      {{{{0.5f, 1, 0, FALSE}, {0.5f, 1, 0, FALSE}, {1, 1, 0.5f, FALSE}, {0, 2, 1, TRUE}}}, {}},
  };
  for (const auto& [curves, tolerance] : cases) {
    Functions functions;
    for (UINT32 c = 0; c < 4; ++c) {
      const Curve& curve = curves[c];
      ASSERT_EQ(Set(*effect, 4 * c, curve.amplitude), S_OK);
      ASSERT_EQ(Set(*effect, 4 * c + 1, curve.exponent), S_OK);
      ASSERT_EQ(Set(*effect, 4 * c + 2, curve.offset), S_OK);
      ASSERT_EQ(Set(*effect, 4 * c + 3, curve.disabled), S_OK);
      functions[c] = [curve](double v) {
        if (curve.disabled) return v;
        // No amplitude takes away even what has no bound.
        const double power = curve.amplitude == 0 ? 0 : std::pow(v, curve.exponent);
        return curve.amplitude * power + curve.offset;
      };
    }
    CheckTransfer(*effect, D2D1_GAMMATRANSFER_PROP_CLAMP_OUTPUT, functions, tolerance,
                  std::to_string(&curves - &cases[0].curves));
  }
}

struct Line {
  float intercept;
  float slope;
  BOOL disabled;
};

TEST_F(Transfers, LinearMapsEachStraightChannelByItsLine) {
  const CComPtr<ID2D1Effect> effect = Make(CLSID_D2D1LinearTransfer);
  const std::array<Line, 4> cases[] = {
      {{{0, 1, FALSE}, {0, 1, FALSE}, {0, 1, FALSE}, {0, 1, FALSE}}},
      {{{-1, 2.5f, FALSE}, {-1, 5, FALSE}, {0.25f, -0.5f, FALSE}, {0, 1, FALSE}}},
      {{{1, -1, FALSE}, {5, 5, TRUE}, {0, 1, FALSE}, {0.5f, 0.25f, FALSE}}},
      {{{0.5f, 0, FALSE}, {0, 1, FALSE}, {0, 1, FALSE}, {9, 9, TRUE}}},
  };
  for (const auto& lines : cases) {
    Functions functions;
    for (UINT32 c = 0; c < 4; ++c) {
      const Line& line = lines[c];
      ASSERT_EQ(Set(*effect, 3 * c, line.intercept), S_OK);
      ASSERT_EQ(Set(*effect, 3 * c + 1, line.slope), S_OK);
      ASSERT_EQ(Set(*effect, 3 * c + 2, line.disabled), S_OK);
      functions[c] = [line](double v) {
        return line.disabled ? v : double{line.slope} * v + line.intercept;
      };
    }
    CheckTransfer(*effect, D2D1_LINEARTRANSFER_PROP_CLAMP_OUTPUT, functions, {},
                  std::to_string(&lines - &cases[0]));
  }
}

TEST_F(Transfers, OfAFewPixelsAreAsWorkedOutByHand) {
  // Four fifths of alpha; straight, the channels are 1/2, 1/4 and 1.
  Picture picture("pixels", 2, 1);
  picture.pixels = {{102, 51, 204, 204}, {}};
  const CComPtr<ID2D1Effect> gamma = Make(CLSID_D2D1GammaTransfer, picture);
  ASSERT_EQ(Set(*gamma, D2D1_GAMMATRANSFER_PROP_BLUE_EXPONENT, 2.0f), S_OK);
  ASSERT_EQ(Set(*gamma, D2D1_GAMMATRANSFER_PROP_GREEN_EXPONENT, 0.5f), S_OK);
  ASSERT_EQ(Set(*gamma, D2D1_GAMMATRANSFER_PROP_RED_AMPLITUDE, 0.5f), S_OK);
  EXPECT_EQ(Show(*gamma, 2, 1).pixels, (std::vector<Pixel>{{51, 102, 102, 204}, {}}));

  const CComPtr<ID2D1Effect> linear = Make(CLSID_D2D1LinearTransfer, picture);
  ASSERT_EQ(Set(*linear, D2D1_LINEARTRANSFER_PROP_BLUE_SLOPE, -1.0f), S_OK);
  ASSERT_EQ(Set(*linear, D2D1_LINEARTRANSFER_PROP_BLUE_Y_INTERCEPT, 1.0f), S_OK);
  ASSERT_EQ(Set(*linear, D2D1_LINEARTRANSFER_PROP_ALPHA_Y_INTERCEPT, 0.2f), S_OK);
  // 1/2 at full alpha, and at a fifth of it what was nothing.
  EXPECT_EQ(Show(*linear, 2, 1).pixels, (std::vector<Pixel>{{128, 64, 255, 255}, {51, 0, 0, 51}}));
}

}  // namespace
}  // namespace Vantra
