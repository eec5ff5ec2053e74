#include "render/simd/cpu_memory.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <sys/mman.h>

#include "render/simd/kernel.h"

namespace Vantra::Render::Simd {
namespace {

// Kept at any rate, for small pictures; large ones keep as much as they use.
constexpr std::uint64_t kKeptAtLeast = std::uint64_t{64} << 20;

constexpr std::uint64_t kHugePage = std::uint64_t{2} << 20;

constexpr std::uint64_t AlignUp(std::uint64_t value, std::uint64_t alignment) {
  return (value + alignment - 1) / alignment * alignment;
}

// Whether a block of `have` bytes may serve for `need` without wasting much.
constexpr bool Fits(std::uint64_t have, std::uint64_t need) {
  constexpr std::uint64_t kSmall = std::uint64_t{64} << 10;
  return have >= need && have - need <= std::max(need / 4, kSmall);
}

}  // namespace

struct BlockRef::Block {
  BlockPool* pool;
  std::byte* data;
  std::uint64_t bytes;
  std::uint64_t references;
  Block* next;  // among those that are kept
};

BlockRef::BlockRef(const BlockRef& other) noexcept : block_(other.block_) {
  if (block_) ++block_->references;
}

BlockRef::~BlockRef() {
  if (block_ && --block_->references == 0) block_->pool->GiveBack(block_);
}

std::byte* BlockRef::Data() const { return block_ ? block_->data : nullptr; }

bool BlockRef::Shared() const { return block_ && block_->references > 1; }

BlockRef BlockPool::Take(std::uint64_t bytes) noexcept {
  Block* block = TakeKept(bytes);
  if (!block) block = Make(bytes);
  if (!block && kept_) {
    KeepAtMost(0);
    block = Make(bytes);
  }
  if (!block) return {};
  block->references = 1;
  bytes_in_use_ += block->bytes;
  return BlockRef(block);
}

BlockPool::Block* BlockPool::TakeKept(std::uint64_t bytes) noexcept {
  Block** best = nullptr;
  for (Block** at = &kept_; *at; at = &(*at)->next) {
    if (Fits((*at)->bytes, bytes) && (!best || (*at)->bytes < (*best)->bytes)) best = at;
  }
  if (!best) return nullptr;
  Block* block = *best;
  *best = block->next;
  bytes_kept_ -= block->bytes;
  return block;
}

BlockPool::Block* BlockPool::Make(std::uint64_t bytes) noexcept {
  if (bytes > limit_) return nullptr;
  // Huge pages fault in far faster, 512 small ones at a time.
  const std::uint64_t alignment = bytes >= 2 * kHugePage ? kHugePage : kRowAlignment;
  const std::uint64_t size = AlignUp(bytes, alignment);
  if (size > limit_ || bytes_in_use_ + bytes_kept_ > limit_ - size) return nullptr;
  auto* const block = new (std::nothrow) Block{this, nullptr, size, 0, nullptr};
  if (!block) return nullptr;
  block->data = static_cast<std::byte*>(std::aligned_alloc(alignment, size));
  if (!block->data) {
    delete block;
    return nullptr;
  }
#ifdef MADV_HUGEPAGE
  // Where the system has none, small pages do.
  if (alignment == kHugePage) static_cast<void>(madvise(block->data, size, MADV_HUGEPAGE));
#endif
  ++blocks_made_;
  return block;
}

void BlockPool::GiveBack(Block* block) noexcept {
  bytes_in_use_ -= block->bytes;
  bytes_kept_ += block->bytes;
  block->next = kept_;
  kept_ = block;
  KeepAtMost(closed_ ? 0 : std::max(kKeptAtLeast, bytes_in_use_));
}

void BlockPool::KeepAtMost(std::uint64_t bytes) noexcept {
  std::uint64_t sum = 0;
  Block** at = &kept_;
  while (*at && sum + (*at)->bytes <= bytes) {
    sum += (*at)->bytes;
    at = &(*at)->next;
  }
  Block* block = std::exchange(*at, nullptr);
  bytes_kept_ = sum;
  while (block) {
    Block* const next = block->next;
    std::free(block->data);
    delete block;
    block = next;
  }
}

void BlockPool::Close() noexcept {
  closed_ = true;
  KeepAtMost(0);
}

}  // namespace Vantra::Render::Simd
