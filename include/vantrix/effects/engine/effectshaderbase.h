#pragma once

/// The shader half of a custom effect: one pixel program over one input, with its constants and
/// textures.

#include <vantrix/export.h>
#include <vantrix/platform/d2d1effectauthor.h>
#include <vantrix/platform/wincodec.h>

#include <array>
#include <span>

namespace Vantra {

class Bitmap;

/// Implements the platform's custom effect interfaces. The platform makes and owns the object; the
/// constructor announces it to the effect that is being created. It belongs to the thread that
/// drives the device.
class VANTRIX_API EffectShaderBase : public ID2D1EffectImpl, public ID2D1DrawTransform {
 public:
  EffectShaderBase(const EffectShaderBase&) = delete;
  EffectShaderBase& operator=(const EffectShaderBase&) = delete;

  HRESULT QueryInterface(REFIID iid, void** object) override;
  ULONG AddRef() override;
  ULONG Release() override;

  /// Calls `UpdateConstants`.
  HRESULT PrepareForRender(D2D1_CHANGE_TYPE change) override;
  /// The graph of an effect is fixed: `E_NOTIMPL`.
  HRESULT SetGraph(ID2D1TransformGraph* graph) override;
  virtual ~EffectShaderBase();
  /// Hands the constants to the platform; a class with constants overrides it.
  virtual HRESULT UpdateConstants();

  UINT32 GetInputCount() const override;
  /// Rectangles pass through unchanged: an effect reads only what lies in the rectangle it writes.
  HRESULT MapOutputRectToInputRects(const RECT* output, RECT* inputs, UINT32 count) const override;
  /// `E_INVALIDARG`, with nothing stored, when the inputs differ.
  HRESULT MapInputRectsToOutputRect(const RECT* inputs, const RECT* opaqueInputs, UINT32 count,
                                    RECT* output, RECT* opaqueOutput) override;
  /// Any change invalidates the whole image.
  HRESULT MapInvalidRect(UINT32 input, RECT invalid, RECT* output) const override;

  /// Makes a texture from a picture: a resource of the library, a file, or a stream from its
  /// present position. `size` may be null and receives width and height in pixels. Every failure to
  /// decode is `E_FAIL`; a texture that the platform refuses gives the platform's result.
  HRESULT CreateD2DResourceTexture(const wchar_t* resourceName, ID2D1EffectContext* context,
                                   ID2D1ResourceTexture** texture, POINT* size);
  HRESULT CreateD2DTexture(const wchar_t* fileName, ID2D1EffectContext* context,
                           ID2D1ResourceTexture** texture, POINT* size);
  HRESULT CreateD2DTexture(ID2D1EffectContext* context, IStream* stream,
                           ID2D1ResourceTexture** texture, POINT* size);
  /// Makes a texture from rows of four-byte pixels, red first, `stride` bytes apart. The bytes are
  /// read during the call. `E_INVALIDARG` for null pixels, a side below 1 or a stride below a row.
  HRESULT CreateD2DTexture(ID2D1EffectContext* context, const unsigned char* pixels, int width,
                           int height, int stride, ID2D1ResourceTexture** texture, POINT* size);
  /// The same from the CPU pixels of a bitmap, byte for byte.
  HRESULT CreateD2DTexture(ID2D1EffectContext* context, Bitmap* bitmap,
                           ID2D1ResourceTexture** texture, POINT* size);

  /// The slot for `index`: 0 and 1 are the first slot, anything beyond 5 the fifth.
  CComPtr<ID2D1ResourceTexture>& GetTexture(unsigned int index);
  /// Replaces the texture of a slot by a picture and binds it to register `index`. `E_FAIL` before
  /// the shader is set up, with the slot untouched; a picture that cannot be read leaves it empty.
  HRESULT SetTexture(unsigned int index, const wchar_t* fileName, POINT* size);
  HRESULT SetTexture(unsigned int index, IStream* stream, POINT* size);

 protected:
  EffectShaderBase();

  /// The common part of `Initialize`: makes the textures from resources, in slots 1 onward, where
  /// one that fails leaves its slot empty; loads the pixel shader `shaderResource` under
  /// `shaderId`, and makes this object the graph. A missing shader resource is `S_OK`, without a
  /// graph.
  HRESULT InitializeShader(ID2D1EffectContext* context, ID2D1TransformGraph* graph,
                           std::span<const wchar_t* const> textureResources,
                           const wchar_t* shaderResource, REFGUID shaderId);
  /// The common part of `SetDrawInfo`: binds the textures and selects the shader.
  HRESULT SelectShader(ID2D1DrawInfo* drawInfo, REFGUID shaderId);

  ID2D1DrawInfo* GetDrawInfo() const { return draw_info_; }
  ID2D1EffectContext* GetEffectContext() const { return effect_context_; }

 private:
  static constexpr std::size_t kTextureCount = 5;

  HRESULT DecodeTexture(IWICBitmapDecoder* decoder, ID2D1EffectContext* context,
                        ID2D1ResourceTexture** texture, POINT* size);
  /// Empties the slot for `index`, fills it by `create(slot)`, and binds it.
  template <class Create>
  HRESULT ReplaceTexture(unsigned int index, Create create);

  IWICImagingFactory2* imaging_factory_ = nullptr;
  unsigned long reference_count_ = 1;
  CComPtr<ID2D1EffectContext> effect_context_;
  CComPtr<ID2D1DrawInfo> draw_info_;
  RECT input_rectangle_ = {0, 0, 0, 0};
  std::array<CComPtr<ID2D1ResourceTexture>, kTextureCount> textures_;
};

/// A shader whose one constant is an amount, 1 at the start.
class VANTRIX_API EffectShaderSingleAmout : public EffectShaderBase {
 public:
  HRESULT UpdateConstants() override;
  /// Stores the amount, and uploads it when the shader is set up.
  void SetFilterAmout(float amount);
  float GetFilterAmout() const { return amount_; }

 protected:
  EffectShaderSingleAmout() = default;

 private:
  float amount_ = 1.0f;
};

}  // namespace Vantra
