#pragma once

// What a custom effect is given to build its pass with.

#include <vantrix/platform/d2d1effectauthor.h>

#include <array>
#include <utility>
#include <vector>

#include "platform/com/com_object.h"
#include "platform/engine/graphics_device.h"

namespace Vantra::Platform {

class ResourceTexture2D final : public ComObject<ID2D1ResourceTexture> {
 public:
  ResourceTexture2D(std::shared_ptr<Surface> surface, const Render::Sampler& sampler)
      : surface_(std::move(surface)), sampler_(sampler) {}

  Render::Binding GetBinding() const { return {surface_->texture.get(), sampler_}; }
  const GraphicsDevice* GetGraphicsDevice() const { return surface_->device.get(); }

 private:
  std::shared_ptr<Surface> surface_;
  Render::Sampler sampler_;
};

class EffectContext2D final : public ComObject<ID2D1EffectContext> {
 public:
  explicit EffectContext2D(std::shared_ptr<GraphicsDevice> device) : device_(std::move(device)) {}

  HRESULT LoadPixelShader(REFGUID shaderId, const BYTE* buffer, UINT32 size) override;
  HRESULT CreateResourceTexture(const GUID* resourceId,
                                const D2D1_RESOURCE_TEXTURE_PROPERTIES* properties,
                                const BYTE* data, const UINT32* strides, UINT32 size,
                                ID2D1ResourceTexture** texture) override;

  // Null when no shader was loaded under the id.
  const Render::Program* FindProgram(REFGUID shaderId) const;
  const std::shared_ptr<GraphicsDevice>& GetGraphicsDevice() const { return device_; }

 private:
  std::shared_ptr<GraphicsDevice> device_;
  std::vector<std::pair<GUID, const Render::Program*>> programs_;
};

class DrawInfo2D final : public ComObject<ID2D1DrawInfo> {
 public:
  explicit DrawInfo2D(CComPtr<EffectContext2D> context) : context_(std::move(context)) {}

  HRESULT SetResourceTexture(UINT32 index, ID2D1ResourceTexture* texture) override;
  HRESULT SetPixelShader(REFGUID shaderId, D2D1_PIXEL_OPTIONS options) override;
  HRESULT SetPixelShaderConstantBuffer(const BYTE* buffer, UINT32 size) override;

  // Fills in the program, the constants and the resource textures of a pass; false when no program
  // was selected. The pass refers to this object.
  bool Describe(Render::Pass* pass) const;

 private:
  CComPtr<EffectContext2D> context_;
  const Render::Program* program_ = nullptr;
  std::array<CComPtr<ResourceTexture2D>, D2D1_MAX_RESOURCE_TEXTURES + 1> textures_;
  std::array<std::byte, kMaximumConstantBytes> constants_;
  std::size_t constants_size_ = 0;
};

class TransformGraph2D final : public ComObject<ID2D1TransformGraph> {
 public:
  TransformGraph2D(CComPtr<DrawInfo2D> draw_info, UINT32 input_count)
      : draw_info_(std::move(draw_info)), input_count_(input_count) {}

  HRESULT SetSingleTransformNode(ID2D1TransformNode* node) override;

  // Null until the effect has set its node.
  ID2D1DrawTransform* GetTransform() const { return transform_; }
  // Drops the node, which may hold this object in turn.
  void Disconnect() { transform_.Release(); }

 private:
  CComPtr<DrawInfo2D> draw_info_;
  UINT32 input_count_;
  CComPtr<ID2D1DrawTransform> transform_;
};

}  // namespace Vantra::Platform
