#pragma once

/// The part of the effect author contract that the library uses: what a custom effect implements,
/// and what it is given to work with.

#include <vantrix/platform/d2d1.h>

enum D2D1_CHANGE_TYPE : UINT32 {
  D2D1_CHANGE_TYPE_NONE = 0,
  D2D1_CHANGE_TYPE_PROPERTIES = 1,
  D2D1_CHANGE_TYPE_CONTEXT = 2,
  D2D1_CHANGE_TYPE_GRAPH = 3,
};

enum D2D1_PIXEL_OPTIONS : UINT32 { D2D1_PIXEL_OPTIONS_NONE = 0 };
enum D2D1_CHANNEL_DEPTH : UINT32 { D2D1_CHANNEL_DEPTH_4 = 4 };

enum D2D1_FILTER : UINT32 {
  D2D1_FILTER_MIN_MAG_MIP_POINT = 0x00,
  D2D1_FILTER_MIN_MAG_POINT_MIP_LINEAR = 0x01,
  D2D1_FILTER_MIN_MAG_LINEAR_MIP_POINT = 0x14,
  D2D1_FILTER_MIN_MAG_MIP_LINEAR = 0x15,
};

enum D2D1_EXTEND_MODE : UINT32 {
  D2D1_EXTEND_MODE_CLAMP = 0,
  D2D1_EXTEND_MODE_WRAP = 1,
  D2D1_EXTEND_MODE_MIRROR = 2,
};

struct D2D1_RESOURCE_TEXTURE_PROPERTIES {
  const UINT32* extents;
  UINT32 dimensions;
  D2D1_BUFFER_PRECISION bufferPrecision;
  D2D1_CHANNEL_DEPTH channelDepth;
  D2D1_FILTER filter;
  const D2D1_EXTEND_MODE* extendModes;
};

/// A texture that a pixel shader reads beside the effect's inputs: red, green, blue, alpha bytes.
class ID2D1ResourceTexture : public IUnknown {
 protected:
  ~ID2D1ResourceTexture() = default;
};
VANTRIX_INTERFACE(ID2D1ResourceTexture, 0x688D15C3, 0x02B0, 0x438D,
                  {0xB1, 0x3A, 0xD1, 0xB4, 0x4C, 0x32, 0xC3, 0x9A});

/// Highest register of a resource texture.
constexpr UINT32 D2D1_MAX_RESOURCE_TEXTURES = 5;

/// What a transform's pass is made of: the pixel shader, its constants and its resource textures.
class ID2D1DrawInfo : public IUnknown {
 public:
  /// Binds `texture` (null: nothing) to texture register `index`, 1 to
  /// `D2D1_MAX_RESOURCE_TEXTURES`, else `E_INVALIDARG`. Pixel shaders read registers 1 and 2; an
  /// input of the same register goes before a resource texture. `D2DERR_WRONG_RESOURCE_DOMAIN` for
  /// a texture of another device.
  virtual HRESULT SetResourceTexture(UINT32 index, ID2D1ResourceTexture* texture) = 0;
  /// Selects a shader that `ID2D1EffectContext::LoadPixelShader` loaded under `shaderId`;
  /// `E_INVALIDARG` when there is none.
  virtual HRESULT SetPixelShader(REFGUID shaderId, D2D1_PIXEL_OPTIONS options) = 0;
  /// Copies `size` bytes of constants, at most `kMaximumConstantBytes`, else `E_INVALIDARG`.
  virtual HRESULT SetPixelShaderConstantBuffer(const BYTE* buffer, UINT32 size) = 0;

  static constexpr UINT32 kMaximumConstantBytes = 4096;

 protected:
  ~ID2D1DrawInfo() = default;
};
VANTRIX_INTERFACE(ID2D1DrawInfo, 0x693CE632, 0x7F2F, 0x45DE,
                  {0x93, 0xFE, 0x18, 0xD8, 0x8B, 0x37, 0xAA, 0x21});

class ID2D1TransformNode : public IUnknown {
 public:
  virtual UINT32 GetInputCount() const = 0;

 protected:
  ~ID2D1TransformNode() = default;
};
VANTRIX_INTERFACE(ID2D1TransformNode, 0xB2EFE1E7, 0x729F, 0x4102,
                  {0x94, 0x9F, 0x50, 0x5F, 0xA2, 0x1B, 0xF6, 0x66});

