#include <algorithm>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "render/simd/targets.h"
// After the choice of targets.
#include "render/simd/target_tests.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "render/simd/math_test.cpp"
#include "hwy/foreach_target.h"
#include "render/simd/math-inl.h"

#ifndef VANTRIX_MATH_TEST_COMMON
#define VANTRIX_MATH_TEST_COMMON
namespace Vantra::Render::Simd {
namespace {

constexpr int kSteps = 60000;

struct Range {
  float first;
  float last;
  // In units of the last place of the exact result.
  double limit;
};

// What a function gives has to be the same on all targets.
std::map<std::string, std::vector<float>> g_results;

void CheckSameAsOthers(const std::string& name, const std::vector<float>& results) {
  const auto [known, is_new] = g_results.emplace(name, results);
  if (is_new) return;
  ASSERT_EQ(known->second.size(), results.size());
  for (std::size_t i = 0; i < results.size(); ++i) {
    const float other = known->second[i];
    ASSERT_TRUE(std::isnan(other) ? std::isnan(results[i])
                                  : std::memcmp(&other, &results[i], sizeof(float)) == 0)
        << name << " number " << i << ": " << results[i] << ", on another target " << other;
  }
}

double ErrorInPlaces(float result, double exact) {
  if (std::isnan(exact) || std::isinf(static_cast<float>(exact))) {
    const auto wanted = static_cast<float>(exact);
    return (std::isnan(wanted) && std::isnan(result)) || wanted == result ? 0 : 1e9;
  }
  // Next to the largest float an error of one place is infinity.
  const double seen = std::isinf(result) ? std::copysign(0x1p128, result) : double{result};
  int exponent = 0;
  std::frexp(exact, &exponent);
  return std::abs(seen - exact) / std::ldexp(1.0, std::max(exponent, -125) - 24);
}

}  // namespace
}  // namespace Vantra::Render::Simd
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {
namespace {

// Special values, then the ranges.
template <class Function, class Exact>
void CheckFunction(const char* name, Function function, Exact exact,
                   const std::vector<Range>& ranges) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  std::vector<float> results;
  const auto check = [&](const std::vector<float>& inputs, double limit) HWY_ATTR {
    double worst = 0;
    float at = 0;
    for (std::size_t start = 0; start < inputs.size(); start += kLanes) {
      float x[kLanes] = {};
      float y[kLanes];
      for (std::size_t i = 0; i < kLanes && start + i < inputs.size(); ++i)
        x[i] = inputs[start + i];
      Store(function(Load(x)), y);
      for (std::size_t i = 0; i < kLanes && start + i < inputs.size(); ++i) {
        results.push_back(y[i]);
        const double error = ErrorInPlaces(y[i], exact(double{x[i]}));
        if (error > worst) {
          worst = error;
          at = x[i];
        }
      }
    }
    EXPECT_LE(worst, limit) << name << "(" << at << ")";
  };
  check(
      {0.0f, -0.0f, 1.0f, -1.0f, kInfinity, -kInfinity, kNan, 0x1p-149f, 0x1p-127f, -0x1p-130f,
       std::numeric_limits<float>::max(), std::numeric_limits<float>::lowest(), 2.0f, -3.0f, 0.5f},
      4);
  for (const Range& range : ranges) {
    std::vector<float> inputs;
    for (int i = 0; i <= kSteps; ++i) {
      inputs.push_back(range.first + (range.last - range.first) * static_cast<float>(i) / kSteps);
    }
    check(inputs, range.limit);
  }
  for (const float x : {0.0f, 0.3f, -2.5f, 7e6f, kNan, kInfinity}) {
    float lanes[kLanes];
    Store(function(Broadcast(x)), lanes);
    const float scalar = function(x);
    EXPECT_TRUE(std::memcmp(&scalar, lanes, sizeof(float)) == 0) << name << "(" << x << ")";
  }
  CheckSameAsOthers(name, results);
}

#define FUNCTION(Name, exact, ...) \
  CheckFunction(                   \
      #Name, [](auto x) HWY_ATTR { return Name(x); }, [](double x) { return exact; }, __VA_ARGS__)

void CheckPowers() {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  for (const float y : {2.2f, 1 / 2.2f, -3.7f, 0.01f, 30.0f, -50.5f}) {
    CheckFunction(
        "Pow",
        [y](auto x) HWY_ATTR {
          if constexpr (std::same_as<decltype(x), float>) {
            return Pow(x, y);
          } else {
            return Pow(x, Broadcast(y));
          }
        },
        [y](double x) { return std::pow(x, double{y}); },
        {{1e-3f, 1, 4}, {0.9f, 1.1f, 4}, {0, 20, 4}, {1e10f, 1e30f, 4}});
    g_results.erase("Pow");
  }
  const float numbers[] = {0.0f,  -0.0f, 1.0f,      -1.0f,      0.5f, -0.5f, 2.0f,
                           -2.0f, 3.0f,  kInfinity, -kInfinity, kNan, -3.0f, 0.3f};
  for (const float x : numbers) {
    for (const float y : numbers) {
      EXPECT_LE(ErrorInPlaces(Pow(x, y), std::pow(double{x}, double{y})), 2)
          << x << " to the power of " << y << " as " << Pow(x, y);
      EXPECT_LE(ErrorInPlaces(Atan2(x, y), std::atan2(double{x}, double{y})), 3)
          << "angle of " << y << ", " << x << " as " << Atan2(x, y);
      EXPECT_EQ(std::signbit(Atan2(x, y)),
                std::isnan(y) || std::isnan(x) ? std::signbit(Atan2(x, y)) : std::signbit(x));
    }
  }
}

void CheckParts() {
  for (const float x : {0.0f, 1.0f, -3.25f, 0x1p-149f, -0x1.8p-130f, 0x1.fffffep127f}) {
    int exponent = 0;
    const float mantissa = std::frexp(x, &exponent);
    EXPECT_EQ(Mantissa(x), mantissa);
    EXPECT_EQ(Exponent(x), exponent);
    EXPECT_EQ(FirstLane(Mantissa(Broadcast(x))), mantissa);
    EXPECT_EQ(FirstLane(Exponent(Broadcast(x))), exponent);
    for (const int by : {0, -150, -24, 5, 127, 300, -300}) {
      EXPECT_EQ(Ldexp(x, by), std::ldexp(x, by));
      EXPECT_EQ(FirstLane(Ldexp(Broadcast(x), Broadcast(by))), std::ldexp(x, by));
    }
  }
}

}  // namespace

void CheckFunctions() {
  FUNCTION(Sin, std::sin(x), {{-3.2f, 3.2f, 2}, {-1000, 3e4f, 2}, {0, 1e6f, 2}, {1e6f, 1e30f, 2}});
  FUNCTION(Cos, std::cos(x), {{-3.2f, 3.2f, 2}, {-1000, 3e4f, 2}, {0, 1e6f, 2}, {1e6f, 1e30f, 2}});
  FUNCTION(Tan, std::tan(x), {{-1.5f, 1.5f, 4}, {-1000, 3e4f, 4}, {0, 1e9f, 4}});
  FUNCTION(Exp2, std::exp2(x), {{-1, 1, 2}, {-160, 140, 2}});
  FUNCTION(Exp, std::exp(x), {{-1, 1, 2}, {-110, 95, 2}});
  FUNCTION(Log2, std::log2(x), {{0, 2, 4}, {0.99f, 1.01f, 4}, {1, 1e4f, 4}, {0, 1e-38f, 4}});
  FUNCTION(Log, std::log(x), {{0, 2, 4}, {0.99f, 1.01f, 4}, {1, 1e4f, 4}, {0, 1e-38f, 4}});
  FUNCTION(Atan, std::atan(x), {{-2, 2, 3}, {-1e5f, 1e5f, 3}});
  FUNCTION(Asin, std::asin(x), {{-1, 1, 4}, {0.99f, 1.01f, 4}});
  FUNCTION(Acos, std::acos(x), {{-1, 1, 4}, {0.99f, 1.01f, 4}});
  FUNCTION(Sinh, std::sinh(x), {{-2, 2, 5}, {-95, 95, 5}});
  FUNCTION(Cosh, std::cosh(x), {{-2, 2, 5}, {-95, 95, 5}});
  FUNCTION(Tanh, std::tanh(x), {{-2, 2, 8}, {-95, 95, 8}});
  FUNCTION(Asinh, std::asinh(x), {{-2, 2, 5}, {-1e12f, 1e12f, 5}});
  FUNCTION(Acosh, std::acosh(x), {{1, 2, 5}, {0, 1e12f, 5}});
  FUNCTION(Atanh, std::atanh(x), {{-1, 1, 5}, {-0.01f, 0.01f, 5}});
  CheckPowers();
  CheckParts();
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantra::Render::Simd {
namespace {

TEST_ON_EACH_TARGET(LaneMaths, IsAccurateAndTheSameOnAllTargets, CheckFunctions);

}  // namespace
}  // namespace Vantra::Render::Simd
#endif
