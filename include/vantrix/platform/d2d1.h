#pragma once

/// The part of the 2D drawing contract that the library uses.

#include <vantrix/platform/d3d11.h>

constexpr HRESULT D2DERR_WRONG_STATE = static_cast<HRESULT>(0x88990001);
constexpr HRESULT D2DERR_UNSUPPORTED_OPERATION = static_cast<HRESULT>(0x88990003);
constexpr HRESULT D2DERR_RECREATE_TARGET = static_cast<HRESULT>(0x8899000C);
constexpr HRESULT D2DERR_MAX_TEXTURE_SIZE_EXCEEDED = static_cast<HRESULT>(0x8899000F);
constexpr HRESULT D2DERR_WRONG_FACTORY = static_cast<HRESULT>(0x88990012);
constexpr HRESULT D2DERR_WRONG_RESOURCE_DOMAIN = static_cast<HRESULT>(0x88990015);
constexpr HRESULT D2DERR_PUSH_POP_UNBALANCED = static_cast<HRESULT>(0x88990016);
constexpr HRESULT D2DERR_INVALID_GRAPH_CONFIGURATION = static_cast<HRESULT>(0x8899001E);
constexpr HRESULT D2DERR_CYCLIC_GRAPH = static_cast<HRESULT>(0x88990020);
constexpr HRESULT D2DERR_BITMAP_CANNOT_DRAW = static_cast<HRESULT>(0x88990021);
constexpr HRESULT D2DERR_INVALID_TARGET = static_cast<HRESULT>(0x88990024);
constexpr HRESULT D2DERR_BITMAP_BOUND_AS_TARGET = static_cast<HRESULT>(0x88990025);
constexpr HRESULT D2DERR_EFFECT_IS_NOT_REGISTERED = static_cast<HRESULT>(0x88990028);
constexpr HRESULT D2DERR_INVALID_PROPERTY = static_cast<HRESULT>(0x88990029);
constexpr HRESULT D2DERR_NO_SUBPROPERTIES = static_cast<HRESULT>(0x8899002A);

enum D2D1_ALPHA_MODE : UINT32 { D2D1_ALPHA_MODE_UNKNOWN = 0, D2D1_ALPHA_MODE_PREMULTIPLIED = 1 };

enum D2D1_UNIT_MODE : UINT32 { D2D1_UNIT_MODE_DIPS = 0, D2D1_UNIT_MODE_PIXELS = 1 };

enum D2D1_INTERPOLATION_MODE : UINT32 {
  D2D1_INTERPOLATION_MODE_NEAREST_NEIGHBOR = 0,
  D2D1_INTERPOLATION_MODE_LINEAR = 1,
  D2D1_INTERPOLATION_MODE_CUBIC = 2,
  D2D1_INTERPOLATION_MODE_MULTI_SAMPLE_LINEAR = 3,
  D2D1_INTERPOLATION_MODE_ANISOTROPIC = 4,
  D2D1_INTERPOLATION_MODE_HIGH_QUALITY_CUBIC = 5,
};

enum D2D1_COMPOSITE_MODE : UINT32 {
  D2D1_COMPOSITE_MODE_SOURCE_OVER = 0,
  D2D1_COMPOSITE_MODE_DESTINATION_OVER = 1,
  D2D1_COMPOSITE_MODE_SOURCE_IN = 2,
  D2D1_COMPOSITE_MODE_DESTINATION_IN = 3,
  D2D1_COMPOSITE_MODE_SOURCE_OUT = 4,
  D2D1_COMPOSITE_MODE_DESTINATION_OUT = 5,
  D2D1_COMPOSITE_MODE_SOURCE_ATOP = 6,
  D2D1_COMPOSITE_MODE_DESTINATION_ATOP = 7,
  D2D1_COMPOSITE_MODE_XOR = 8,
  D2D1_COMPOSITE_MODE_PLUS = 9,
  D2D1_COMPOSITE_MODE_SOURCE_COPY = 10,
  D2D1_COMPOSITE_MODE_BOUNDED_SOURCE_COPY = 11,
  D2D1_COMPOSITE_MODE_MASK_INVERT = 12,
};

