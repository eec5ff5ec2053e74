#pragma once

/// The part of the imaging contract that the library uses: decoders, frames, their metadata and
/// palettes, format conversion, scaling, encoders and streams.

#include <vantrix/platform/d2d1.h>

constexpr HRESULT WINCODEC_ERR_WRONGSTATE = static_cast<HRESULT>(0x88982F04);
constexpr HRESULT WINCODEC_ERR_UNKNOWNIMAGEFORMAT = static_cast<HRESULT>(0x88982F07);
constexpr HRESULT WINCODEC_ERR_NOTINITIALIZED = static_cast<HRESULT>(0x88982F0C);
constexpr HRESULT WINCODEC_ERR_PROPERTYNOTFOUND = static_cast<HRESULT>(0x88982F40);
constexpr HRESULT WINCODEC_ERR_PALETTEUNAVAILABLE = static_cast<HRESULT>(0x88982F45);
constexpr HRESULT WINCODEC_ERR_CODECTOOMANYSCANLINES = static_cast<HRESULT>(0x88982F46);
constexpr HRESULT WINCODEC_ERR_COMPONENTNOTFOUND = static_cast<HRESULT>(0x88982F50);
constexpr HRESULT WINCODEC_ERR_IMAGESIZEOUTOFRANGE = static_cast<HRESULT>(0x88982F51);
constexpr HRESULT WINCODEC_ERR_BADIMAGE = static_cast<HRESULT>(0x88982F60);
constexpr HRESULT WINCODEC_ERR_BADHEADER = static_cast<HRESULT>(0x88982F61);
constexpr HRESULT WINCODEC_ERR_FRAMEMISSING = static_cast<HRESULT>(0x88982F62);
constexpr HRESULT WINCODEC_ERR_STREAMWRITE = static_cast<HRESULT>(0x88982F71);
constexpr HRESULT WINCODEC_ERR_STREAMREAD = static_cast<HRESULT>(0x88982F72);
constexpr HRESULT WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT = static_cast<HRESULT>(0x88982F80);
constexpr HRESULT WINCODEC_ERR_UNSUPPORTEDOPERATION = static_cast<HRESULT>(0x88982F81);
constexpr HRESULT WINCODEC_ERR_INSUFFICIENTBUFFER = static_cast<HRESULT>(0x88982F8C);

constexpr CLSID CLSID_WICImagingFactory2 = {
    0x317D06E8, 0x5F24, 0x433D, {0xBD, 0xF7, 0x79, 0xCE, 0x68, 0xD8, 0xAB, 0xC2}};

constexpr GUID GUID_ContainerFormatBmp = {
    0x0AF1D87E, 0xFCFE, 0x4188, {0xBD, 0xEB, 0xA7, 0x90, 0x64, 0x71, 0xCB, 0xE3}};
constexpr GUID GUID_ContainerFormatPng = {
    0x1B7CFAF4, 0x713F, 0x473C, {0xBB, 0xCD, 0x61, 0x37, 0x42, 0x5F, 0xAE, 0xAF}};
constexpr GUID GUID_ContainerFormatJpeg = {
    0x19E4A5AA, 0x5662, 0x4FC5, {0xA0, 0xC0, 0x17, 0x58, 0x02, 0x8E, 0x10, 0x57}};
constexpr GUID GUID_ContainerFormatTiff = {
    0x163BCC30, 0xE2E9, 0x4F0B, {0x96, 0x1D, 0xA3, 0xE9, 0xFD, 0xB7, 0x88, 0xA3}};
constexpr GUID GUID_ContainerFormatGif = {
    0x1F8A5601, 0x7D4D, 0x4CBD, {0x9C, 0x82, 0x1B, 0xC8, 0xD4, 0xEE, 0xB9, 0xA5}};
constexpr GUID GUID_ContainerFormatWmp = {
    0x57A37CAA, 0x367A, 0x4540, {0x91, 0x6B, 0xF1, 0x83, 0xC5, 0x09, 0x3A, 0x4B}};
constexpr GUID GUID_ContainerFormatDds = {
    0x9967CB95, 0x2E85, 0x4AC8, {0x8C, 0xA2, 0x83, 0xD7, 0xCC, 0xD4, 0x25, 0xC9}};
constexpr GUID GUID_ContainerFormatWebp = {
    0xE094B0E2, 0x67F2, 0x45B3, {0xB0, 0xEA, 0x11, 0x53, 0x37, 0xCA, 0x7C, 0xF3}};