/// A node that maps rectangles, in pixels of the image space.
class ID2D1Transform : public ID2D1TransformNode {
 public:
  virtual HRESULT MapOutputRectToInputRects(const RECT* output, RECT* inputs,
                                            UINT32 count) const = 0;
  virtual HRESULT MapInputRectsToOutputRect(const RECT* inputs, const RECT* opaqueInputs,
                                            UINT32 count, RECT* output, RECT* opaqueOutput) = 0;
  virtual HRESULT MapInvalidRect(UINT32 input, RECT invalid, RECT* output) const = 0;

 protected:
  ~ID2D1Transform() = default;
};
VANTRIX_INTERFACE(ID2D1Transform, 0xEF1A287D, 0x342A, 0x4F76,
                  {0x8F, 0xDB, 0xDA, 0x0D, 0x6E, 0xA9, 0xF9, 0x2B});

class ID2D1DrawTransform : public ID2D1Transform {
 public:
  /// Called once, when the node enters the graph.
  virtual HRESULT SetDrawInfo(ID2D1DrawInfo* drawInfo) = 0;

 protected:
  ~ID2D1DrawTransform() = default;
};
VANTRIX_INTERFACE(ID2D1DrawTransform, 0x36BFDCB6, 0x9739, 0x435D,
                  {0xA3, 0x0D, 0xA6, 0x53, 0xBE, 0xFF, 0x6A, 0x6F});

class ID2D1TransformGraph : public IUnknown {
 public:
  /// Makes `node` the whole graph and calls its `SetDrawInfo`, whose failure is returned.
  /// `E_INVALIDARG` for a node that is no `ID2D1DrawTransform` or whose input count is not the
  /// effect's.
  virtual HRESULT SetSingleTransformNode(ID2D1TransformNode* node) = 0;

 protected:
  ~ID2D1TransformGraph() = default;
};
VANTRIX_INTERFACE(ID2D1TransformGraph, 0x13D29038, 0xC3E6, 0x4034,
                  {0x90, 0x81, 0x13, 0xB5, 0x3A, 0x41, 0x79, 0x92});

/// What an effect builds its parts with.
class ID2D1EffectContext : public IUnknown {
 public:
  /// Loads a pixel shader (SPIR-V) under an id of the caller's choice. Loading an id again keeps
  /// the first. `E_INVALIDARG` for bytes that are no pixel shader, `D2DERR_UNSUPPORTED_OPERATION`
  /// for one that the engine cannot run: `Vantra::Platform::TakeRefusal` tells why.
  virtual HRESULT LoadPixelShader(REFGUID shaderId, const BYTE* buffer, UINT32 size) = 0;
  /// Makes a texture of two dimensions from `size` bytes of rows `strides[0]` apart. `resourceId`
  /// must be null. `E_INVALIDARG` for other properties or too few bytes,
  /// `D2DERR_MAX_TEXTURE_SIZE_EXCEEDED`, `E_OUTOFMEMORY`, `D2DERR_RECREATE_TARGET`.
  virtual HRESULT CreateResourceTexture(const GUID* resourceId,
                                        const D2D1_RESOURCE_TEXTURE_PROPERTIES* properties,
                                        const BYTE* data, const UINT32* strides, UINT32 size,
                                        ID2D1ResourceTexture** texture) = 0;

 protected:
  ~ID2D1EffectContext() = default;
};
VANTRIX_INTERFACE(ID2D1EffectContext, 0x3D9F916B, 0x27DC, 0x4AD7,
                  {0xB4, 0xF1, 0x64, 0x94, 0x53, 0x40, 0xF5, 0x63});

/// A custom effect.
class ID2D1EffectImpl : public IUnknown {
 public:
  virtual HRESULT Initialize(ID2D1EffectContext* context, ID2D1TransformGraph* graph) = 0;
  /// Called before each render.
  virtual HRESULT PrepareForRender(D2D1_CHANGE_TYPE change) = 0;
  virtual HRESULT SetGraph(ID2D1TransformGraph* graph) = 0;

 protected:
  ~ID2D1EffectImpl() = default;
};
VANTRIX_INTERFACE(ID2D1EffectImpl, 0xA248FD3F, 0x3E6C, 0x4E63,
                  {0x9F, 0x03, 0x7F, 0x68, 0xEC, 0xC9, 0x1D, 0xB9});