enum D2D1_PRIMITIVE_BLEND : UINT32 {
  D2D1_PRIMITIVE_BLEND_SOURCE_OVER = 0,
  D2D1_PRIMITIVE_BLEND_COPY = 1,
  D2D1_PRIMITIVE_BLEND_MIN = 2,
  D2D1_PRIMITIVE_BLEND_ADD = 3,
  D2D1_PRIMITIVE_BLEND_MAX = 4,
};

enum D2D1_ANTIALIAS_MODE : UINT32 {
  D2D1_ANTIALIAS_MODE_PER_PRIMITIVE = 0,
  D2D1_ANTIALIAS_MODE_ALIASED = 1,
};

enum D2D1_TEXT_ANTIALIAS_MODE : UINT32 {
  D2D1_TEXT_ANTIALIAS_MODE_DEFAULT = 0,
  D2D1_TEXT_ANTIALIAS_MODE_CLEARTYPE = 1,
  D2D1_TEXT_ANTIALIAS_MODE_GRAYSCALE = 2,
  D2D1_TEXT_ANTIALIAS_MODE_ALIASED = 3,
};

enum D2D1_BUFFER_PRECISION : UINT32 {
  D2D1_BUFFER_PRECISION_UNKNOWN = 0,
  D2D1_BUFFER_PRECISION_8BPC_UNORM = 1,
};

enum D2D1_BITMAP_OPTIONS : UINT32 {
  D2D1_BITMAP_OPTIONS_NONE = 0,
  D2D1_BITMAP_OPTIONS_TARGET = 1,
  D2D1_BITMAP_OPTIONS_CANNOT_DRAW = 2,
  D2D1_BITMAP_OPTIONS_CPU_READ = 4,
};
constexpr D2D1_BITMAP_OPTIONS operator|(D2D1_BITMAP_OPTIONS a, D2D1_BITMAP_OPTIONS b) {
  return static_cast<D2D1_BITMAP_OPTIONS>(static_cast<UINT32>(a) | static_cast<UINT32>(b));
}

enum D2D1_MAP_OPTIONS : UINT32 { D2D1_MAP_OPTIONS_READ = 1 };

enum D2D1_FACTORY_TYPE : UINT32 { D2D1_FACTORY_TYPE_MULTI_THREADED = 1 };

enum D2D1_PROPERTY_TYPE : UINT32 {
  D2D1_PROPERTY_TYPE_UNKNOWN = 0,
  D2D1_PROPERTY_TYPE_STRING = 1,
  D2D1_PROPERTY_TYPE_BOOL = 2,
  D2D1_PROPERTY_TYPE_UINT32 = 3,
  D2D1_PROPERTY_TYPE_INT32 = 4,
  D2D1_PROPERTY_TYPE_FLOAT = 5,
  D2D1_PROPERTY_TYPE_VECTOR2 = 6,
  D2D1_PROPERTY_TYPE_BLOB = 9,
  D2D1_PROPERTY_TYPE_ENUM = 11,
  D2D1_PROPERTY_TYPE_CLSID = 13,
  D2D1_PROPERTY_TYPE_MATRIX_4X4 = 16,
  D2D1_PROPERTY_TYPE_MATRIX_5X4 = 17,
};

/// Indices of the properties that every effect has beside its own.
enum D2D1_PROPERTY : UINT32 {
  D2D1_PROPERTY_CLSID = 0x80000000,
  D2D1_PROPERTY_DISPLAYNAME = 0x80000001,
  D2D1_PROPERTY_AUTHOR = 0x80000002,
  D2D1_PROPERTY_CATEGORY = 0x80000003,
  D2D1_PROPERTY_DESCRIPTION = 0x80000004,
};

/// Indices of what `ID2D1Properties::GetSubProperties` tells of a property: its name as a text,
/// whether it cannot be set, and, in the property's own type, its range where it has one and its
/// start value.
enum D2D1_SUBPROPERTY : UINT32 {
  D2D1_SUBPROPERTY_DISPLAYNAME = 0x80000000,
  D2D1_SUBPROPERTY_ISREADONLY = 0x80000001,
  D2D1_SUBPROPERTY_MIN = 0x80000002,
  D2D1_SUBPROPERTY_MAX = 0x80000003,
  D2D1_SUBPROPERTY_DEFAULT = 0x80000004,
};

