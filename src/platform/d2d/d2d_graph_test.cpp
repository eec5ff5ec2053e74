#include <vantrix/platform/d2d1effectauthor.h>

#include <deque>

#include "platform/com/com_object.h"
#include "platform/d2d/drawing_reference.h"

extern "C" {
extern const unsigned char vantrix_test_mean[];
extern const unsigned char vantrix_test_mean_end[];
}

namespace Vantra {
namespace {

using namespace Testing;

// An effect of two inputs that counts its renders. It tells that it reads 2 pixels around.
class Mean final
    : public Platform::ComObject<
          ID2D1EffectImpl,
          Platform::Implements<ID2D1DrawTransform, ID2D1Transform, ID2D1TransformNode>> {
 public:
  static constexpr GUID kId = {0x3EA4, 1, 2, {}};
  static int s_renders;

  static HRESULT Make(IUnknown** effect) {
    *effect = static_cast<ID2D1EffectImpl*>(Platform::MakeCom<Mean>().Detach());
    return S_OK;
  }

  HRESULT Initialize(ID2D1EffectContext* context, ID2D1TransformGraph* graph) override {
    const HRESULT result = context->LoadPixelShader(
        kId, vantrix_test_mean, static_cast<UINT32>(vantrix_test_mean_end - vantrix_test_mean));
    return FAILED(result) ? result
                          : graph->SetSingleTransformNode(static_cast<ID2D1DrawTransform*>(this));
  }
  HRESULT PrepareForRender(D2D1_CHANGE_TYPE) override {
    ++s_renders;
    return S_OK;
  }
  HRESULT SetGraph(ID2D1TransformGraph*) override { return E_NOTIMPL; }
  UINT32 GetInputCount() const override { return 2; }
  HRESULT MapOutputRectToInputRects(const RECT* output, RECT* inputs, UINT32 count) const override {
    std::fill_n(inputs, count,
                RECT{output->left - 2, output->top - 2, output->right + 2, output->bottom + 2});
    return S_OK;
  }
  HRESULT MapInputRectsToOutputRect(const RECT* inputs, const RECT*, UINT32, RECT* output,
                                    RECT* opaque) override {
    *output = inputs[0];
    *opaque = {};
    return S_OK;
  }
  HRESULT MapInvalidRect(UINT32, RECT invalid, RECT* output) const override {
    *output = {invalid.left - 2, invalid.top - 2, invalid.right + 2, invalid.bottom + 2};
    return S_OK;
  }
  HRESULT SetDrawInfo(ID2D1DrawInfo* info) override {
    return info->SetPixelShader(kId, D2D1_PIXEL_OPTIONS_NONE);
  }
};

int Mean::s_renders = 0;

class Graph : public DrawingFixture {
 protected:
  void SetUp() override {
    DrawingFixture::SetUp();
    ASSERT_EQ(device_.GetD2DFactory()->RegisterEffectFromString(
                  Mean::kId, L"<Effect><Inputs><Input/><Input/></Inputs></Effect>", nullptr, 0,
                  Mean::Make),
              S_OK);
    Mean::s_renders = 0;
  }

