#include <vantrix/platform/engine.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <span>

#include "tests/harness/device_fixture.h"
#include "tests/harness/engine_under_test.h"

// Thirds of all three registers on white, from the engine's test programs.
extern "C" const BYTE vantrix_test_registers[];
extern "C" const BYTE vantrix_test_registers_end[];
// The functions that the catalogue's programs share.
extern "C" const BYTE vantrix_test_formula[];
extern "C" const BYTE vantrix_test_formula_end[];

namespace Vantra {
namespace {

using namespace Testing;

constexpr GUID kEffectId = {0x7E57E57E, 1, 2, {3, 4, 5}};
constexpr GUID kShaderId = {0x7E57E57E, 1, 2, {6}};

// A shader with a program of the test's own; it keeps the last one made for the test to look at.
class TestShader final : public EffectShaderBase {
 public:
  static inline TestShader* s_last = nullptr;
  static inline bool s_set_up = true;
  static inline std::span<const BYTE> s_program;

  TestShader() { s_last = this; }

  static HRESULT Make(IUnknown** effect) {
    *effect = static_cast<ID2D1EffectImpl*>(new TestShader);
    return S_OK;
  }

  HRESULT Initialize(ID2D1EffectContext* context, ID2D1TransformGraph* graph) override {
    const wchar_t* const textures[] = {L"IDR_NO_SUCH_TEXTURE"};
    HRESULT result = InitializeShader(context, graph, textures, L"IDR_NO_SUCH_SHADER", kShaderId);
    EXPECT_EQ(result, S_OK);
    if (!s_set_up) return result;
    result = context->LoadPixelShader(kShaderId, s_program.data(),
                                      static_cast<UINT32>(s_program.size()));
    return FAILED(result) ? result
                          : graph->SetSingleTransformNode(static_cast<ID2D1DrawTransform*>(this));
  }
  HRESULT SetDrawInfo(ID2D1DrawInfo* drawInfo) override {
    return SelectShader(drawInfo, kShaderId);
  }
};

// Is refused by its own set-up, after it has announced itself.
class RefusedShader final : public EffectShaderBase {
 public:
  HRESULT Initialize(ID2D1EffectContext*, ID2D1TransformGraph*) override { return E_OUTOFMEMORY; }
  HRESULT SetDrawInfo(ID2D1DrawInfo*) override { return S_OK; }
};

class SingleAmoutShader final : public EffectShaderSingleAmout {
 public:
  HRESULT Initialize(ID2D1EffectContext*, ID2D1TransformGraph*) override { return S_OK; }
  HRESULT SetDrawInfo(ID2D1DrawInfo*) override { return S_OK; }
};

class ShaderEffects : public DeviceFixture {
 protected:
  void SetUp() override {
    DeviceFixture::SetUp();
    TestShader::s_set_up = true;
    TestShader::s_program = {vantrix_test_registers, vantrix_test_registers_end};
    ASSERT_EQ(device_.GetD2DFactory()->RegisterEffectFromString(
                  kEffectId,
                  L"<Effect><Property name='DisplayName' value='T'/><Inputs><Input "
                  L"name='Source'/></Inputs></Effect>",
                  nullptr, 0, TestShader::Make),
              S_OK);
    folder_ = std::filesystem::temp_directory_path() /
              ("vantrix-shader-test-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override {
    std::filesystem::remove_all(folder_);
    DeviceFixture::TearDown();
  }

  // A picture file of 2 x 1 pixels, and its name.
  std::wstring WritePicture(const char* name, std::vector<BYTE> rgba) {
    WritePng(folder_ / name, 2, 1, rgba.data(), GUID_WICPixelFormat32bppRGBA);
    return (folder_ / name).wstring();
  }

  std::filesystem::path folder_;
};

TEST_F(ShaderEffects, TexturesOfEveryFormReachTheirRegister) {
  Effect effect(kEffectId);
  ASSERT_TRUE(effect.Create(&device_));
  TestShader& shader = *TestShader::s_last;
  const Picture white("input", 1, 1);
  const auto result = [&] { return Run(effect, white).At(0, 0); };

  // Nothing is bound: 255 - (0 + 0 + 0) / 3 on an input of transparent black.
  EXPECT_EQ(result(), (Pixel{255, 255, 255, 255}));
  EXPECT_FALSE(shader.GetTexture(1));

  // One coloured texel, of straight alpha in the file, and an empty one.
  const std::wstring file = WritePicture("a.png", {240, 120, 60, 85, 0, 0, 0, 0});
  POINT size = {};
  EXPECT_EQ(shader.SetTexture(1, file.c_str(), &size), S_OK);
  EXPECT_EQ(size.x, 2);
  EXPECT_EQ(size.y, 1);
  // The only pixel's centre lies halfway between the texels, and the program reads all textures
  // through the input's linear sampler: half of (80, 40, 20, 85), a third of it taken from 255.
  EXPECT_EQ(result(), (Pixel{252, 248, 242, 241}));
  const std::wstring even = WritePicture("b.png", {240, 120, 60, 85, 240, 120, 60, 85});
  EXPECT_EQ(shader.SetTexture(1, even.c_str(), nullptr), S_OK);
  const Pixel with_file = {248, 242, 228, 227};
  EXPECT_EQ(result(), with_file);

  CComPtr<IWICStream> stream;
  ASSERT_EQ(device_.GetWicImagingFactory()->CreateStream(&stream), S_OK);
  std::ifstream in(folder_ / "b.png", std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), {});
  ASSERT_EQ(stream->InitializeFromMemory(reinterpret_cast<BYTE*>(bytes.data()),
                                         static_cast<DWORD>(bytes.size())),
            S_OK);
  EXPECT_EQ(shader.SetTexture(2, stream, &size), S_OK);
  const Pixel with_both = {242, 228, 202, 198};
  EXPECT_EQ(result(), with_both);
  EXPECT_TRUE(shader.GetTexture(2));
  // A failed load takes the former picture away.
  EXPECT_EQ(shader.SetTexture(2, L"missing.png", nullptr), E_FAIL);
  EXPECT_EQ(result(), with_file);
}

// A host's program runs on Vulkan; the CPU engine has it only if the library was built with it.
TEST_F(ShaderEffects, AProgramThatIsNotTranslatedIsRefusedOnTheCpuWithAReason) {
  std::vector<BYTE> program(vantrix_test_registers, vantrix_test_registers_end);
  // The number of the tool that made it, which is anyone's to choose.
  program[8] ^= 0x55;
  TestShader::s_program = program;
  const LogWatch watch;
  const std::vector<std::string>& log = watch.messages;
  Effect effect(kEffectId);
  const bool created = effect.Create(&device_);
  EXPECT_EQ(created, !IsOnCpu());
  if (IsOnCpu()) {
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0], "Create effect Failed!");
    EXPECT_NE(log[1].find("was not translated"), std::string::npos) << log[1];
  } else {
    EXPECT_TRUE(log.empty()) << log[0];
  }
  // It was told, and is not told again of what fails for another cause.
  EXPECT_EQ(Platform::TakeRefusal(device_.GetD3D11Device()), "");
  EXPECT_EQ(Platform::TakeRefusal(nullptr), "");
}

