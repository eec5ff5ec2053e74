#pragma once

// The engine that tests run on: that of the environment variable VANTRIX_TEST_ENGINE, cpu or
// vulkan. Without it, it is the CPU engine where the build has one, and tests of the engines
// themselves run on both.

#include <vantrix/platform/engine.h>

#include <string>
#include <vector>

namespace Vantra::Testing {

// Makes the devices that are started from now on run on it. False when the machine does not have
// it.
bool SelectEngineUnderTest();

// Whether the build has a CPU engine.
bool HasCpuEngine();

// Whether the tests run on it.
bool IsOnCpu();

// Those that tests of the engines themselves run on.
std::vector<Platform::EngineKind> EnginesUnderTest();

// In the form of the environment variable.
std::string NameOf(Platform::EngineKind kind);

}  // namespace Vantra::Testing