constexpr UINT32 D2D1_INVALID_PROPERTY_INDEX = 0xFFFFFFFF;

struct D2D_POINT_2F {
  FLOAT x;
  FLOAT y;
};
using D2D1_POINT_2F = D2D_POINT_2F;

struct D2D_POINT_2U {
  UINT32 x;
  UINT32 y;
};
using D2D1_POINT_2U = D2D_POINT_2U;

struct D2D_VECTOR_2F {
  FLOAT x;
  FLOAT y;
};
using D2D1_VECTOR_2F = D2D_VECTOR_2F;

struct D2D_RECT_F {
  FLOAT left;
  FLOAT top;
  FLOAT right;
  FLOAT bottom;
};
using D2D1_RECT_F = D2D_RECT_F;

struct D2D_RECT_U {
  UINT32 left;
  UINT32 top;
  UINT32 right;
  UINT32 bottom;
};
using D2D1_RECT_U = D2D_RECT_U;

struct D2D_SIZE_F {
  FLOAT width;
  FLOAT height;
};
using D2D1_SIZE_F = D2D_SIZE_F;

struct D2D_SIZE_U {
  UINT32 width;
  UINT32 height;
};
using D2D1_SIZE_U = D2D_SIZE_U;

/// [x y 1] times the matrix is the point that (x, y) becomes.
struct D2D_MATRIX_3X2_F {
  FLOAT _11;
  FLOAT _12;
  FLOAT _21;
  FLOAT _22;
  FLOAT _31;
  FLOAT _32;
};
using D2D1_MATRIX_3X2_F = D2D_MATRIX_3X2_F;

/// [x y z 1] times the matrix, divided by its last component, is the point that (x, y, z) becomes.
struct D2D_MATRIX_4X4_F {
  FLOAT _11;
  FLOAT _12;
  FLOAT _13;
  FLOAT _14;
  FLOAT _21;
  FLOAT _22;
  FLOAT _23;
  FLOAT _24;
  FLOAT _31;
  FLOAT _32;
  FLOAT _33;
  FLOAT _34;
  FLOAT _41;
  FLOAT _42;
  FLOAT _43;
  FLOAT _44;
};
using D2D1_MATRIX_4X4_F = D2D_MATRIX_4X4_F;

/// [r g b a 1] times the matrix is the colour that (r, g, b, a) becomes.
struct D2D_MATRIX_5X4_F {
  FLOAT m[5][4];
};
using D2D1_MATRIX_5X4_F = D2D_MATRIX_5X4_F;

using D2D1_COLOR_F = D3DCOLORVALUE;
using D2D1_TAG = UINT64;

struct D2D1_PIXEL_FORMAT {
  DXGI_FORMAT format;
  D2D1_ALPHA_MODE alphaMode;
};

/// How effects are to be evaluated: the precision of results between passes, and the size of tiles.
struct D2D1_RENDERING_CONTROLS {
  D2D1_BUFFER_PRECISION bufferPrecision;
  D2D1_SIZE_U tileSize;
};

class ID2D1Factory1;

/// Anything that a 2D factory made, directly or not.
class ID2D1Resource : public IUnknown {
 public:
  /// Stores the factory, with one reference, in `*factory`.
  virtual void GetFactory(ID2D1Factory1** factory) const = 0;

 protected:
  ~ID2D1Resource() = default;
};
VANTRIX_INTERFACE(ID2D1Resource, 0x2CD90691, 0x12E2, 0x11DC,
                  {0x9F, 0xED, 0x00, 0x11, 0x43, 0xA0, 0x55, 0xF9});

/// Something that can be drawn or be an effect's input: a bitmap or an effect's output.
class ID2D1Image : public ID2D1Resource {
 protected:
  ~ID2D1Image() = default;
};
VANTRIX_INTERFACE(ID2D1Image, 0x65019F75, 0x8DA2, 0x497C,
                  {0xB3, 0x2C, 0xDF, 0xA3, 0x4E, 0x48, 0xED, 0xE6});

