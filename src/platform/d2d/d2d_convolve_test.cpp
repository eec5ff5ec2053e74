#include <cfloat>

#include "platform/d2d/blur_reference.h"
#include "platform/d2d/builtin/builtin_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;

constexpr UINT32 kNearest = D2D1_CONVOLVEMATRIX_SCALE_MODE_NEAREST_NEIGHBOR;
constexpr UINT32 kLinear = D2D1_CONVOLVEMATRIX_SCALE_MODE_LINEAR;
constexpr UINT32 kCubic = D2D1_CONVOLVEMATRIX_SCALE_MODE_CUBIC;

struct Convolution {
  UINT32 width = 3;
  UINT32 height = 3;
  std::vector<float> kernel = {0, 0, 0, 0, 1, 0, 0, 0, 0};
  float divisor = 1;
  float bias = 0;
  BOOL hard = FALSE;
  BOOL preserve_alpha = FALSE;
  BOOL clamp = FALSE;
  D2D1_VECTOR_2F offset = {0, 0};
  D2D1_VECTOR_2F unit = {1, 1};
  UINT32 mode = kLinear;
};

// The input's texel, in 0 to 1.
Color TexelAt(const Convolution& by, const Picture& input, int x, int y) {
  Color color = {};
  if (by.hard) {
    x = Mirror(x, input.width);
    y = Mirror(y, input.height);
  } else if (x < 0 || y < 0 || x >= input.width || y >= input.height) {
    return color;
  }
  for (std::size_t c = 0; c < 4; ++c) color[c] = input.At(x, y)[c] / 255.0;
  for (std::size_t c = 0; c < 3 && by.preserve_alpha; ++c)
    color[c] = color[3] > 0 ? color[c] / color[3] : 0;
  return color;
}

// What a texel at the distance t takes part in a place between texels.
double WeightAt(UINT32 mode, double t) {
  t = std::abs(t);
  if (mode == kCubic || mode == D2D1_CONVOLVEMATRIX_SCALE_MODE_HIGH_QUALITY_CUBIC) {
    if (t < 1) return 1.5 * t * t * t - 2.5 * t * t + 1;
    return t < 2 ? -0.5 * t * t * t + 2.5 * t * t - 4 * t + 2 : 0;
  }
  return std::max(0.0, 1 - t);
}

Color Convolved(const Convolution& by, const Picture& input, int x, int y) {
  Color sum = {};
  const auto place = [&by](UINT32 element, UINT32 size, float offset, float unit) {
    const double at = (double{offset} + element - size / 2) * unit;
    return by.mode == kNearest ? std::floor(at + 0.5) : at;
  };
  for (UINT32 j = 0; j < by.height; ++j) {
    for (UINT32 i = 0; i < by.width; ++i) {
      const double px = place(i, by.width, by.offset.x, by.unit.x);
      const double py = place(j, by.height, by.offset.y, by.unit.y);
      for (int row = static_cast<int>(std::floor(py)) - 1; row <= py + 2; ++row) {
        for (int column = static_cast<int>(std::floor(px)) - 1; column <= px + 2; ++column) {
          const double weight = double{by.kernel[j * by.width + i]} *
                                WeightAt(by.mode, px - column) * WeightAt(by.mode, py - row);
          if (weight == 0) continue;
          const Color texel = TexelAt(by, input, x + column, y + row);
          for (std::size_t c = 0; c < 4; ++c) sum[c] += weight * texel[c];
        }
      }
    }
  }
  for (double& channel : sum) {
    channel = channel / by.divisor + by.bias;
    if (by.clamp) channel = std::clamp(channel, 0.0, 1.0);
  }
  if (by.preserve_alpha) {
    sum[3] = TexelAt(by, input, x, y)[3];
    for (std::size_t c = 0; c < 3; ++c) sum[c] *= sum[3];
  }
  return sum;
}

class Convolve : public BuiltInEffects {
 protected:
  static void SetAll(ID2D1Effect& effect, const Convolution& to) {
    EXPECT_EQ(effect.SetValue(D2D1_CONVOLVEMATRIX_PROP_KERNEL_MATRIX, D2D1_PROPERTY_TYPE_BLOB,
                              reinterpret_cast<const BYTE*>(to.kernel.data()),
                              static_cast<UINT32>(to.kernel.size() * sizeof(float))),
              S_OK);
    EXPECT_EQ(Set(effect, D2D1_CONVOLVEMATRIX_PROP_KERNEL_SIZE_X, to.width), S_OK);
    EXPECT_EQ(Set(effect, D2D1_CONVOLVEMATRIX_PROP_KERNEL_SIZE_Y, to.height), S_OK);
    EXPECT_EQ(Set(effect, D2D1_CONVOLVEMATRIX_PROP_DIVISOR, to.divisor), S_OK);
    EXPECT_EQ(Set(effect, D2D1_CONVOLVEMATRIX_PROP_BIAS, to.bias), S_OK);
    EXPECT_EQ(Set(effect, D2D1_CONVOLVEMATRIX_PROP_BORDER_MODE, to.hard), S_OK);
    EXPECT_EQ(Set(effect, D2D1_CONVOLVEMATRIX_PROP_PRESERVE_ALPHA, to.preserve_alpha), S_OK);
    EXPECT_EQ(Set(effect, D2D1_CONVOLVEMATRIX_PROP_CLAMP_OUTPUT, to.clamp), S_OK);
    EXPECT_EQ(Set(effect, D2D1_CONVOLVEMATRIX_PROP_KERNEL_OFFSET, to.offset), S_OK);
    EXPECT_EQ(Set(effect, D2D1_CONVOLVEMATRIX_PROP_KERNEL_UNIT_LENGTH, to.unit), S_OK);
    EXPECT_EQ(Set(effect, D2D1_CONVOLVEMATRIX_PROP_SCALE_MODE, to.mode), S_OK);
  }
};

