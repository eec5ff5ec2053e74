#pragma once

/// The part of the imaging contract that the library uses: decoders, frames, format conversion and
/// streams.

#include <vantrix/platform/com.h>

constexpr HRESULT WINCODEC_ERR_WRONGSTATE = static_cast<HRESULT>(0x88982F04);
constexpr HRESULT WINCODEC_ERR_UNKNOWNIMAGEFORMAT = static_cast<HRESULT>(0x88982F07);
constexpr HRESULT WINCODEC_ERR_NOTINITIALIZED = static_cast<HRESULT>(0x88982F0C);
constexpr HRESULT WINCODEC_ERR_COMPONENTNOTFOUND = static_cast<HRESULT>(0x88982F50);
constexpr HRESULT WINCODEC_ERR_IMAGESIZEOUTOFRANGE = static_cast<HRESULT>(0x88982F51);
constexpr HRESULT WINCODEC_ERR_BADIMAGE = static_cast<HRESULT>(0x88982F60);
constexpr HRESULT WINCODEC_ERR_BADHEADER = static_cast<HRESULT>(0x88982F61);
constexpr HRESULT WINCODEC_ERR_FRAMEMISSING = static_cast<HRESULT>(0x88982F62);
constexpr HRESULT WINCODEC_ERR_STREAMREAD = static_cast<HRESULT>(0x88982F72);
constexpr HRESULT WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT = static_cast<HRESULT>(0x88982F80);
constexpr HRESULT WINCODEC_ERR_INSUFFICIENTBUFFER = static_cast<HRESULT>(0x88982F8C);

constexpr CLSID CLSID_WICImagingFactory2 = {
    0x317D06E8, 0x5F24, 0x433D, {0xBD, 0xF7, 0x79, 0xCE, 0x68, 0xD8, 0xAB, 0xC2}};

constexpr GUID GUID_ContainerFormatPng = {
    0x1B7CFAF4, 0x713F, 0x473C, {0xBB, 0xCD, 0x61, 0x37, 0x42, 0x5F, 0xAE, 0xAF}};
constexpr GUID GUID_ContainerFormatJpeg = {
    0x19E4A5AA, 0x5662, 0x4FC5, {0xA0, 0xC0, 0x17, 0x58, 0x02, 0x8E, 0x10, 0x57}};

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

/// Largest width and height of a picture, and its largest number of pixels. A header that claims
/// more is refused before memory is taken.
constexpr UINT WIC_MAXIMUM_SIDE = 65500;
constexpr UINT64 WIC_MAXIMUM_PIXELS = UINT64{1} << 27;

enum WICDecodeOptions : UINT {
  WICDecodeMetadataCacheOnDemand = 0,
  WICDecodeMetadataCacheOnLoad = 1
};
enum WICBitmapDitherType : UINT { WICBitmapDitherTypeNone = 0 };
enum WICBitmapPaletteType : UINT { WICBitmapPaletteTypeCustom = 0 };

struct WICRect {
  INT X;
  INT Y;
  INT Width;
  INT Height;
};

class IWICPalette;

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

/// One picture of a file, decoded to `GUID_WICPixelFormat32bppRGBA` whatever the file stores. It
/// keeps its decoder alive.
class IWICBitmapFrameDecode : public IWICBitmapSource {
 protected:
  ~IWICBitmapFrameDecode() = default;
};
VANTRIX_INTERFACE(IWICBitmapFrameDecode, 0x3B16811B, 0x6A43, 0x4EC9,
                  {0xA8, 0x13, 0x3D, 0x93, 0x0C, 0x13, 0xB9, 0x40});

class IWICBitmapDecoder : public IUnknown {
 public:
  virtual HRESULT GetContainerFormat(GUID* format) = 0;
  virtual HRESULT GetFrameCount(UINT* count) = 0;
  /// `WINCODEC_ERR_FRAMEMISSING` for an index beyond the frames.
  virtual HRESULT GetFrame(UINT index, IWICBitmapFrameDecode** frame) = 0;

 protected:
  ~IWICBitmapDecoder() = default;
};
VANTRIX_INTERFACE(IWICBitmapDecoder, 0x9EDDE9E7, 0x8DEE, 0x47EA,
                  {0x99, 0xDF, 0xE6, 0xFA, 0xF2, 0xED, 0x44, 0xBF});

/// Converts pixels from one of the four formats above to another.
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

/// A stream over memory that the caller owns.
class IWICStream : public IStream {
 public:
  /// The bytes must outlive the stream. `WINCODEC_ERR_WRONGSTATE` when called twice.
  virtual HRESULT InitializeFromMemory(BYTE* buffer, DWORD size) = 0;

 protected:
  ~IWICStream() = default;
};
VANTRIX_INTERFACE(IWICStream, 0x135FF860, 0x22B7, 0x4DDF,
                  {0xB0, 0xF6, 0x21, 0x8F, 0x4F, 0x29, 0x9A, 0x43});

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
  /// `WINCODEC_ERR_IMAGESIZEOUTOFRANGE` beyond the limits above, `WINCODEC_ERR_STREAMREAD`.
  virtual HRESULT CreateDecoderFromStream(IStream* stream, const GUID* vendor,
                                          WICDecodeOptions options,
                                          IWICBitmapDecoder** decoder) = 0;
  virtual HRESULT CreateFormatConverter(IWICFormatConverter** converter) = 0;
  virtual HRESULT CreateStream(IWICStream** stream) = 0;

 protected:
  ~IWICImagingFactory2() = default;
};
VANTRIX_INTERFACE(IWICImagingFactory2, 0x7B816B45, 0x1996, 0x4476,
                  {0xB1, 0x32, 0xDE, 0x9E, 0x24, 0x7C, 0x8A, 0xF0});
