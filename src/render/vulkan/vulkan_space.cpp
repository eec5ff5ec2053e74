#include "render/vulkan/vulkan_space.h"

#include <algorithm>

namespace Vantra::Render::Vulkan {

std::optional<std::uint64_t> FreeRanges::Take(std::uint64_t size, std::uint64_t alignment) {
  for (auto range = free_.begin(); range != free_.end(); ++range) {
    const std::uint64_t start = AlignUp(range->start, alignment);
    if (start > range->end || range->end - start < size) continue;
    const Range before{range->start, start};
    const Range after{start + size, range->end};
    const bool keep_before = before.start < before.end;
    const bool keep_after = after.start < after.end;
    if (keep_before && keep_after) {
      *range = before;
      free_.insert(range + 1, after);
    } else if (keep_before || keep_after) {
      *range = keep_before ? before : after;
    } else {
      free_.erase(range);
    }
    return start;
  }
  return std::nullopt;
}

void FreeRanges::Give(std::uint64_t start, std::uint64_t size) {
  const std::uint64_t end = start + size;
  auto next = std::find_if(free_.begin(), free_.end(),
                           [end](const Range& range) { return range.start >= end; });
  const bool joins_next = next != free_.end() && next->start == end;
  const bool joins_previous = next != free_.begin() && (next - 1)->end == start;
  if (joins_previous && joins_next) {
    (next - 1)->end = next->end;
    free_.erase(next);
  } else if (joins_previous) {
    (next - 1)->end = end;
  } else if (joins_next) {
    next->start = start;
  } else {
    free_.insert(next, Range{start, end});
  }
}

std::optional<std::uint64_t> RingSpace::Reserve(std::uint64_t size, std::uint64_t alignment) {
  std::uint64_t start = AlignUp(head_, alignment);
  if (start % capacity_ + size > capacity_) start = AlignUp(start, capacity_);
  if (start + size - tail_ > capacity_) return std::nullopt;
  head_ = start + size;
  return start % capacity_;
}

void RingSpace::Release(std::uint64_t head) { tail_ = std::max(tail_, head); }

}  // namespace Vantra::Render::Vulkan
