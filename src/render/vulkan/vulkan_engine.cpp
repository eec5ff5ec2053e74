#include "render/vulkan/vulkan_engine.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>

#include "render/vulkan/vulkan_device.h"
#include "render/vulkan/vulkan_engine_internal.h"
#include "render/vulkan/vulkan_instance.h"
#include "render/vulkan/vulkan_pipeline.h"
#include "render/vulkan/vulkan_recorder.h"
#include "render/vulkan/vulkan_resources.h"

namespace Vantra::Render {
namespace Vulkan {
namespace {

VkRect2D ToVkRect(const Rect& rect) {
  return {{rect.left, rect.top},
          {static_cast<std::uint32_t>(rect.Width()), static_cast<std::uint32_t>(rect.Height())}};
}

VkOffset3D Corner(std::int32_t x, std::int32_t y) { return {x, y, 0}; }

VkExtent3D Size(const Rect& rect) {
  return {static_cast<std::uint32_t>(rect.Width()), static_cast<std::uint32_t>(rect.Height()), 1};
}

constexpr VkImageSubresourceLayers kLayer = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};

void CopyRows(std::byte* to, const std::byte* from, std::size_t row_bytes, std::size_t pitch,
              std::size_t rows) {
  if (row_bytes == pitch) {
    std::memcpy(to, from, row_bytes * rows);
    return;
  }
  for (std::size_t row = 0; row < rows; ++row) {
    std::memcpy(to + row * row_bytes, from + row * pitch, row_bytes);
  }
}

class VulkanEngine final : public Engine {
 public:
  explicit VulkanEngine(std::shared_ptr<Device> device)
      : device_(std::move(device)), recorder_(*device_), pipelines_(*device_) {}
  ~VulkanEngine() override {
    // Before the members go: the device may still read them.
    device_->Close();
  }

  Status Init(const VulkanOptions& options) {
    Status status = recorder_.Init(options.ring_bytes);
    if (status == Status::kOk) status = device_->Sets().Init(recorder_.RingBuffer());
    if (status == Status::kOk) status = pipelines_.Init();
    if (status == Status::kOk) {
      status = DeviceTexture::Create(device_, {1, 1, Format::kBgra8, Usage::kDevice}, &blank_);
    }
    if (status == Status::kOk) blank_->GetState().clear = {0.0f, 0.0f, 0.0f, 0.0f};
    return status;
  }

  std::uint32_t MaximumTextureSize() const override { return device_->MaximumTextureSize(); }
  std::uint64_t SubmissionCount() const override { return device_->Submitted(); }
  std::uint64_t ObjectsCreated() const { return device_->GetApi().objects_created; }

 private:
  Status DoCreateTexture(const TextureDesc& desc, std::unique_ptr<Texture>* texture) override;
  Status DoCreateProgram(std::span<const std::byte> spirv,
                         std::unique_ptr<Program>* program) override;
  Status DoCreateBuffer(const BufferDesc& desc, std::unique_ptr<Buffer>* buffer) override;
  Status DoCreateComputeProgram(std::span<const std::byte> spirv,
                                std::unique_ptr<ComputeProgram>* program) override;
  Status DoUpload(Texture& texture, const Rect& rect, const std::byte* data,
                  std::size_t pitch) override;
  Status DoClear(Texture& texture, const std::array<float, 4>& color) override;
  Status DoDraw(const Pass& pass) override;
  Status DoDispatch(const Computation& computation) override;
  Status DoCopy(Texture& destination, std::int32_t x, std::int32_t y, const Texture& source,
                const Rect& rect) override;
  Status DoCopyBuffer(Buffer& destination, const Buffer& source) override;
  Status DoFlush() override { return recorder_.Submit(); }
  Status DoMap(Texture& texture, Mapping* mapping) override;
  void DoUnmap(Texture&) override {}
  Status DoMap(Buffer& buffer, Mapping* mapping) override;
  void DoUnmap(Buffer&) override {}

  // Makes a texture or buffer of the kind that its usage asks for.
  template <class OnDevice, class Readback, class Desc, class Made>
  Status CreateResource(const Desc& desc, std::unique_ptr<Made>* made);
  const DeviceTexture& Bound(const Texture* texture) const {
    return texture ? static_cast<const DeviceTexture&>(*texture) : *blank_;
  }
  Status FindSet(const Pass& pass, VkDescriptorSet* set);
  Status FindSet(const Computation& computation, VkDescriptorSet* set);
  // Copies constants to the ring and gives their offset there.
  Status UploadConstants(std::span<const std::byte> constants, std::uint32_t* offset);
  // Submits, and waits until the copies to `memory` are done.
  Status Finish(ReadbackMemory& memory);

