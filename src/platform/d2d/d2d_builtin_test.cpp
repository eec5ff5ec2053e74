#include <cfloat>

#include "platform/d2d/builtin/builtin_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;

constexpr CLSID kBuiltIns[] = {
    CLSID_D2D1ColorMatrix,   CLSID_D2D1Border,          CLSID_D2D13DTransform,
    CLSID_D2D1GammaTransfer, CLSID_D2D1LinearTransfer,  CLSID_D2D1ConvolveMatrix,
    CLSID_D2D1GaussianBlur,  CLSID_D2D1DirectionalBlur, CLSID_D2D1Morphology};

// In levels: a byte is rounded, and a little more where floats miss a half.
constexpr double kRounding = 0.51;
// In levels: devices filter with eight bits of a pixel, and a byte is rounded.
constexpr double kFilterAndRounding = 1;
// In pixels: bounds are whole pixels, and the soft edge is half a pixel further out.
constexpr double kSoftBounds = 1.5;

TEST_F(BuiltInEffects, TellTheirPropertiesByIndexAndByName) {
  for (const CLSID& id : kBuiltIns) {
    const CComPtr<ID2D1Effect> effect = Make(id);
    EXPECT_EQ(Get<CLSID>(*effect, D2D1_PROPERTY_CLSID), id);
    EXPECT_EQ(effect->GetInputCount(), 1u);
    for (UINT32 i = 0; i < effect->GetPropertyCount(); ++i) {
      wchar_t name[64];
      ASSERT_EQ(effect->GetPropertyName(i, name, 64), S_OK);
      EXPECT_EQ(effect->GetPropertyIndex(name), i);
      EXPECT_EQ(effect->GetPropertyNameLength(i), std::wcslen(name));

      // What stands there at the start is the default, and can be set by name.
      std::vector<BYTE> value(effect->GetValueSize(i)), initial(value.size());
      const auto size = static_cast<UINT32>(value.size());
      const D2D1_PROPERTY_TYPE type = effect->GetType(i);
      CComPtr<ID2D1Properties> told;
      ASSERT_EQ(effect->GetSubProperties(i, &told), S_OK);
      EXPECT_EQ(effect->GetValueByName(name, type, value.data(), size), S_OK);
      EXPECT_EQ(told->GetValue(D2D1_SUBPROPERTY_DEFAULT, type, initial.data(), size), S_OK);
      EXPECT_EQ(value, initial);
      EXPECT_EQ(effect->SetValueByName(name, type, value.data(), size), S_OK);
      EXPECT_EQ(Get<BOOL>(*told, D2D1_SUBPROPERTY_ISREADONLY), FALSE);

      // Nothing else is taken: no other type, no other size, no number out of the told range.
      EXPECT_EQ(effect->SetValue(i, D2D1_PROPERTY_TYPE_CLSID, value.data(), size), E_INVALIDARG);
      EXPECT_EQ(effect->SetValue(i, type, value.data(), size - 1), E_INVALIDARG);
      EXPECT_EQ(effect->SetValue(i, type, nullptr, size), E_INVALIDARG);
      if (type == D2D1_PROPERTY_TYPE_ENUM || type == D2D1_PROPERTY_TYPE_UINT32) {
        EXPECT_EQ(Set(*effect, i, Get<UINT32>(*told, D2D1_SUBPROPERTY_MAX) + 1), E_INVALIDARG);
        EXPECT_EQ(Set(*effect, i, Get<UINT32>(*told, D2D1_SUBPROPERTY_MIN) - 1), E_INVALIDARG);
      } else if (type != D2D1_PROPERTY_TYPE_BOOL) {
        std::vector<FLOAT> wrong(size / sizeof(FLOAT), 1.0f);
        for (const FLOAT number : {NAN, INFINITY, -INFINITY}) {
          wrong.back() = number;
          EXPECT_EQ(effect->SetValue(i, type, reinterpret_cast<const BYTE*>(wrong.data()), size),
                    E_INVALIDARG);
        }
      }
      EXPECT_EQ(effect->GetValue(i, type, initial.data(), size), S_OK);
      EXPECT_EQ(value, initial);
    }
    EXPECT_EQ(Set(*effect, effect->GetPropertyCount(), 1.0f), D2DERR_INVALID_PROPERTY);
    EXPECT_EQ(Set(*effect, D2D1_PROPERTY_CLSID, id), E_INVALIDARG);
    EXPECT_EQ(effect->GetPropertyIndex(L"Nothing"), D2D1_INVALID_PROPERTY_INDEX);
  }
}

