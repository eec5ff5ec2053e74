#include "bench/peers/ours.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <string_view>

#include "bench/measure.h"

namespace Vantra::Bench {
namespace {

using Platform::EngineKind;

std::string Narrow(std::wstring_view text) { return {text.begin(), text.end()}; }

void Check(bool done, const char* what) {
  if (!done) throw std::runtime_error(what);
}

// A lookup filter that shows a picture of noise: neighbours lead to places far apart.
template <class Filter>
std::unique_ptr<Effect> MakeLookup(Device& device, int width, int height) {
  class Shown : public EffectSingleAmout {
   public:
    Shown() : EffectSingleAmout(Filter::GetEffectGUID()) {}
    void Show(Bitmap& look) { dynamic_cast<VantraFx::LookupShader&>(*GetShader()).ShowLook(look); }
  };
  auto effect = std::make_unique<Shown>();
  Bitmap look;
  Check(effect->Create(&device) && look.Create(&device), "the filter could not be made");
  Bytes noise(static_cast<std::size_t>(width * height) * 4);
  std::minstd_rand random(1);
  for (unsigned char& byte : noise) byte = static_cast<unsigned char>(random() >> 8);
  look.SetPixels(noise.data(), width, height, width * 4, 0);
  effect->Show(look);
  return effect;
}

std::unique_ptr<Effect> MakeByName(Device& device, const std::wstring& name) {
  std::unique_ptr<Effect> effect = device.GetEffectFactory().CreateEffectByID(name);
  Check(effect && effect->Create(&device), "the effect could not be made");
  return effect;
}

std::unique_ptr<Effect> MakePerspective(Device& device) {
  auto effect = std::make_unique<VantraFx::WarpPerspective>();
  Check(effect->Create(&device), "the effect could not be made");
  const auto corner = [](int i) { return D2D_POINT_2F{kCorners[i].x, kCorners[i].y}; };
  effect->SetPoints({kWidth, kHeight}, corner(0), corner(1), corner(2), corner(3));
  return effect;
}

std::unique_ptr<Effect> MakeBorder(Device& device) {
  auto effect = std::make_unique<VantraFx::Border>();
  Check(effect->Create(&device), "the effect could not be made");
  return effect;
}

// Of effects that are more than pointwise, and values for those that do nothing at the start.
struct Trait {
  std::wstring_view effect;
  Kind kind;
  const wchar_t* name = nullptr;
  float value = 0;
};
constexpr Trait kTraits[] = {
    {L"CLSID_Posterize", Kind::kPointwise, L"Amout", kSteps},
    {L"CLSID_StandardAdjust", Kind::kPointwise, L"saturation", kSaturation},
    {L"CLSID_D2D1GammaTransfer", Kind::kArithmetic, L"gamma", -40},
    {L"CLSID_D2D1GaussianBlur", Kind::kConvolution},
    {L"CLSID_D2D1Morphology", Kind::kConvolution},
    {L"CLSID_D2D1DirectionalBlur", Kind::kConvolution},
    {L"CLSID_D2D1ConvolveMatrix", Kind::kConvolution, L"kernel", kSharpenIndex},
};

Subject MakeSubject(const std::wstring& name) {
  using VantraFx::InstagramFilter;
  using VantraFx::InstagramVideo;
  constexpr std::wstring_view kPrefix = L"CLSID_";
  const std::string title = Narrow(name.starts_with(kPrefix) ? name.substr(kPrefix.size()) : name);
  if (name == L"CLSID_InstagramFilter") {
    return {title, Kind::kFreeReads,
            [](Device& device) { return MakeLookup<InstagramFilter>(device, 512, 512); }};
  }
  if (name == L"CLSID_InstagramVideo") {
    return {title, Kind::kFreeReads,
            [](Device& device) { return MakeLookup<InstagramVideo>(device, 256, 1); }};
  }
  if (name == L"CLSID_D2D13DTransform") return {title, Kind::kFreeReads, MakePerspective};
  const auto* trait = std::find_if(std::begin(kTraits), std::end(kTraits),
                                   [&](const Trait& each) { return each.effect == name; });
  const bool has_trait = trait != std::end(kTraits);
  return {title, has_trait ? trait->kind : Kind::kPointwise, [=](Device& device) {
            auto effect = MakeByName(device, name);
            if (has_trait && trait->name) effect->SetAttribute(trait->name, trait->value);
            return effect;
          }};
}

// The effect of that name after a change.
Subject Changed(const std::wstring& name, const std::string& title,
                const std::function<void(Effect&)>& change) {
  Subject subject = MakeSubject(name);
  subject.name = title;
  subject.make = [make = subject.make, change](Device& device) {
    auto effect = make(device);
    change(*effect);
    return effect;
  };
  return subject;
}

Subject Scaled(const std::wstring& name, const std::string& title, float amount) {
  return Changed(name, title, [amount](Effect& effect) { effect.SetAmout(amount); });
}

template <class T>
Subject WithValue(const std::wstring& name, const std::string& title, unsigned property, T value) {
  return Changed(name, title, [property, value](Effect& effect) {
    Check(SUCCEEDED(effect.SetValue(property, reinterpret_cast<const unsigned char*>(&value),
                                    sizeof(value))),
          "the effect refuses a value");
  });
}

// A device, and an effect with the scene's picture as its input.
struct Stage {
  Stage(const std::string& engine, const Scene& scene, const Subject& subject) {
    ChooseEngine(engine);
    device.Intialize(nullptr);
    device.Resize(kWidth, kHeight);
    effect = subject.make(device);
    Check(input.Create(&device) && output.Create(&device) && probe.Create(&device),
          "the bitmaps could not be made");
    input.SetPixels(scene.picture.data(), kWidth, kHeight, kStride, 0);
    output.SetPixelSize(kWidth, kHeight);
    effect->SetInput(0, &input);
    device.BeginDraw(&output, kTransparent);
    End();
  }

