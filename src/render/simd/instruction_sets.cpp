#include "render/simd/instruction_sets.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <hwy/targets.h>
#include <mutex>

#if HWY_ARCH_X86
#include <cpuid.h>
#endif

namespace Vantra::Render::Simd {
namespace {

constexpr const char* kVariable = "VANTRIX_SIMD_TARGET";

struct InstructionSet {
  const char* name;
  const char* option;
  std::int64_t target;
};

// Best first, which is also the order of Highway's bits, from the lowest.
constexpr InstructionSet kInstructionSets[] = {
#if HWY_ARCH_X86
    {"AVX-512", "avx512", HWY_AVX3},
    {"AVX2", "avx2", HWY_AVX2},
    {"SSE4", "sse4", HWY_SSE4},
#elif HWY_ARCH_ARM
    {"NEON", "neon", HWY_NEON},
#else
    {"scalar", "scalar", HWY_STATIC_TARGET},
#endif
};

// Guards Highway's choice, which is the process's.
std::mutex& ChoiceMutex() {
  static auto& mutex = *new std::mutex;
  return mutex;
}

bool Has(std::int64_t targets, const InstructionSet& set) {
  return (targets & set.target & HWY_TARGETS) != 0;
}

void Apply(std::int64_t targets) {
  if (hwy::SupportedTargets() != targets) hwy::SetSupportedTargetsForTest(targets);
  // At once, so that kernels that run on other threads never find it unset.
  hwy::GetChosenTarget().Update(targets);
}

}  // namespace

const char* ChooseInstructionSet(std::string* error) {
  const std::lock_guard lock(ChoiceMutex());
  static const std::int64_t available = hwy::SupportedTargets();
  const char* const wanted = std::getenv(kVariable);
  if (wanted && *wanted) {
    const auto set = std::find_if(
        std::begin(kInstructionSets), std::end(kInstructionSets),
        [wanted](const InstructionSet& known) { return std::strcmp(known.option, wanted) == 0; });
    if (set == std::end(kInstructionSets)) {
      *error = std::string(kVariable) + " names '" + wanted + "', which is not one of";
      for (const InstructionSet& known : kInstructionSets)
        *error += std::string(" ") + known.option;
      *error += ".";
      return nullptr;
    }
    if (!Has(available, *set)) {
      *error =
          std::string(kVariable) + " asks for " + set->name + ", which this CPU does not have.";
      return nullptr;
    }
    // It and all below.
    Apply(available & ~(set->target - 1));
    return set->name;
  }
  const auto best = std::find_if(std::begin(kInstructionSets), std::end(kInstructionSets),
                                 [](const InstructionSet& set) { return Has(available, set); });
  if (best == std::end(kInstructionSets)) {
    *error = std::string("This CPU does not have ") + std::rbegin(kInstructionSets)->name +
             ", which the CPU engine needs.";
    return nullptr;
  }
  Apply(available);
  return best->name;
}

std::string CpuName() {
  std::string name;
#if HWY_ARCH_X86
  constexpr unsigned kFirstLeaf = 0x80000002;
  constexpr unsigned kLeaves = 3;
  std::array<unsigned, 4 * kLeaves> words{};
  if (__get_cpuid_max(0x80000000, nullptr) >= kFirstLeaf + kLeaves - 1) {
    for (unsigned leaf = 0; leaf < kLeaves; ++leaf) {
      unsigned* const part = &words[std::size_t{leaf} * 4];
      __get_cpuid(kFirstLeaf + leaf, &part[0], &part[1], &part[2], &part[3]);
    }
  }
  std::array<char, sizeof(words) + 1> text{};
  std::memcpy(text.data(), words.data(), sizeof(words));
  // Makers pad it with blanks, on either side and within.
  for (const char* at = text.data(); *at; ++at) {
    if (*at != ' ' || (!name.empty() && name.back() != ' ')) name += *at;
  }
  if (!name.empty() && name.back() == ' ') name.pop_back();
#endif
  return name.empty() ? "CPU" : name;
}

}  // namespace Vantra::Render::Simd
