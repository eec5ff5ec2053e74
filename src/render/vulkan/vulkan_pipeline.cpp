#include "render/vulkan/vulkan_pipeline.h"

// The vertex shader's SPIR-V, embedded at build time.
extern "C" const unsigned char vantrix_vulkan_triangle[];
extern "C" const unsigned char vantrix_vulkan_triangle_end[];

namespace Vantra::Render::Vulkan {
namespace {

struct Equation {
  VkBlendFactor source;
  VkBlendFactor destination;
  VkBlendOp operation = VK_BLEND_OP_ADD;
};

Equation EquationOf(Blend blend) {
  constexpr VkBlendFactor kZero = VK_BLEND_FACTOR_ZERO;
  constexpr VkBlendFactor kOne = VK_BLEND_FACTOR_ONE;
  constexpr VkBlendFactor kSource = VK_BLEND_FACTOR_SRC_ALPHA;
  constexpr VkBlendFactor kNotSource = VK_BLEND_FACTOR_ONE_MINUS_SRC_ALPHA;
  constexpr VkBlendFactor kTarget = VK_BLEND_FACTOR_DST_ALPHA;
  constexpr VkBlendFactor kNotTarget = VK_BLEND_FACTOR_ONE_MINUS_DST_ALPHA;
  switch (blend) {
    case Blend::kReplace:
      return {kOne, kZero};
    case Blend::kSourceOver:
      return {kOne, kNotSource};
    case Blend::kDestinationOver:
      return {kNotTarget, kOne};
    case Blend::kSourceIn:
      return {kTarget, kZero};
    case Blend::kDestinationIn:
      return {kZero, kSource};
    case Blend::kSourceOut:
      return {kNotTarget, kZero};
    case Blend::kDestinationOut:
      return {kZero, kNotSource};
    case Blend::kSourceAtop:
      return {kTarget, kNotSource};
    case Blend::kDestinationAtop:
      return {kNotTarget, kSource};
    case Blend::kXor:
      return {kNotTarget, kNotSource};
    case Blend::kPlus:
      return {kOne, kOne};
    case Blend::kMaskInvert:
      return {VK_BLEND_FACTOR_ONE_MINUS_DST_COLOR, VK_BLEND_FACTOR_ONE_MINUS_SRC_COLOR};
    case Blend::kMinimum:
      return {kOne, kOne, VK_BLEND_OP_MIN};
    case Blend::kMaximum:
      return {kOne, kOne, VK_BLEND_OP_MAX};
  }
  return {kOne, kZero};
}

}  // namespace

Pipelines::~Pipelines() {
  const VolkDeviceTable& vk = device_.Vk();
  vk.vkDestroyShaderModule(device_.Handle(), triangle_, nullptr);
  vk.vkDestroyPipelineCache(device_.Handle(), cache_, nullptr);
  vk.vkDestroyPipelineLayout(device_.Handle(), layout_, nullptr);
}

Status Pipelines::Init() {
  Api& api = device_.GetApi();
  const VkDescriptorSetLayout sets = device_.Sets().Layout();
  const VkPushConstantRange placement = {VK_SHADER_STAGE_FRAGMENT_BIT, 0, sizeof(Placement)};
  VkPipelineLayoutCreateInfo layout = {};
  layout.sType = VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO;
  layout.setLayoutCount = 1;
  layout.pSetLayouts = &sets;
  layout.pushConstantRangeCount = 1;
  layout.pPushConstantRanges = &placement;
  Status status =
      Created(api, api.vk.vkCreatePipelineLayout(api.device, &layout, nullptr, &layout_), &layout_);
  if (status != Status::kOk) return status;

  VkPipelineCacheCreateInfo cache = {};
  cache.sType = VK_STRUCTURE_TYPE_PIPELINE_CACHE_CREATE_INFO;
  status =
      Created(api, api.vk.vkCreatePipelineCache(api.device, &cache, nullptr, &cache_), &cache_);
  if (status != Status::kOk) return status;

  VkShaderModuleCreateInfo triangle = {};
  triangle.sType = VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO;
  triangle.codeSize =
      static_cast<std::size_t>(vantrix_vulkan_triangle_end - vantrix_vulkan_triangle);
  triangle.pCode = reinterpret_cast<const std::uint32_t*>(vantrix_vulkan_triangle);
  return Created(api, api.vk.vkCreateShaderModule(api.device, &triangle, nullptr, &triangle_),
                 &triangle_);
}

Status Pipelines::Find(const PixelProgram& program, Format format, Blend blend,
                       VkPipeline* pipeline) {
  const std::size_t variant =
      static_cast<std::size_t>(format) * kBlendCount + static_cast<std::size_t>(blend);
  VkPipeline& cached = program.GetState().pipelines[variant];
  if (!cached) {
    const Status status = Make(program.Module(), format, blend, &cached);
    if (status != Status::kOk) return status;
  }
  *pipeline = cached;
  return Status::kOk;
}

Status Pipelines::Find(const GridProgram& program, VkPipeline* pipeline) {
  VkPipeline& cached = program.GetState().pipelines[0];
  if (!cached) {
    VkComputePipelineCreateInfo info = {};
    info.sType = VK_STRUCTURE_TYPE_COMPUTE_PIPELINE_CREATE_INFO;
    info.stage.sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO;
    info.stage.stage = VK_SHADER_STAGE_COMPUTE_BIT;
    info.stage.module = program.Module();
    info.stage.pName = "main";
    info.layout = layout_;
    Api& api = device_.GetApi();
    const Status status = Created(
        api, api.vk.vkCreateComputePipelines(api.device, cache_, 1, &info, nullptr, &cached),
        &cached);
    if (status != Status::kOk) return status;
  }
  *pipeline = cached;
  return Status::kOk;
}

Status Pipelines::Make(VkShaderModule fragment, Format format, Blend blend, VkPipeline* pipeline) {
  VkPipelineShaderStageCreateInfo stages[2] = {};
  for (VkPipelineShaderStageCreateInfo& stage : stages) {
    stage.sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO;
    stage.pName = "main";
  }
  stages[0].stage = VK_SHADER_STAGE_VERTEX_BIT;
  stages[0].module = triangle_;
  stages[1].stage = VK_SHADER_STAGE_FRAGMENT_BIT;
  stages[1].module = fragment;

  VkPipelineVertexInputStateCreateInfo vertices = {};
  vertices.sType = VK_STRUCTURE_TYPE_PIPELINE_VERTEX_INPUT_STATE_CREATE_INFO;
  VkPipelineInputAssemblyStateCreateInfo assembly = {};
  assembly.sType = VK_STRUCTURE_TYPE_PIPELINE_INPUT_ASSEMBLY_STATE_CREATE_INFO;
  assembly.topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST;
  VkPipelineViewportStateCreateInfo viewport = {};
  viewport.sType = VK_STRUCTURE_TYPE_PIPELINE_VIEWPORT_STATE_CREATE_INFO;
  viewport.viewportCount = 1;
  viewport.scissorCount = 1;
  VkPipelineRasterizationStateCreateInfo raster = {};
  raster.sType = VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO;
  raster.polygonMode = VK_POLYGON_MODE_FILL;
  raster.cullMode = VK_CULL_MODE_NONE;
  raster.lineWidth = 1;
  VkPipelineMultisampleStateCreateInfo samples = {};
  samples.sType = VK_STRUCTURE_TYPE_PIPELINE_MULTISAMPLE_STATE_CREATE_INFO;
  samples.rasterizationSamples = VK_SAMPLE_COUNT_1_BIT;

  // Colours are premultiplied, so that all four channels blend alike.
  const Equation equation = EquationOf(blend);
  VkPipelineColorBlendAttachmentState mix = {};
  mix.blendEnable = blend != Blend::kReplace;
  mix.srcColorBlendFactor = mix.srcAlphaBlendFactor = equation.source;
  mix.dstColorBlendFactor = mix.dstAlphaBlendFactor = equation.destination;
  mix.colorBlendOp = mix.alphaBlendOp = equation.operation;
  mix.colorWriteMask = VK_COLOR_COMPONENT_R_BIT | VK_COLOR_COMPONENT_G_BIT |
                       VK_COLOR_COMPONENT_B_BIT | VK_COLOR_COMPONENT_A_BIT;
  VkPipelineColorBlendStateCreateInfo blending = {};
  blending.sType = VK_STRUCTURE_TYPE_PIPELINE_COLOR_BLEND_STATE_CREATE_INFO;
  blending.attachmentCount = 1;
  blending.pAttachments = &mix;
  const VkDynamicState dynamic_states[] = {VK_DYNAMIC_STATE_VIEWPORT, VK_DYNAMIC_STATE_SCISSOR};
  VkPipelineDynamicStateCreateInfo dynamic = {};
  dynamic.sType = VK_STRUCTURE_TYPE_PIPELINE_DYNAMIC_STATE_CREATE_INFO;
  dynamic.dynamicStateCount = 2;
  dynamic.pDynamicStates = dynamic_states;

  const VkFormat target = ToVkFormat(format);
  VkPipelineRenderingCreateInfo rendering = {};
  rendering.sType = VK_STRUCTURE_TYPE_PIPELINE_RENDERING_CREATE_INFO;
  rendering.colorAttachmentCount = 1;
  rendering.pColorAttachmentFormats = &target;
  VkGraphicsPipelineCreateInfo info = {};
  info.sType = VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO;
  info.pNext = &rendering;
  info.stageCount = 2;
  info.pStages = stages;
  info.pVertexInputState = &vertices;
  info.pInputAssemblyState = &assembly;
  info.pViewportState = &viewport;
  info.pRasterizationState = &raster;
  info.pMultisampleState = &samples;
  info.pColorBlendState = &blending;
  info.pDynamicState = &dynamic;
  info.layout = layout_;
  Api& api = device_.GetApi();
  return Created(api,
                 api.vk.vkCreateGraphicsPipelines(api.device, cache_, 1, &info, nullptr, pipeline),
                 pipeline);
}

}  // namespace Vantra::Render::Vulkan
