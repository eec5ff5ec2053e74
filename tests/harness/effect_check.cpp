#include "tests/harness/effect_check.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <optional>
#include <string_view>

#include "tests/harness/device_fixture.h"
#include "tests/harness/engine_under_test.h"

namespace Vantra::Testing {
namespace {

// Largest share of pixels that may lie on the other side of a threshold than exact numbers do.
constexpr double kOtherSideShare = 0.001;

// The texts of tests are ASCII.
std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

std::string Describe(const Settings& settings) {
  std::string text;
  for (const auto& [name, value] : settings) {
    if (!text.empty()) text += ", ";
    text += name == kSetAmout ? "SetAmout" : Narrow(name);
    if (const auto* words = std::get_if<std::wstring>(&value)) {
      text += fmt::format("={}", Narrow(*words));
    } else {
      text += fmt::format("({})", std::get<float>(value));
    }
  }
  return text.empty() ? "start values" : text;
}

void Give(Effect& effect, const Setting& setting) {
  if (const auto* text = std::get_if<std::wstring>(&setting.value)) {
    TestDevice::Set(effect, setting.name.c_str(), text->c_str());
  } else if (setting.name == kSetAmout) {
    effect.SetAmout(std::get<float>(setting.value));
  } else {
    effect.SetAttribute(setting.name.c_str(), std::get<float>(setting.value));
  }
}

const std::vector<Picture>& SmallPictures() {
  static const std::vector<Picture> pictures = {
      DrawScene(160, 107),      DrawSceneWithAlpha(129, 65), DrawNoise(96, 96, 1),
      DrawSceneWithAlpha(1, 1), DrawSceneWithAlpha(3, 2),
  };
  return pictures;
}

const std::vector<Picture>& LargePictures() {
  static const std::vector<Picture> pictures = [] {
    std::vector<Picture> all = LoadPhotographs();
    all.push_back(DrawSceneWithAlpha(1921, 1081));
    return all;
  }();
  return pictures;
}

// Calls `work(device, title)` with a device on the engine under test, each one of the machine where
// that is Vulkan.
template <class Work>
void OnEveryEngine(Work work) {
  int engines = 0;
  for (const Platform::EngineInfo& engine : Platform::ListEngines().engines) {
    if ((engine.kind == Platform::EngineKind::kCpu) != IsOnCpu()) continue;
    ++engines;
    ASSERT_TRUE(Platform::SelectEngine(engine.kind, engine.index)) << engine.name;
    TestDevice device;
    ASSERT_NO_THROW(device.Start()) << engine.name;
    work(device, engine.name);
    device.Stop();
  }
  EXPECT_GT(engines, 0) << "A machine without any engine tests nothing.";
  SelectEngineUnderTest();
}

}  // namespace

Rgba Place::Own() const {
  const Pixel& p = input.At(x, y);
  return {p[2] / 255.0, p[1] / 255.0, p[0] / 255.0, p[3] / 255.0};
}

bool Place::Decide(bool answer, bool doubtful) {
  if (!doubtful) return answer;
  const bool flip = (flips_ >> doubts_ & 1) != 0;
  ++doubts_;
  return answer != flip;
}

bool Place::Less(double a, double b) {
  // Several units of the last place of a float.
  constexpr double kPrecision = 1e-6;
  return Decide(a < b, std::abs(a - b) <= kPrecision * std::max({1.0, std::abs(a), std::abs(b)}));
}

double Place::Floor(double value) {
  const double whole = std::round(value);
  return Less(value, whole) ? whole - 1 : whole;
}

// The comparison of one case's results with the formula, over all its pictures.
class Comparison {
 public:
  Comparison(const EffectCase& effect_case, std::string title)
      : case_(effect_case), title_(std::move(title)) {}

  void Add(const Picture& input, const Picture& result) {
    ASSERT_EQ(result.width, input.width);
    ASSERT_EQ(result.height, input.height);
    // A formula takes far longer than an engine, so of a large picture a part is looked at.
    const int step = input.pixels.size() > 500'000 ? 7 : 1;
    for (int y = 0; y < result.height; ++y) {
      if (y % step != 0 && y + 1 < result.height) continue;
      for (int x = 0; x < result.width; ++x) Add(input, result.At(x, y), x, y);
    }
  }

  void Report() const {
    const Tolerance& tolerance = case_.tolerance;
    fmt::print(
        "  {}: largest difference {} of {} allowed{}{} in {} pixels; {} of {} at an edge on "
        "its other side\n",
        title_, largest_, tolerance.steps, *tolerance.cause ? ", since " : "", tolerance.cause,
        pixels_, other_side_, at_edge_);
    EXPECT_TRUE((tolerance.steps == 0 && tolerance.halfway == Tolerance{}.halfway) ||
                *tolerance.cause)
        << title_ << ": a tolerance has a cause";
    EXPECT_LE(static_cast<double>(other_side_), 1 + kOtherSideShare * static_cast<double>(pixels_))
        << title_ << ": too many pixels are on the other side of an edge";
    if (first_) ADD_FAILURE() << title_ << ": " << *first_;
  }

