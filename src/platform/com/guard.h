#pragma once

/// The border between code that may run out of memory by exception and interfaces that may not
/// throw.

#include <vantrix/platform/com.h>

#include <new>

namespace Vantra::Platform {

/// Returns what `call` returns, or `E_OUTOFMEMORY` when it ran out of memory.
template <class Call>
HRESULT GuardMemory(Call&& call) noexcept {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace Vantra::Platform
