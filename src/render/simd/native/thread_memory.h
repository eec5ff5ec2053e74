#pragma once

// Memory that a thread keeps from one kernel's run to the next, so that a frame like the last
// allocates nothing.

#include <cstddef>
#include <hwy/aligned_allocator.h>
#include <new>

namespace Vantra::Render::Simd {

class ThreadMemory {
 public:
  // At least so many bytes, aligned for any vector, of any contents. Throws `std::bad_alloc`.
  std::byte* Take(std::size_t bytes) {
    if (bytes > size_) {
      size_ = 0;
      data_ = hwy::AllocateAligned<std::byte>(bytes);
      if (!data_) throw std::bad_alloc();
      size_ = bytes;
    }
    return data_.get();
  }

 private:
  hwy::AlignedFreeUniquePtr<std::byte[]> data_;
  std::size_t size_ = 0;
};

}  // namespace Vantra::Render::Simd