std::vector<float> Ramp(std::size_t count, float from, float step) {
  std::vector<float> ramp(count);
  for (std::size_t i = 0; i < count; ++i) ramp[i] = from + static_cast<float>(i) * step;
  return ramp;
}

TEST_F(Convolve, SumsTheNeighboursOfEachPixelByTheKernel) {
  const std::vector<float> crooked = {0.5f, -1, 0.25f, 0, 1.5f, 2, -0.75f, 0.3f, -0.6f};
  const Convolution cases[] = {
      {},
      {.kernel = crooked, .divisor = 2},
      {.kernel = crooked, .bias = 0.25f, .hard = TRUE},
      {.width = 4, .height = 2, .kernel = Ramp(8, -1, 0.5f), .divisor = -3, .bias = 0.1f},
      {.width = 20, .height = 1, .kernel = Ramp(20, 0, 1), .divisor = 190, .hard = TRUE},
      {.kernel = crooked, .divisor = 2, .preserve_alpha = TRUE},
      {.kernel = crooked, .bias = -0.2f, .hard = TRUE, .preserve_alpha = TRUE, .clamp = TRUE},
      {.kernel = crooked, .divisor = 2, .offset = {2, -1}},
      {.kernel = crooked, .divisor = 2, .hard = TRUE, .offset = {-0.75f, 0.5f}},
      {.kernel = crooked, .divisor = 2, .offset = {0.125f, 0}, .unit = {1.5f, 0.75f}},
      {.kernel = crooked, .hard = TRUE, .unit = {1.75f, 2.375f}, .mode = kNearest},
      {.kernel = crooked, .divisor = 2, .unit = {1.5f, 0.75f}, .mode = kCubic},
      {.kernel = crooked,
       .hard = TRUE,
       .preserve_alpha = TRUE,
       .offset = {0.25f, -3},
       .unit = {0.75f, 1},
       .mode = D2D1_CONVOLVEMATRIX_SCALE_MODE_HIGH_QUALITY_CUBIC},
  };
  for (const Picture& scene : {DrawSceneWithAlpha(61, 47), DrawSceneWithAlpha(3, 2)}) {
    const CComPtr<ID2D1Effect> effect = Make(CLSID_D2D1ConvolveMatrix, scene);
    for (const Convolution& by : cases) {
      SetAll(*effect, by);
      const D2D1_RECT_F bounds = Bounds(*effect);
      // All of it with what is around it, and a window of it.
      for (const auto& [left, top, width, height] :
           {std::array{-12, -6, scene.width + 24, scene.height + 12}, {17, 21, 9, 7}}) {
        const auto formula = [&, left, top](const Picture&, int x, int y) {
          const Box drawn = {bounds.left, bounds.top, bounds.right, bounds.bottom};
          // Beyond its bounds there is no output; without a bias there is none to be.
          const bool cut = (by.hard || by.bias != 0) && !drawn.Has(x + left, y + top);
          return cut ? Color{} : Convolved(by, scene, x + left, y + top);
        };
        const Picture shown =
            Show(*effect, width, height, static_cast<float>(left), static_cast<float>(top));
        EXPECT_EQ(result_, S_OK);
        const auto difference = Compare(Picture("target", width, height), shown, formula);
        EXPECT_FALSE(difference) << &by - &cases[0] << " " << left << ": " << *difference;
      }
    }
  }
}

TEST_F(Convolve, OfAPixelIsItsKernelTurned) {
  // Each pixel around takes the one by the element that lies towards it.
  Picture one("one pixel", 1, 1);
  one.pixels = {{100, 0, 200, 200}};
  const CComPtr<ID2D1Effect> effect = Make(CLSID_D2D1ConvolveMatrix, one);
  EXPECT_EQ(Show(*effect, 1, 1).pixels, one.pixels);
  SetAll(*effect, {.kernel = {1, 2, 3, 4, 5, 6, 7, 8, 9}, .divisor = 10});
  const Picture shown = Show(*effect, 3, 3, -1, -1);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(shown.pixels[static_cast<std::size_t>(i)][0], 90 - 10 * i);
  EXPECT_EQ(shown.pixels[4], (Pixel{50, 0, 100, 100}));
  // A divisor of 0 is the smallest step from 1.
  SetAll(*effect, {.width = 1, .height = 1, .kernel = {FLT_EPSILON / 2}, .divisor = 0});
  EXPECT_EQ(Show(*effect, 1, 1).pixels[0], (Pixel{50, 0, 100, 100}));
}

