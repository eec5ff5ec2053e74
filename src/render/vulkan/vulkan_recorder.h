#pragma once

// Records commands and submits them: a small ring of command buffers, the upload ring, the barriers
// between uses of an image or a buffer, and the rendering that is under way.

#include <array>
#include <cstdint>
#include <memory>

#include "render/vulkan/vulkan_device.h"
#include "render/vulkan/vulkan_resources.h"
#include "render/vulkan/vulkan_space.h"

namespace Vantra::Render::Vulkan {

// A part of the upload ring.
struct RingSlice {
  std::byte* data = nullptr;
  std::uint32_t offset = 0;  // in the ring's buffer
};

class Recorder {
 public:
  explicit Recorder(Device& device) : device_(device) {}
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  Status Init(std::size_t ring_bytes);

  // The calls that can fail come first in an operation: they may submit what was recorded.
  //
  // Gives the command buffer to record to.
  Status Open(VkCommandBuffer* commands);
  // Reserves up to `LargestSlice` bytes, if need be by waiting for the oldest submission. They are
  // used by commands of the current submission only.
  Status Reserve(std::uint64_t bytes, RingSlice* slice);
  // Submits what was recorded, if anything.
  Status Submit();

  VkBuffer RingBuffer() const { return ring_.buffer; }
  std::uint64_t LargestSlice() const { return space_.LargestReservation(); }
  // Offset in the ring's buffer of a block of constants that are all zero.
  static constexpr std::uint32_t kZeroConstants = 0;

  // The rest records to an open command buffer and cannot fail.
  //
  // Makes `texture` ready for a use, with barriers that `FlushBarriers` records. A clear that waits
  // is recorded first, or dropped when the use is to `replace` all pixels.
  void Prepare(const DeviceTexture& texture, Use use, bool replace);
  void FlushBarriers();
  // Orders a copy to `texture` after earlier ones, and before the host's reading.
  void PrepareReadback(ReadbackMemory& memory);
  // Orders a use of `buffer` after the last one, outside of any rendering.
  void PrepareBuffer(const DeviceBuffer& buffer, BufferUse use);
  // Begins to draw to `target`, or goes on with it.
  void BeginRendering(const DeviceTexture& target, bool replace);
  void EndRendering();

  // Binds a pipeline of pixel programs, unless it is bound.
  void BindPipeline(VkPipeline pipeline);

 private:
  struct Slot {
    VkCommandPool pool = VK_NULL_HANDLE;
    VkCommandBuffer commands = VK_NULL_HANDLE;
    std::uint64_t submission = 0;
    std::uint64_t ring_head = 0;
  };

  Status Reclaim(std::uint64_t submission);
  void ReleaseRing();
  void Transition(const DeviceTexture& texture, Use use, bool replace);
  void StartRendering(const DeviceTexture& target, VkAttachmentLoadOp load);

  // Enough for the host to record while the device works, and to bound how far it runs ahead.
  static constexpr std::size_t kSlots = 4;
  // The target and all registers of a pass.
  static constexpr std::size_t kLargestBarrierBatch = kRegisterCount + 1;

  Device& device_;
  std::array<Slot, kSlots> slots_;
  std::size_t current_ = 0;
  bool open_ = false;

  DedicatedBuffer ring_;
  RingSpace space_{1};
  std::uint64_t alignment_ = 1;

  std::array<VkImageMemoryBarrier2, kLargestBarrierBatch> barriers_ = {};
  std::uint32_t barrier_count_ = 0;
  bool host_reads_ = false;
  // The view that is drawn to. Unlike a texture's address it is not reused before submission.
  VkImageView rendering_ = VK_NULL_HANDLE;
  VkPipeline pipeline_ = VK_NULL_HANDLE;
};

}  // namespace Vantra::Render::Vulkan
