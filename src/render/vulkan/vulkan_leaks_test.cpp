// The validation layer leaks a little of its own each time, which a leak checker must not count as
// ours. It is told by name, and stays loaded to the end so that it has one. The software driver
// keeps memory that only its own variables point to: unloading it would make that a leak too.

#include <dlfcn.h>

extern "C" const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:libVkLayer_khronos_validation.so\n"; }

namespace {

constexpr int kForever = RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE;
[[maybe_unused]] void* const layer = dlopen("libVkLayer_khronos_validation.so", kForever);
[[maybe_unused]] void* const driver = dlopen("libvulkan_lvp.so", kForever);

}  // namespace
