#pragma once

// Runs tests on every instruction set that this CPU has.

#include <cstdint>
#include <gtest/gtest.h>

#include "hwy/targets.h"

namespace Vantra::Render::Simd {

// Calls `check` once for each instruction set, which HWY_DYNAMIC_DISPATCH then chooses.
template <class Check>
void OnEachTarget(Check check) {
  std::int64_t targets = hwy::SupportedTargets() & HWY_TARGETS;
  ASSERT_NE(targets, 0);
  for (; targets != 0; targets &= targets - 1) {
    const std::int64_t target = targets & -targets;
    const testing::ScopedTrace trace(__FILE__, __LINE__, hwy::TargetName(target));
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(target);
    check();
  }
  hwy::SetSupportedTargetsForTest(0);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

// A test of `check`, a function of each target's namespace.
#define TEST_ON_EACH_TARGET(suite, name, check)          \
  HWY_EXPORT(check);                                     \
  TEST(suite, name) {                                    \
    OnEachTarget([] { HWY_DYNAMIC_DISPATCH(check)(); }); \
  }                                                      \
  static_assert(true)

}  // namespace Vantra::Render::Simd
