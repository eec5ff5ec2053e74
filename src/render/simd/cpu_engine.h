#pragma once

// The CPU engine: it runs programs that were translated to SIMD code when the library was built.
// It does each operation when it is called, on the calling thread and, for large passes, on threads
// of its own.

#include "render/engine.h"

namespace Vantra::Render {

struct CpuOptions {
  // Threads that share a pass, the calling one among them. 0 stands for the number that
  // `SetCpuThreads` gave.
  unsigned threads = 0;
  // Whether a kernel with an algorithm of its own draws the passes that it accepts; else the
  // program as it was translated does.
  bool use_native_kernels = true;
};

// Starts an engine on the CPU. Null, with one sentence in `*error`, when that fails.
//
// A program that was not translated at build time is `kUnsupported`.
std::unique_ptr<Engine> CreateCpuEngine(const CpuOptions& options, std::string* error);

// Sets the threads of engines that are started from now on. 0, the value at the start, stands for
// all cores.
void SetCpuThreads(unsigned threads);

// Whether an engine can be started that runs the library's programs; else `*why` is the cause in
// one sentence.
bool CpuAvailable(std::string* why);

// The CPU as a device, named with its SIMD instructions and threads. Only when `CpuAvailable`.
DeviceInfo CpuDeviceInfo();

}  // namespace Vantra::Render
