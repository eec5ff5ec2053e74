#include "render/simd/cpu_resources.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <new>

namespace Vantra::Render::Simd {
namespace {

// Of memory that is moved by one thread, at the least.
constexpr std::uint64_t kLeastBytes = std::uint64_t{256} << 10;

// Rows this far apart, or a multiple of it, would crowd into the same few sets of a cache.
constexpr std::size_t kCrowdedPitch = 4096;

std::size_t PitchOf(const TextureDesc& desc) {
  const std::size_t bytes = std::size_t{desc.width} * BytesPerPixel(desc.format);
  const std::size_t pitch = (bytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
  return pitch % kCrowdedPitch == 0 ? pitch + kRowAlignment : pitch;
}

// Calls `use` for up to four rectangles that make up `whole` but for `hole`.
template <class Use>
void ForEachAround(const Rect& whole, const Rect& hole, const Use& use) {
  const auto use_filled = [&use](const Rect& rect) {
    if (!rect.Empty()) use(rect);
  };
  if (hole.Empty()) return use_filled(whole);
  use_filled({whole.left, whole.top, whole.right, hole.top});
  use_filled({whole.left, hole.top, hole.left, hole.bottom});
  use_filled({hole.right, hole.top, whole.right, hole.bottom});
  use_filled({whole.left, hole.bottom, whole.right, whole.bottom});
}

// Of a value in 0..1, to the nearest, ties to even.
std::uint16_t ToHalf(float value) {
  constexpr float kLeastNormal = 0x1p-14f;
  if (value < kLeastNormal) return static_cast<std::uint16_t>(std::nearbyint(value * 0x1p24f));
  const auto bits = std::bit_cast<std::uint32_t>(value);
  constexpr std::uint32_t kExponentShift = (127 - 15) << 10;
  return static_cast<std::uint16_t>(((bits + 0xFFF + (bits >> 13 & 1)) >> 13) - kExponentShift);
}

std::uint64_t ToByte(float value) { return static_cast<std::uint64_t>(value * 255 + 0.5f); }

// Moves memory row by row. Threads that cannot be had leave rows undone, which then are done here:
// rows may be moved twice.
template <class Body>
void RunSurely(Workers& workers, std::int32_t rows, std::uint64_t row_bytes, const Body& body) {
  if (!workers.Run(0, rows, row_bytes, kLeastBytes, body)) body(0, rows);
}

template <class Word>
void FillRow(std::byte* row, std::size_t count, std::uint64_t pixel) {
  std::fill_n(reinterpret_cast<Word*>(row), count, static_cast<Word>(pixel));
}

}  // namespace

std::uint64_t EncodePixel(Format format, const std::array<float, 4>& color) {
  const auto [r, g, b, a] = color;
  switch (format) {
    case Format::kBgra8:
      return ToByte(b) | ToByte(g) << 8 | ToByte(r) << 16 | ToByte(a) << 24;
    case Format::kRgba8:
      return ToByte(r) | ToByte(g) << 8 | ToByte(b) << 16 | ToByte(a) << 24;
    case Format::kR8:
      return ToByte(r);
    case Format::kRg8:
      return ToByte(r) | ToByte(g) << 8;
    case Format::kRgba16Float:
      return std::uint64_t{ToHalf(r)} | std::uint64_t{ToHalf(g)} << 16 |
             std::uint64_t{ToHalf(b)} << 32 | std::uint64_t{ToHalf(a)} << 48;
  }
  return 0;
}

void CopyRows(Workers& workers, std::byte* to, std::size_t to_pitch, const std::byte* from,
              std::size_t from_pitch, std::size_t row_bytes, std::int32_t rows) {
  RunSurely(workers, rows, row_bytes, [=](std::int32_t top, std::int32_t bottom) {
    for (auto row = static_cast<std::size_t>(top); row < static_cast<std::size_t>(bottom); ++row) {
      std::memcpy(to + row * to_pitch, from + row * from_pitch, row_bytes);
    }
    return true;
  });
}

bool MappedBlocks::Map(const BlockRef& block) noexcept {
  try {
    blocks_.push_back(block);
  } catch (const std::bad_alloc&) {
    return false;
  }
  ++maps_;
  return true;
}

void MappedBlocks::Unmap() noexcept {
  if (maps_ > 0 && --maps_ == 0) blocks_.clear();
}

Status CpuTexture::Create(const std::shared_ptr<BlockPool>& pool, const TextureDesc& desc,
                          std::unique_ptr<CpuTexture>* texture) {
  std::unique_ptr<CpuTexture> made(new (std::nothrow) CpuTexture(pool, desc, PitchOf(desc)));
  if (!made || made->Bytes() > kMaximumTextureBytes) return Status::kOutOfMemory;
  made->block_ = pool->Take(made->Bytes());
  if (!made->block_) return Status::kOutOfMemory;
  *texture = std::move(made);
  return Status::kOk;
}

std::uint64_t CpuTexture::Bytes() const {
  return std::uint64_t{pitch_} * Desc().height + kRowPadding;
}

void CpuTexture::Share(const CpuTexture& source) {
  clear_ = source.clear_;
  if (!clear_) block_ = source.block_;
}

Status CpuTexture::PrepareRead(Workers& workers) const {
  return clear_ ? PrepareWrite(workers, {}) : Status::kOk;
}

Status CpuTexture::PrepareWrite(Workers& workers, const Rect& replaced) const {
  BlockRef shared;
  if (block_.Shared()) {
    BlockRef fresh = pool_->Take(Bytes());
    if (!fresh) return Status::kOutOfMemory;
    shared = std::exchange(block_, std::move(fresh));
  }
  if (clear_) {
    const std::uint64_t pixel = EncodePixel(Desc().format, *clear_);
    clear_.reset();
    ForEachAround(Bounds(), replaced, [&](const Rect& rect) { Fill(workers, rect, pixel); });
  } else if (shared) {
    const std::size_t pixel_bytes = BytesPerPixel(Desc().format);
    ForEachAround(Bounds(), replaced, [&](const Rect& rect) {
      std::byte* const to = Pixels(rect.left, rect.top);
      CopyRows(workers, to, pitch_, shared.Data() + (to - block_.Data()), pitch_,
               static_cast<std::size_t>(rect.Width()) * pixel_bytes, rect.Height());
    });
  }
  return Status::kOk;
}

void CpuTexture::Fill(Workers& workers, const Rect& rect, std::uint64_t pixel) const {
  const std::size_t pixel_bytes = BytesPerPixel(Desc().format);
  const auto fill_row = pixel_bytes == 1   ? FillRow<std::uint8_t>
                        : pixel_bytes == 2 ? FillRow<std::uint16_t>
                        : pixel_bytes == 4 ? FillRow<std::uint32_t>
                                           : FillRow<std::uint64_t>;
  const auto width = static_cast<std::size_t>(rect.Width());
  RunSurely(workers, rect.Height(), width * pixel_bytes,
            [&](std::int32_t top, std::int32_t bottom) {
              for (std::int32_t row = top; row < bottom; ++row) {
                fill_row(Pixels(rect.left, rect.top + row), width, pixel);
              }
              return true;
            });
}

Status CpuBuffer::Create(const std::shared_ptr<BlockPool>& pool, const BufferDesc& desc,
                         std::unique_ptr<CpuBuffer>* buffer) {
  if (desc.bytes > kMaximumBufferBytes) return Status::kInvalidArgument;
  std::unique_ptr<CpuBuffer> made(new (std::nothrow) CpuBuffer(pool, desc));
  if (!made) return Status::kOutOfMemory;
  made->block_ = pool->Take(desc.bytes);
  if (!made->block_) return Status::kOutOfMemory;
  *buffer = std::move(made);
  return Status::kOk;
}

Status CpuBuffer::PrepareWrite(Workers& workers) {
  if (!block_.Shared()) return Status::kOk;
  BlockRef fresh = pool_->Take(Desc().bytes);
  if (!fresh) return Status::kOutOfMemory;
  // In pieces, as if they were rows.
  constexpr std::size_t kPiece = 4096;
  const std::size_t pieces = Desc().bytes / kPiece;
  const std::size_t rest = Desc().bytes % kPiece;
  CopyRows(workers, fresh.Data(), kPiece, block_.Data(), kPiece, kPiece,
           static_cast<std::int32_t>(pieces));
  std::memcpy(fresh.Data() + pieces * kPiece, block_.Data() + pieces * kPiece, rest);
  block_ = std::move(fresh);
  return Status::kOk;
}

}  // namespace Vantra::Render::Simd