class ID2D1Bitmap : public ID2D1Image {
 public:
  virtual D2D1_SIZE_U GetPixelSize() const = 0;
  virtual D2D1_PIXEL_FORMAT GetPixelFormat() const = 0;
  virtual void GetDpi(FLOAT* dpiX, FLOAT* dpiY) const = 0;
  /// Copies `sourceRect` (null: the whole) of `bitmap` to `destinationPoint` (null: 0,0).
  /// `E_INVALIDARG` when the copy would leave either bitmap.
  virtual HRESULT CopyFromBitmap(const D2D1_POINT_2U* destinationPoint, ID2D1Bitmap* bitmap,
                                 const D2D1_RECT_U* sourceRect) = 0;
  /// Replaces `destinationRect` (null: the whole) by rows of pixels `pitch` bytes apart. The data
  /// is read before the call returns. `E_INVALIDARG` for a rectangle that leaves the bitmap or a
  /// pitch below its row of bytes.
  virtual HRESULT CopyFromMemory(const D2D1_RECT_U* destinationRect, const void* data,
                                 UINT32 pitch) = 0;

 protected:
  ~ID2D1Bitmap() = default;
};
VANTRIX_INTERFACE(ID2D1Bitmap, 0xA2296057, 0xEA42, 0x4099,
                  {0x98, 0x3B, 0x53, 0x9F, 0xB6, 0x50, 0x54, 0x26});

struct D2D1_MAPPED_RECT {
  UINT32 pitch;
  BYTE* bits;
};

class ID2D1Bitmap1 : public ID2D1Bitmap {
 public:
  virtual D2D1_BITMAP_OPTIONS GetOptions() const = 0;
  /// Waits for the device and gives the pixels of a CPU-readable bitmap, valid until `Unmap` and
  /// only to be read: they may be memory that the device goes on drawing with.
  /// `D2DERR_WRONG_STATE` when it is mapped already, `E_INVALIDARG` for a bitmap made without
  /// `D2D1_BITMAP_OPTIONS_CPU_READ` or options other than `D2D1_MAP_OPTIONS_READ`,
  /// `D2DERR_RECREATE_TARGET` when the device is lost.
  virtual HRESULT Map(D2D1_MAP_OPTIONS options, D2D1_MAPPED_RECT* mapped) = 0;
  virtual HRESULT Unmap() = 0;

 protected:
  ~ID2D1Bitmap1() = default;
};
VANTRIX_INTERFACE(ID2D1Bitmap1, 0xA898A84C, 0x3873, 0x4588,
                  {0xB0, 0x8B, 0xEB, 0xBF, 0x97, 0x8D, 0xF0, 0x41});

struct D2D1_BITMAP_PROPERTIES1 {
  D2D1_PIXEL_FORMAT pixelFormat;
  FLOAT dpiX;
  FLOAT dpiY;
  D2D1_BITMAP_OPTIONS bitmapOptions;
  IUnknown* colorContext;
};

enum D2D1_RENDER_TARGET_TYPE : UINT32 { D2D1_RENDER_TARGET_TYPE_DEFAULT = 0 };
enum D2D1_RENDER_TARGET_USAGE : UINT32 { D2D1_RENDER_TARGET_USAGE_NONE = 0 };
enum D2D1_FEATURE_LEVEL : UINT32 { D2D1_FEATURE_LEVEL_DEFAULT = 0 };

struct D2D1_RENDER_TARGET_PROPERTIES {
  D2D1_RENDER_TARGET_TYPE type;
  D2D1_PIXEL_FORMAT pixelFormat;
  FLOAT dpiX;
  FLOAT dpiY;
  D2D1_RENDER_TARGET_USAGE usage;
  D2D1_FEATURE_LEVEL minLevel;
};

