#include "testing/generated_programs.h"

#include "render/simd/targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "testing/generated_programs.cpp"
#include "hwy/foreach_target.h"
#include "render/simd/program-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {

#include "test_flow.inc"
#include "test_mixed.inc"
#include "test_reads.inc"

Pixelc::GeneratedPrograms Programs() {
  return {hwy::TargetName(HWY_TARGET), test_flow, test_mixed, test_reads};
}

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantra::Render::Simd {
HWY_EXPORT(Programs);
}

namespace Vantra::Pixelc {

std::vector<GeneratedPrograms> GeneratedForAllTargets() {
  std::vector<GeneratedPrograms> all;
  for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    using namespace Render::Simd;
    all.push_back(HWY_DYNAMIC_DISPATCH(Programs)());
  }
  hwy::SetSupportedTargetsForTest(0);
  return all;
}

}  // namespace Vantra::Pixelc
#endif
