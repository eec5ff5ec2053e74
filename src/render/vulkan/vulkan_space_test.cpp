#include "render/vulkan/vulkan_space.h"

#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <random>

namespace Vantra::Render::Vulkan {
namespace {

TEST(FreeRangesTest, GivesAlignedRangesThatNeverOverlapAndJoinsThemAgain) {
  constexpr std::uint64_t kSize = 1 << 16;
  FreeRanges ranges(kSize);
  std::map<std::uint64_t, std::uint64_t> taken;  // start to size
  std::mt19937 random(1);
  for (int step = 0; step < 20000; ++step) {
    if (random() % 2 == 0) {
      const std::uint64_t size = 1 + random() % 5000;
      const std::uint64_t alignment = std::uint64_t{1} << random() % 11;
      const auto start = ranges.Take(size, alignment);
      if (!start) continue;
      ASSERT_EQ(*start % alignment, 0u);
      ASSERT_LE(*start + size, kSize);
      const auto next = taken.lower_bound(*start);
      if (next != taken.end()) {
        ASSERT_LE(*start + size, next->first);
      }
      if (next != taken.begin()) {
        const auto before = std::prev(next);
        ASSERT_LE(before->first + before->second, *start);
      }
      taken[*start] = size;
    } else if (!taken.empty()) {
      auto any = taken.lower_bound(random() % kSize);
      if (any == taken.end()) any = taken.begin();
      ranges.Give(any->first, any->second);
      taken.erase(any);
    }
  }
  for (const auto& [start, size] : taken) ranges.Give(start, size);
  EXPECT_TRUE(ranges.AllFree());
  EXPECT_EQ(ranges.Take(kSize, 1), 0u);
  EXPECT_FALSE(ranges.Take(1, 1));
}

TEST(RingSpaceTest, KeepsLiveReservationsApartAndServesTheLargestOnceEmpty) {
  constexpr std::uint64_t kCapacity = 1 << 14;
  struct Live {
    std::uint64_t start;
    std::uint64_t end;
    std::uint64_t head;
  };
  RingSpace ring(kCapacity);
  std::deque<Live> live;
  std::mt19937 random(2);
  for (int step = 0; step < 20000; ++step) {
    const std::uint64_t size = 1 + random() % ring.LargestReservation();
    auto start = ring.Reserve(size, 256);
    while (!start && !live.empty()) {
      ring.Release(live.front().head);
      live.pop_front();
      start = ring.Reserve(size, 256);
    }
    ASSERT_TRUE(start) << "an empty ring refused " << size << " bytes";
    ASSERT_EQ(*start % 256, 0u);
    ASSERT_LE(*start + size, kCapacity);
    for (const Live& other : live) {
      ASSERT_TRUE(*start >= other.end || *start + size <= other.start);
    }
    live.push_back({*start, *start + size, ring.Head()});
  }
}

}  // namespace
}  // namespace Vantra::Render::Vulkan
