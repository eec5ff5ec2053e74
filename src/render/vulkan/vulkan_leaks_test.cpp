// The validation layer leaks a little of its own each time, and the software driver in the threads
// that compile shaders, which a leak checker must not count as ours. They are told by name, and
// stay loaded to the end so that they have one. Vulkan objects that the engine forgets are not
// hidden by this: the engine counts its objects, and the layer reports what a device leaves behind.

#include <dlfcn.h>

extern "C" const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() {
  return "leak:libVkLayer_khronos_validation.so\nleak:libvulkan_lvp.so\n";
}

namespace {

constexpr int kForever = RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE;
[[maybe_unused]] void* const layer = dlopen("libVkLayer_khronos_validation.so", kForever);
[[maybe_unused]] void* const driver = dlopen("libvulkan_lvp.so", kForever);

}  // namespace