/// Named and numbered values of an effect. Indices from 0 are the effect's own, those of
/// `D2D1_PROPERTY` are common to all.
class ID2D1Properties : public IUnknown {
 public:
  /// Number of the effect's own properties.
  virtual UINT32 GetPropertyCount() const = 0;
  /// Copies the name with its end into `name`, which holds `count` characters.
  /// `D2DERR_INVALID_PROPERTY` for an unknown index, `HRESULT_FROM_WIN32(122)` for too small a
  /// buffer.
  virtual HRESULT GetPropertyName(UINT32 index, PWSTR name, UINT32 count) const = 0;
  /// Length of the name without its end; 0 for an unknown index.
  virtual UINT32 GetPropertyNameLength(UINT32 index) const = 0;
  virtual D2D1_PROPERTY_TYPE GetType(UINT32 index) const = 0;
  /// `D2D1_INVALID_PROPERTY_INDEX` when there is no such name.
  virtual UINT32 GetPropertyIndex(PCWSTR name) const = 0;
  /// The four value operations return `D2DERR_INVALID_PROPERTY` for an unknown property and
  /// `E_INVALIDARG` for a type or size that is not the property's; a type of
  /// `D2D1_PROPERTY_TYPE_UNKNOWN` fits all. Setting a read-only property is `E_INVALIDARG`.
  virtual HRESULT SetValueByName(PCWSTR name, D2D1_PROPERTY_TYPE type, const BYTE* data,
                                 UINT32 size) = 0;
  virtual HRESULT SetValue(UINT32 index, D2D1_PROPERTY_TYPE type, const BYTE* data,
                           UINT32 size) = 0;
  virtual HRESULT GetValueByName(PCWSTR name, D2D1_PROPERTY_TYPE type, BYTE* data,
                                 UINT32 size) const = 0;
  virtual HRESULT GetValue(UINT32 index, D2D1_PROPERTY_TYPE type, BYTE* data,
                           UINT32 size) const = 0;
  /// Size of the value in bytes, a text's end included; 0 for an unknown index.
  virtual UINT32 GetValueSize(UINT32 index) const = 0;
  virtual HRESULT GetSubProperties(UINT32 index, ID2D1Properties** properties) const = 0;

 protected:
  ~ID2D1Properties() = default;
};
VANTRIX_INTERFACE(ID2D1Properties, 0x483473D7, 0xCD46, 0x4F9D,
                  {0x9D, 0x3A, 0x31, 0x12, 0xAA, 0x80, 0x15, 0x9D});

/// A node of the image graph. It holds references to its inputs.
class ID2D1Effect : public ID2D1Properties {
 public:
  /// Sets input `index` (null clears it). An index beyond the inputs is ignored.
  virtual void SetInput(UINT32 index, ID2D1Image* input, BOOL invalidate) = 0;
  virtual void GetInput(UINT32 index, ID2D1Image** input) const = 0;
  virtual UINT32 GetInputCount() const = 0;
  /// Stores the output, with one reference, in `*output`. The output keeps its effect alive.
  virtual void GetOutput(ID2D1Image** output) const = 0;

 protected:
  ~ID2D1Effect() = default;
};
VANTRIX_INTERFACE(ID2D1Effect, 0x28211A43, 0x7D89, 0x476F,
                  {0x81, 0x81, 0x2D, 0x61, 0x59, 0xB2, 0x20, 0xAD});

/// Input `inputIndex` of `effect`, and the part of it that is known to be there.
struct D2D1_EFFECT_INPUT_DESCRIPTION {
  ID2D1Effect* effect;
  UINT32 inputIndex;
  D2D1_RECT_F inputRectangle;
};

