#include <vantrix/sundrix/logger.h>

#include "tests/harness/device_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;

constexpr GUID kUnknownId = {0xBADBAD00, 1, 2, {3}};

// Notes which hooks run.
class HookedEffect final : public Effect {
 public:
  using Effect::Effect;

  std::vector<std::string> steps;
  GUID seen_id = GUID_NULL;

  void OnInitialize() override { steps.push_back("initialize"); }
  void OnSetDefaultParameters() override { steps.push_back("defaults"); }
  void OnUpdateParameters() override { steps.push_back("update"); }
  void OnSetImageDimension() override {
    steps.push_back(std::to_string(GetImageWidth()) + "x" + std::to_string(GetImageHeight()));
  }
  void OnSetInput(unsigned index, Bitmap* bitmap) override {
    steps.push_back((bitmap ? "bitmap " : "no bitmap ") + std::to_string(index));
  }
  void OnSetInput(unsigned index, ID2D1Effect* effect) override {
    steps.push_back(std::string(effect == GetEffect() ? "own" : "other") + " effect " +
                    std::to_string(index));
  }
};

const GUID& PosterizeId() { return VantraFx::Posterize::GetEffectGUID(); }

class Effects : public DeviceFixture {
 protected:
  void SetUp() override {
    DeviceFixture::SetUp();
    sundrix::Logger::GetInstance().SetSink(
        [this](sundrix::log_severity_level level, const std::string& message, const char* function,
               const char*,
               int) { log_.push_back(std::to_string(level) + " " + message + " " + function); });
  }
  void TearDown() override {
    sundrix::Logger::GetInstance().SetSink({});
    DeviceFixture::TearDown();
  }

  bool Registered(Effect& effect) {
    return device_.GetContext()->GetResourceFactory().Contains(
        dynamic_cast<ResourceContext*>(effect.GetContext()));
  }

  using Steps = std::vector<std::string>;
  Steps log_;
};

TEST_F(Effects, AreMadeByNameOrIdAndEachTimeAnew) {
  EffectFactory& factory = device_.GetEffectFactory();
  const auto by_name = factory.CreateEffectByID(L"clsid_POSTERIZE");
  const auto by_id = factory.CreateEffectByID(PosterizeId());
  ASSERT_TRUE(by_name && by_id);
  EXPECT_NE(by_name, by_id);
  EXPECT_TRUE(dynamic_cast<VantraFx::Posterize*>(by_name.get()));
  EXPECT_TRUE(dynamic_cast<VantraFx::Posterize*>(by_id.get()));
  EXPECT_TRUE(by_name->IsEmpty());
  for (const wchar_t* name :
       {L"", L"CLSID_", L"Posterize", L"CLSID_Posterize2", L" CLSID_Posterize"}) {
    EXPECT_FALSE(factory.CreateEffectByID(std::wstring(name))) << name;
  }
  EXPECT_FALSE(factory.CreateEffectByID(kUnknownId));
}

TEST_F(Effects, CreationRunsTheHooksInOrderAndTakesTheDevicesSize) {
  HookedEffect effect(PosterizeId());
  EXPECT_TRUE(effect.Create(&device_));
  EXPECT_EQ(effect.steps, (Steps{"initialize", "defaults", "update"}));
  EXPECT_TRUE(Registered(effect));
  EXPECT_EQ(Effect::GetCurrentEffect(), nullptr);
  effect.steps.clear();
  effect.SetDefaultParameters();
  effect.SetImageDimension(5, 6);
  effect.SetImageDimension(5, 6);
  EXPECT_EQ(effect.steps, (Steps{"defaults", "update", "5x6", "5x6"}));
  EXPECT_FALSE(effect.SetMousePosition(0.5f, 0.5f));
  EXPECT_EQ(effect.GetXmlAttributes(), "");
}

TEST_F(Effects, AnEffectWithoutAnIdFailsSilentlyAndAnUnknownOneIsLogged) {
  HookedEffect none;
  EXPECT_FALSE(none.Create(&device_));
  EXPECT_FALSE(Registered(none));
  EXPECT_TRUE(log_.empty());

  HookedEffect unknown(kUnknownId);
  EXPECT_FALSE(unknown.Create(&device_));
  EXPECT_EQ(log_, Steps{"4 Create effect Failed! Vantra::EffectContext::Restore"});
  EXPECT_EQ(Effect::GetCurrentEffect(), nullptr);
  EXPECT_TRUE(unknown.steps.empty());
}