TEST_F(BuiltInEffects, ColorMatrixSeesStraightColoursOrThePixelAsItIs) {
  const Picture scene = DrawSceneWithAlpha(61, 47);
  const CComPtr<ID2D1Effect> effect = Make(CLSID_D2D1ColorMatrix, scene);
  const D2D1_MATRIX_5X4_F m = {{{0.5f, 0.25f, -0.5f, 0.1f},
                                {1.5f, 0.5f, 0.3f, -0.2f},
                                {-0.75f, 0.1f, 1.25f, 0},
                                {0.2f, 0, -0.1f, 0.75f},
                                {0.1f, -0.2f, 0.3f, 0.15f}}};
  ASSERT_EQ(Set(*effect, D2D1_COLORMATRIX_PROP_COLOR_MATRIX, m, D2D1_PROPERTY_TYPE_MATRIX_5X4),
            S_OK);
  for (const bool straight : {false, true}) {
    for (const BOOL clamp : {FALSE, TRUE}) {
      ASSERT_EQ(Set(*effect, D2D1_COLORMATRIX_PROP_ALPHA_MODE, straight ? 2u : 1u), S_OK);
      ASSERT_EQ(Set(*effect, D2D1_COLORMATRIX_PROP_CLAMP_OUTPUT, clamp), S_OK);
      const auto difference =
          Compare(scene, Show(*effect, 61, 47), [&](const Picture& input, int x, int y) {
            const Pixel& p = input.At(x, y);
            double in[5] = {p[2] / 255.0, p[1] / 255.0, p[0] / 255.0, p[3] / 255.0, 1};
            for (int c = 0; c < 3 && !straight; ++c) in[c] = p[3] ? in[c] / in[3] : 0;
            double out[4] = {};
            for (int column = 0; column < 4; ++column) {
              for (int row = 0; row < 5; ++row) {
                out[column] += in[row] * static_cast<double>(m.m[row][column]);
              }
              if (clamp) out[column] = std::clamp(out[column], 0.0, 1.0);
            }
            const double by = straight ? 1 : out[3];
            const auto cut = [](double value) { return std::clamp(value, 0.0, 1.0); };
            return Color{cut(out[2] * by), cut(out[1] * by), cut(out[0] * by), cut(out[3])};
          });
      EXPECT_FALSE(difference) << straight << clamp << ": " << *difference;
    }
  }
}

TEST_F(BuiltInEffects, AChangeOfTheInputChangesWhatIsMadeOfIt) {
  const struct {
    CLSID id;
    std::array<float, 4> whole, changed;
  } kCases[] = {{CLSID_D2D1ColorMatrix, {0, 0, 20, 10}, {3, 4, 6, 8}},
                {CLSID_D2D1GaussianBlur, {-9, -9, 29, 19}, {-9, -9, 29, 19}}};
  for (const auto& test : kCases) {
    const CComPtr<ID2D1Effect> effect = Make(test.id, DrawScene(20, 10));
    const auto invalid = [&] {
      D2D1_RECT_F rect = {};
      UINT32 count = 0;
      EXPECT_EQ(Context()->GetEffectInvalidRectangleCount(effect, &count), S_OK);
      EXPECT_EQ(Context()->GetEffectInvalidRectangles(effect, &rect, count), S_OK);
      return std::array<float, 4>{rect.left, rect.top, rect.right, rect.bottom};
    };
    EXPECT_EQ(invalid(), test.whole);
    Show(*effect, 20, 10);
    const D2D1_RECT_F changed = {3, 4, 6, 8};
    EXPECT_EQ(Context()->InvalidateEffectInputRectangle(effect, 0, &changed), S_OK);
    EXPECT_EQ(invalid(), test.changed);
  }
}

TEST_F(BuiltInEffects, BorderContinuesAnImageAndIsCutByWhatDrawsIt) {
  Picture row("row", 3, 1);
  row.pixels = {{1, 1, 1, 255}, {2, 2, 2, 255}, {3, 3, 3, 255}};
  const CComPtr<ID2D1Effect> effect = Make(CLSID_D2D1Border, row);
  const std::vector<int> expected[] = {{1, 1, 1, 1, 1, 2, 3, 3, 3, 3, 3},
                                       {3, 1, 2, 3, 1, 2, 3, 1, 2, 3, 1},
                                       {3, 3, 2, 1, 1, 2, 3, 3, 2, 1, 1}};
  for (const UINT32 mode : {0u, 1u, 2u}) {
    ASSERT_EQ(Set(*effect, D2D1_BORDER_PROP_EDGE_MODE_X, mode), S_OK);
    ASSERT_EQ(Set(*effect, D2D1_BORDER_PROP_EDGE_MODE_Y, 2 - mode), S_OK);
    const Picture shown = Show(*effect, 11, 5, -4, -2);
    for (int y = 0; y < 5; ++y) {
      for (int x = 0; x < 11; ++x) {
        EXPECT_EQ(shown.At(x, y)[0], expected[mode][static_cast<std::size_t>(x)])
            << mode << " " << x << "," << y;
      }
    }
    // Far away the image is still there: 3 million is a multiple of 3.
    EXPECT_EQ(Show(*effect, 2, 1, 3e6f, -3e6f).At(1, 0)[0], mode == 0 ? 3 : 2) << mode;
  }
  const D2D1_RECT_F bounds = Bounds(*effect);
  EXPECT_EQ(bounds.left, -FLT_MAX);
  EXPECT_EQ(bounds.bottom, FLT_MAX);
}

