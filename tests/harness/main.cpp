// The main function of the test programs.

#include <vantrix/platform/engine.h>

#include <cstdio>
#include <exception>
#include <gtest/gtest.h>

#include "render/simd/kernel_registry.h"
#include "tests/harness/engine_under_test.h"

namespace Vantra::Render::Simd {

// Of the tests' own programs.
std::span<const Kernel> GetTestKernelTable();

}  // namespace Vantra::Render::Simd

int main(int argc, char** argv) {
  using namespace Vantra;
  try {
    testing::InitGoogleTest(&argc, argv);
    Render::Simd::AddKernels(Render::Simd::GetTestKernelTable());
    if (!GTEST_FLAG_GET(list_tests) && !Testing::SelectEngineUnderTest()) {
      for (const std::string& cause : Platform::ListEngines().rejected) {
        std::fprintf(stderr, "%s\n", cause.c_str());
      }
      return 1;
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return RUN_ALL_TESTS();
}