TEST_F(Effects, AnIdCanBeChangedBeforeAndAfterCreation) {
  HookedEffect effect;
  effect.SetEffectID(PosterizeId());
  EXPECT_TRUE(effect.IsEmpty());
  ASSERT_TRUE(effect.Create(&device_));
  ID2D1Effect* first = effect.GetEffect();
  effect.steps.clear();
  effect.SetEffectID(PosterizeId());
  EXPECT_EQ(effect.GetEffect(), first);
  EXPECT_TRUE(effect.steps.empty());
  effect.SetEffectID(kUnknownId);
  EXPECT_EQ(effect.GetEffect(), nullptr);
  EXPECT_EQ(log_.size(), 1u);
  effect.SetEffectID(PosterizeId());
  EXPECT_NE(effect.GetEffect(), nullptr);
  EXPECT_EQ(effect.steps, (Steps{"initialize", "defaults", "update"}));
}

TEST_F(Effects, InputsTellTheirHookWhatWasSet) {
  HookedEffect effect(PosterizeId());
  HookedEffect other(PosterizeId());
  Bitmap bitmap;
  effect.SetInput(0, &bitmap);
  EXPECT_TRUE(effect.steps.empty());

  ASSERT_TRUE(effect.Create(&device_) && other.Create(&device_));
  Upload(bitmap, DrawScene(4, 4));
  effect.steps.clear();
  CComPtr<ID2D1Image> input;
  effect.SetInput(0, &bitmap);
  effect.GetEffect()->GetInput(0, &input);
  EXPECT_EQ(input, bitmap.GetBitmap());
  input.Release();
  effect.SetInput(0, static_cast<Bitmap*>(nullptr), 1);
  effect.GetEffect()->GetInput(0, &input);
  EXPECT_EQ(input, nullptr);
  effect.SetInput(0, static_cast<Effect*>(nullptr), 1);
  effect.SetInput(0, &other);
  HookedEffect empty;
  effect.SetInput(0, &empty);
  EXPECT_EQ(effect.steps, (Steps{"bitmap 0", "no bitmap 0", "own effect 0"}));
}

