#pragma once

// Checks an effect against its formula. A test gives the effect, its settings and the formula in
// plain scalar code; the check runs every engine of the machine over the standard pictures, prints
// the largest difference of each case, and tells the first pixel that is wrong.

#include <vantrix/vantrix.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tests/harness/picture.h"

namespace Vantra::Testing {

// A premultiplied colour with channels in 0 to 1.
struct Rgba {
  double r;
  double g;
  double b;
  double a;
};

// The place that a formula is computed for.
//
// Thresholds and steps are asked of it. Where the two sides are equal within the precision of
// floats, an engine may come out on either, and a pixel is right when it follows from any answers.
class Place {
 public:
  // The input's own pixel.
  Rgba Own() const;
  // a < b.
  bool Less(double a, double b);
  // The largest whole number not above a value.
  double Floor(double value);

  const Picture& input;
  const int x;
  const int y;

 private:
  friend class Comparison;
  Place(const Picture& picture, int column, int row, unsigned flips)
      : input(picture), x(column), y(row), flips_(flips) {}
  bool Decide(bool answer, bool doubtful);

  // Bit n turns the answer to the nth doubtful question round.
  unsigned flips_;
  unsigned doubts_ = 0;
};

// What an effect should make of a pixel. The values that an attribute was set to can be captured.
using PixelFormula = std::function<Rgba(Place& place)>;

// The name that stands for `Effect::SetAmout`.
inline constexpr const wchar_t* kSetAmout = L"";

// An attribute as text, or as a number.
struct Setting {
  std::wstring name;
  std::variant<std::wstring, float> value;
};
using Settings = std::vector<Setting>;

struct EffectCase {
  // Given in this order to an effect just created; none shows its start values.
  Settings settings;
  PixelFormula formula;
  Tolerance tolerance = {};
};

// The effect to test.
class Subject {
 public:
  using Make = std::function<std::unique_ptr<Effect>(Device& device)>;

  // The effect of that class, made by name. Implicit, so that tests can name it in place.
  Subject(const wchar_t* class_name);
  // One made and created by a function.
  Subject(std::string title, Make make) : title_(std::move(title)), make_(std::move(make)) {}

  const std::string& GetTitle() const { return title_; }
  // Null, with a failure of the test, when it cannot be created.
  std::unique_ptr<Effect> Create(Device& device, const Settings& settings) const;

 private:
  std::string title_;
  Make make_;
};

// Checks every case on every engine over drawn pictures: opaque, with alpha, unrelated bytes, and
// of one and of six pixels. The first case is checked over the photographs and a large picture too.
void CheckEffect(const Subject& subject, const std::vector<EffectCase>& cases);

// The cases of an effect that one number drives: untouched, where it is `start`, then set to each
// of `values`, as text of the attribute or by `kSetAmout`.
using DrivenFormula = std::function<Rgba(Place& place, double value)>;
std::vector<EffectCase> Sweep(const wchar_t* attribute, double start,
                              std::initializer_list<double> values, const DrivenFormula& formula,
                              Tolerance tolerance = {});

// Checks pixels whose results were worked out by hand: pairs of input and result, on every engine.
void CheckPixels(const Subject& subject, const Settings& settings,
                 const std::vector<std::pair<Pixel, Pixel>>& pixels);

}  // namespace Vantra::Testing
