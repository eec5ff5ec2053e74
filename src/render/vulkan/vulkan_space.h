#pragma once

// Arithmetic of address ranges, apart from the memory that they stand for: a first-fit allocator
// and a ring.

#include <cstdint>
#include <optional>
#include <vector>

namespace Vantra::Render::Vulkan {

constexpr std::uint64_t AlignUp(std::uint64_t value, std::uint64_t alignment) {
  return (value + alignment - 1) / alignment * alignment;
}

// Hands out ranges of [0, size), lowest first.
class FreeRanges {
 public:
  explicit FreeRanges(std::uint64_t size) : size_(size), free_{{0, size}} {}

  // Start of a range of `size` bytes, or nothing when no gap is large enough.
  std::optional<std::uint64_t> Take(std::uint64_t size, std::uint64_t alignment);
  // Takes back exactly one range that `Take` gave.
  void Give(std::uint64_t start, std::uint64_t size);

  bool AllFree() const { return free_.size() == 1 && free_[0].end - free_[0].start == size_; }

 private:
  struct Range {
    std::uint64_t start;
    std::uint64_t end;
  };

  std::uint64_t size_;
  std::vector<Range> free_;  // ascending, neither empty nor touching
};

// Space that is reserved in order and released in the same order. `Head` is a position that only
// grows; remembered at a submission and given to `Release` when that submission is done, it frees
// all that was reserved before it.
class RingSpace {
 public:
  explicit RingSpace(std::uint64_t capacity) : capacity_(capacity) {}

  // Offset of `size` contiguous bytes. Sizes up to `LargestReservation` always fit once everything
  // is released. `alignment` divides the capacity.
  std::optional<std::uint64_t> Reserve(std::uint64_t size, std::uint64_t alignment);
  void Release(std::uint64_t head);

  std::uint64_t Head() const { return head_; }
  // A range does not wrap, so the part left over before the end can cost up to its own size.
  std::uint64_t LargestReservation() const { return capacity_ / 2; }

 private:
  std::uint64_t capacity_;
  std::uint64_t head_ = 0;
  std::uint64_t tail_ = 0;
};

}  // namespace Vantra::Render::Vulkan