TEST_F(BuiltInEffects, AnImageWithoutBoundGoesThroughOtherEffectsAndTransforms) {
  const Picture scene = DrawScene(40, 30);
  const CComPtr<ID2D1Effect> border = Make(CLSID_D2D1Border, scene);
  ASSERT_EQ(Set(*border, D2D1_BORDER_PROP_EDGE_MODE_X, 1u), S_OK);
  ASSERT_EQ(Set(*border, D2D1_BORDER_PROP_EDGE_MODE_Y, 1u), S_OK);
  CComPtr<ID2D1Image> output;
  border->GetOutput(&output);
  const CComPtr<ID2D1Effect> matrix = Make(CLSID_D2D1ColorMatrix);
  matrix->SetInput(0, output, TRUE);
  VantraFx::Posterize posterize;
  ASSERT_TRUE(posterize.Create(&device_));
  CComPtr<ID2D1Image> middle;
  matrix->GetOutput(&middle);
  posterize.GetEffect()->SetInput(0, middle, TRUE);
  const auto wrapped = [&](int x, int y) -> const Pixel& { return scene.At(x % 40, y % 30); };
  const Picture shown = Show(*posterize.GetEffect(), 90, 70, 37, 29);
  EXPECT_EQ(result_, S_OK);
  for (int y = 0; y < 70; ++y) {
    for (int x = 0; x < 90; ++x) {
      const double step = std::floor(wrapped(x + 37, y + 29)[1] / 255.0 * 10 + 0.5) / 10;
      ASSERT_NEAR(shown.At(x, y)[1], step * 255, kRounding) << x << "," << y;
    }
  }

  // Made smaller by a half, each pixel is the mean of four; the same with every interpolation
  // that reads only what the target shows.
  const Picture half = Draw(Picture("target", 60, 50), [&] {
    const D2D1_MATRIX_3X2_F scale = {0.5f, 0, 0, 0.5f, 0, 0};
    Context()->SetTransform(&scale);
    Context()->DrawImage(middle, nullptr, nullptr, D2D1_INTERPOLATION_MODE_MULTI_SAMPLE_LINEAR,
                         D2D1_COMPOSITE_MODE_SOURCE_OVER);
    const D2D1_MATRIX_3X2_F identity = {1, 0, 0, 1, 0, 0};
    Context()->SetTransform(&identity);
  });
  EXPECT_EQ(result_, S_OK);
  for (int y = 0; y < 50; ++y) {
    for (int x = 0; x < 60; ++x) {
      const int sum = wrapped(2 * x, 2 * y)[2] + wrapped(2 * x + 1, 2 * y)[2] +
                      wrapped(2 * x, 2 * y + 1)[2] + wrapped(2 * x + 1, 2 * y + 1)[2];
      ASSERT_NEAR(half.At(x, y)[2], sum / 4.0, kFilterAndRounding) << x << "," << y;
    }
  }
}