/// A drawing target. Errors of drawing calls are kept and returned by `EndDraw`.
///
/// Coordinates are in units of 1/96 inch, or in pixels of the target after
/// `SetUnitMode(D2D1_UNIT_MODE_PIXELS)`. A coordinate that is no number or beyond 2^24 is
/// `E_INVALIDARG`, and nothing is drawn.
class ID2D1RenderTarget : public ID2D1Resource {
 public:
  /// Sets what is applied to all coordinates of drawing calls; the identity at the start. A
  /// transform that is not invertible makes drawing calls draw nothing. Null is `E_INVALIDARG`.
  virtual void SetTransform(const D2D1_MATRIX_3X2_F* transform) = 0;
  virtual void GetTransform(D2D1_MATRIX_3X2_F* transform) const = 0;
  /// `D2D1_ANTIALIAS_MODE_PER_PRIMITIVE`, the start: a pixel at an edge takes part by its covered
  /// part, taken from the centre's distance to the edge. `D2D1_ANTIALIAS_MODE_ALIASED`: a pixel
  /// whose centre is inside takes part.
  virtual void SetAntialiasMode(D2D1_ANTIALIAS_MODE mode) = 0;
  virtual D2D1_ANTIALIAS_MODE GetAntialiasMode() const = 0;
  virtual void SetTextAntialiasMode(D2D1_TEXT_ANTIALIAS_MODE mode) = 0;
  virtual D2D1_TEXT_ANTIALIAS_MODE GetTextAntialiasMode() const = 0;
  /// Limits drawing and clearing to the pixels whose centres lie in `rectangle`, or in the
  /// bounding box of what the transform makes of it, and in the clips pushed before. `mode` makes
  /// no difference. Each clip must be popped in its session, else the end of the session is
  /// `D2DERR_PUSH_POP_UNBALANCED`; so is a pop without a clip. Clips stay when the target changes.
  virtual void PushAxisAlignedClip(const D2D1_RECT_F* rectangle, D2D1_ANTIALIAS_MODE mode) = 0;
  virtual void PopAxisAlignedClip() = 0;
  /// Opens a session. Opening one twice is an error, returned by the next `EndDraw`.
  virtual void BeginDraw() = 0;
  /// Closes the session and returns its first error: `D2DERR_WRONG_STATE` for a call out of order,
  /// `D2DERR_RECREATE_TARGET` when the device is lost. `tag1` and `tag2` may be null and receive 0.
  virtual HRESULT EndDraw(D2D1_TAG* tag1, D2D1_TAG* tag2) = 0;
  /// Fills the target within the clips; `color` (null: transparent black) has straight alpha.
  virtual void Clear(const D2D1_COLOR_F* color) = 0;
  /// Sets how many pixels an inch has. Two zeros give 96; other values that are not both above 0
  /// change nothing.
  virtual void SetDpi(FLOAT dpiX, FLOAT dpiY) = 0;
  virtual void GetDpi(FLOAT* dpiX, FLOAT* dpiY) const = 0;
  /// The three of the target, all zero without one. `GetSize` is in the units of coordinates.
  virtual D2D1_PIXEL_FORMAT GetPixelFormat() const = 0;
  virtual D2D1_SIZE_U GetPixelSize() const = 0;
  virtual D2D1_SIZE_F GetSize() const = 0;
  /// Largest width and height of a bitmap in pixels.
  virtual UINT32 GetMaximumBitmapSize() const = 0;

 protected:
  ~ID2D1RenderTarget() = default;
};
VANTRIX_INTERFACE(ID2D1RenderTarget, 0x2CD90694, 0x12E2, 0x11DC,
                  {0x9F, 0xED, 0x00, 0x11, 0x43, 0xA0, 0x55, 0xF9});

enum D2D1_DEVICE_CONTEXT_OPTIONS : UINT32 { D2D1_DEVICE_CONTEXT_OPTIONS_NONE = 0 };

class ID2D1DeviceContext;

/// The device behind a 2D context. Images made on one of its contexts can be used on all of them.
class ID2D1Device : public ID2D1Resource {
 public:
  /// Makes a context without a target, at 96 pixels an inch.
  virtual HRESULT CreateDeviceContext(D2D1_DEVICE_CONTEXT_OPTIONS options,
                                      ID2D1DeviceContext** context) = 0;

 protected:
  ~ID2D1Device() = default;
};
VANTRIX_INTERFACE(ID2D1Device, 0x47DD575D, 0xAC05, 0x4CDD,
                  {0x80, 0x49, 0x9B, 0x02, 0xCD, 0x16, 0xF4, 0x4C});