  // In this order: the recorder, the pipelines and the blank texture belong to the device.
  std::shared_ptr<Device> device_;
  Recorder recorder_;
  Pipelines pipelines_;
  std::unique_ptr<DeviceTexture> blank_;
};

template <class OnDevice, class Readback, class Desc, class Made>
Status VulkanEngine::CreateResource(const Desc& desc, std::unique_ptr<Made>* made) {
  const auto create = [&]<typename Kind>(std::unique_ptr<Kind> kind) {
    const Status status = Kind::Create(device_, desc, &kind);
    *made = std::move(kind);
    return status;
  };
  const auto attempt = [&] {
    return desc.usage == Usage::kDevice ? create(std::unique_ptr<OnDevice>())
                                        : create(std::unique_ptr<Readback>());
  };
  Status status = attempt();
  if (status != Status::kOutOfMemory) return status;
  // What is destroyed already still holds its memory until the device is done with it.
  status = recorder_.Submit();
  if (status == Status::kOk) status = device_->WaitFor(device_->Submitted());
  return status == Status::kOk ? attempt() : status;
}

Status VulkanEngine::DoCreateTexture(const TextureDesc& desc, std::unique_ptr<Texture>* texture) {
  return CreateResource<DeviceTexture, ReadbackTexture>(desc, texture);
}

Status VulkanEngine::DoCreateBuffer(const BufferDesc& desc, std::unique_ptr<Buffer>* buffer) {
  if (desc.bytes > device_->GetApi().limits.maxStorageBufferRange) return Status::kInvalidArgument;
  return CreateResource<DeviceBuffer, ReadbackBuffer>(desc, buffer);
}

Status VulkanEngine::DoCreateProgram(std::span<const std::byte> spirv,
                                     std::unique_ptr<Program>* program) {
  std::unique_ptr<PixelProgram> made;
  const Status status = PixelProgram::Create(device_, spirv, &made);
  *program = std::move(made);
  return status;
}

Status VulkanEngine::DoCreateComputeProgram(std::span<const std::byte> spirv,
                                            std::unique_ptr<ComputeProgram>* program) {
  const VkPhysicalDeviceLimits& limits = device_->GetApi().limits;
  if (limits.maxComputeWorkGroupInvocations < kGroupWidth * kGroupHeight ||
      limits.maxComputeWorkGroupSize[0] < kGroupWidth ||
      limits.maxComputeWorkGroupSize[1] < kGroupHeight) {
    return Status::kUnsupported;
  }
  std::unique_ptr<GridProgram> made;
  const Status status = GridProgram::Create(device_, spirv, &made);
  *program = std::move(made);
  return status;
}

Status VulkanEngine::DoUpload(Texture& texture, const Rect& rect, const std::byte* data,
                              std::size_t pitch) {
  auto& image = static_cast<DeviceTexture&>(texture);
  const auto row_bytes =
      static_cast<std::size_t>(rect.Width()) * BytesPerPixel(image.Desc().format);
  const auto rows_at_once = static_cast<std::int32_t>(
      std::min<std::uint64_t>(recorder_.LargestSlice() / row_bytes, rect.Height()));
  bool prepared = false;
  for (std::int32_t top = rect.top; top < rect.bottom; top += rows_at_once) {
    const Rect band{rect.left, top, rect.right, std::min(top + rows_at_once, rect.bottom)};
    const auto rows = static_cast<std::size_t>(band.Height());
    RingSlice slice;
    Status status = recorder_.Reserve(rows * row_bytes, &slice);
    if (status != Status::kOk) return status;
    VkCommandBuffer commands = VK_NULL_HANDLE;
    status = recorder_.Open(&commands);
    if (status != Status::kOk) return status;
    const std::byte* rows_start = data + static_cast<std::size_t>(top - rect.top) * pitch;
    CopyRows(slice.data, rows_start, row_bytes, pitch, rows);

    if (prepared) {
      // Bands do not overlap, so that they need no order among themselves.
      image.GetState().last_submission = device_->Recording();
    } else {
      recorder_.Prepare(image, Use::kCopyDestination, rect == image.Bounds());
      recorder_.FlushBarriers();
      prepared = true;
    }
    VkBufferImageCopy2 region = {};
    region.sType = VK_STRUCTURE_TYPE_BUFFER_IMAGE_COPY_2;
    region.bufferOffset = slice.offset;
    region.imageSubresource = kLayer;
    region.imageOffset = Corner(band.left, band.top);
    region.imageExtent = Size(band);
    VkCopyBufferToImageInfo2 info = {};
    info.sType = VK_STRUCTURE_TYPE_COPY_BUFFER_TO_IMAGE_INFO_2;
    info.srcBuffer = recorder_.RingBuffer();
    info.dstImage = image.Image();
    info.dstImageLayout = VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL;
    info.regionCount = 1;
    info.pRegions = &region;
    device_->Vk().vkCmdCopyBufferToImage2(commands, &info);
  }
  return Status::kOk;
}

Status VulkanEngine::DoClear(Texture& texture, const std::array<float, 4>& color) {
  // Recorded with the next use of the texture, whatever it is.
  auto& pending = static_cast<DeviceTexture&>(texture).GetState().clear.emplace(color);
  for (float& channel : pending) {
    channel = std::isnan(channel) ? 0.0f : std::clamp(channel, 0.0f, 1.0f);
  }
  return Status::kOk;
}

Status VulkanEngine::FindSet(const Pass& pass, VkDescriptorSet* set) {
  Registers registers;
  for (std::size_t index = 0; index < kRegisterCount; ++index) {
    const Binding& binding = pass.bindings[index];
    registers.views[index] = Bound(binding.texture).View();
    const Status status = device_->Sets().FindSampler(binding.sampler, &registers.samplers[index]);
    if (status != Status::kOk) return status;
  }
  return device_->Sets().FindSet(registers, device_->Recording(), device_->Completed(), set);
}

Status VulkanEngine::FindSet(const Computation& computation, VkDescriptorSet* set) {
  Registers registers;
  for (std::size_t index = 0; index < kRegisterCount; ++index) {
    registers.views[index] = Bound(computation.textures[index]).View();
    const Status status = device_->Sets().FindSampler({}, &registers.samplers[index]);
    if (status != Status::kOk) return status;
  }
  registers.output = static_cast<const DeviceBuffer&>(*computation.output).Handle();
  return device_->Sets().FindSet(registers, device_->Recording(), device_->Completed(), set);
}

Status VulkanEngine::UploadConstants(std::span<const std::byte> constants, std::uint32_t* offset) {
  *offset = Recorder::kZeroConstants;
  if (constants.empty()) return Status::kOk;
  RingSlice slice;
  const Status status = recorder_.Reserve(kMaximumConstantBytes, &slice);
  if (status != Status::kOk) return status;
  std::memcpy(slice.data, constants.data(), constants.size());
  std::memset(slice.data + constants.size(), 0, kMaximumConstantBytes - constants.size());
  *offset = slice.offset;
  return Status::kOk;
}

Status VulkanEngine::DoDraw(const Pass& pass) {
  const auto& target = static_cast<const DeviceTexture&>(*pass.target);
  const auto& program = static_cast<const PixelProgram&>(*pass.program);
  std::uint32_t constants = 0;
  Status status = UploadConstants(pass.constants, &constants);
  if (status != Status::kOk) return status;
  VkPipeline pipeline = VK_NULL_HANDLE;
  status = pipelines_.Find(program, target.Desc().format, pass.blend, &pipeline);
  if (status != Status::kOk) return status;
  VkDescriptorSet set = VK_NULL_HANDLE;
  status = FindSet(pass, &set);
  if (status != Status::kOk) return status;
  VkCommandBuffer commands = VK_NULL_HANDLE;
  status = recorder_.Open(&commands);
  if (status != Status::kOk) return status;

  for (const Binding& binding : pass.bindings) {
    recorder_.Prepare(Bound(binding.texture), Use::kSampled, false);
  }
  recorder_.BeginRendering(target, pass.blend == Blend::kReplace && pass.rect == target.Bounds());
  program.GetState().last_submission = device_->Recording();
  recorder_.BindPipeline(pipeline);
  const VolkDeviceTable& vk = device_->Vk();
  vk.vkCmdBindDescriptorSets(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipelines_.Layout(), 0, 1,
                             &set, 1, &constants);
  const Placement placement = {{pass.origin_x, pass.origin_y},
                               {1.0f / pass.extent_x, 1.0f / pass.extent_y}};
  vk.vkCmdPushConstants(commands, pipelines_.Layout(), VK_SHADER_STAGE_FRAGMENT_BIT, 0,
                        sizeof(placement), &placement);
  const VkRect2D scissor = ToVkRect(pass.rect);
  vk.vkCmdSetScissor(commands, 0, 1, &scissor);
  vk.vkCmdDraw(commands, 3, 1, 0, 0);
  return Status::kOk;
}

Status VulkanEngine::DoDispatch(const Computation& computation) {
  const auto& program = static_cast<const GridProgram&>(*computation.program);
  std::uint32_t constants = 0;
  Status status = UploadConstants(computation.constants, &constants);
  if (status != Status::kOk) return status;
  VkPipeline pipeline = VK_NULL_HANDLE;
  status = pipelines_.Find(program, &pipeline);
  if (status != Status::kOk) return status;
  VkDescriptorSet set = VK_NULL_HANDLE;
  status = FindSet(computation, &set);
  if (status != Status::kOk) return status;
  VkCommandBuffer commands = VK_NULL_HANDLE;
  status = recorder_.Open(&commands);
  if (status != Status::kOk) return status;

  recorder_.EndRendering();
  for (const Texture* texture : computation.textures) {
    recorder_.Prepare(Bound(texture), Use::kSampled, false);
  }
  recorder_.FlushBarriers();
  recorder_.PrepareBuffer(static_cast<const DeviceBuffer&>(*computation.output),
                          BufferUse::kProgram);
  program.GetState().last_submission = device_->Recording();
  const VolkDeviceTable& vk = device_->Vk();
  vk.vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_COMPUTE, pipeline);
  vk.vkCmdBindDescriptorSets(commands, VK_PIPELINE_BIND_POINT_COMPUTE, pipelines_.Layout(), 0, 1,
                             &set, 1, &constants);
  vk.vkCmdDispatch(commands, computation.groups_x, computation.groups_y, 1);
  return Status::kOk;
}

Status VulkanEngine::DoCopyBuffer(Buffer& destination, const Buffer& source) {
  VkCommandBuffer commands = VK_NULL_HANDLE;
  const Status status = recorder_.Open(&commands);
  if (status != Status::kOk) return status;
  const auto& from = static_cast<const DeviceBuffer&>(source);
  recorder_.EndRendering();
  recorder_.PrepareBuffer(from, BufferUse::kCopySource);
  VkBuffer to = VK_NULL_HANDLE;
  if (destination.Desc().usage == Usage::kReadback) {
    ReadbackMemory& memory = static_cast<ReadbackBuffer&>(destination).memory;
    recorder_.PrepareReadback(memory);
    to = memory.Handle();
  } else {
    const auto& buffer = static_cast<const DeviceBuffer&>(destination);
    recorder_.PrepareBuffer(buffer, BufferUse::kCopyDestination);
    to = buffer.Handle();
  }
  VkBufferCopy2 region = {};
  region.sType = VK_STRUCTURE_TYPE_BUFFER_COPY_2;
  region.size = source.Desc().bytes;
  VkCopyBufferInfo2 info = {};
  info.sType = VK_STRUCTURE_TYPE_COPY_BUFFER_INFO_2;
  info.srcBuffer = from.Handle();
  info.dstBuffer = to;
  info.regionCount = 1;
  info.pRegions = &region;
  device_->Vk().vkCmdCopyBuffer2(commands, &info);
  return Status::kOk;
}

Status VulkanEngine::DoCopy(Texture& destination, std::int32_t x, std::int32_t y,
                            const Texture& source, const Rect& rect) {
  VkCommandBuffer commands = VK_NULL_HANDLE;
  const Status status = recorder_.Open(&commands);
  if (status != Status::kOk) return status;
  const auto& from = static_cast<const DeviceTexture&>(source);
  recorder_.EndRendering();
  recorder_.Prepare(from, Use::kCopySource, false);

  if (destination.Desc().usage == Usage::kReadback) {
    auto& to = static_cast<ReadbackTexture&>(destination);
    recorder_.FlushBarriers();
    recorder_.PrepareReadback(to.memory);
    VkBufferImageCopy2 region = {};
    region.sType = VK_STRUCTURE_TYPE_BUFFER_IMAGE_COPY_2;
    const std::uint32_t pixel_bytes = BytesPerPixel(to.Desc().format);
    region.bufferOffset =
        static_cast<VkDeviceSize>(y) * to.Pitch() + static_cast<VkDeviceSize>(x) * pixel_bytes;
    region.bufferRowLength = to.Pitch() / pixel_bytes;
    region.imageSubresource = kLayer;
    region.imageOffset = Corner(rect.left, rect.top);
    region.imageExtent = Size(rect);
    VkCopyImageToBufferInfo2 info = {};
    info.sType = VK_STRUCTURE_TYPE_COPY_IMAGE_TO_BUFFER_INFO_2;
    info.srcImage = from.Image();
    info.srcImageLayout = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;
    info.dstBuffer = to.memory.Handle();
    info.regionCount = 1;
    info.pRegions = &region;
    device_->Vk().vkCmdCopyImageToBuffer2(commands, &info);
    return Status::kOk;
  }

  const auto& to = static_cast<const DeviceTexture&>(destination);
  const bool replaces = rect.Width() == to.Bounds().right && rect.Height() == to.Bounds().bottom;
  recorder_.Prepare(to, Use::kCopyDestination, replaces);
  recorder_.FlushBarriers();
  VkImageCopy2 region = {};
  region.sType = VK_STRUCTURE_TYPE_IMAGE_COPY_2;
  region.srcSubresource = kLayer;
  region.srcOffset = Corner(rect.left, rect.top);
  region.dstSubresource = kLayer;
  region.dstOffset = Corner(x, y);
  region.extent = Size(rect);
  VkCopyImageInfo2 info = {};
  info.sType = VK_STRUCTURE_TYPE_COPY_IMAGE_INFO_2;
  info.srcImage = from.Image();
  info.srcImageLayout = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;
  info.dstImage = to.Image();
  info.dstImageLayout = VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL;
  info.regionCount = 1;
  info.pRegions = &region;
  device_->Vk().vkCmdCopyImage2(commands, &info);
  return Status::kOk;
}

Status VulkanEngine::DoMap(Texture& texture, Mapping* mapping) {
  auto& readback = static_cast<ReadbackTexture&>(texture);
  const Status status = Finish(readback.memory);
  if (status == Status::kOk) *mapping = {readback.memory.Data(), readback.Pitch()};
  return status;
}

Status VulkanEngine::DoMap(Buffer& buffer, Mapping* mapping) {
  auto& readback = static_cast<ReadbackBuffer&>(buffer);
  const Status status = Finish(readback.memory);
  if (status == Status::kOk) *mapping = {readback.memory.Data(), readback.Desc().bytes};
  return status;
}

Status VulkanEngine::Finish(ReadbackMemory& memory) {
  Status status = recorder_.Submit();
  if (status == Status::kOk) status = device_->WaitFor(memory.last_submission);
  if (status == Status::kOk) status = memory.Invalidate();
  if (status == Status::kOk) memory.written = false;
  return status;
}

}  // namespace

