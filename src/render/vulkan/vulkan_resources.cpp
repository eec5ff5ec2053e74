#include "render/vulkan/vulkan_resources.h"

#include <algorithm>
#include <cstring>

namespace Vantra::Render::Vulkan {

Status DeviceTexture::Create(const std::shared_ptr<Device>& device, const TextureDesc& desc,
                             std::unique_ptr<DeviceTexture>* texture) {
  std::unique_ptr<DeviceTexture> made(new DeviceTexture(device, desc));
  Api& api = device->GetApi();
  VkImageCreateInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO;
  info.imageType = VK_IMAGE_TYPE_2D;
  info.format = ToVkFormat(desc.format);
  info.extent = {desc.width, desc.height, 1};
  info.mipLevels = 1;
  info.arrayLayers = 1;
  info.samples = VK_SAMPLE_COUNT_1_BIT;
  info.tiling = VK_IMAGE_TILING_OPTIMAL;
  info.usage = VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT |
               VK_IMAGE_USAGE_TRANSFER_SRC_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT;
  Status status =
      Created(api, api.vk.vkCreateImage(api.device, &info, nullptr, &made->image_), &made->image_);
  if (status != Status::kOk) return status;
  status = device->Images().AllocateAndBind(made->image_, &made->memory_);
  if (status != Status::kOk) return status;

  VkImageViewCreateInfo view = {};
  view.sType = VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO;
  view.image = made->image_;
  view.viewType = VK_IMAGE_VIEW_TYPE_2D;
  view.format = info.format;
  view.subresourceRange = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
  status = Created(api, api.vk.vkCreateImageView(api.device, &view, nullptr, &made->view_),
                   &made->view_);
  if (status == Status::kOk) *texture = std::move(made);
  return status;
}

DeviceTexture::~DeviceTexture() {
  Garbage garbage;
  garbage.view = view_;
  garbage.image = image_;
  garbage.image_memory = memory_;
  device_->Retire(garbage, state_.last_submission);
}

Status ReadbackTexture::Create(const std::shared_ptr<Device>& device, const TextureDesc& desc,
                               std::unique_ptr<ReadbackTexture>* texture) {
  // Rows start at cache lines at least.
  constexpr std::uint64_t kRowAlignment = 64;
  std::unique_ptr<ReadbackTexture> made(new ReadbackTexture(device, desc));
  const std::uint64_t pitch =
      AlignUp(std::uint64_t{desc.width} * BytesPerPixel(desc.format),
              std::max(kRowAlignment, device->GetApi().limits.optimalBufferCopyRowPitchAlignment));
  made->pitch_ = static_cast<std::uint32_t>(pitch);
  const Status status = made->memory.Init(pitch * desc.height);
  if (status == Status::kOk) *texture = std::move(made);
  return status;
}

Status ReadbackBuffer::Create(const std::shared_ptr<Device>& device, const BufferDesc& desc,
                              std::unique_ptr<ReadbackBuffer>* buffer) {
  std::unique_ptr<ReadbackBuffer> made(new ReadbackBuffer(device, desc));
  const Status status = made->memory.Init(desc.bytes);
  if (status == Status::kOk) *buffer = std::move(made);
  return status;
}

Status DeviceBuffer::Create(const std::shared_ptr<Device>& device, const BufferDesc& desc,
                            std::unique_ptr<DeviceBuffer>* buffer) {
  std::unique_ptr<DeviceBuffer> made(new DeviceBuffer(device, desc));
  const Status status =
      CreateDedicatedBuffer(device->GetApi(), desc.bytes,
                            VK_BUFFER_USAGE_STORAGE_BUFFER_BIT | VK_BUFFER_USAGE_TRANSFER_SRC_BIT |
                                VK_BUFFER_USAGE_TRANSFER_DST_BIT,
                            HostAccess::kNone, &made->buffer_);
  if (status == Status::kOk) *buffer = std::move(made);
  return status;
}

DeviceBuffer::~DeviceBuffer() {
  Garbage garbage;
  garbage.buffer = buffer_;
  device_->Retire(garbage, state_.last_submission);
}

Status ReadbackMemory::Init(VkDeviceSize bytes) {
  return CreateDedicatedBuffer(device_->GetApi(), bytes, VK_BUFFER_USAGE_TRANSFER_DST_BIT,
                               HostAccess::kRead, &buffer_);
}

ReadbackMemory::~ReadbackMemory() {
  Garbage garbage;
  garbage.buffer = buffer_;
  device_->Retire(garbage, last_submission);
}

Status ReadbackMemory::Invalidate() {
  if (buffer_.coherent) return Status::kOk;
  VkMappedMemoryRange range = {};
  range.sType = VK_STRUCTURE_TYPE_MAPPED_MEMORY_RANGE;
  range.memory = buffer_.memory;
  range.size = VK_WHOLE_SIZE;
  return ToStatus(device_->Vk().vkInvalidateMappedMemoryRanges(device_->Handle(), 1, &range));
}

template <class Kind, std::size_t kVariants>
Status ShaderProgram<Kind, kVariants>::Create(const std::shared_ptr<Device>& device,
                                              std::span<const std::byte> spirv,
                                              std::unique_ptr<ShaderProgram>* program) {
  std::unique_ptr<ShaderProgram> made(new ShaderProgram(device));
  // The caller's bytes need not be aligned as words.
  std::vector<std::uint32_t> words(spirv.size() / sizeof(std::uint32_t));
  std::memcpy(words.data(), spirv.data(), words.size() * sizeof(std::uint32_t));
  VkShaderModuleCreateInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO;
  info.codeSize = words.size() * sizeof(std::uint32_t);
  info.pCode = words.data();
  Api& api = device->GetApi();
  const Status status = Created(
      api, api.vk.vkCreateShaderModule(api.device, &info, nullptr, &made->module_), &made->module_);
  if (status == Status::kOk) *program = std::move(made);
  return status;
}

template <class Kind, std::size_t kVariants>
ShaderProgram<Kind, kVariants>::~ShaderProgram() {
  Garbage garbage;
  garbage.module = module_;
  std::copy(state_.pipelines.begin(), state_.pipelines.end(), garbage.pipelines.begin());
  device_->Retire(garbage, state_.last_submission);
}

template class ShaderProgram<Program, kPipelineVariants>;
template class ShaderProgram<ComputeProgram, 1>;

}  // namespace Vantra::Render::Vulkan