class ID2D1DeviceContext : public ID2D1RenderTarget {
 public:
  /// Makes a bitmap of four channels, RGBA or BGRA, premultiplied. `data` may be null: the
  /// bitmap then starts as transparent black. `E_INVALIDARG` for a size of 0, an unknown format or
  /// too small a pitch; `D2DERR_MAX_TEXTURE_SIZE_EXCEEDED`; `E_OUTOFMEMORY`;
  /// `D2DERR_RECREATE_TARGET` when the device is lost.
  virtual HRESULT CreateBitmap(D2D1_SIZE_U size, const void* data, UINT32 pitch,
                               const D2D1_BITMAP_PROPERTIES1* properties,
                               ID2D1Bitmap1** bitmap) = 0;
  /// Makes an effect of a registered class. `D2DERR_EFFECT_IS_NOT_REGISTERED` for an unknown one,
  /// or what the effect's own factory function or initialisation returned.
  virtual HRESULT CreateEffect(REFCLSID effectId, ID2D1Effect** effect) = 0;
  /// Stores the device, with one reference, in `*device`; null when there is no memory for it.
  virtual void GetDevice(ID2D1Device** device) const = 0;
  /// Null detaches the target; drawing without a target is an error.
  virtual void SetTarget(ID2D1Image* target) = 0;
  virtual void GetTarget(ID2D1Image** target) const = 0;
  virtual void SetUnitMode(D2D1_UNIT_MODE mode) = 0;
  virtual D2D1_UNIT_MODE GetUnitMode() const = 0;
  /// How `DrawBitmap` puts a bitmap s on what is there, d, each premultiplied: source over, the
  /// bitmap alone, or of each channel the smaller, the sum, or the larger.
  virtual void SetPrimitiveBlend(D2D1_PRIMITIVE_BLEND blend) = 0;
  virtual D2D1_PRIMITIVE_BLEND GetPrimitiveBlend() const = 0;
  /// The controls are kept for the host: results between passes always have 8 bits a channel, and
  /// images are not tiled. Null is `E_INVALIDARG`.
  virtual void SetRenderingControls(const D2D1_RENDERING_CONTROLS* controls) = 0;
  virtual void GetRenderingControls(D2D1_RENDERING_CONTROLS* controls) const = 0;
  /// Draws `imageRectangle` (null: the whole, in the image's own coordinates) of `image` with its
  /// top left corner at `targetOffset` (null: 0,0).
  ///
  /// Whole pixels are drawn as they are. Otherwise nearest and linear read the image at the
  /// pixel's centre. Multi-sample linear is the mean of four linear samples, at a quarter of the
  /// pixel from its centre in each direction; anisotropic the mean of as many as the pixel has
  /// pixels of the image along each side, 16 at most. Cubic takes 4 by 4 pixels with the cubic
  /// weights of B = 0, C = 1/2; high quality cubic widens that kernel where the image is made
  /// smaller. Beyond the rectangle the image's edge goes on.
  ///
  /// The modes `SOURCE_IN`, `DESTINATION_IN`, `SOURCE_OUT`, `DESTINATION_ATOP` and `SOURCE_COPY`
  /// change the whole target within the clips: around the image they see transparent black.
  virtual void DrawImage(ID2D1Image* image, const D2D1_POINT_2F* targetOffset,
                         const D2D1_RECT_F* imageRectangle, D2D1_INTERPOLATION_MODE interpolation,
                         D2D1_COMPOSITE_MODE composite) = 0;
  /// Draws `sourceRectangle` (null: the whole) of a bitmap to `destinationRectangle` (null: its own
  /// size at 0,0), then through `perspective` (null: none; z is 0), with the primitive blend. The
  /// part of a rectangle that leaves the bitmap is not drawn; one without width or height draws
  /// nothing. `opacity` is clamped to 0..1. Interpolation as for `DrawImage`.
  virtual void DrawBitmap(ID2D1Bitmap* bitmap, const D2D1_RECT_F* destinationRectangle,
                          FLOAT opacity, D2D1_INTERPOLATION_MODE interpolation,
                          const D2D1_RECT_F* sourceRectangle,
                          const D2D1_MATRIX_4X4_F* perspective) = 0;

