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
  Api& api = device->GetApi();
  const std::uint64_t pitch =
      AlignUp(std::uint64_t{desc.width} * kBytesPerPixel,
              std::max(kRowAlignment, api.limits.optimalBufferCopyRowPitchAlignment));
  made->pitch_ = static_cast<std::uint32_t>(pitch);
  const Status status = CreateHostBuffer(api, pitch * desc.height, VK_BUFFER_USAGE_TRANSFER_DST_BIT,
                                         HostAccess::kRead, &made->buffer_);
  if (status == Status::kOk) *texture = std::move(made);
  return status;
}

ReadbackTexture::~ReadbackTexture() {
  Garbage garbage;
  garbage.buffer = buffer_;
  device_->Retire(garbage, last_submission);
}

Status ReadbackTexture::Invalidate() {
  if (buffer_.coherent) return Status::kOk;
  VkMappedMemoryRange range = {};
  range.sType = VK_STRUCTURE_TYPE_MAPPED_MEMORY_RANGE;
  range.memory = buffer_.memory;
  range.size = VK_WHOLE_SIZE;
  return ToStatus(device_->Vk().vkInvalidateMappedMemoryRanges(device_->Handle(), 1, &range));
}

Status PixelProgram::Create(const std::shared_ptr<Device>& device, std::span<const std::byte> spirv,
                            std::unique_ptr<PixelProgram>* program) {
  std::unique_ptr<PixelProgram> made(new PixelProgram(device));
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

PixelProgram::~PixelProgram() {
  Garbage garbage;
  garbage.module = module_;
  garbage.pipelines = state_.pipelines;
  device_->Retire(garbage, state_.last_submission);
}

}  // namespace Vantra::Render::Vulkan