TEST_F(Convolve, GrowsByWhatItsKernelReaches) {
  const CComPtr<ID2D1Effect> effect = Make(CLSID_D2D1ConvolveMatrix, Picture("input", 5, 4));
  const struct {
    Convolution by;
    D2D1_RECT_F bounds;
  } cases[] = {
      {{}, {-1, -1, 6, 5}},
      {{.width = 1, .height = 1, .kernel = {1}}, {0, 0, 5, 4}},
      {{.hard = TRUE}, {0, 0, 5, 4}},
      // Elements at -2 to 1 and at -1 to 0.
      {{.width = 4, .height = 2, .kernel = Ramp(8, 1, 1)}, {-1, 0, 7, 5}},
      // At 1 to 3 and at -4 to -2.
      {{.offset = {2, -3}}, {-3, 0, 5, 8}},
      // At -1.5, 0 and 1.5: linear reading takes -2 to 2, cubic -3 to 3, nearest -1 to 2.
      {{.unit = {1.5f, 1}}, {-2, -1, 7, 5}},
      {{.unit = {1.5f, 1}, .mode = kCubic}, {-3, -1, 8, 5}},
      {{.unit = {1.5f, 1}, .mode = kNearest}, {-2, -1, 6, 5}},
  };
  for (const auto& [by, expected] : cases) {
    SetAll(*effect, by);
    const D2D1_RECT_F bounds = Bounds(*effect);
    EXPECT_EQ(std::memcmp(&bounds, &expected, sizeof(bounds)), 0)
        << &by - &cases[0].by << ": " << bounds.left << " " << bounds.top << " " << bounds.right
        << " " << bounds.bottom;
  }
}

TEST_F(Convolve, RefusesKernelsThatDoNotFitWhenItIsDrawn) {
  const CComPtr<ID2D1Effect> effect = Make(CLSID_D2D1ConvolveMatrix, DrawScene(8, 8));
  ASSERT_EQ(Set(*effect, D2D1_CONVOLVEMATRIX_PROP_KERNEL_SIZE_X, 2u), S_OK);
  EXPECT_EQ(Show(*effect, 8, 8).At(3, 3), Pixel{});
  EXPECT_EQ(result_, E_INVALIDARG);
  const auto draw = [&](UINT32 width, UINT32 height) {
    SetAll(*effect, {.width = width,
                     .height = height,
                     .kernel = Ramp(std::size_t{width} * height, 1, 0),
                     .hard = TRUE});
    Show(*effect, 8, 8);
    return result_;
  };
  EXPECT_EQ(draw(91, 11), D2DERR_UNSUPPORTED_OPERATION);
  EXPECT_EQ(draw(100, 10), S_OK);

  // What is out of range changes nothing.
  EXPECT_EQ(Set(*effect, D2D1_CONVOLVEMATRIX_PROP_KERNEL_SIZE_X, 101u), E_INVALIDARG);
  EXPECT_EQ(Set(*effect, D2D1_CONVOLVEMATRIX_PROP_KERNEL_SIZE_Y, 0u), E_INVALIDARG);
  for (const float unit : {0.0f, 101.0f}) {
    EXPECT_EQ(Set(*effect, D2D1_CONVOLVEMATRIX_PROP_KERNEL_UNIT_LENGTH, D2D1_VECTOR_2F{1, unit}),
              E_INVALIDARG);
  }
  EXPECT_EQ(effect->SetValue(D2D1_CONVOLVEMATRIX_PROP_KERNEL_MATRIX, D2D1_PROPERTY_TYPE_BLOB,
                             reinterpret_cast<const BYTE*>(L"abc"), 0),
            E_INVALIDARG);
  EXPECT_EQ(effect->GetValueSize(D2D1_CONVOLVEMATRIX_PROP_KERNEL_MATRIX), 4000u);
  Show(*effect, 8, 8);
  EXPECT_EQ(result_, S_OK);

  // Kernels that lie far from the image, and numbers without bound, read what the edges give.
  SetAll(*effect, {.divisor = 1e-30f, .offset = {1e30f, -1e30f}, .unit = {100, 100}});
  EXPECT_EQ(Show(*effect, 8, 8).At(3, 3), Pixel{});
  SetAll(*effect, {.kernel = Ramp(9, 1e38f, 0), .bias = -1e38f, .hard = TRUE});
  Show(*effect, 8, 8);
  EXPECT_EQ(result_, S_OK);
}

}  // namespace
}  // namespace Vantra
