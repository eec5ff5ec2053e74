#pragma once

// Textures, buffers and programs.

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

// Memory that copies write and the host reads.
class ReadbackMemory {
 public:
  explicit ReadbackMemory(std::shared_ptr<Device> device) : device_(std::move(device)) {}
  ~ReadbackMemory();
  ReadbackMemory(const ReadbackMemory&) = delete;
  ReadbackMemory& operator=(const ReadbackMemory&) = delete;

  Status Init(VkDeviceSize bytes);

  VkBuffer Handle() const { return buffer_.buffer; }
  const std::byte* Data() const { return buffer_.data; }
  // Makes the device's writes, which are done, visible to the host.
  Status Invalidate();

  // Submission of the last copy, and whether a further one must be ordered after it.
  std::uint64_t last_submission = 0;
  bool written = false;

 private:
  std::shared_ptr<Device> device_;
  DedicatedBuffer buffer_;
};

class ReadbackTexture final : public Texture {
 public:
  static Status Create(const std::shared_ptr<Device>& device, const TextureDesc& desc,
                       std::unique_ptr<ReadbackTexture>* texture);

  std::uint32_t Pitch() const { return pitch_; }

  ReadbackMemory memory;

 private:
  ReadbackTexture(std::shared_ptr<Device> device, const TextureDesc& desc)
      : Texture(desc), memory(std::move(device)) {}

  std::uint32_t pitch_ = 0;
};

class ReadbackBuffer final : public Buffer {
 public:
  static Status Create(const std::shared_ptr<Device>& device, const BufferDesc& desc,
                       std::unique_ptr<ReadbackBuffer>* buffer);

  ReadbackMemory memory;

 private:
  ReadbackBuffer(std::shared_ptr<Device> device, const BufferDesc& desc)
      : Buffer(desc), memory(std::move(device)) {}
};

// How the device last used a buffer.
enum class BufferUse : std::uint8_t { kNone, kProgram, kCopySource, kCopyDestination };

class DeviceBuffer final : public Buffer {
 public:
  static Status Create(const std::shared_ptr<Device>& device, const BufferDesc& desc,
                       std::unique_ptr<DeviceBuffer>* buffer);
  ~DeviceBuffer() override;

  VkBuffer Handle() const { return buffer_.buffer; }

  // Bookkeeping of the recorder, as a texture has it.
  struct State {
    BufferUse use = BufferUse::kNone;
    std::uint64_t last_submission = 0;
  };
  State& GetState() const { return state_; }

 private:
  DeviceBuffer(std::shared_ptr<Device> device, const BufferDesc& desc)
      : Buffer(desc), device_(std::move(device)) {}

  std::shared_ptr<Device> device_;
  DedicatedBuffer buffer_;
  mutable State state_;
};

// A program of either kind: its module, and its pipelines.
template <class Kind, std::size_t kVariants>
class ShaderProgram final : public Kind {
 public:
  static Status Create(const std::shared_ptr<Device>& device, std::span<const std::byte> spirv,
                       std::unique_ptr<ShaderProgram>* program);
  ~ShaderProgram() override;

  VkShaderModule Module() const { return module_; }

  // Filled in by the engine as they are needed, like the last use.
  struct State {
    std::array<VkPipeline, kVariants> pipelines = {};
    std::uint64_t last_submission = 0;
  };
  State& GetState() const { return state_; }

 private:
  explicit ShaderProgram(std::shared_ptr<Device> device) : device_(std::move(device)) {}

  std::shared_ptr<Device> device_;
  VkShaderModule module_ = VK_NULL_HANDLE;
  mutable State state_;
};

using PixelProgram = ShaderProgram<Program, kPipelineVariants>;
using GridProgram = ShaderProgram<ComputeProgram, 1>;

}  // namespace Vantra::Render::Vulkan