 private:
  // How far a pixel is from the formula, with some of the doubtful answers turned round.
  int Measure(Place& place, const Pixel& actual, Rgba& expected) const {
    expected = case_.formula(place);
    return std::max({Distance(actual[0], expected.b, case_.tolerance),
                     Distance(actual[1], expected.g, case_.tolerance),
                     Distance(actual[2], expected.r, case_.tolerance),
                     Distance(actual[3], expected.a, case_.tolerance)});
  }

  void Add(const Picture& input, const Pixel& actual, int x, int y) {
    // More doubts than these at one pixel are no matter of precision.
    constexpr unsigned kMostDoubts = 6;
    Rgba expected{};
    Place place(input, x, y, 0);
    int difference = Measure(place, actual, expected);
    ++pixels_;
    if (place.doubts_ > 0) {
      ++at_edge_;
      const unsigned ways = 1u << std::min(place.doubts_, kMostDoubts);
      for (unsigned flips = 1; difference > case_.tolerance.steps && flips < ways; ++flips) {
        Rgba other{};
        Place turned(input, x, y, flips);
        const int distance = Measure(turned, actual, other);
        if (distance > case_.tolerance.steps) continue;
        difference = distance;
        ++other_side_;
      }
    }
    largest_ = std::max(largest_, difference);
    if (difference <= case_.tolerance.steps || first_) return;
    const Pixel& own = input.At(x, y);
    first_ = fmt::format(
        "{} {}x{}, pixel ({}, {}): red, green, blue, alpha {} {} {} {} became {} {} {} {} where "
        "the "
        "formula gives {:.4f} {:.4f} {:.4f} {:.4f}",
        input.name, input.width, input.height, x, y, own[2], own[1], own[0], own[3], actual[2],
        actual[1], actual[0], actual[3], expected.r * 255, expected.g * 255, expected.b * 255,
        expected.a * 255);
  }

  const EffectCase& case_;
  std::string title_;
  int largest_ = 0;
  long pixels_ = 0;
  long at_edge_ = 0;
  long other_side_ = 0;
  std::optional<std::string> first_;
};

Subject::Subject(const wchar_t* class_name)
    : title_(Narrow(class_name)),
      make_([name = std::wstring(L"CLSID_") + class_name](Device& device) {
        std::unique_ptr<Effect> effect = device.GetEffectFactory().CreateEffectByID(name);
        if (effect && !effect->Create(&device)) effect = nullptr;
        return effect;
      }) {}

std::unique_ptr<Effect> Subject::Create(Device& device, const Settings& settings) const {
  std::unique_ptr<Effect> effect = make_(device);
  EXPECT_TRUE(effect) << title_ << " cannot be created";
  if (!effect) return nullptr;
  for (const Setting& setting : settings) Give(*effect, setting);
  return effect;
}

void CheckEffect(const Subject& subject, const std::vector<EffectCase>& cases) {
  OnEveryEngine([&](TestDevice& device, const std::string& engine) {
    for (const EffectCase& each : cases) {
      const auto effect = subject.Create(device.GetDevice(), each.settings);
      if (!effect) return;
      Comparison comparison(
          each, fmt::format("{}, {}, {}", subject.GetTitle(), Describe(each.settings), engine));
      for (const Picture& picture : SmallPictures()) {
        comparison.Add(picture, device.Run(*effect, picture));
      }
      if (&each == &cases.front()) {
        for (const Picture& picture : LargePictures()) {
          comparison.Add(picture, device.Run(*effect, picture));
        }
      }
      comparison.Report();
    }
  });
}

std::vector<EffectCase> Sweep(const wchar_t* attribute, double start,
                              std::initializer_list<double> values, const DrivenFormula& formula,
                              Tolerance tolerance) {
  // The effect holds the value as a float.
  const auto at = [&](double value) {
    return [formula, value = static_cast<double>(static_cast<float>(value))](Place& place) {
      return formula(place, value);
    };
  };
  std::vector<EffectCase> cases = {{{}, at(start), tolerance}};
  for (const double value : values) {
    Setting setting{attribute, static_cast<float>(value)};
    if (setting.name != kSetAmout) {
      const std::string text = fmt::format("{}", value);
      setting.value = std::wstring(text.begin(), text.end());
    }
    cases.push_back({{setting}, at(value), tolerance});
  }
  return cases;
}

void CheckPixels(const Subject& subject, const Settings& settings,
                 const std::vector<std::pair<Pixel, Pixel>>& pixels) {
  Picture input("pixels", static_cast<int>(pixels.size()), 1);
  std::vector<Pixel> expected;
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    input.pixels[i] = pixels[i].first;
    expected.push_back(pixels[i].second);
  }
  OnEveryEngine([&](TestDevice& device, const std::string& engine) {
    const auto effect = subject.Create(device.GetDevice(), settings);
    if (!effect) return;
    EXPECT_EQ(device.Run(*effect, input).pixels, expected)
        << subject.GetTitle() << ", " << Describe(settings) << ", " << engine;
  });
}

}  // namespace Vantra::Testing
