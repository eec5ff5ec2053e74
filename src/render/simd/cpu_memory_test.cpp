#include "render/simd/cpu_memory.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace Vantra::Render::Simd {
namespace {

constexpr std::uint64_t kMebibyte = std::uint64_t{1} << 20;

TEST(BlockPoolTest, BlocksAreSharedByCountingAndServeAgainWhereTheyFit) {
  BlockPool pool(1000 * kMebibyte);
  BlockRef first = pool.Take(3 * kMebibyte);
  ASSERT_TRUE(first);
  EXPECT_FALSE(first.Shared());
  std::byte* const memory = first.Data();
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % 64, 0u);
  std::memset(memory, 1, 3 * kMebibyte);
  {
    const BlockRef second = first;
    EXPECT_TRUE(first.Shared());
    EXPECT_TRUE(second.Shared());
    EXPECT_EQ(second.Data(), memory);
  }
  EXPECT_FALSE(first.Shared());

  first = {};
  EXPECT_EQ(pool.Take(3 * kMebibyte - 100).Data(), memory);
  EXPECT_NE(pool.Take(1000).Data(), memory) << "a small request wastes a large block";
  EXPECT_NE(pool.Take(3 * kMebibyte + 100).Data(), memory) << "the block is too small";
  EXPECT_EQ(pool.BlocksMade(), 3u);
  EXPECT_EQ(pool.Take(3 * kMebibyte).Data(), memory) << "the best of those that fit";
}

TEST(BlockPoolTest, KeepsAsMuchAsIsInUseOrALittleAndDropsWhatLayLongest) {
  BlockPool pool(4000 * kMebibyte);
  std::vector<BlockRef> blocks;
  for (int i = 0; i < 10; ++i) blocks.push_back(pool.Take(40 * kMebibyte));
  const std::byte* const newest = blocks.front().Data();
  blocks.pop_back();
  EXPECT_EQ(pool.BytesKept(), 40 * kMebibyte);
  while (blocks.size() > 3) blocks.pop_back();
  EXPECT_EQ(pool.BytesKept(), 120 * kMebibyte);
  while (!blocks.empty()) blocks.pop_back();
  EXPECT_EQ(pool.BytesKept(), 40 * kMebibyte);
  EXPECT_EQ(pool.Take(40 * kMebibyte).Data(), newest);

  BlockRef outlives = pool.Take(kMebibyte);
  pool.Close();
  EXPECT_EQ(pool.BytesKept(), 0u);
  outlives = {};
  EXPECT_EQ(pool.BytesKept(), 0u);
}

TEST(BlockPoolTest, MemoryThatRunsOutGivesNoneAndWhatIsKeptIsFreedBefore) {
  BlockPool pool(10 * kMebibyte);
  EXPECT_FALSE(pool.Take(~std::uint64_t{0} - 8));
  EXPECT_FALSE(pool.Take(11 * kMebibyte));
  const BlockRef half = pool.Take(5 * kMebibyte - 4096);
  ASSERT_TRUE(half);
  EXPECT_FALSE(pool.Take(7 * kMebibyte));
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(pool.Take(kMebibyte / 2 << i));
  EXPECT_GT(pool.BytesKept(), 2 * kMebibyte);
  EXPECT_TRUE(pool.Take(4 * kMebibyte));
}

}  // namespace
}  // namespace Vantra::Render::Simd