using WICPixelFormatGUID = GUID;
using REFWICPixelFormatGUID = const WICPixelFormatGUID&;

/// Names of pixel formats list the channels in memory order; P means premultiplied alpha.
constexpr WICPixelFormatGUID GUID_WICPixelFormat32bppBGRA = {
    0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, 0x0F}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat32bppPBGRA = {
    0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, 0x10}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat32bppRGBA = {
    0xF5C7AD2D, 0x6A8D, 0x43DD, {0xA7, 0xA8, 0xA2, 0x99, 0x35, 0x26, 0x1A, 0xE9}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat32bppPRGBA = {
    0x3CC4A650, 0xA527, 0x4D37, {0xA9, 0x16, 0x31, 0x42, 0xC7, 0xEB, 0xED, 0xBA}};

/// Further formats that encoders take. Channels of 8 and more bits are in memory order; 565, 5551
/// and 1010102 lie in a little-endian number, the first named from the lowest bit on. Where the
/// fourth byte has no name, it is not read. Half and Float are numbers whose 0 and 1 are the bounds
/// of what the 8-bit formats hold, on the same scale: no transfer function lies between them. XR
/// has 0 at 384 and 1 at 894. RGBE is three fractions of 8 bits and an exponent from 128.
constexpr WICPixelFormatGUID GUID_WICPixelFormat32bppBGR = {
    0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, 0x0E}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat128bppRGBAFloat = {
    0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, 0x19}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat64bppRGBAHalf = {
    0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, 0x3A}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat64bppRGBA = {
    0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, 0x16}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat32bppRGBE = {
    0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, 0x3D}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat16bppBGR565 = {
    0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, 0x0A}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat32bppGrayFloat = {
    0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, 0x11}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat16bppGrayHalf = {
    0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, 0x3E}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat16bppGray = {
    0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, 0x0B}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat8bppGray = {
    0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, 0x08}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat32bppRGB = {
    0xD98C6B95, 0x3EFE, 0x47D6, {0xBB, 0x25, 0xEB, 0x17, 0x48, 0xAB, 0x0C, 0xF1}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat16bppBGRA5551 = {
    0x05EC7C2B, 0xF1E6, 0x4961, {0xAD, 0x46, 0xE1, 0xCC, 0x81, 0x0A, 0x87, 0xD2}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat32bppRGBA1010102 = {
    0x25238D72, 0xFCF9, 0x4522, {0xB5, 0x14, 0x55, 0x78, 0xE5, 0xAD, 0x55, 0xE0}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat32bppRGBA1010102XR = {
    0x00DE6B9A, 0xC101, 0x434B, {0xB5, 0x02, 0xD0, 0x16, 0x5E, 0xE1, 0x12, 0x2C}};
constexpr WICPixelFormatGUID GUID_WICPixelFormat8bppAlpha = {
    0xE6CD0116, 0xEEBA, 0x4161, {0xAA, 0x85, 0x27, 0xDD, 0x9F, 0xB3, 0xA8, 0x95}};

/// Largest width and height of a picture, and its largest number of pixels. A header that claims
/// more is refused before memory is taken.
constexpr UINT WIC_MAXIMUM_SIDE = 65500;
constexpr UINT64 WIC_MAXIMUM_PIXELS = UINT64{1} << 27;
/// Most frames of a file, and most pixels of all frames of a GIF, which a host may well decode
/// together. A file with more is refused when it is opened.
constexpr UINT WIC_MAXIMUM_FRAMES = 10000;
constexpr UINT64 WIC_MAXIMUM_PIXELS_OF_ALL_FRAMES = UINT64{1} << 28;

enum WICDecodeOptions : UINT {
  WICDecodeMetadataCacheOnDemand = 0,
  WICDecodeMetadataCacheOnLoad = 1
};
enum WICBitmapDitherType : UINT { WICBitmapDitherTypeNone = 0 };
enum WICBitmapPaletteType : UINT {
  WICBitmapPaletteTypeCustom = 0,
  WICBitmapPaletteTypeMedianCut = 1
};
enum WICBitmapInterpolationMode : UINT {
  WICBitmapInterpolationModeNearestNeighbor = 0,
  WICBitmapInterpolationModeLinear = 1,
  WICBitmapInterpolationModeCubic = 2,
  WICBitmapInterpolationModeFant = 3
};
enum WICBitmapEncoderCacheOption : UINT { WICBitmapEncoderNoCache = 2 };

struct WICRect {
  INT X;
  INT Y;
  INT Width;
  INT Height;
};

/// A colour of a palette: alpha in the highest byte, then red, green and blue.
using WICColor = UINT32;

/// Colours in order. Empty when it is made.
class IWICPalette : public IUnknown {
 public:
  /// Takes `count` colours, 1 to 256. `E_INVALIDARG` for another number or none.
  virtual HRESULT InitializeCustom(WICColor* colors, UINT count) = 0;
  virtual HRESULT InitializeFromPalette(IWICPalette* palette) = 0;
  /// `WINCODEC_ERR_NOTINITIALIZED` while it is empty, as for `GetColors`.
  virtual HRESULT GetColorCount(UINT* count) = 0;
  /// Stores the colours, up to `count`, and how many they are in `*actual`.
  virtual HRESULT GetColors(UINT count, WICColor* colors, UINT* actual) = 0;

 protected:
  ~IWICPalette() = default;
};
VANTRIX_INTERFACE(IWICPalette, 0x00000040, 0xA8F2, 0x4877,
                  {0xBA, 0x0A, 0xFD, 0x2B, 0x66, 0x45, 0xFB, 0x94});

/// What a file tells of itself or of one frame, by name. It keeps its decoder alive.
///
/// Of GIF, the file has
///   /logscrdesc/Width, Height                            VT_UI2
///   /logscrdesc/GlobalColorTableFlag                     VT_BOOL
///   /logscrdesc/BackgroundColorIndex, PixelAspectRatio   VT_UI1
///   /appext/application, data                            VT_UI1 | VT_VECTOR
/// where the latter are of the first application extension that tells how often the animation is
/// to be repeated, else of the first there is: 11 bytes of name, and all of its sub-blocks with
/// their sizes. A frame has
///   /imgdesc/Left, Top, Width, Height                    VT_UI2
///   /grctlext/Delay                                      VT_UI2, in hundredths of a second
///   /grctlext/Disposal                                   VT_UI1
///   /grctlext/TransparencyFlag                           VT_BOOL
/// of which the latter three are there when a graphic control extension precedes the frame.
///
/// Of an animated WebP, the file has
///   /ANIM/LoopCount                                      VT_UI2, 0 for without end
/// and a frame, which is the whole canvas with all that was drawn before,
///   /ANMF/FrameDuration                                  VT_UI4, in milliseconds
class IWICMetadataQueryReader : public IUnknown {
 public:
  /// Stores a value, which the caller gives to `PropVariantClear`. `value` may be null, to ask
  /// whether there is one. `WINCODEC_ERR_PROPERTYNOTFOUND`, with the value empty.
  virtual HRESULT GetMetadataByName(LPCWSTR name, PROPVARIANT* value) = 0;

 protected:
  ~IWICMetadataQueryReader() = default;
};
VANTRIX_INTERFACE(IWICMetadataQueryReader, 0x30989668, 0xE1C9, 0x4597,
                  {0xB3, 0x95, 0x45, 0x8E, 0xED, 0xB8, 0x08, 0xDF});

/// A source of pixels.
class IWICBitmapSource : public IUnknown {
 public:
  virtual HRESULT GetSize(UINT* width, UINT* height) = 0;
  virtual HRESULT GetPixelFormat(WICPixelFormatGUID* format) = 0;
  /// Copies `rect` (null: the whole) as rows `stride` bytes apart. `E_INVALIDARG` for a rectangle
  /// that leaves the picture or a stride below its row, `WINCODEC_ERR_INSUFFICIENTBUFFER` when
  /// `size` is too small, or the decoder's failure; then the buffer holds what could be decoded,
  /// and zeros.
  virtual HRESULT CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* buffer) = 0;

 protected:
  ~IWICBitmapSource() = default;
};
VANTRIX_INTERFACE(IWICBitmapSource, 0x00000120, 0xA8F2, 0x4877,
                  {0xBA, 0x0A, 0xFD, 0x2B, 0x66, 0x45, 0xFB, 0x94});

/// One picture of a file, decoded to one of the four 8-bit formats with alpha: the one that its
/// decoder gives at the least cost. It keeps its decoder alive. Frames of one file are best copied
/// one after the other and from top to bottom: then each is decoded once.
///
/// HD Photo pictures are decoded in a process of their own, a copy of the host's that `fork` makes,
/// since files can be made that the library for them crashes over. The host gets `SIGCHLD` when it
/// ends, and `E_FAIL` from copying when the system allows no process.
class IWICBitmapFrameDecode : public IWICBitmapSource {
 public:
  /// The frame's colours, or those of the file that it goes by.
  /// `WINCODEC_ERR_PALETTEUNAVAILABLE`.
  virtual HRESULT CopyPalette(IWICPalette* palette) = 0;
  /// `WINCODEC_ERR_UNSUPPORTEDOPERATION` for a format that has no metadata here.
  virtual HRESULT GetMetadataQueryReader(IWICMetadataQueryReader** reader) = 0;

 protected:
  ~IWICBitmapFrameDecode() = default;
};
VANTRIX_INTERFACE(IWICBitmapFrameDecode, 0x3B16811B, 0x6A43, 0x4EC9,
                  {0xA8, 0x13, 0x3D, 0x93, 0x0C, 0x13, 0xB9, 0x40});

class IWICBitmapDecoder : public IUnknown {
 public:
  virtual HRESULT GetContainerFormat(GUID* format) = 0;
  virtual HRESULT GetFrameCount(UINT* count) = 0;
  /// `WINCODEC_ERR_FRAMEMISSING` for an index beyond the frames, or what is wrong with the frame's
  /// header, as from opening a file.
  virtual HRESULT GetFrame(UINT index, IWICBitmapFrameDecode** frame) = 0;
  /// The colours that all frames share. `WINCODEC_ERR_PALETTEUNAVAILABLE`.
  virtual HRESULT CopyPalette(IWICPalette* palette) = 0;
  /// `WINCODEC_ERR_UNSUPPORTEDOPERATION` for a format that has no metadata here.
  virtual HRESULT GetMetadataQueryReader(IWICMetadataQueryReader** reader) = 0;

 protected:
  ~IWICBitmapDecoder() = default;
};
VANTRIX_INTERFACE(IWICBitmapDecoder, 0x9EDDE9E7, 0x8DEE, 0x47EA,
                  {0x99, 0xDF, 0xE6, 0xFA, 0xF2, 0xED, 0x44, 0xBF});

/// Converts pixels from one of the four 8-bit formats with alpha to another.
class IWICFormatConverter : public IWICBitmapSource {
 public:
  /// Dithering and palettes are not for these formats: `dither` must be none, `palette` null; the
  /// threshold and palette type are not read. `WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT` for a format
  /// that the converter does not know, `WINCODEC_ERR_WRONGSTATE` when called twice.
  virtual HRESULT Initialize(IWICBitmapSource* source, REFWICPixelFormatGUID format,
                             WICBitmapDitherType dither, IWICPalette* palette,
                             double alphaThreshold, WICBitmapPaletteType paletteType) = 0;

 protected:
  ~IWICFormatConverter() = default;
};
VANTRIX_INTERFACE(IWICFormatConverter, 0x00000301, 0xA8F2, 0x4877,
                  {0xBA, 0x0A, 0xFD, 0x2B, 0x66, 0x45, 0xFB, 0x94});

/// A picture in memory.
class IWICBitmap : public IWICBitmapSource {
 protected:
  ~IWICBitmap() = default;
};
VANTRIX_INTERFACE(IWICBitmap, 0x00000121, 0xA8F2, 0x4877,
                  {0xBA, 0x0A, 0xFD, 0x2B, 0x66, 0x45, 0xFB, 0x94});

/// Gives a picture of one of the four 8-bit formats with alpha at another size. The modes read,
/// along each side, where the middle of the new pixel lies in the source:
///   nearest  the pixel there
///   linear   the two pixels beside it, weighted by their nearness
///   cubic    the four pixels around it, by the cubic curve through the middle two that is smooth
///            at them (Catmull-Rom)
///   Fant     all that the new pixel covers, weighted by the share covered, when the side gets
///            smaller; linear when it does not
/// Beyond the edge stands the pixel at the edge. Channels are independent, results are rounded.
class IWICBitmapScaler : public IWICBitmapSource {
 public:
  /// `E_INVALIDARG` for no source, a side of 0 or another mode,
  /// `WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT`, `WINCODEC_ERR_WRONGSTATE` when called twice.
  virtual HRESULT Initialize(IWICBitmapSource* source, UINT width, UINT height,
                             WICBitmapInterpolationMode mode) = 0;

 protected:
  ~IWICBitmapScaler() = default;
};
VANTRIX_INTERFACE(IWICBitmapScaler, 0x00000302, 0xA8F2, 0x4877,
                  {0xBA, 0x0A, 0xFD, 0x2B, 0x66, 0x45, 0xFB, 0x94});

/// A stream over memory that the caller owns, or over a file. `WINCODEC_ERR_WRONGSTATE` when
/// initialised twice, `WINCODEC_ERR_NOTINITIALIZED` from everything else before.
class IWICStream : public IStream {
 public:
  /// The bytes must outlive the stream. Writing changes them; `STG_E_MEDIUMFULL` beyond their end.
  virtual HRESULT InitializeFromMemory(BYTE* buffer, DWORD size) = 0;
  /// Opens a file by a name as `CreateDecoderFromFilename` takes it: with `GENERIC_READ` to be
  /// read, with `GENERIC_WRITE` to be made or replaced. A file that is replaced stays as it was
  /// until the stream's `Commit`, and for good when that does not come.
  virtual HRESULT InitializeFromFilename(LPCWSTR name, DWORD access) = 0;

 protected:
  ~IWICStream() = default;
};
VANTRIX_INTERFACE(IWICStream, 0x135FF860, 0x22B7, 0x4DDF,
                  {0xB0, 0xF6, 0x21, 0x8F, 0x4F, 0x29, 0x9A, 0x43});

/// Options of an encoder's frame; there are none.
class IPropertyBag2 : public IUnknown {
 protected:
  ~IPropertyBag2() = default;
};
VANTRIX_INTERFACE(IPropertyBag2, 0x22F55882, 0x280B, 0x11D0,
                  {0xA8, 0xA9, 0x00, 0xA0, 0xC9, 0x0C, 0x20, 0x04});

/// Takes one picture from top to bottom. The order is `Initialize`, `SetSize` and `SetPixelFormat`,
/// `WritePixels` until there are all rows, `Commit`; else `WINCODEC_ERR_WRONGSTATE`. The files hold
/// straight alpha. Every operation may fail with what writing the stream failed with.
class IWICBitmapFrameEncode : public IUnknown {
 public:
  /// `options` must be null.
  virtual HRESULT Initialize(IPropertyBag2* options) = 0;
  /// `E_INVALIDARG` for a side of 0, `WINCODEC_ERR_IMAGESIZEOUTOFRANGE` beyond the limits above.
  virtual HRESULT SetSize(UINT width, UINT height) = 0;
  /// Says how the pixels to come are laid out: one of the formats above, all of which become 8-bit
  /// channels in the file, rounded to nearest; beyond the bounds lies the bound. For any other
  /// `*format` becomes `GUID_WICPixelFormat32bppBGRA`, which is also the start.
  virtual HRESULT SetPixelFormat(WICPixelFormatGUID* format) = 0;
  /// Takes the next rows. `WINCODEC_ERR_CODECTOOMANYSCANLINES` beyond the height, and as
  /// `CopyPixels` for the buffer.
  virtual HRESULT WritePixels(UINT lineCount, UINT stride, UINT size, BYTE* pixels) = 0;
  /// Takes the rows of `rect` (null: the whole) of a source, whose size becomes the frame's unless
  /// that was set; then they must be equal in width. A source that fails leaves the frame
  /// incomplete.
  virtual HRESULT WriteSource(IWICBitmapSource* source, WICRect* rect) = 0;
  virtual HRESULT Commit() = 0;

 protected:
  ~IWICBitmapFrameEncode() = default;
};
VANTRIX_INTERFACE(IWICBitmapFrameEncode, 0x00000105, 0xA8F2, 0x4877,
                  {0xBA, 0x0A, 0xFD, 0x2B, 0x66, 0x45, 0xFB, 0x94});

/// Writes a picture file of one frame to a stream, from its present position.
class IWICBitmapEncoder : public IUnknown {
 public:
  /// `WINCODEC_ERR_WRONGSTATE` when called twice.
  virtual HRESULT Initialize(IStream* stream, WICBitmapEncoderCacheOption option) = 0;
  /// `bag` may be null and receives null. `WINCODEC_ERR_NOTINITIALIZED`,
  /// `WINCODEC_ERR_UNSUPPORTEDOPERATION` for a second frame.
  virtual HRESULT CreateNewFrame(IWICBitmapFrameEncode** frame, IPropertyBag2** bag) = 0;
  /// `WINCODEC_ERR_FRAMEMISSING` unless the frame was committed with success,
  /// `WINCODEC_ERR_WRONGSTATE` when called twice.
  virtual HRESULT Commit() = 0;

 protected:
  ~IWICBitmapEncoder() = default;
};
VANTRIX_INTERFACE(IWICBitmapEncoder, 0x00000103, 0xA8F2, 0x4877,
                  {0xBA, 0x0A, 0xFD, 0x2B, 0x66, 0x45, 0xFB, 0x94});

/// Which part of a drawn image is encoded, as which pixels.
struct WICImageParameters {
  /// Premultiplied RGBA or BGRA, or an unknown format for the latter.
  D2D1_PIXEL_FORMAT PixelFormat;
  /// Pixels an inch. They are not read: a pixel of the image is one of the picture.
  FLOAT DpiX;
  FLOAT DpiY;
  /// The corner of the part, in pixels of the image.
  FLOAT Top;
  FLOAT Left;
  UINT32 PixelWidth;
  UINT32 PixelHeight;
};

/// Encodes images of the 2D layer: bitmaps and outputs of effects.
class IWICImageEncoder : public IUnknown {
 public:
  /// Draws an image and gives `frame` its size and all of its rows; the frame is not committed.
  /// With null `parameters` that is the whole image. What lies beyond the image is transparent.
  /// `E_INVALIDARG` without an image or a frame and for a part without pixels,
  /// `WINCODEC_ERR_IMAGESIZEOUTOFRANGE` beyond the limits above,
  /// `D2DERR_MAX_TEXTURE_SIZE_EXCEEDED` beyond the device's, else what drawing or the frame failed
  /// with.
  virtual HRESULT WriteFrame(ID2D1Image* image, IWICBitmapFrameEncode* frame,
                             const WICImageParameters* parameters) = 0;

 protected:
  ~IWICImageEncoder() = default;
};
VANTRIX_INTERFACE(IWICImageEncoder, 0x04C75BF8, 0x3CE1, 0x473B,
                  {0xAC, 0xC5, 0x3C, 0xC4, 0xF5, 0xE9, 0x49, 0x99});

class IWICImagingFactory2 : public IUnknown {
 public:
  /// Opens a picture file. The long-path prefix is understood; a name is tried as it stands and
  /// then with its back-slashes as separators. `vendor` may be null; `access` must be
  /// `GENERIC_READ`. `HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)`,
  /// `HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED)`, or what the stream form returns.
  virtual HRESULT CreateDecoderFromFilename(LPCWSTR name, const GUID* vendor, DWORD access,
                                            WICDecodeOptions options,
                                            IWICBitmapDecoder** decoder) = 0;
  /// Opens a picture from the stream's present position, its format told by its content.
  /// `WINCODEC_ERR_UNKNOWNIMAGEFORMAT`, `WINCODEC_ERR_BADHEADER`,
  /// `WINCODEC_ERR_IMAGESIZEOUTOFRANGE` beyond the limits above,
  /// `WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT` for a variant that no decoder knows,
  /// `WINCODEC_ERR_STREAMREAD`.
  virtual HRESULT CreateDecoderFromStream(IStream* stream, const GUID* vendor,
                                          WICDecodeOptions options,
                                          IWICBitmapDecoder** decoder) = 0;
  virtual HRESULT CreateFormatConverter(IWICFormatConverter** converter) = 0;
  virtual HRESULT CreateBitmapScaler(IWICBitmapScaler** scaler) = 0;
  virtual HRESULT CreateStream(IWICStream** stream) = 0;
  virtual HRESULT CreatePalette(IWICPalette** palette) = 0;
  /// `WINCODEC_ERR_COMPONENTNOTFOUND` for a `container` that is not written: all eight formats
  /// above are. TIFF, WebP and HD Photo files hold every pixel as it is given; a WebP file has at
  /// most 16383 pixels a side, beyond which writing the first rows fails with
  /// `WINCODEC_ERR_IMAGESIZEOUTOFRANGE`. `vendor` may be null.
  virtual HRESULT CreateEncoder(REFGUID container, const GUID* vendor,
                                IWICBitmapEncoder** encoder) = 0;
  /// Copies a rectangle of a source. `E_INVALIDARG` when it is empty or leaves the source, or the
  /// source's own failure.
  virtual HRESULT CreateBitmapFromSourceRect(IWICBitmapSource* source, UINT x, UINT y, UINT width,
                                             UINT height, IWICBitmap** bitmap) = 0;
  /// Makes an encoder of the images on `device`.
  virtual HRESULT CreateImageEncoder(ID2D1Device* device, IWICImageEncoder** encoder) = 0;

 protected:
  ~IWICImagingFactory2() = default;
};
VANTRIX_INTERFACE(IWICImagingFactory2, 0x7B816B45, 0x1996, 0x4476,
                  {0xB1, 0x32, 0xDE, 0x9E, 0x24, 0x7C, 0x8A, 0xF0});
