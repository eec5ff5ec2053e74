#pragma once

#include <cstddef>
#include <span>

// Declares `<name>_program()`, which gives the bytes of the program that the build embedded as
// `vantrix_spirv_<name>`. It stands outside of namespaces.
#define VANTRIX_EMBEDDED_PROGRAM(name)                                                 \
  extern "C" {                                                                         \
  extern const unsigned char vantrix_spirv_##name[];                                   \
  extern const unsigned char vantrix_spirv_##name##_end[];                             \
  }                                                                                    \
  static std::span<const std::byte> name##_program() {                                 \
    return std::as_bytes(std::span(vantrix_spirv_##name, vantrix_spirv_##name##_end)); \
  }