  CComPtr<ID2D1Effect> MakeMean() {
    CComPtr<ID2D1Effect> effect;
    EXPECT_EQ(Context()->CreateEffect(Mean::kId, &effect), S_OK);
    return effect;
  }
  static CComPtr<ID2D1Image> OutputOf(ID2D1Effect* effect) {
    CComPtr<ID2D1Image> output;
    effect->GetOutput(&output);
    return output;
  }
  void Connect(ID2D1Effect* effect, ID2D1Image* first, ID2D1Image* second) {
    effect->SetInput(0, first, TRUE);
    effect->SetInput(1, second, TRUE);
  }
  void DrawWhole(ID2D1Image* image) {
    Context()->DrawImage(image, nullptr, nullptr, D2D1_INTERPOLATION_MODE_LINEAR,
                         D2D1_COMPOSITE_MODE_SOURCE_COPY);
  }
};

Picture OneColor(std::uint8_t value) {
  Picture picture("one colour", 6, 5);
  std::fill(picture.pixels.begin(), picture.pixels.end(), Pixel{value, value, value, 255});
  return picture;
}

TEST_F(Graph, ANodeThatFeedsSeveralIsRenderedOnce) {
  // Five diamonds on top of each other: 32 ways from the top to the bitmap.
  Bitmap bitmap;
  Upload(bitmap, OneColor(100));
  CComPtr<ID2D1Image> below = CComPtr<ID2D1Image>(bitmap.GetBitmap());
  std::deque<CComPtr<ID2D1Effect>> effects;
  for (int i = 0; i < 5; ++i) {
    effects.push_back(MakeMean());
    Connect(effects.back(), below, below);
    below = OutputOf(effects.back());
  }
  const Picture result = Draw(OneColor(0), [&] { DrawWhole(below); });
  EXPECT_EQ(result_, S_OK);
  EXPECT_EQ(Mean::s_renders, 5);
  EXPECT_EQ(result.pixels, OneColor(100).pixels);

  // Two outputs of one session share what feeds them; each drawing renders it for itself.
  Mean::s_renders = 0;
  Bitmap other;
  Upload(other, OneColor(200));
  CComPtr<ID2D1Effect> left = MakeMean(), right = MakeMean(), top = MakeMean();
  Connect(left, OutputOf(effects[0]), other.GetBitmap());
  Connect(right, OutputOf(effects[0]), OutputOf(left));
  Connect(top, OutputOf(left), OutputOf(right));
  // 100 and 200 give 150, with 100 that is 125, and with 150 again 137.5.
  const Picture diamond = Draw(OneColor(0), [&] { DrawWhole(OutputOf(top)); });
  EXPECT_EQ(Mean::s_renders, 4);
  EXPECT_NEAR(diamond.At(3, 3)[0], 137.5, 0.6);
}

TEST_F(Graph, ALongChainIsDrawnAndDestroyed) {
  std::deque<VantraFx::Posterize> effects(200);
  Bitmap bitmap;
  const Picture scene = DrawSceneWithAlpha(16, 16);
  Upload(bitmap, scene);
  Effect* last = nullptr;
  for (VantraFx::Posterize& effect : effects) {
    ASSERT_TRUE(effect.Create(&device_));
    if (last) {
      effect.SetInput(0, last);
    } else {
      effect.SetInput(0, &bitmap);
    }
    last = &effect;
  }
  const Picture result =
      Draw(Picture("black", 16, 16), [&] { DrawWhole(OutputOf(last->GetEffect())); });
  EXPECT_EQ(result_, S_OK);
  // What has its few values keeps them.
  VantraFx::Posterize once, twice;
  ASSERT_TRUE(once.Create(&device_) && twice.Create(&device_));
  const Picture first = Run(once, scene);
  const Picture second = Run(twice, first);
  ASSERT_EQ(first.pixels, second.pixels);
  EXPECT_EQ(result.pixels, first.pixels);
}

TEST_F(Graph, AnInputMayChangeBetweenDrawingsAndBecomeATarget) {
  Bitmap a, b;
  Upload(a, OneColor(40));
  Upload(b, OneColor(80));
  CComPtr<ID2D1Effect> mean = MakeMean();
  Connect(mean, a.GetBitmap(), b.GetBitmap());
  const CComPtr<ID2D1Image> output = OutputOf(mean);
  const Picture result = Draw(OneColor(0), [&] {
    CComPtr<ID2D1Image> target;
    Context()->GetTarget(&target);
    DrawWhole(output);
    // The input is drawn over, and the effect sees what is there now.
    const D2D1_COLOR_F white = {1, 1, 1, 1};
    Context()->SetTarget(a.GetBitmap());
    Context()->Clear(&white);
    Context()->SetTarget(target);
    const D2D1_POINT_2F right = {3, 0};
    Context()->DrawImage(output, &right, nullptr, D2D1_INTERPOLATION_MODE_LINEAR,
                         D2D1_COMPOSITE_MODE_BOUNDED_SOURCE_COPY);
    mean->SetInput(1, a.GetBitmap(), TRUE);
    const D2D1_POINT_2F further = {5, 0};
    Context()->DrawImage(output, &further, nullptr, D2D1_INTERPOLATION_MODE_LINEAR,
                         D2D1_COMPOSITE_MODE_BOUNDED_SOURCE_COPY);
  });
  EXPECT_EQ(result_, S_OK);
  EXPECT_EQ(result.At(2, 2)[0], 60);
  EXPECT_NEAR(result.At(4, 2)[0], (255 + 80) / 2.0, 0.6);
  EXPECT_EQ(result.At(5, 2)[0], 255);
}

TEST_F(Graph, ChangesAreToldUntilTheyAreDrawn) {
  Bitmap bitmap;
  Upload(bitmap, DrawScene(20, 10));
  CComPtr<ID2D1Effect> first = MakeMean(), second = MakeMean();
  UINT32 count = 9;
  EXPECT_EQ(Context()->GetEffectInvalidRectangleCount(first, &count),
            D2DERR_INVALID_GRAPH_CONFIGURATION);
  Connect(first, bitmap.GetBitmap(), bitmap.GetBitmap());
  Connect(second, OutputOf(first), bitmap.GetBitmap());
  const auto invalid = [&](ID2D1Effect* effect) {
    D2D1_RECT_F rect = {};
    EXPECT_EQ(Context()->GetEffectInvalidRectangleCount(effect, &count), S_OK);
    EXPECT_EQ(Context()->GetEffectInvalidRectangles(effect, &rect, count), S_OK);
    return std::array<float, 4>{rect.left, rect.top, rect.right, rect.bottom};
  };
  using Edges = std::array<float, 4>;
  EXPECT_EQ(invalid(second), (Edges{0, 0, 20, 10}));
  Draw(DrawScene(20, 10), [&] { DrawWhole(OutputOf(second)); });
  EXPECT_EQ(invalid(second), Edges{});
  EXPECT_EQ(count, 0u);
  const D2D1_RECT_F changed = {9, 4, 10.5f, 5};
  EXPECT_EQ(Context()->InvalidateEffectInputRectangle(first, 1, &changed), S_OK);
  EXPECT_EQ(invalid(first), (Edges{7, 2, 13, 7}));
  // The second effect reads around what the first has changed, and ends where the image ends.
  EXPECT_EQ(invalid(second), (Edges{5, 0, 15, 9}));
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(Context()->GetEffectInvalidRectangles(second, nullptr, 0), E_INVALIDARG);
  Draw(DrawScene(20, 10), [&] { DrawWhole(OutputOf(second)); });
  EXPECT_EQ(invalid(first), Edges{});
  EXPECT_EQ(Context()->InvalidateEffectInputRectangle(second, 0, nullptr), S_OK);
  EXPECT_EQ(invalid(second), (Edges{0, 0, 20, 10}));
  EXPECT_EQ(Context()->InvalidateEffectInputRectangle(second, 2, nullptr), E_INVALIDARG);
  EXPECT_EQ(Context()->InvalidateEffectInputRectangle(nullptr, 0, nullptr), E_INVALIDARG);
  EXPECT_EQ(Context()->GetEffectInvalidRectangleCount(second, nullptr), E_POINTER);
}

TEST_F(Graph, ADrawnPartNeedsPartsOfTheInputs) {
  Bitmap bitmap;
  Upload(bitmap, DrawScene(40, 30));
  CComPtr<ID2D1Effect> bottom = MakeMean(), middle = MakeMean(), top = MakeMean(),
                       other = MakeMean();
  Connect(bottom, bitmap.GetBitmap(), bitmap.GetBitmap());
  Connect(middle, OutputOf(bottom), bitmap.GetBitmap());
  Connect(top, OutputOf(middle), OutputOf(bottom));
  const D2D1_RECT_F all = {-100, -100, 100, 100};
  const D2D1_EFFECT_INPUT_DESCRIPTION inputs[] = {
      {top, 0, all}, {middle, 1, all}, {bottom, 0, {0, 0, 12, 40}}, {other, 0, all}};
  D2D1_RECT_F needed[4];
  const D2D1_RECT_F part = {10, 10, 12, 14.5f};
  ASSERT_EQ(Context()->GetEffectRequiredInputRectangles(top, &part, inputs, needed, 4), S_OK);
  const auto edges = [](const D2D1_RECT_F& r) {
    return std::array<float, 4>{r.left, r.top, r.right, r.bottom};
  };
  using Edges = std::array<float, 4>;
  EXPECT_EQ(edges(needed[0]), (Edges{8, 8, 14, 17}));
  EXPECT_EQ(edges(needed[1]), (Edges{6, 6, 16, 19}));
  // Over the longer way three times 2 pixels, within the description.
  EXPECT_EQ(edges(needed[2]), (Edges{4, 4, 12, 21}));
  EXPECT_EQ(edges(needed[3]), Edges{});
  ASSERT_EQ(Context()->GetEffectRequiredInputRectangles(top, nullptr, inputs, needed, 1), S_OK);
  EXPECT_EQ(edges(needed[0]), (Edges{-2, -2, 42, 32}));
  const D2D1_EFFECT_INPUT_DESCRIPTION beyond = {top, 2, all};
  EXPECT_EQ(Context()->GetEffectRequiredInputRectangles(top, &part, &beyond, needed, 1),
            E_INVALIDARG);
  EXPECT_EQ(Context()->GetEffectRequiredInputRectangles(top, &part, nullptr, needed, 1), E_POINTER);
  EXPECT_EQ(Context()->GetEffectRequiredInputRectangles(other, &part, inputs, needed, 1),
            D2DERR_INVALID_GRAPH_CONFIGURATION);
}

}  // namespace
}  // namespace Vantra