TEST_F(Effects, ThePropertyPassThroughHasItsResultsWithAndWithoutAPlatformEffect) {
  HookedEffect effect(PosterizeId());
  unsigned char data[64];
  wchar_t name[16];
  ID2D1Properties* properties = nullptr;
  EXPECT_EQ(effect.GetInputCount(), 0u);
  EXPECT_EQ(effect.GetPropertyCount(), 0u);
  EXPECT_EQ(effect.GetPropertyName(0, name, 16), E_FAIL);
  EXPECT_EQ(effect.GetPropertyNameLength(0), 0u);
  EXPECT_EQ(effect.GetType(0), 0u);
  EXPECT_EQ(effect.GetPropertyIndex(L"DisplayName"), 0xFFFFFFFFu);
  EXPECT_EQ(effect.SetValueByName(L"X", data, 4), E_FAIL);
  EXPECT_EQ(effect.SetValue(0, data, 4), E_FAIL);
  EXPECT_EQ(effect.GetValueByName(L"X", data, 4), E_FAIL);
  EXPECT_EQ(effect.GetValue(0, data, 4), E_FAIL);
  EXPECT_EQ(effect.GetValueSize(0), 0xFFFFFFFFu);
  EXPECT_EQ(effect.GetSubProperties(0, &properties), E_FAIL);

  ASSERT_TRUE(effect.Create(&device_));
  EXPECT_EQ(effect.GetInputCount(), 1u);
  const unsigned index = effect.GetPropertyIndex(L"DisplayName");
  EXPECT_EQ(index, static_cast<unsigned>(D2D1_PROPERTY_DISPLAYNAME));
  EXPECT_EQ(effect.GetType(index), D2D1_PROPERTY_TYPE_STRING);
  EXPECT_EQ(effect.GetPropertyNameLength(index), 11u);
  EXPECT_EQ(effect.GetPropertyName(static_cast<int>(index), name, 11),
            HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(effect.GetPropertyName(static_cast<int>(index), name, 12), S_OK);
  EXPECT_STREQ(name, L"DisplayName");
  EXPECT_EQ(effect.GetValueSize(static_cast<int>(index)), 10 * sizeof(wchar_t));
  EXPECT_EQ(effect.GetValue(index, data, sizeof(data)), S_OK);
  EXPECT_STREQ(reinterpret_cast<wchar_t*>(data), L"Posterize");
  EXPECT_EQ(effect.GetValue(index, D2D1_PROPERTY_TYPE_BOOL, data, sizeof(data)), E_INVALIDARG);
  EXPECT_EQ(effect.GetValueByName(L"CLSID", data, sizeof(GUID)), S_OK);
  EXPECT_EQ(std::memcmp(data, &PosterizeId(), sizeof(GUID)), 0);
  EXPECT_EQ(effect.SetValue(index, data, 4), E_INVALIDARG);
  EXPECT_EQ(effect.SetValueByName(L"Nothing", data, 4), D2DERR_INVALID_PROPERTY);
  EXPECT_EQ(effect.GetSubProperties(index, &properties), D2DERR_NO_SUBPROPERTIES);
}

TEST_F(Effects, NamesMatchWithoutCaseAndNeverWhenEmpty) {
  EXPECT_TRUE(Effect::IsAttribute(L"Amout", L"aMOUT"));
  EXPECT_FALSE(Effect::IsAttribute(L"Amout", L"Amou"));
  EXPECT_FALSE(Effect::IsAttribute(L"", L""));
  EXPECT_FALSE(Effect::IsAttribute(nullptr, nullptr));
  EXPECT_FALSE(Effect::IsAttribute(L"A", nullptr));
}

TEST_F(Effects, AttributesReachTheShaderByTextAndByNumber) {
  VantraFx::Posterize effect;
  Set(effect, L"Amout", L"3");
  EXPECT_EQ(Get(effect, L"Amout"), L"untouched");
  ASSERT_TRUE(effect.Create(&device_));
  EXPECT_EQ(Get(effect, L"Amout"), L"10");
  Set(effect, L"AMOUT", L"7.5");
  EXPECT_EQ(Get(effect, L"amout"), L"8");
  EXPECT_THROW(Set(effect, L"Amout", L"many"), std::invalid_argument);
  EXPECT_EQ(Get(effect, L"Amout"), L"8");
  Set(effect, L"Unknown", L"1");
  EXPECT_EQ(Get(effect, L"Unknown"), L"untouched");
  effect.SetAttribute(L"Amout", 1000.0f);
  EXPECT_EQ(Get(effect, L"Amout"), L"1000");
  effect.SetAmout(4);
  EXPECT_EQ(Get(effect, L"Amout"), L"1000");
  effect.Destroy();
  Set(effect, L"Amout", L"3");
  EXPECT_EQ(Get(effect, L"Amout"), L"untouched");
}

TEST_F(Effects, ApplyKeepsTheTargetAndClearsOnlyWhenAsked) {
  VantraFx::Posterize effect;
  ASSERT_TRUE(effect.Create(&device_));
  const Picture scene = DrawSceneWithAlpha(8, 8);
  Bitmap input, small, large;
  Upload(input, scene);
  Upload(large, DrawNoise(16, 16, 3));
  Prepare(small, 4, 4);
  effect.SetInput(0, &input);
  effect.SetBackgroundColor({0, 0, 1, 1});

  device_.BeginDraw(&small, {1, 1, 1, 1});
  CComPtr<ID2D1Image> target;
  device_.GetD2DDeviceContext()->GetTarget(&target);
  const D2D_POINT_2F offset = {8, 8};
  effect.Apply(&large, &offset);
  CComPtr<ID2D1Image> after;
  device_.GetD2DDeviceContext()->GetTarget(&after);
  EXPECT_EQ(after, target);
  device_.EndDrawNoCallback();
  EXPECT_EQ(Read(large).At(0, 0), (Pixel{255, 0, 0, 255}));
  EXPECT_EQ(Read(small).At(3, 3), (Pixel{255, 255, 255, 255}));

  effect.SetClearBackground(0);
  device_.BeginDraw(nullptr, {0, 0, 0, 0});
  const D2D_RECT_F part = {0, 0, 1, 1};
  effect.Apply(&large, nullptr, &part);
  device_.EndDrawNoCallback();
  EXPECT_EQ(Read(large).At(1, 1), (Pixel{255, 0, 0, 255}));
}

TEST_F(Effects, AChainDrawsTheSecondOverTheFirstAndFollowsChangedInputs) {
  VantraFx::Posterize coarse, fine;
  ASSERT_TRUE(coarse.Create(&device_) && fine.Create(&device_));
  Set(coarse, L"Amout", L"3");
  Set(fine, L"Amout", L"7");
  const Picture scene = DrawSceneWithAlpha(31, 17);
  const Picture once = Run(coarse, scene);
  const Picture expected = Run(fine, once);

  Bitmap input, output;
  Upload(input, scene);
  Prepare(output, 31, 17);
  coarse.SetInput(0, &input);
  fine.SetInput(0, &coarse);
  device_.BeginDraw(nullptr, {0, 0, 0, 0});
  fine.Apply(&output);
  device_.EndDrawNoCallback();
  EXPECT_EQ(Read(output).pixels, expected.pixels);

  // The same chain after its source was replaced by what it had drawn.
  coarse.SetInput(0, &output);
  Bitmap second;
  Prepare(second, 31, 17);
  device_.BeginDraw(nullptr, {0, 0, 0, 0});
  fine.Apply(&second);
  device_.EndDrawNoCallback();
  EXPECT_EQ(Read(second).pixels, Run(fine, Run(coarse, expected)).pixels);
}

}  // namespace
}  // namespace Vantra