  // Ends a session on `output` and waits for the device, for which one pixel is read.
  void End() {
    device.EndDrawNoCallback();
    Check(probe.Read(output, kWidth / 2, kHeight / 2).has_value(), "a result could not be read");
  }

  Device device;
  std::unique_ptr<Effect> effect;
  Bitmap input;
  Bitmap output;
  PixelProbe probe;
};

struct Video {
  DXGI_FORMAT format;
  int stride;
  const Bytes* bytes;
};

Video VideoOf(const Scene& scene, Task task) {
  switch (task) {
    case Task::kNv12:
      return {DXGI_FORMAT_NV12, kWidth, &scene.nv12};
    case Task::kPlanar:
      return {DXGI_FORMAT_420_OPAQUE, kWidth, &scene.planar};
    case Task::kYuy2:
      return {DXGI_FORMAT_YUY2, kWidth * 2, &scene.yuy2};
    case Task::kAyuv:
      return {DXGI_FORMAT_AYUV, kStride, &scene.picture};
    case Task::kGrey:
      return {DXGI_FORMAT_R8_UNORM, kWidth, &scene.nv12};
    default:
      throw std::logic_error("no task on video frames");
  }
}

}  // namespace

void ChooseEngine(const std::string& name) {
  bool chosen = false;
  if (name == "automatic") {
    chosen = Platform::SelectEngine(EngineKind::kAutomatic);
  } else if (name == "vulkan") {
    chosen = Platform::SelectEngine(EngineKind::kVulkan);
  } else if (name == "cpu") {
    chosen = Platform::SelectEngine(EngineKind::kCpu);
  } else if (name == "lavapipe") {
    for (const Platform::EngineInfo& engine : Platform::ListEngines().engines) {
      if (chosen || engine.kind != EngineKind::kVulkan) continue;
      chosen = engine.type == Platform::DeviceType::kSoftware &&
               Platform::SelectEngine(engine.kind, engine.index);
    }
  }
  if (!chosen) throw std::runtime_error("there is no engine " + name);
}

void SetEngineThreads(unsigned threads) {
  Platform::SetCpuThreads(threads);
  // The software device of Vulkan reads it when it is started.
  setenv("LP_NUM_THREADS", std::to_string(threads).c_str(), 1);
}

std::string DescribeEngine(const std::string& name) {
  ChooseEngine(name);
  Device device;
  device.Intialize(nullptr);
  return Platform::GetEngineChoice().engine.name;
}

std::vector<Subject> ListSubjects() {
  std::vector<Subject> subjects;
  for (const EffectFactory::Listing& effect : EffectFactory::ListEffects()) {
    subjects.push_back(MakeSubject(effect.name));
  }
  // Half of what is drawn lies beyond the picture.
  subjects.push_back({"Border", Kind::kFreeReads, MakeBorder, -kWidth / 2});
  return subjects;
}

std::vector<Subject> ListVariants() {
  constexpr auto kBlur = L"CLSID_D2D1GaussianBlur";
  constexpr auto kLine = L"CLSID_D2D1DirectionalBlur";
  constexpr auto kPerspective = L"CLSID_D2D13DTransform";
  constexpr UINT32 kHard = D2D1_BORDER_MODE_HARD;
  return {
      SubjectOf(Task::kBlur64),
      WithValue(kBlur, "GaussianBlur hard", D2D1_GAUSSIANBLUR_PROP_BORDER_MODE, kHard),
      SubjectOf(Task::kErode64),
      WithValue(kLine, "DirectionalBlur 30", D2D1_DIRECTIONALBLUR_PROP_ANGLE, 30.0f),
      WithValue(kLine, "DirectionalBlur hard", D2D1_DIRECTIONALBLUR_PROP_BORDER_MODE, kHard),
      Changed(L"CLSID_D2D1ConvolveMatrix", "box 5 x 5",
              [](Effect& effect) { effect.SetAttribute(L"kernel", 1); }),
      WithValue(L"CLSID_D2D1ConvolveMatrix", "convolution hard",
                D2D1_CONVOLVEMATRIX_PROP_BORDER_MODE, kHard),
      WithValue(kPerspective, "perspective cubic", D2D1_3DTRANSFORM_PROP_INTERPOLATION_MODE,
                UINT32{D2D1_3DTRANSFORM_INTERPOLATION_MODE_CUBIC}),
      WithValue(kPerspective, "perspective samples", D2D1_3DTRANSFORM_PROP_INTERPOLATION_MODE,
                UINT32{D2D1_3DTRANSFORM_INTERPOLATION_MODE_MULTI_SAMPLE_LINEAR}),
  };
}

Subject SubjectOf(Task task) {
  switch (task) {
    case Task::kPosterize:
      return MakeSubject(L"CLSID_Posterize");
    case Task::kColorMatrix:
      return MakeSubject(L"CLSID_StandardAdjust");
    case Task::kBlur8:
      return Scaled(L"CLSID_D2D1GaussianBlur", "GaussianBlur 8", 8.0f / 64);
    case Task::kBlur64:
      return Scaled(L"CLSID_D2D1GaussianBlur", "GaussianBlur 64", 1);
    case Task::kErode64:
      return Scaled(L"CLSID_D2D1Morphology", "Morphology 64 x 64", 1);
    case Task::kConvolve3:
      return MakeSubject(L"CLSID_D2D1ConvolveMatrix");
    case Task::kPerspective:
      return MakeSubject(L"CLSID_D2D13DTransform");
    default:
      throw std::logic_error("no task on a picture");
  }
}

Run MakePass(const std::string& engine, const Scene& scene, const Subject& subject) {
  const auto stage = std::make_shared<Stage>(engine, scene, subject);
  const int left = subject.left;
  return {[stage, left] {
            constexpr D2D_POINT_2F kOffset = {0, 0};
            const D2D_RECT_F part = {static_cast<float>(left), 0, static_cast<float>(left + kWidth),
                                     kHeight};
            stage->device.BeginDraw(&stage->output);
            stage->device.DrawImage(
                stage->effect.get(), left != 0 ? &kOffset : nullptr, left != 0 ? &part : nullptr,
                D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR, D2D1_COMPOSITE_MODE_SOURCE_COPY);
            stage->End();
          },
          [stage] { return stage->output.GetGpuPixels(); }};
}

Run MakeOverlay(const std::string& engine, const Scene& scene, float scale) {
  const auto stage = std::make_shared<Stage>(engine, scene, SubjectOf(Task::kPosterize));
  return {[stage, scale] {
            const D2D_RECT_F place = {0, 0, kWidth * scale, kHeight * scale};
            stage->device.BeginDraw(&stage->output);
            stage->device.DrawBitmap(&stage->input, &place, 0.5f, D2D1_INTERPOLATION_MODE_LINEAR,
                                     nullptr);
            stage->End();
          },
          [stage] { return stage->output.GetGpuPixels(); }};
}

Run MakeConversion(const std::string& engine, const Scene& scene, Task task) {
  struct Conversion {
    Device device;
    ColorSpaceConverter converter;
  };
  ChooseEngine(engine);
  const auto conversion = std::make_shared<Conversion>();
  conversion->device.Intialize(nullptr);
  Check(conversion->converter.Create(&conversion->device), "the converter could not be made");
  const auto target = NewFrame();
  return {[conversion, target, video = VideoOf(scene, task)] {
            conversion->converter.Apply(video.bytes->data(), kWidth, kHeight, video.stride,
                                        target->data(), kStride, video.format);
          },
          PixelsOf(target)};
}

Run MakeFrame(const std::string& engine, const Scene& scene, const Subject& subject) {
  const auto stage = std::make_shared<Stage>(engine, scene, subject);
  const auto delivered = std::make_shared<const unsigned char*>();
  stage->device.SetRenderCallback([delivered](void* data, unsigned, unsigned, unsigned) {
    *delivered = static_cast<const unsigned char*>(data);
  });
  return {[stage, delivered, &scene] {
            *delivered = nullptr;
            stage->input.SetPixels(scene.picture.data(), kWidth, kHeight, kStride, 0);
            stage->device.BeginDraw(nullptr, kTransparent);
            stage->device.DrawImage(stage->effect.get(), D2D1_INTERPOLATION_MODE_LINEAR,
                                    D2D1_COMPOSITE_MODE_SOURCE_OVER);
            stage->device.EndDrawCallback();
            Check(*delivered != nullptr, "no frame was delivered");
          },
          {}};
}

}  // namespace Vantra::Bench
