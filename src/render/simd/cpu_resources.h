#pragma once

// Textures, buffers and programs of the CPU engine. Copies of a whole share its memory, and a clear
// waits: writing what shares or waits, all of it, costs nothing more than the write.

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "render/simd/cpu_memory.h"
#include "render/simd/kernel.h"
#include "render/simd/native/native_kernels.h"
#include "render/simd/workers.h"

namespace Vantra::Render::Simd {

// Bytes of a texture or buffer, so that kernels reach all of them with 32-bit offsets.
constexpr std::uint64_t kMaximumTextureBytes = (std::uint64_t{1} << 31) - 1;
constexpr std::uint64_t kMaximumBufferBytes = std::uint64_t{1} << 30;

// Holds memory that is mapped, whatever is copied to the resource meanwhile: who reads a frame may
// have the next one drawn.
class MappedBlocks {
 public:
  // False when memory has run out.
  bool Map(const BlockRef& block) noexcept;
  // Lets go of all with the last of as many calls.
  void Unmap() noexcept;

 private:
  std::vector<BlockRef> blocks_;
  std::size_t maps_ = 0;
};

// Of either usage: what is mapped is the memory itself.
class CpuTexture final : public Texture {
 public:
  static Status Create(const std::shared_ptr<BlockPool>& pool, const TextureDesc& desc,
                       std::unique_ptr<CpuTexture>* texture);

  std::size_t Pitch() const { return pitch_; }
  std::byte* Pixels(std::int32_t x, std::int32_t y) const {
    return block_.Data() + static_cast<std::size_t>(y) * pitch_ +
           static_cast<std::size_t>(x) * BytesPerPixel(Desc().format);
  }
  TextureView View() const {
    return {block_.Data(), pitch_, Bounds().right, Bounds().bottom, Desc().format};
  }

  // Fills the whole with a colour, when it is next read or written.
  void Clear(const std::array<float, 4>& color) { clear_ = color; }

  // Takes the contents of a texture of the same size and format.
  void Share(const CpuTexture& source);

  // Before the pixels are read: carries out a clear that waits.
  Status PrepareRead(Workers& workers) const;

  bool Map() { return mapped_.Map(block_); }
  void Unmap() { mapped_.Unmap(); }

  // Before pixels are written: gives the texture memory of its own, with its contents everywhere
  // but in `replaced`, which may be empty.
  Status PrepareWrite(Workers& workers, const Rect& replaced) const;

 private:
  CpuTexture(std::shared_ptr<BlockPool> pool, const TextureDesc& desc, std::size_t pitch)
      : Texture(desc), pool_(std::move(pool)), pitch_(pitch) {}

  std::uint64_t Bytes() const;
  void Fill(Workers& workers, const Rect& rect, std::uint64_t pixel) const;

  std::shared_ptr<BlockPool> pool_;  // before the block, which goes back to it
  std::size_t pitch_;
  // Where the contents lie is no part of what they are.
  mutable BlockRef block_;
  mutable std::optional<std::array<float, 4>> clear_;
  MappedBlocks mapped_;
};

class CpuBuffer final : public Buffer {
 public:
  static Status Create(const std::shared_ptr<BlockPool>& pool, const BufferDesc& desc,
                       std::unique_ptr<CpuBuffer>* buffer);

  std::byte* Data() const { return block_.Data(); }
  // Takes the contents of a buffer of the same size.
  void Share(const CpuBuffer& source) { block_ = source.block_; }
  // Before words are written, which may be some of them only.
  Status PrepareWrite(Workers& workers);
  bool Map() { return mapped_.Map(block_); }
  void Unmap() { mapped_.Unmap(); }

 private:
  CpuBuffer(std::shared_ptr<BlockPool> pool, const BufferDesc& desc)
      : Buffer(desc), pool_(std::move(pool)) {}

  std::shared_ptr<BlockPool> pool_;
  BlockRef block_;
  MappedBlocks mapped_;
};

class CpuProgram final : public Program {
 public:
  CpuProgram(PixelKernel of_program, const NativeKernel* of_name)
      : kernel(of_program), native(of_name) {}
  bool HasOwnAlgorithm() const override { return native != nullptr; }

  const PixelKernel kernel;
  // Draws the passes that it accepts. May be null.
  const NativeKernel* const native;
};

class CpuComputeProgram final : public ComputeProgram {
 public:
  CpuComputeProgram(ComputeKernel of_program, const NativeComputeKernel* of_name)
      : kernel(of_program), native(of_name) {}

  const ComputeKernel kernel;
  // Runs what it accepts on memory of the host. May be null.
  const NativeComputeKernel* const native;
};

// Copies rows of `row_bytes` bytes, on several threads where that pays.
void CopyRows(Workers& workers, std::byte* to, std::size_t to_pitch, const std::byte* from,
              std::size_t from_pitch, std::size_t row_bytes, std::int32_t rows);

// A pixel of this colour, which lies in 0..1, in memory order from the lowest byte.
std::uint64_t EncodePixel(Format format, const std::array<float, 4>& color);

}  // namespace Vantra::Render::Simd