TEST_F(BuiltInEffects, TransformSamplesAnImageInPerspective) {
  const Picture scene = DrawScene(64, 48);
  const CComPtr<ID2D1Effect> effect = Make(CLSID_D2D13DTransform, scene);
  // x' = (1.5 x + 10.03) / w, y' = (1.25 y + 0.2 x + 5.02) / w with w = 1 + x / 100.
  const D2D1_MATRIX_4X4_F matrix = {1.5f, 0.2f, 0, 0.01f, 0,      1.25f, 0, 0,
                                    0,    0,    1, 0,     10.03f, 5.02f, 0, 1};
  ASSERT_EQ(Set(*effect, D2D1_3DTRANSFORM_PROP_TRANSFORM_MATRIX, matrix), S_OK);
  ASSERT_EQ(Set(*effect, D2D1_3DTRANSFORM_PROP_BORDER_MODE, 1u), S_OK);
  Expectation expectation = {.image = &scene,
                             .to_image =
                                 [](double x, double y) {
                                   const double u = (x - 10.03) / (1.5 - x / 100);
                                   return Place{u, (y * (1 + u / 100) - 0.2 * u - 5.02) / 1.25};
                                 },
                             .part = {0, 0, 64, 48},
                             .coverage = {}};
  const struct {
    UINT32 mode;
    Tolerance tolerance;
  } modes[] = {{0, {0, ""}},
               {1, {1, "devices filter with eight bits of a pixel"}},
               {2, {0, ""}},
               {3, {1, "devices filter with eight bits of a pixel"}}};
  const Picture empty("target", 100, 70);
  for (const auto& [mode, tolerance] : modes) {
    ASSERT_EQ(Set(*effect, D2D1_3DTRANSFORM_PROP_INTERPOLATION_MODE, mode), S_OK);
    expectation.interpolation = static_cast<D2D1_INTERPOLATION_MODE>(mode);
    Check(expectation, empty, Show(*effect, 100, 70), tolerance, std::to_string(mode));
  }
  // Its other ways are those of a bitmap that is drawn in perspective.
  for (const UINT32 border : {0u, 1u}) {
    ASSERT_EQ(Set(*effect, D2D1_3DTRANSFORM_PROP_INTERPOLATION_MODE, 4u), S_OK);
    ASSERT_EQ(Set(*effect, D2D1_3DTRANSFORM_PROP_BORDER_MODE, border), S_OK);
    const Picture drawn = Draw(empty, [&] {
      Context()->SetAntialiasMode(static_cast<D2D1_ANTIALIAS_MODE>(border));
      Context()->DrawBitmap(input_.GetBitmap(), nullptr, 1, D2D1_INTERPOLATION_MODE_ANISOTROPIC,
                            nullptr, &matrix);
      Context()->SetAntialiasMode(D2D1_ANTIALIAS_MODE_PER_PRIMITIVE);
    });
    EXPECT_EQ(Show(*effect, 100, 70).pixels, drawn.pixels) << border;
  }
  const D2D1_RECT_F bounds = Bounds(*effect);
  // The corners (0, 0), (64, 0), (0, 48) and (64, 48).
  EXPECT_NEAR(bounds.left, 10, kSoftBounds);
  EXPECT_NEAR(bounds.right, 106 / 1.64, kSoftBounds);
  EXPECT_NEAR(bounds.top, 5, kSoftBounds);
  EXPECT_NEAR(bounds.bottom, 65, kSoftBounds);
}

TEST_F(BuiltInEffects, TransformsThatGrowBeyondATextureOrVanishAreCut) {
  const Picture scene = DrawScene(16, 16);
  const CComPtr<ID2D1Effect> effect = Make(CLSID_D2D13DTransform, scene);
  // A thousand times larger, seen at a place in the middle.
  const D2D1_MATRIX_4X4_F large = {2000, 0, 0, 0, 0, 2000, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  ASSERT_EQ(Set(*effect, D2D1_3DTRANSFORM_PROP_TRANSFORM_MATRIX, large), S_OK);
  ASSERT_EQ(Set(*effect, D2D1_3DTRANSFORM_PROP_INTERPOLATION_MODE, 0u), S_OK);
  EXPECT_EQ(Bounds(*effect).right, 32000);
  EXPECT_EQ(Show(*effect, 4, 4, 20500, 11500).At(1, 2), scene.At(10, 5));
  EXPECT_EQ(result_, S_OK);
  // An edge-on image, and one with the eye inside, give nothing and less than everything.
  for (const D2D1_MATRIX_4X4_F& matrix :
       {D2D1_MATRIX_4X4_F{1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, D2D1_MATRIX_4X4_F{}}) {
    ASSERT_EQ(Set(*effect, D2D1_3DTRANSFORM_PROP_TRANSFORM_MATRIX, matrix), S_OK);
    EXPECT_EQ(Show(*effect, 4, 4).At(1, 2), Pixel{});
    EXPECT_EQ(result_, S_OK);
  }
  D2D1_MATRIX_4X4_F vast = large;
  vast._22 = 16777218;
  EXPECT_EQ(Set(*effect, D2D1_3DTRANSFORM_PROP_TRANSFORM_MATRIX, vast), E_INVALIDARG);
  const D2D1_MATRIX_4X4_F behind = {1, 0, 0, -0.1f, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  ASSERT_EQ(Set(*effect, D2D1_3DTRANSFORM_PROP_TRANSFORM_MATRIX, behind), S_OK);
  EXPECT_EQ(Show(*effect, 4, 4).At(0, 0), scene.At(0, 0));
  EXPECT_EQ(result_, S_OK);
}

}  // namespace
}  // namespace Vantra