std::uint64_t ObjectsCreated(const Engine& engine) {
  return static_cast<const VulkanEngine&>(engine).ObjectsCreated();
}

}  // namespace Vulkan

DeviceList ListVulkanDevices() {
  const std::lock_guard lock(Vulkan::LoaderMutex());
  DeviceList list;
  std::string error;
  const auto instance = Vulkan::Instance::Create(false, &error);
  if (!instance) {
    list.rejected.push_back(error);
    return list;
  }
  for (Vulkan::Candidate& candidate : Vulkan::FindDevices(*instance, &list.rejected)) {
    list.devices.push_back(std::move(candidate.info));
  }
  return list;
}

std::unique_ptr<Engine> CreateVulkanEngine(unsigned index, const VulkanOptions& options,
                                           std::string* error) {
  const std::lock_guard lock(Vulkan::LoaderMutex());
  auto instance = Vulkan::Instance::Create(options.validation, error);
  if (!instance) return nullptr;
  std::vector<std::string> rejected;
  const auto candidates = Vulkan::FindDevices(*instance, &rejected);
  if (index >= candidates.size()) {
    *error = candidates.empty() && !rejected.empty()
                 ? rejected.front()
                 : "There is no Vulkan device " + std::to_string(index) + ".";
    return nullptr;
  }
  const Vulkan::Candidate& candidate = candidates[index];
  auto device = Vulkan::Device::Create(std::move(instance), candidate, error);
  if (!device) return nullptr;
  auto engine = std::make_unique<Vulkan::VulkanEngine>(std::move(device));
  if (engine->Init(options) != Status::kOk) {
    *error = "Vulkan device '" + candidate.info.name + "' lacks the memory to start an engine.";
    return nullptr;
  }
  return engine;
}

}  // namespace Vantra::Render
