#include "render/vulkan/vulkan_recorder.h"

#include <algorithm>
#include <cstring>

namespace Vantra::Render::Vulkan {
namespace {

// The zero constants lie before the ring proper.
constexpr std::uint64_t kReservedBytes = kMaximumConstantBytes;
// Half of it holds one row of the widest texture.
constexpr std::uint64_t kSmallestRing = std::uint64_t{256} << 10;
constexpr std::uint64_t kLargestRing = std::uint64_t{1} << 30;

struct Access {
  VkPipelineStageFlags2 stage;
  VkAccessFlags2 reads;
  VkAccessFlags2 writes;
  VkImageLayout layout;
};

Access AccessOf(Use use) {
  switch (use) {
    case Use::kSampled:
      // Passes and computations share what one of them has prepared.
      return {VK_PIPELINE_STAGE_2_FRAGMENT_SHADER_BIT | VK_PIPELINE_STAGE_2_COMPUTE_SHADER_BIT,
              VK_ACCESS_2_SHADER_SAMPLED_READ_BIT, 0, VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL};
    case Use::kTarget:
      return {VK_PIPELINE_STAGE_2_COLOR_ATTACHMENT_OUTPUT_BIT,
              VK_ACCESS_2_COLOR_ATTACHMENT_READ_BIT, VK_ACCESS_2_COLOR_ATTACHMENT_WRITE_BIT,
              VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL};
    case Use::kCopySource:
      return {VK_PIPELINE_STAGE_2_COPY_BIT, VK_ACCESS_2_TRANSFER_READ_BIT, 0,
              VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL};
    case Use::kCopyDestination:
      return {VK_PIPELINE_STAGE_2_COPY_BIT, 0, VK_ACCESS_2_TRANSFER_WRITE_BIT,
              VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL};
    case Use::kNone:
      break;
  }
  return {VK_PIPELINE_STAGE_2_NONE, 0, 0, VK_IMAGE_LAYOUT_UNDEFINED};
}

struct BufferAccess {
  VkPipelineStageFlags2 stage;
  VkAccessFlags2 reads;
  VkAccessFlags2 writes;
};

BufferAccess AccessOf(BufferUse use) {
  switch (use) {
    case BufferUse::kProgram:
      return {VK_PIPELINE_STAGE_2_COMPUTE_SHADER_BIT, VK_ACCESS_2_SHADER_STORAGE_READ_BIT,
              VK_ACCESS_2_SHADER_STORAGE_WRITE_BIT};
    case BufferUse::kCopySource:
      return {VK_PIPELINE_STAGE_2_COPY_BIT, VK_ACCESS_2_TRANSFER_READ_BIT, 0};
    case BufferUse::kCopyDestination:
      return {VK_PIPELINE_STAGE_2_COPY_BIT, 0, VK_ACCESS_2_TRANSFER_WRITE_BIT};
    case BufferUse::kNone:
      break;
  }
  return {VK_PIPELINE_STAGE_2_NONE, 0, 0};
}

VkMemoryBarrier2 CopyBarrier(VkPipelineStageFlags2 stage, VkAccessFlags2 access) {
  VkMemoryBarrier2 barrier = {};
  barrier.sType = VK_STRUCTURE_TYPE_MEMORY_BARRIER_2;
  barrier.srcStageMask = VK_PIPELINE_STAGE_2_COPY_BIT;
  barrier.srcAccessMask = VK_ACCESS_2_TRANSFER_WRITE_BIT;
  barrier.dstStageMask = stage;
  barrier.dstAccessMask = access;
  return barrier;
}

VkDependencyInfo Dependency(const VkMemoryBarrier2& barrier) {
  VkDependencyInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_DEPENDENCY_INFO;
  info.memoryBarrierCount = 1;
  info.pMemoryBarriers = &barrier;
  return info;
}

}  // namespace

Recorder::~Recorder() {
  for (const Slot& slot : slots_) {
    device_.Vk().vkDestroyCommandPool(device_.Handle(), slot.pool, nullptr);
  }
  DestroyDedicatedBuffer(device_.GetApi(), ring_);
}

Status Recorder::Init(std::size_t ring_bytes) {
  Api& api = device_.GetApi();
  const std::uint64_t capacity = AlignUp(
      std::clamp(std::uint64_t{ring_bytes}, kSmallestRing, kLargestRing), kMaximumConstantBytes);
  Status status =
      CreateDedicatedBuffer(api, kReservedBytes + capacity,
                            VK_BUFFER_USAGE_TRANSFER_SRC_BIT | VK_BUFFER_USAGE_UNIFORM_BUFFER_BIT,
                            HostAccess::kWrite, &ring_);
  if (status != Status::kOk) return status;
  std::memset(ring_.data, 0, kReservedBytes);
  space_ = RingSpace(capacity);
  // Powers of two, the smallest of which keeps slices apart by cache lines. The device's limits for
  // constants do not exceed the constants' own size.
  alignment_ = std::min<std::uint64_t>(
      std::max({VkDeviceSize{64}, api.limits.minUniformBufferOffsetAlignment,
                api.limits.optimalBufferCopyOffsetAlignment}),
      kMaximumConstantBytes);

  for (Slot& slot : slots_) {
    VkCommandPoolCreateInfo pool = {};
    pool.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO;
    pool.flags = VK_COMMAND_POOL_CREATE_TRANSIENT_BIT;
    pool.queueFamilyIndex = device_.QueueFamily();
    status = Created(api, api.vk.vkCreateCommandPool(api.device, &pool, nullptr, &slot.pool),
                     &slot.pool);
    if (status != Status::kOk) return status;
    VkCommandBufferAllocateInfo info = {};
    info.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO;
    info.commandPool = slot.pool;
    info.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
    info.commandBufferCount = 1;
    status = Created(api, api.vk.vkAllocateCommandBuffers(api.device, &info, &slot.commands),
                     &slot.commands);
    if (status != Status::kOk) return status;
  }
  return Status::kOk;
}

Status Recorder::Open(VkCommandBuffer* commands) {
  Slot& slot = slots_[current_];
  if (!open_) {
    Status status = Reclaim(slot.submission);
    if (status != Status::kOk) return status;
    status = ToStatus(device_.Vk().vkResetCommandPool(device_.Handle(), slot.pool, 0));
    if (status != Status::kOk) return status;
    VkCommandBufferBeginInfo info = {};
    info.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO;
    info.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
    status = ToStatus(device_.Vk().vkBeginCommandBuffer(slot.commands, &info));
    if (status != Status::kOk) return status;
    open_ = true;
    pipeline_ = VK_NULL_HANDLE;
  }
  *commands = slot.commands;
  return Status::kOk;
}

Status Recorder::Reserve(std::uint64_t bytes, RingSlice* slice) {
  auto offset = space_.Reserve(bytes, alignment_);
  if (!offset) {
    Status status = device_.Poll();
    if (status != Status::kOk) return status;
    ReleaseRing();
    offset = space_.Reserve(bytes, alignment_);
    while (!offset) {
      // The device may as well start on what is recorded while the host waits.
      status = Submit();
      if (status != Status::kOk) return status;
      std::uint64_t oldest = device_.Submitted();
      for (const Slot& slot : slots_) {
        if (slot.submission > device_.Completed()) oldest = std::min(oldest, slot.submission);
      }
      const bool idle = oldest <= device_.Completed();
      status = Reclaim(oldest);
      if (status != Status::kOk) return status;
      // Slices reserved by operations that failed afterwards belong to no submission.
      if (idle) space_.Release(space_.Head());
      offset = space_.Reserve(bytes, alignment_);
    }
  }
  const std::uint64_t start = kReservedBytes + *offset;
  *slice = {ring_.data + start, static_cast<std::uint32_t>(start)};
  return Status::kOk;
}

Status Recorder::Submit() {
  if (!open_) return Status::kOk;
  EndRendering();
  Slot& slot = slots_[current_];
  if (host_reads_) {
    const VkMemoryBarrier2 barrier =
        CopyBarrier(VK_PIPELINE_STAGE_2_HOST_BIT, VK_ACCESS_2_HOST_READ_BIT);
    const VkDependencyInfo info = Dependency(barrier);
    device_.Vk().vkCmdPipelineBarrier2(slot.commands, &info);
  }
  host_reads_ = false;
  open_ = false;
  Status status = ToStatus(device_.Vk().vkEndCommandBuffer(slot.commands));
  if (status == Status::kOk) status = device_.Submit(slot.commands);
  if (status != Status::kOk) {
    // The recorded work is gone, and with it the contents of all that it was to write: this cannot
    // be told from a loss of the device.
    return Status::kDeviceLost;
  }
  slot.submission = device_.Submitted();
  slot.ring_head = space_.Head();
  current_ = (current_ + 1) % kSlots;
  return Status::kOk;
}

Status Recorder::Reclaim(std::uint64_t submission) {
  const Status status =
      submission > device_.Completed() ? device_.WaitFor(submission) : device_.Poll();
  if (status == Status::kOk) ReleaseRing();
  return status;
}

void Recorder::ReleaseRing() {
  for (const Slot& slot : slots_) {
    if (slot.submission <= device_.Completed()) space_.Release(slot.ring_head);
  }
}

void Recorder::Prepare(const DeviceTexture& texture, Use use, bool replace) {
  auto& state = texture.GetState();
  state.last_submission = device_.Recording();
  if (replace) state.clear.reset();
  if (state.clear && use != Use::kTarget) {
    EndRendering();
    Transition(texture, Use::kTarget, true);
    FlushBarriers();
    StartRendering(texture, VK_ATTACHMENT_LOAD_OP_CLEAR);
    EndRendering();
  }
  const bool reads_only = AccessOf(use).writes == 0;
  if (state.use == use && reads_only) return;
  EndRendering();
  Transition(texture, use, replace);
}

void Recorder::Transition(const DeviceTexture& texture, Use use, bool replace) {
  auto& state = texture.GetState();
  const Access before = AccessOf(state.use);
  const Access after = AccessOf(use);
  VkImageMemoryBarrier2& barrier = barriers_[barrier_count_++];
  barrier = {};
  barrier.sType = VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER_2;
  barrier.srcStageMask = before.stage;
  barrier.srcAccessMask = before.writes;
  barrier.dstStageMask = after.stage;
  barrier.dstAccessMask = after.reads | after.writes;
  // Contents that are about to be replaced need not survive.
  barrier.oldLayout = replace ? VK_IMAGE_LAYOUT_UNDEFINED : before.layout;
  barrier.newLayout = after.layout;
  barrier.srcQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
  barrier.dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
  barrier.image = texture.Image();
  barrier.subresourceRange = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
  state.use = use;
}

void Recorder::FlushBarriers() {
  if (barrier_count_ == 0) return;
  VkDependencyInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_DEPENDENCY_INFO;
  info.imageMemoryBarrierCount = barrier_count_;
  info.pImageMemoryBarriers = barriers_.data();
  device_.Vk().vkCmdPipelineBarrier2(slots_[current_].commands, &info);
  barrier_count_ = 0;
}

void Recorder::PrepareReadback(ReadbackMemory& memory) {
  if (memory.written) {
    const VkMemoryBarrier2 barrier =
        CopyBarrier(VK_PIPELINE_STAGE_2_COPY_BIT, VK_ACCESS_2_TRANSFER_WRITE_BIT);
    const VkDependencyInfo info = Dependency(barrier);
    device_.Vk().vkCmdPipelineBarrier2(slots_[current_].commands, &info);
  }
  memory.written = true;
  memory.last_submission = device_.Recording();
  host_reads_ = true;
}

void Recorder::PrepareBuffer(const DeviceBuffer& buffer, BufferUse use) {
  auto& state = buffer.GetState();
  state.last_submission = device_.Recording();
  const BufferAccess before = AccessOf(state.use);
  const BufferAccess after = AccessOf(use);
  const bool in_order = state.use == BufferUse::kNone || (before.writes | after.writes) == 0;
  state.use = use;
  if (in_order) return;
  VkMemoryBarrier2 barrier = CopyBarrier(after.stage, after.reads | after.writes);
  barrier.srcStageMask = before.stage;
  barrier.srcAccessMask = before.writes;
  const VkDependencyInfo info = Dependency(barrier);
  device_.Vk().vkCmdPipelineBarrier2(slots_[current_].commands, &info);
}

void Recorder::BeginRendering(const DeviceTexture& target, bool replace) {
  auto& state = target.GetState();
  state.last_submission = device_.Recording();
  if (rendering_ == target.View() && !state.clear) return;
  if (replace) state.clear.reset();
  const VkAttachmentLoadOp load = state.clear ? VK_ATTACHMENT_LOAD_OP_CLEAR
                                  : replace   ? VK_ATTACHMENT_LOAD_OP_DONT_CARE
                                              : VK_ATTACHMENT_LOAD_OP_LOAD;
  EndRendering();
  Transition(target, Use::kTarget, load != VK_ATTACHMENT_LOAD_OP_LOAD);
  FlushBarriers();
  StartRendering(target, load);
}

void Recorder::StartRendering(const DeviceTexture& target, VkAttachmentLoadOp load) {
  auto& state = target.GetState();
  VkRenderingAttachmentInfo attachment = {};
  attachment.sType = VK_STRUCTURE_TYPE_RENDERING_ATTACHMENT_INFO;
  attachment.imageView = target.View();
  attachment.imageLayout = VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL;
  attachment.loadOp = load;
  attachment.storeOp = VK_ATTACHMENT_STORE_OP_STORE;
  if (state.clear) {
    std::copy(state.clear->begin(), state.clear->end(), attachment.clearValue.color.float32);
    state.clear.reset();
  }
  const TextureDesc& desc = target.Desc();
  VkRenderingInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_RENDERING_INFO;
  info.renderArea.extent = {desc.width, desc.height};
  info.layerCount = 1;
  info.colorAttachmentCount = 1;
  info.pColorAttachments = &attachment;
  const VkCommandBuffer commands = slots_[current_].commands;
  device_.Vk().vkCmdBeginRendering(commands, &info);
  VkViewport viewport = {};
  viewport.width = static_cast<float>(desc.width);
  viewport.height = static_cast<float>(desc.height);
  viewport.maxDepth = 1;
  device_.Vk().vkCmdSetViewport(commands, 0, 1, &viewport);
  rendering_ = target.View();
}

void Recorder::EndRendering() {
  if (!rendering_) return;
  device_.Vk().vkCmdEndRendering(slots_[current_].commands);
  rendering_ = VK_NULL_HANDLE;
}

void Recorder::BindPipeline(VkPipeline pipeline) {
  if (pipeline == pipeline_) return;
  device_.Vk().vkCmdBindPipeline(slots_[current_].commands, VK_PIPELINE_BIND_POINT_GRAPHICS,
                                 pipeline);
  pipeline_ = pipeline;
}

}  // namespace Vantra::Render::Vulkan
