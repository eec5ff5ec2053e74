#include <vantrix/device/device.h>
#include <vantrix/effects/engine/effect.h>
#include <vantrix/effects/engine/effectshaderbase.h>
#include <vantrix/images/bitmap.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

namespace Vantra {
namespace {

constexpr wchar_t kLongPathPrefix[] = L"\\\\?\\";

struct ResourceBytes {
  const BYTE* data = nullptr;
  DWORD size = 0;
};

ResourceBytes FindBytes(const wchar_t* name) {
  HRSRC resource = FindResourceW(nullptr, name, RT_RCDATA);
  const DWORD size = SizeofResource(nullptr, resource);
  const void* data = LockResource(LoadResource(nullptr, resource));
  if (!data || size == 0) return {};
  return {static_cast<const BYTE*>(data), size};
}

bool operator==(const RECT& a, const RECT& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

}  // namespace

EffectShaderBase::EffectShaderBase() {
  if (Effect* effect = Effect::GetCurrentEffect()) {
    imaging_factory_ = effect->GetDeviceContext()->GetWicImagingFactory();
    effect->SetShader(this);
  }
}

EffectShaderBase::~EffectShaderBase() {
  std::for_each(textures_.rbegin(), textures_.rend(), [](auto& texture) { texture.Release(); });
  draw_info_.Release();
  effect_context_.Release();
}

HRESULT EffectShaderBase::QueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (iid == __uuidof(ID2D1EffectImpl) || iid == __uuidof(IUnknown)) {
    *object = static_cast<ID2D1EffectImpl*>(this);
  } else if (iid == __uuidof(ID2D1DrawTransform) || iid == __uuidof(ID2D1Transform) ||
             iid == __uuidof(ID2D1TransformNode)) {
    *object = static_cast<ID2D1DrawTransform*>(this);
  } else {
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

ULONG EffectShaderBase::AddRef() { return static_cast<ULONG>(++reference_count_); }

ULONG EffectShaderBase::Release() {
  const unsigned long left = --reference_count_;
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

HRESULT EffectShaderBase::PrepareForRender(D2D1_CHANGE_TYPE) { return UpdateConstants(); }

HRESULT EffectShaderBase::SetGraph(ID2D1TransformGraph*) { return E_NOTIMPL; }

HRESULT EffectShaderBase::UpdateConstants() { return S_OK; }

UINT32 EffectShaderBase::GetInputCount() const { return 1; }

HRESULT EffectShaderBase::MapOutputRectToInputRects(const RECT* output, RECT* inputs,
                                                    UINT32 count) const {
  std::fill_n(inputs, count, *output);
  return S_OK;
}

HRESULT EffectShaderBase::MapInputRectsToOutputRect(const RECT* inputs, const RECT*, UINT32 count,
                                                    RECT* output, RECT* opaqueOutput) {
  const bool all_equal =
      std::all_of(inputs, inputs + count, [inputs](const RECT& rect) { return rect == inputs[0]; });
  if (!all_equal) return E_INVALIDARG;
  *output = inputs[0];
  input_rectangle_ = inputs[0];
  *opaqueOutput = {};
  return S_OK;
}

HRESULT EffectShaderBase::MapInvalidRect(UINT32, RECT, RECT* output) const {
  *output = input_rectangle_;
  return S_OK;
}

HRESULT EffectShaderBase::InitializeShader(ID2D1EffectContext* context, ID2D1TransformGraph* graph,
                                           std::span<const wchar_t* const> textureResources,
                                           const wchar_t* shaderResource, REFGUID shaderId) {
  effect_context_ = context;
  unsigned int slot = 1;
  for (const wchar_t* name : textureResources) {
    CreateD2DResourceTexture(name, context, &GetTexture(slot++), nullptr);
  }
  const ResourceBytes shader = FindBytes(shaderResource);
  if (!shader.data) return S_OK;
  const HRESULT result = context->LoadPixelShader(shaderId, shader.data, shader.size);
  if (FAILED(result)) return result;
  return graph->SetSingleTransformNode(static_cast<ID2D1DrawTransform*>(this));
}

HRESULT EffectShaderBase::SelectShader(ID2D1DrawInfo* drawInfo, REFGUID shaderId) {
  draw_info_ = drawInfo;
  for (UINT32 slot = 1; slot <= kTextureCount; ++slot) {
    if (GetTexture(slot)) drawInfo->SetResourceTexture(slot, GetTexture(slot));
  }
  return drawInfo->SetPixelShader(shaderId, D2D1_PIXEL_OPTIONS_NONE);
}

CComPtr<ID2D1ResourceTexture>& EffectShaderBase::GetTexture(unsigned int index) {
  return textures_[std::clamp<std::size_t>(index, 1, kTextureCount) - 1];
}

template <class Create>
HRESULT EffectShaderBase::ReplaceTexture(unsigned int index, Create create) {
  if (!effect_context_ || !draw_info_) return E_FAIL;
  CComPtr<ID2D1ResourceTexture>& slot = GetTexture(index);
  slot.Release();
  const HRESULT result = create(&slot);
  if (FAILED(result)) {
    // An empty slot must not go on showing the picture it held.
    draw_info_->SetResourceTexture(index, nullptr);
    return result;
  }
  return draw_info_->SetResourceTexture(index, slot);
}

HRESULT EffectShaderBase::SetTexture(unsigned int index, const wchar_t* fileName, POINT* size) {
  return ReplaceTexture(index, [&](ID2D1ResourceTexture** texture) {
    return CreateD2DTexture(fileName, effect_context_, texture, size);
  });
}

HRESULT EffectShaderBase::SetTexture(unsigned int index, IStream* stream, POINT* size) {
  if (!stream) return E_FAIL;
  return ReplaceTexture(index, [&](ID2D1ResourceTexture** texture) {
    return CreateD2DTexture(effect_context_, stream, texture, size);
  });
}

HRESULT EffectShaderBase::CreateD2DResourceTexture(const wchar_t* resourceName,
                                                   ID2D1EffectContext* context,
                                                   ID2D1ResourceTexture** texture, POINT* size) {
  const ResourceBytes bytes = FindBytes(resourceName);
  if (!bytes.data || !imaging_factory_) return E_FAIL;
  CComPtr<IWICStream> stream;
  if (FAILED(imaging_factory_->CreateStream(&stream)) ||
      FAILED(stream->InitializeFromMemory(const_cast<BYTE*>(bytes.data), bytes.size))) {
    return E_FAIL;
  }
  return CreateD2DTexture(context, stream, texture, size);
}

HRESULT EffectShaderBase::CreateD2DTexture(const wchar_t* fileName, ID2D1EffectContext* context,
                                           ID2D1ResourceTexture** texture, POINT* size) {
  if (!imaging_factory_ || !fileName) return E_FAIL;
  const std::wstring name = std::wstring(kLongPathPrefix) + fileName;
  CComPtr<IWICBitmapDecoder> decoder;
  if (FAILED(imaging_factory_->CreateDecoderFromFilename(
          name.c_str(), nullptr, GENERIC_READ, WICDecodeMetadataCacheOnDemand, &decoder))) {
    return E_FAIL;
  }
  return DecodeTexture(decoder, context, texture, size);
}

HRESULT EffectShaderBase::CreateD2DTexture(ID2D1EffectContext* context, IStream* stream,
                                           ID2D1ResourceTexture** texture, POINT* size) {
  if (!imaging_factory_) return E_FAIL;
  CComPtr<IWICBitmapDecoder> decoder;
  if (FAILED(imaging_factory_->CreateDecoderFromStream(stream, nullptr,
                                                       WICDecodeMetadataCacheOnDemand, &decoder))) {
    return E_FAIL;
  }
  return DecodeTexture(decoder, context, texture, size);
}

HRESULT EffectShaderBase::DecodeTexture(IWICBitmapDecoder* decoder, ID2D1EffectContext* context,
                                        ID2D1ResourceTexture** texture, POINT* size) {
  CComPtr<IWICBitmapFrameDecode> frame;
  CComPtr<IWICFormatConverter> converter;
  UINT width = 0;
  UINT height = 0;
  if (FAILED(decoder->GetFrame(0, &frame)) ||
      FAILED(imaging_factory_->CreateFormatConverter(&converter)) ||
      FAILED(converter->Initialize(frame, GUID_WICPixelFormat32bppPRGBA, WICBitmapDitherTypeNone,
                                   nullptr, 0.0, WICBitmapPaletteTypeCustom)) ||
      FAILED(converter->GetSize(&width, &height))) {
    return E_FAIL;
  }
  if (size) *size = {static_cast<LONG>(width), static_cast<LONG>(height)};

  const std::uint64_t byte_count = std::uint64_t{width} * 4 * height;
  if (byte_count > UINT32_MAX) return E_FAIL;
  std::unique_ptr<BYTE[]> pixels(new (std::nothrow) BYTE[byte_count]());
  if (!pixels) return E_FAIL;
  const UINT stride = width * 4;
  // A picture that is damaged further down still serves as far as it goes.
  converter->CopyPixels(nullptr, stride, static_cast<UINT>(byte_count), pixels.get());
  return CreateD2DTexture(context, pixels.get(), static_cast<int>(width), static_cast<int>(height),
                          static_cast<int>(stride), texture, nullptr);
}

HRESULT EffectShaderBase::CreateD2DTexture(ID2D1EffectContext* context, const unsigned char* pixels,
                                           int width, int height, int stride,
                                           ID2D1ResourceTexture** texture, POINT* size) {
  if (!pixels || width < 1 || height < 1 || stride / 4 < width) return E_INVALIDARG;
  const auto byte_count = static_cast<std::uint64_t>(height) * static_cast<std::uint64_t>(stride);
  if (byte_count > UINT32_MAX) return E_INVALIDARG;
  if (size) *size = {width, height};

  const UINT32 extents[] = {static_cast<UINT32>(width), static_cast<UINT32>(height)};
  const D2D1_EXTEND_MODE extend_modes[] = {D2D1_EXTEND_MODE_CLAMP, D2D1_EXTEND_MODE_CLAMP};
  const D2D1_RESOURCE_TEXTURE_PROPERTIES properties = {
      .extents = extents,
      .dimensions = 2,
      .bufferPrecision = D2D1_BUFFER_PRECISION_8BPC_UNORM,
      .channelDepth = D2D1_CHANNEL_DEPTH_4,
      .filter = D2D1_FILTER_MIN_MAG_POINT_MIP_LINEAR,
      .extendModes = extend_modes,
  };
  const auto pitch = static_cast<UINT32>(stride);
  return context->CreateResourceTexture(nullptr, &properties, pixels, &pitch,
                                        static_cast<UINT32>(byte_count), texture);
}

HRESULT EffectShaderBase::CreateD2DTexture(ID2D1EffectContext* context, Bitmap* bitmap,
                                           ID2D1ResourceTexture** texture, POINT* size) {
  return CreateD2DTexture(context, reinterpret_cast<const unsigned char*>(bitmap->GetBits()),
                          static_cast<int>(bitmap->GetWidth()),
                          static_cast<int>(bitmap->GetHeight()),
                          static_cast<int>(bitmap->GetStride()), texture, size);
}

HRESULT EffectShaderSingleAmout::UpdateConstants() {
  if (!GetDrawInfo()) return E_FAIL;
  return GetDrawInfo()->SetPixelShaderConstantBuffer(reinterpret_cast<const BYTE*>(&amount_),
                                                     sizeof(amount_));
}

void EffectShaderSingleAmout::SetFilterAmout(float amount) {
  amount_ = amount;
  if (GetDrawInfo()) UpdateConstants();
}

}  // namespace Vantra