TEST_F(ShaderEffects, SharedFunctionsFollowTheirFormulas) {
  TestShader::s_program = {vantrix_test_formula, vantrix_test_formula_end};
  Effect effect(kEffectId);
  ASSERT_TRUE(effect.Create(&device_));
  const Picture noise = DrawNoise(64, 64, 4);
  const auto difference =
      Compare(noise, Run(effect, noise), [](const Picture& input, int x, int y) {
        const Pixel& p = input.At(x, y);
        const double b = p[0] / 255.0, g = p[1] / 255.0, r = p[2] / 255.0;
        return Color{0.3 * r + 0.59 * g + 0.11 * b, g * g * (3 - 2 * g),
                     std::clamp(r * 3 - 1, 0.0, 1.0), 0};
      });
  EXPECT_FALSE(difference) << *difference;
}

TEST_F(ShaderEffects, AFileThatCannotBeReadEmptiesItsSlot) {
  Effect effect(kEffectId);
  ASSERT_TRUE(effect.Create(&device_));
  TestShader& shader = *TestShader::s_last;
  const std::wstring good = WritePicture("good.png", {1, 2, 3, 4, 5, 6, 7, 8});
  ASSERT_EQ(shader.SetTexture(1, good.c_str(), nullptr), S_OK);
  EXPECT_EQ(shader.SetTexture(1, (good + L".missing").c_str(), nullptr), E_FAIL);
  EXPECT_FALSE(shader.GetTexture(1));
  ASSERT_EQ(shader.SetTexture(1, good.c_str(), nullptr), S_OK);
  EXPECT_EQ(shader.SetTexture(1, static_cast<IStream*>(nullptr), nullptr), E_FAIL);
  EXPECT_TRUE(shader.GetTexture(1));
  std::ofstream(folder_ / "bad.png") << "no picture";
  EXPECT_EQ(shader.SetTexture(1, (folder_ / "bad.png").wstring().c_str(), nullptr), E_FAIL);
  EXPECT_FALSE(shader.GetTexture(1));
}

