#pragma once

// Blocks of memory for textures and buffers. What holds a block shares it by counting: two textures
// of the same contents are one block until one of them is written.

#include <cstddef>
#include <cstdint>
#include <utility>

namespace Vantra::Render::Simd {

class BlockPool;

// A counted reference to a block, or none. Counts are plain: an engine and all that it made belong
// to one thread at a time.
class BlockRef {
 public:
  BlockRef() = default;
  BlockRef(const BlockRef& other) noexcept;
  BlockRef(BlockRef&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  BlockRef& operator=(BlockRef other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~BlockRef();

  explicit operator bool() const { return block_ != nullptr; }
  std::byte* Data() const;
  // Whether there are other references to the block.
  bool Shared() const;

 private:
  friend class BlockPool;
  struct Block;
  explicit BlockRef(Block* block) : block_(block) {}

  Block* block_ = nullptr;
};

// Gives blocks, and keeps those that come back for the next who asks: fresh memory costs the system
// more than most passes do. All references must end before their pool.
class BlockPool {
 public:
  // A limit to the bytes that blocks take together; beyond it, memory has run out.
  explicit BlockPool(std::uint64_t limit) : limit_(limit) {}
  ~BlockPool() { Close(); }
  BlockPool(const BlockPool&) = delete;
  BlockPool& operator=(const BlockPool&) = delete;

  // A block of `bytes` or more, of undefined contents, aligned to `kRowAlignment`. None when memory
  // has run out.
  BlockRef Take(std::uint64_t bytes) noexcept;

  // Frees what is kept, and keeps nothing from now on.
  void Close() noexcept;

  // Blocks that were taken from the system so far.
  std::uint64_t BlocksMade() const { return blocks_made_; }
  std::uint64_t BytesKept() const { return bytes_kept_; }

 private:
  friend class BlockRef;
  using Block = BlockRef::Block;

  void GiveBack(Block* block) noexcept;
  Block* TakeKept(std::uint64_t bytes) noexcept;
  Block* Make(std::uint64_t bytes) noexcept;
  // Frees the blocks that were kept longest, until no more than `bytes` are kept.
  void KeepAtMost(std::uint64_t bytes) noexcept;

  std::uint64_t limit_;
  bool closed_ = false;
  Block* kept_ = nullptr;  // a list, the newest first
  std::uint64_t bytes_kept_ = 0;
  std::uint64_t bytes_in_use_ = 0;
  std::uint64_t blocks_made_ = 0;
};

}  // namespace Vantra::Render::Simd
