#pragma once

// Textures and programs.

#include <array>
#include <memory>
#include <optional>
#include <span>

#include "render/vulkan/vulkan_device.h"

namespace Vantra::Render::Vulkan {

// How the device last used an image. Each use has one layout, one stage and one kind of access.
enum class Use : std::uint8_t { kNone, kSampled, kTarget, kCopySource, kCopyDestination };

class DeviceTexture final : public Texture {
 public:
  static Status Create(const std::shared_ptr<Device>& device, const TextureDesc& desc,
                       std::unique_ptr<DeviceTexture>* texture);
  ~DeviceTexture() override;

  VkImage Image() const { return image_; }
  VkImageView View() const { return view_; }

  // Bookkeeping of the recorder. Reading changes it too, hence it is mutable.
  struct State {
    Use use = Use::kNone;
    // A clear that is not recorded yet: it costs nothing as the start of the next drawing.
    std::optional<std::array<float, 4>> clear;
    std::uint64_t last_submission = 0;
  };
  State& GetState() const { return state_; }

 private:
  DeviceTexture(std::shared_ptr<Device> device, const TextureDesc& desc)
      : Texture(desc), device_(std::move(device)) {}

  std::shared_ptr<Device> device_;
  VkImage image_ = VK_NULL_HANDLE;
  VkImageView view_ = VK_NULL_HANDLE;
  ImageMemory memory_;
  mutable State state_;
};

class ReadbackTexture final : public Texture {
 public:
  static Status Create(const std::shared_ptr<Device>& device, const TextureDesc& desc,
                       std::unique_ptr<ReadbackTexture>* texture);
  ~ReadbackTexture() override;

  VkBuffer Buffer() const { return buffer_.buffer; }
  const std::byte* Data() const { return buffer_.data; }
  std::uint32_t Pitch() const { return pitch_; }
  // Makes the device's writes, which are done, visible to the host.
  Status Invalidate();

  // Submission of the last copy, and whether a further one must be ordered after it.
  std::uint64_t last_submission = 0;
  bool written = false;

 private:
  ReadbackTexture(std::shared_ptr<Device> device, const TextureDesc& desc)
      : Texture(desc), device_(std::move(device)) {}

  std::shared_ptr<Device> device_;
  HostBuffer buffer_;
  std::uint32_t pitch_ = 0;
};

class PixelProgram final : public Program {
 public:
  static Status Create(const std::shared_ptr<Device>& device, std::span<const std::byte> spirv,
                       std::unique_ptr<PixelProgram>* program);
  ~PixelProgram() override;

  VkShaderModule Module() const { return module_; }

  // Filled in by the engine as they are needed, like the last use.
  struct State {
    std::array<VkPipeline, kPipelineVariants> pipelines = {};
    std::uint64_t last_submission = 0;
  };
  State& GetState() const { return state_; }

 private:
  explicit PixelProgram(std::shared_ptr<Device> device) : device_(std::move(device)) {}

  std::shared_ptr<Device> device_;
  VkShaderModule module_ = VK_NULL_HANDLE;
  mutable State state_;
};

}  // namespace Vantra::Render::Vulkan
