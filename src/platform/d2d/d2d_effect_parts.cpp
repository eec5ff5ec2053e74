#include "platform/d2d/d2d_effect_parts.h"

#include <algorithm>
#include <cstring>

namespace Vantra::Platform {
namespace {

bool ToEngineFilter(D2D1_FILTER filter, Render::Filter* out) {
  switch (filter) {
    // Resource textures have one level, so the filter between levels makes no difference.
    case D2D1_FILTER_MIN_MAG_MIP_POINT:
    case D2D1_FILTER_MIN_MAG_POINT_MIP_LINEAR:
      *out = Render::Filter::kNearest;
      return true;
    case D2D1_FILTER_MIN_MAG_LINEAR_MIP_POINT:
    case D2D1_FILTER_MIN_MAG_MIP_LINEAR:
      *out = Render::Filter::kLinear;
      return true;
  }
  return false;
}

bool ToEngineExtend(D2D1_EXTEND_MODE mode, Render::Extend* out) {
  switch (mode) {
    case D2D1_EXTEND_MODE_CLAMP:
      *out = Render::Extend::kClamp;
      return true;
    case D2D1_EXTEND_MODE_WRAP:
      *out = Render::Extend::kWrap;
      return true;
    case D2D1_EXTEND_MODE_MIRROR:
      *out = Render::Extend::kMirror;
      return true;
  }
  return false;
}

bool ToEngineSampler(const D2D1_RESOURCE_TEXTURE_PROPERTIES& properties, Render::Sampler* sampler) {
  return ToEngineFilter(properties.filter, &sampler->filter) &&
         ToEngineExtend(properties.extendModes[0], &sampler->extend_x) &&
         ToEngineExtend(properties.extendModes[1], &sampler->extend_y);
}

}  // namespace

HRESULT EffectContext2D::LoadPixelShader(REFGUID shaderId, const BYTE* buffer, UINT32 size) {
  if (!buffer) return E_INVALIDARG;
  if (FindProgram(shaderId)) return S_OK;
  const Render::Program* program = nullptr;
  const Render::Status status =
      device_->GetProgram({reinterpret_cast<const std::byte*>(buffer), size}, &program);
  if (status != Render::Status::kOk) return ToResult(status);
  programs_.emplace_back(shaderId, program);
  return S_OK;
}

const Render::Program* EffectContext2D::FindProgram(REFGUID shaderId) const {
  for (const auto& [id, program] : programs_) {
    if (id == shaderId) return program;
  }
  return nullptr;
}

HRESULT EffectContext2D::CreateResourceTexture(const GUID* resourceId,
                                               const D2D1_RESOURCE_TEXTURE_PROPERTIES* properties,
                                               const BYTE* data, const UINT32* strides, UINT32 size,
                                               ID2D1ResourceTexture** texture) {
  if (!texture) return E_POINTER;
  *texture = nullptr;
  Render::Sampler sampler;
  if (resourceId || !properties || !data || !strides || properties->dimensions != 2 ||
      properties->bufferPrecision != D2D1_BUFFER_PRECISION_8BPC_UNORM ||
      properties->channelDepth != D2D1_CHANNEL_DEPTH_4 || !ToEngineSampler(*properties, &sampler)) {
    return E_INVALIDARG;
  }
  const UINT32 width = properties->extents[0];
  const UINT32 height = properties->extents[1];
  if (width == 0 || height == 0) return E_INVALIDARG;
  const UINT32 limit = device_->GetEngine().MaximumTextureSize();
  if (width > limit || height > limit) return D2DERR_MAX_TEXTURE_SIZE_EXCEEDED;
  const std::uint64_t row_bytes = std::uint64_t{width} * Render::kBytesPerPixel;
  if (strides[0] < row_bytes || std::uint64_t{strides[0]} * (height - 1) + row_bytes > size) {
    return E_INVALIDARG;
  }
  std::shared_ptr<Surface> surface;
  const Render::Status status =
      CreateSurface(device_, {.width = width, .height = height, .format = Render::Format::kRgba8},
                    data, strides[0], &surface);
  if (status != Render::Status::kOk) return ToResult(status);
  *texture = MakeCom<ResourceTexture2D>(std::move(surface), sampler).Detach();
  return *texture ? S_OK : E_OUTOFMEMORY;
}

HRESULT DrawInfo2D::SetResourceTexture(UINT32 index, ID2D1ResourceTexture* texture) {
  auto* own = dynamic_cast<ResourceTexture2D*>(texture);
  if (index == 0 || index >= textures_.size() || (texture && !own)) return E_INVALIDARG;
  if (own && own->GetGraphicsDevice() != context_->GetGraphicsDevice().get()) {
    return D2DERR_WRONG_RESOURCE_DOMAIN;
  }
  textures_[index] = own;
  return S_OK;
}

HRESULT DrawInfo2D::SetPixelShader(REFGUID shaderId, D2D1_PIXEL_OPTIONS options) {
  const Render::Program* program = context_->FindProgram(shaderId);
  if (!program || options != D2D1_PIXEL_OPTIONS_NONE) return E_INVALIDARG;
  program_ = program;
  return S_OK;
}

HRESULT DrawInfo2D::SetPixelShaderConstantBuffer(const BYTE* buffer, UINT32 size) {
  if (!buffer || size > kMaximumConstantBytes) return E_INVALIDARG;
  std::memcpy(constants_.data(), buffer, size);
  constants_size_ = size;
  return S_OK;
}

bool DrawInfo2D::Describe(Render::Pass* pass) const {
  if (!program_) return false;
  pass->program = program_;
  pass->constants = {constants_.data(), constants_size_};
  for (std::size_t i = 1; i < pass->bindings.size(); ++i) {
    if (textures_[i]) pass->bindings[i] = textures_[i]->GetBinding();
  }
  return true;
}

HRESULT TransformGraph2D::SetSingleTransformNode(ID2D1TransformNode* node) {
  if (!node || node->GetInputCount() != input_count_) return E_INVALIDARG;
  CComPtr<ID2D1DrawTransform> transform;
  if (FAILED(node->QueryInterface(IID_PPV_ARGS(&transform)))) return E_INVALIDARG;
  const HRESULT result = transform->SetDrawInfo(draw_info_);
  if (FAILED(result)) return result;
  transform_ = std::move(transform);
  return S_OK;
}

}  // namespace Vantra::Platform
