#pragma once

// Pipelines, made when first needed: one for each pixel program, format of the target and blending,
// and one for each compute program.

#include "render/vulkan/vulkan_device.h"
#include "render/vulkan/vulkan_resources.h"

namespace Vantra::Render::Vulkan {

// Where the drawn pixels lie in the image, as programs receive it.
struct Placement {
  float origin[2];
  float pixel_size[2];
};

class Pipelines {
 public:
  explicit Pipelines(Device& device) : device_(device) {}
  ~Pipelines();
  Pipelines(const Pipelines&) = delete;
  Pipelines& operator=(const Pipelines&) = delete;

  // Sets are laid out as by `device.Sets()`.
  Status Init();

  VkPipelineLayout Layout() const { return layout_; }
  Status Find(const PixelProgram& program, Format format, Blend blend, VkPipeline* pipeline);
  Status Find(const GridProgram& program, VkPipeline* pipeline);

 private:
  Status Make(VkShaderModule fragment, Format format, Blend blend, VkPipeline* pipeline);

  Device& device_;
  VkPipelineLayout layout_ = VK_NULL_HANDLE;
  VkPipelineCache cache_ = VK_NULL_HANDLE;
  VkShaderModule triangle_ = VK_NULL_HANDLE;
};

}  // namespace Vantra::Render::Vulkan