  /// The extent of an image in its own coordinates. This and the queries below return
  /// `E_POINTER`, `E_INVALIDARG` for what is no image or effect of the layer, and what drawing the
  /// image would fail with.
  virtual HRESULT GetImageLocalBounds(ID2D1Image* image, D2D1_RECT_F* bounds) const = 0;
  /// The same after the transform.
  virtual HRESULT GetImageWorldBounds(ID2D1Image* image, D2D1_RECT_F* bounds) const = 0;
  /// Tells that a part of an input (null: all) has changed. `E_INVALIDARG` beyond the inputs.
  virtual HRESULT InvalidateEffectInputRectangle(ID2D1Effect* effect, UINT32 input,
                                                 const D2D1_RECT_F* inputRectangle) = 0;
  /// Number of rectangles of the effect's output that have to be drawn again, 0 or 1: what has
  /// changed of it, or of the effects that feed it, since each was drawn. `SetInput` with
  /// `invalidate` changes all of an output.
  virtual HRESULT GetEffectInvalidRectangleCount(ID2D1Effect* effect, UINT32* count) = 0;
  /// Stores them; `count` must be what `GetEffectInvalidRectangleCount` gives.
  virtual HRESULT GetEffectInvalidRectangles(ID2D1Effect* effect, D2D1_RECT_F* rectangles,
                                             UINT32 count) = 0;
  /// Stores for each of `count` inputs the part that is read to draw `renderRectangle` (null: the
  /// whole) of the effect's output, cut by the description's rectangle. It is empty for an effect
  /// that does not feed the drawn one.
  virtual HRESULT GetEffectRequiredInputRectangles(
      ID2D1Effect* renderEffect, const D2D1_RECT_F* renderRectangle,
      const D2D1_EFFECT_INPUT_DESCRIPTION* descriptions, D2D1_RECT_F* requiredRectangles,
      UINT32 count) = 0;

 protected:
  ~ID2D1DeviceContext() = default;
};
VANTRIX_INTERFACE(ID2D1DeviceContext, 0xE8F7FE7A, 0x191C, 0x466D,
                  {0xAD, 0x95, 0x97, 0x56, 0x78, 0xBD, 0xA9, 0x98});

/// Function that makes a registered effect's implementation: an object with one reference, whose
/// `ID2D1EffectImpl` the factory asks for.
using PD2D1_EFFECT_FACTORY = HRESULT (*)(IUnknown** effect);

struct D2D1_PROPERTY_BINDING;
struct D2D1_FACTORY_OPTIONS;

/// Device-independent root of the 2D objects; effect registrations belong to it.
class ID2D1Factory1 : public IUnknown {
 public:
  virtual void GetDesktopDpi(FLOAT* dpiX, FLOAT* dpiY) = 0;
  /// Makes a render target, which is an `ID2D1DeviceContext` too, that draws to the surface.
  virtual HRESULT CreateDxgiSurfaceRenderTarget(IDXGISurface* surface,
                                                const D2D1_RENDER_TARGET_PROPERTIES* properties,
                                                ID2D1RenderTarget** target) = 0;
  /// Registers a custom effect. `descriptor` is XML with the properties and inputs of the effect;
  /// `bindings` must be null. `E_INVALIDARG` for a descriptor that cannot be read, has no inputs
  /// or more than `D2D1_MAX_EFFECT_INPUTS`. Registering an id again counts, and needs as many
  /// `UnregisterEffect` calls.
  virtual HRESULT RegisterEffectFromString(REFCLSID effectId, PCWSTR descriptor,
                                           const D2D1_PROPERTY_BINDING* bindings,
                                           UINT32 bindingCount, PD2D1_EFFECT_FACTORY factory) = 0;
  virtual HRESULT UnregisterEffect(REFCLSID effectId) = 0;

 protected:
  ~ID2D1Factory1() = default;
};
VANTRIX_INTERFACE(ID2D1Factory1, 0xBB12D362, 0xDAEE, 0x4B9A,
                  {0xAA, 0x1D, 0x14, 0xBA, 0x40, 0x1C, 0xFA, 0x1F});

/// Most inputs of one effect that the layer takes.
constexpr UINT32 D2D1_MAX_EFFECT_INPUTS = 3;

/// Makes a 2D factory. `type` must be `D2D1_FACTORY_TYPE_MULTI_THREADED` and `options` null.
HRESULT D2D1CreateFactory(D2D1_FACTORY_TYPE type, REFIID iid, const D2D1_FACTORY_OPTIONS* options,
                          void** factory);
