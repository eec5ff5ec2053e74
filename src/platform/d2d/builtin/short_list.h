#pragma once

#include <array>
#include <cstddef>

namespace Vantra::Platform {

// A list of at most `kCapacity` values that is no memory of its own, so that drawing a frame like
// the last one allocates nothing.
template <class T, std::size_t kCapacity>
class ShortList {
 public:
  static constexpr std::size_t Capacity() { return kCapacity; }

  // The list must not be full.
  void push_back(const T& value) { values_[size_++] = value; }
  void pop_back() { --size_; }

  bool empty() const { return size_ == 0; }
  std::size_t size() const { return size_; }
  T* begin() { return values_.data(); }
  T* end() { return values_.data() + size_; }
  const T* begin() const { return values_.data(); }
  const T* end() const { return values_.data() + size_; }
  T& back() { return values_[size_ - 1]; }
  const T& operator[](std::size_t index) const { return values_[index]; }

 private:
  std::array<T, kCapacity> values_{};
  std::size_t size_ = 0;
};

}  // namespace Vantra::Platform