TEST_F(ShaderEffects, BeforeTheGraphIsSetNothingIsLoadedAndDrawingFails) {
  TestShader::s_set_up = false;
  Effect effect(kEffectId);
  // A shader resource that is missing leaves an effect without a pass.
  ASSERT_TRUE(effect.Create(&device_));
  const std::wstring file = WritePicture("a.png", {1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(TestShader::s_last->SetTexture(1, file.c_str(), nullptr), E_FAIL);
  Bitmap input, output;
  Upload(input, DrawScene(2, 2));
  Prepare(output, 2, 2);
  effect.SetInput(0, &input);
  ID2D1DeviceContext* context = device_.GetD2DDeviceContext();
  context->BeginDraw();
  effect.Apply(&output);
  EXPECT_EQ(context->EndDraw(nullptr, nullptr), D2DERR_INVALID_GRAPH_CONFIGURATION);
}

TEST_F(ShaderEffects, RawAndBitmapPixelsAreTakenAsTheyStand) {
  Effect effect(kEffectId);
  ASSERT_TRUE(effect.Create(&device_));
  TestShader& shader = *TestShader::s_last;
  // An effect that keeps the context it is given and then refuses to be made.
  static CComPtr<ID2D1EffectContext> s_context;
  class Probe final : public EffectShaderBase {
   public:
    HRESULT Initialize(ID2D1EffectContext* given, ID2D1TransformGraph*) override {
      s_context = given;
      return E_FAIL;
    }
    HRESULT SetDrawInfo(ID2D1DrawInfo*) override { return S_OK; }
  };
  constexpr GUID kProbeId = {0x7E57E57E, 9, 9, {9}};
  device_.GetD2DFactory()->RegisterEffectFromString(
      kProbeId, L"<Effect><Inputs><Input/></Inputs></Effect>", nullptr, 0, [](IUnknown** made) {
        *made = static_cast<ID2D1EffectImpl*>(new Probe);
        return S_OK;
      });
  CComPtr<ID2D1Effect> refused;
  EXPECT_EQ(device_.GetD2DDeviceContext()->CreateEffect(kProbeId, &refused), E_FAIL);
  const CComPtr<ID2D1EffectContext> context = std::move(s_context);
  ASSERT_TRUE(context);

  // Two rows of one pixel, with eight bytes from row to row.
  const unsigned char pixels[] = {30, 60, 90, 255, 9, 9, 9, 9, 30, 60, 90, 255};
  CComPtr<ID2D1ResourceTexture> texture;
  POINT size = {};
  EXPECT_EQ(shader.CreateD2DTexture(context, pixels, 1, 2, 8, &texture, &size), S_OK);
  EXPECT_EQ(size.y, 2);
  texture.Release();
  Bitmap bitmap;
  Upload(bitmap, DrawScene(3, 2));
  EXPECT_EQ(shader.CreateD2DTexture(context, &bitmap, &texture, &size), S_OK);
  EXPECT_EQ(size.x, 3);
  texture.Release();
  Bitmap empty;
  EXPECT_EQ(shader.CreateD2DTexture(context, &empty, &texture, nullptr), E_INVALIDARG);
  EXPECT_EQ(shader.CreateD2DTexture(context, pixels, 0, 2, 8, &texture, nullptr), E_INVALIDARG);
  EXPECT_EQ(shader.CreateD2DTexture(context, pixels, 3, 1, 8, &texture, nullptr), E_INVALIDARG);
  EXPECT_EQ(shader.CreateD2DTexture(context, pixels, 1 << 20, 1, 1 << 22, &texture, nullptr),
            D2DERR_MAX_TEXTURE_SIZE_EXCEEDED);
  EXPECT_FALSE(texture);
}

TEST_F(ShaderEffects, SlotsAreAddressedFromOneToFive) {
  CComPtr<TestShader> shader;
  shader.Attach(new TestShader);
  EXPECT_EQ(&shader->GetTexture(0), &shader->GetTexture(1));
  EXPECT_EQ(&shader->GetTexture(6), &shader->GetTexture(5));
  EXPECT_EQ(&shader->GetTexture(static_cast<unsigned>(-1)), &shader->GetTexture(5));
  for (unsigned i = 2; i <= 5; ++i) EXPECT_NE(&shader->GetTexture(i), &shader->GetTexture(i - 1));
}

TEST_F(ShaderEffects, InterfacesAnswerFromTheirTables) {
  CComPtr<TestShader> shader;
  shader.Attach(new TestShader);
  auto* first = static_cast<ID2D1EffectImpl*>(shader.p);
  auto* second = static_cast<ID2D1DrawTransform*>(shader.p);
  const auto query = [&](REFIID iid) {
    void* object = shader.p;
    const HRESULT result = first->QueryInterface(iid, &object);
    EXPECT_EQ(SUCCEEDED(result), object != nullptr);
    if (object) shader->Release();
    return object;
  };
  EXPECT_EQ(query(__uuidof(IUnknown)), first);
  EXPECT_EQ(query(__uuidof(ID2D1EffectImpl)), first);
  EXPECT_EQ(query(__uuidof(ID2D1DrawTransform)), second);
  EXPECT_EQ(query(__uuidof(ID2D1Transform)), second);
  EXPECT_EQ(query(__uuidof(ID2D1TransformNode)), second);
  EXPECT_EQ(query(__uuidof(ID2D1Effect)), nullptr);
  EXPECT_EQ(shader->AddRef(), 2u);
  EXPECT_EQ(shader->Release(), 1u);
  EXPECT_EQ(first->SetGraph(nullptr), E_NOTIMPL);
  EXPECT_EQ(first->PrepareForRender(D2D1_CHANGE_TYPE_NONE), S_OK);
  EXPECT_EQ(second->GetInputCount(), 1u);
}

bool operator==(const RECT& a, const RECT& b) { return std::memcmp(&a, &b, sizeof(RECT)) == 0; }

TEST_F(ShaderEffects, RectanglesPassThroughAndDifferentInputsAreRefused) {
  CComPtr<TestShader> shader;
  shader.Attach(new TestShader);
  const RECT zero = {};
  RECT output = {9, 9, 9, 9};
  EXPECT_EQ(shader->MapInvalidRect(0, {1, 2, 3, 4}, &output), S_OK);
  EXPECT_TRUE(output == zero);

  const RECT rects[] = {{1, 2, 30, 40}, {1, 2, 30, 40}, {1, 2, 30, 41}};
  RECT opaque = {9, 9, 9, 9};
  EXPECT_EQ(shader->MapInputRectsToOutputRect(rects, rects, 2, &output, &opaque), S_OK);
  EXPECT_TRUE(output == rects[0]);
  EXPECT_TRUE(opaque == zero);
  output = zero;
  EXPECT_EQ(shader->MapInputRectsToOutputRect(rects, rects, 3, &output, &opaque), E_INVALIDARG);
  EXPECT_TRUE(output == zero);
  EXPECT_EQ(shader->MapInvalidRect(0, {5, 5, 6, 6}, &output), S_OK);
  EXPECT_TRUE(output == rects[0]);
  RECT inputs[2] = {};
  EXPECT_EQ(shader->MapOutputRectToInputRects(&rects[2], inputs, 2), S_OK);
  EXPECT_TRUE(inputs[0] == rects[2] && inputs[1] == rects[2]);
}

TEST_F(ShaderEffects, AnAmountSetBeforeSetUpIsKeptForTheFirstUpload) {
  CComPtr<SingleAmoutShader> shader;
  shader.Attach(new SingleAmoutShader);
  EXPECT_EQ(shader->GetFilterAmout(), 1.0f);
  shader->SetFilterAmout(0.5f);
  EXPECT_EQ(shader->GetFilterAmout(), 0.5f);

  class Amount final : public EffectSingleAmout {};
  Amount effect;
  effect.SetAmout(1);
  effect.SetShader(shader);
  effect.SetAttribute(L"AMOUT", 0.25f);
  EXPECT_EQ(shader->GetFilterAmout(), 0.25f);
  effect.SetAttribute(L"Amount", 9.0f);
  effect.SetAttribute(L"", 9.0f);
  EXPECT_EQ(shader->GetFilterAmout(), 0.25f);
  effect.SetAmout(0.75f);
  EXPECT_EQ(shader->GetFilterAmout(), 0.75f);
}

TEST_F(ShaderEffects, AShaderAnnouncesItselfToTheEffectThatIsBeingMade) {
  class Watched final : public Effect {
   public:
    using Effect::Effect;
    using Effect::GetShader;
  };
  Watched effect(kEffectId);
  ASSERT_TRUE(effect.Create(&device_));
  EXPECT_EQ(effect.GetShader(), TestShader::s_last);
  effect.Destroy();
  EXPECT_EQ(effect.GetShader(), nullptr);

  constexpr GUID kRefusedId = {0x7E57E57E, 8, 8, {8}};
  device_.GetD2DFactory()->RegisterEffectFromString(
      kRefusedId, L"<Effect><Inputs><Input/></Inputs></Effect>", nullptr, 0, [](IUnknown** made) {
        *made = static_cast<ID2D1EffectImpl*>(new RefusedShader);
        return S_OK;
      });
  Watched refused(kRefusedId);
  EXPECT_FALSE(refused.Create(&device_));
  EXPECT_EQ(refused.GetShader(), nullptr);
  CComPtr<TestShader> stray;
  stray.Attach(new TestShader);
  EXPECT_EQ(effect.GetShader(), nullptr);
}

}  // namespace
}  // namespace Vantra
