#pragma once

/// The image object of the library.

#include <vantrix/device/resourcebase.h>
#include <vantrix/export.h>
#include <vantrix/platform/d2d1.h>
#include <vantrix/platform/wincodec.h>

#include <memory>
#include <string>
#include <vector>

class IFlashDXPlayer;

namespace VantraFx {
class AlphaConvert;
}

namespace Vantra {

class BitmapContext;
class ColorSpaceConverter;

/// Holds a picture twice, as CPU pixels and as a GPU bitmap: rows of blue, green, red, alpha bytes,
/// alpha premultiplied, top row first. What has been uploaded survives the loss of the device; what
/// was drawn into the GPU bitmap since does not.
///
/// A bitmap may carry frames, of which one at a time is shown in both. Loading and saving throw
/// `DException`; other operations report no failure: what cannot be done leaves a stale or missing
/// GPU bitmap, and memory that cannot be had leaves the bitmap without pixels.
class VANTRIX_API Bitmap final : public ResourceBase {
 public:
  /// Where a picture came from.
  enum class FileFormat : int {
    kBmp = 0,
    kPng = 1,
    kJpeg = 3,
    kTiff = 4,
    kGif = 5,
    kHdPhoto = 6,
    kDds = 7,
    /// A movie, told by the name of its file.
    kSwf = 8,
    /// Any other format, such as WebP, and where nothing was loaded.
    kUnknown = 9,
  };

  /// One picture of several.
  struct Frame {
    /// `height` rows of `width` pixels without padding, in the bitmap's pixel format.
    std::unique_ptr<char[]> pixels;
    /// Transparency flag of a GIF's frame.
    bool transparent = false;
    /// In pixels; may differ from the bitmap's.
    unsigned int width = 0;
    unsigned int height = 0;
    /// Place on a GIF's logical screen; all 0 for other frames.
    D2D_RECT_F rect = {0, 0, 0, 0};
    /// How long the frame stays: milliseconds for a GIF, else the host's unit of ticks.
    unsigned int delay = 0;
    /// Disposal method of a GIF's frame.
    unsigned int disposal = 0;
  };

  /// Says that one picture holds several frames in one row or one column.
  struct MultipleOptions {
    /// 0: the frames stand side by side, of width / count columns each. Else: one below the other,
    /// of height / count rows each.
    int layout = 0;
    /// Number of frames; 1 or less means that the picture is not split.
    int count = 0;
    /// Given to each frame.
    unsigned int delay = 0;
  };

  /// What a GIF tells of itself.
  struct MetaGif {
    /// Of its global colours; 0 to 1.
    D3DCOLORVALUE background_color = {0, 0, 0, 0};
    /// Size of the logical screen, on which the frames have their places.
    unsigned int logical_width = 0;
    unsigned int logical_height = 0;
    /// The same, with the side shortened that pixels which are not square make too long.
    unsigned int pixel_width = 0;
    unsigned int pixel_height = 0;
    /// How often the animation is to be repeated, as far as `has_loop`; without it for ever, or
    /// nothing is said of it.
    unsigned int loop_count = 0;
    bool has_loop = false;
  };

  Bitmap();
  ~Bitmap() override;

  long GetWidth() const { return width_; }
  long GetHeight() const { return height_; }
  /// Bytes from row to row of the CPU pixels.
  long GetStride() const { return stride_; }
  /// The CPU pixels, null when there are none; owned by the bitmap.
  char* GetBits() const { return pixels_.get(); }
  /// What the decoder told after a load, or the number of frames.
  int GetFrameCount() const { return frame_count_; }
  FileFormat GetFileFormat() const { return file_format_; }
  /// A GIF's background colour; empty when there is none.
  const std::unique_ptr<D3DCOLORVALUE>& GetChromaKey() const { return chroma_key_; }
  /// Empty unless a GIF was loaded.
  const std::unique_ptr<MetaGif>& GetMetaGif() const { return meta_gif_; }
  std::unique_ptr<MetaGif>& GetMetaGif() { return meta_gif_; }
  const std::vector<std::unique_ptr<Frame>>& GetFrames() const { return frames_; }
  std::vector<std::unique_ptr<Frame>>& GetFrames() { return frames_; }
  /// The GPU bitmap, without a reference for the caller; null when there is none.
  ID2D1Bitmap1* GetBitmap() const;
  /// True when there is no GPU bitmap.
  bool IsEmpty() const override;

  /// Takes `height` rows of `stride` bytes and uploads them. Null `pixels` keep what the CPU pixels
  /// hold; after a change of size that is undefined. With `flip` set, or with a negative `stride`,
  /// but not with both, the first row becomes the last. Width and height count by their absolute
  /// value. A side below 1 empties the bitmap. Needs a created bitmap.
  void SetPixels(const unsigned char* pixels, long width, long height, long stride, int flip);
  /// Takes a video frame in one of the formats of `ColorSpaceConverter`, of `stride` bytes a row,
  /// and converts it: CPU pixels and GPU bitmap then hold the same. Sizes count as for `SetPixels`.
  /// A format that is not one of them leaves the pixels undefined after a change of size. Throws
  /// `DException::kTexture` for a frame that the device has no texture for.
  void SetPixelsEx(const unsigned char* pixels, long width, long height, long stride,
                   DXGI_FORMAT format);
  /// Takes rows of straight alpha and has the device convert them: the CPU pixels then hold what
  /// was given, the GPU bitmap every channel times alpha, alpha included. With `flip` set, the
  /// first row becomes the last. A negative `stride` leads from each row to the one before it in
  /// memory. With `draw` 0 a drawing session must be open; else the bitmap opens its own. After a
  /// loss of the device the pixels come back unconverted.
  void SetPixelsAlphaStraight(const unsigned char* pixels, long width, long height, long stride,
                              int flip, int draw);
  /// Changes the size; the contents are undefined until something is drawn. The present size does
  /// nothing.
  void SetPixelSize(long width, long height);
  /// Waits for the device, reads the GPU bitmap into the CPU pixels and returns them. When that
  /// fails they stay as they were.
  unsigned char* GetGpuPixels();
  /// Uploads the CPU pixels.
  void RestoreCpuPixels();
  /// Copies the GPU bitmap to that of `destination`, which must be created. A destination of
  /// another width takes this bitmap's size first; one that is less high stays as it is.
  void CopyTo(Bitmap* destination) const;
  /// Draws the GPU bitmap, scaled to its size, into that of `destination`, which must hold one; not
  /// inside a drawing session. A destination of the same size receives a copy.
  void Resize(Bitmap* destination, D2D1_INTERPOLATION_MODE mode) const;
  /// Drops pixels, frames and GPU bitmaps, and sets the size to 0. The current frame, the time of
  /// the animation and the file format stay.
  void Cleanup();

  /// Reads a picture file: what `IWICImagingFactory2` opens, told apart by content. Needs a created
  /// bitmap, whose former contents go in any case.
  ///
  /// With `width` and `height` above 0 the picture is scaled to them, with one of the two in
  /// proportion: `height` alone only when it is another than the picture's. With `options` it is
  /// then split into frames, of which the middle one is shown.
  ///
  /// A GIF is never scaled or split: it gives its frames and `GetMetaGif`, and a transparent
  /// picture of the size of its logical screen, for `GifRender` to draw into. A frame that cannot
  /// be read is left out, and logged. Of other files the first picture is read. A damaged one is
  /// read as far as it goes; the rest is transparent.
  ///
  /// Returns true. Throws `DException::kDecode`, with the platform's result in the text, when there
  /// is no such file, when it is no picture, or when the picture or what it is to become is beyond
  /// `WIC_MAXIMUM_SIDE`, `WIC_MAXIMUM_PIXELS` or memory. Frame count and file format may then be
  /// those of the file; everything else is as after `Cleanup`. A file that is no picture, with a
  /// name that ends in ".swf" and has that nowhere else, is a movie: there is no player of movies
  /// here, so the result is false, and the bitmap has the given size, or 320 by 240, without a GPU
  /// bitmap.
  bool LoadFile(const std::wstring& path, int width = 0, int height = 0,
                const MultipleOptions* options = nullptr);
  /// Reads a picture from the stream's present position, as `LoadFile` does, but for movies.
  void LoadStream(IStream* stream, int width = 0, int height = 0,
                  const MultipleOptions* options = nullptr);
  /// Reads a picture of `count` bytes, which are needed during the call only.
  void LoadMemory(const void* bytes, unsigned long count, int width = 0, int height = 0,
                  const MultipleOptions* options = nullptr);
  /// Reads a picture that is stored in the library under that name. Does nothing, and keeps what
  /// the bitmap holds, when there is none.
  void LoadResource(const std::wstring& name, int width = 0, int height = 0,
                    const MultipleOptions* options = nullptr);
  /// Reads the first picture of each stream, from its start, as a frame. The bitmap gets the
  /// largest width and the largest height, and shows the first frame at the top left of transparent
  /// pixels. A stream that cannot be read ends it with the exception of `LoadFrame`: the frames
  /// before it stay, and the size is 0. The file format is that of the last stream; a GIF as the
  /// last keeps the frames from being animated.
  void LoadStreams(const std::vector<IStream*>& streams);
  /// The same for files. One that cannot be opened or is empty is skipped.
  void LoadFiles(const std::vector<std::wstring>& paths);
  /// Reads the first picture of a stream, from its start, or of `count` bytes. Of the bitmap only
  /// the file format changes. Throws `DException::kDecode` as `LoadFile` does.
  std::unique_ptr<Frame> LoadFrame(IStream* stream);
  std::unique_ptr<Frame> LoadFrame(const void* bytes, unsigned long count);

  /// Encodes the GPU bitmap into a file of the format `container`. With a rectangle, in pixels,
  /// only a part: a corner left of or above the picture is moved to its edge, one beyond it to 0,
  /// and what sticks out is cut off; when nothing is left, the whole picture is saved. A file that
  /// is there stays until the new one is complete. Throws `DException::kSave`, with the platform's
  /// result in the text, for a file that cannot be written, a format that has no encoder, and a
  /// bitmap without a GPU bitmap.
  void SaveFile(const std::wstring& path, REFGUID container, const RECT* rectangle = nullptr);
  /// Encodes the GPU bitmap into memory of width times height times 4 bytes, which lives as long as
  /// the stream. The stream's position is the end of the encoded picture. Throws
  /// `DException::kSave`, also for a picture that takes more bytes when it is encoded, as every BMP
  /// does.
  CComPtr<IWICStream> SaveStream(REFGUID container);

  /// What `SaveFile` does, for any image on the context's device. Null `parameters` stand for the
  /// whole image.
  static void SaveImage(const wchar_t* path, ID2D1DeviceContext* context,
                        IWICImagingFactory2* factory, ID2D1Image* image, REFGUID container,
                        const WICImageParameters* parameters);
  /// What `SaveStream` does. `stream` must be empty, and keeps what was written by a failed call.
  static void SaveImage(CComPtr<IWICStream>& stream, ID2D1DeviceContext* context,
                        IWICImagingFactory2* factory, const Bitmap* bitmap, REFGUID container);
  /// Writes the pixels of a texture that the CPU may read to a file of the format `container`, as
  /// they are. A file that is there stays until the new one is complete. Throws
  /// `DException::kSave` when the file or its encoder cannot be made; a texture that cannot be read
  /// is not reported, and nothing is written.
  static void SaveImage(const wchar_t* path, ID3D11DeviceContext* context,
                        IWICImagingFactory2* factory, ID3D11Texture2D* texture, REFGUID container);

  /// Shows a frame: copies its rows to the top left of the CPU pixels and uploads them. `index` is
  /// limited to the frames there are. What does not fit into the bitmap is left out.
  void SelectFrame(int index);
  /// Starts the clock of the frames at `tick`. With `restart`, shows the first frame. A GIF only
  /// takes the time: it is not played here.
  void StartAnimation(unsigned long tick, bool restart);
  /// Does nothing: only a movie could be stopped.
  void StopAnimation();
  /// Shows the next frame, after the last the first, once the present one has stayed longer than
  /// its delay. Ticks have 32 bits and may wrap.
  void Animation(unsigned long tick);

 protected:
  Context* OnCreate() override;
  void OnDestroy() override;

 private:
  friend class BitmapContext;
  friend struct BitmapAccess;

  struct FrameSize {
    int width;
    int height;
  };

  /// The absolute value, or 0 for what a field does not hold: no platform bitmap has that size.
  static int ToField(long value);
  BitmapContext* GetBitmapContext();
  /// Takes a size, drops what the bitmap held of another one, and makes the CPU pixels. False when
  /// there are none to fill.
  bool Prepare(long width, long height, long stride);
  /// Replaces the GPU bitmap's pixels by the CPU pixels, if there is one.
  void Refresh();
  /// Copies a frame's rows to the top left of the CPU pixels.
  void CopyFrame(const Frame& frame);
  /// The size of one frame of a picture with several.
  static FrameSize GetMultipleFrameSize(int width, int height, int count, int layout);
  /// Splits the CPU pixels, a picture without padding, into frames and shows the middle one. The
  /// bitmap takes the frames' size; nothing is uploaded. `options` may be null. A picture with
  /// fewer columns or rows than frames is left whole, as frames of it would hold nothing.
  void LoadMultipleOptions(const MultipleOptions* options);

  /// Both are null on a device that is not running.
  IWICImagingFactory2* GetImagingFactory();
  ID2D1DeviceContext* GetDrawingContext();
  static FileFormat CheckFileFormat(REFGUID container);
  void StoreFileFormat(IWICBitmapDecoder* decoder);
  /// Takes a size within the limits and makes CPU pixels of it, which are undefined. The bitmap
  /// must be empty.
  HRESULT TakeSize(UINT width, UINT height);
  /// Fills the CPU pixels with transparent black.
  void ClearPixels();
  /// Fills an empty bitmap from an opened picture; failures name `function`, and leave the frame
  /// count and the file format only.
  void Decode(IWICImagingFactory2* factory, IWICBitmapDecoder* decoder, int width, int height,
              const MultipleOptions* options, const char* function);
  void DecodePicture(IWICImagingFactory2* factory, IWICBitmapDecoder* decoder, int width,
                     int height, const MultipleOptions* options, const char* function);
  std::unique_ptr<Frame> DecodeFrame(IStream* stream);
  /// Appends a frame, unless it is empty.
  void AddFrame(std::unique_ptr<Frame> frame);
  /// Gives the bitmap the size that all frames fit into, and shows the first.
  void ShowFirstFrame(const char* function);
  bool LoadSwf(const std::wstring& path, int width, int height);
  /// Reads what a GIF tells, and its frames.
  void GetGifMeta(IWICImagingFactory2* factory, IWICBitmapDecoder* decoder);
  HRESULT GetGifBackgroundColor(IWICImagingFactory2* factory, IWICBitmapDecoder* decoder,
                                IWICMetadataQueryReader* reader);
  HRESULT GetGifFrame(IWICImagingFactory2* factory, IWICBitmapDecoder* decoder, UINT index);

  int width_ = 0;
  int height_ = 0;
  int stride_ = 0;
  int frame_count_ = 0;
  int current_frame_ = 0;
  unsigned int animation_tick_ = 0;
  FileFormat file_format_ = FileFormat::kUnknown;
  std::unique_ptr<D3DCOLORVALUE> chroma_key_;
  std::unique_ptr<char[]> pixels_;
  std::unique_ptr<ColorSpaceConverter> converter_;
  std::unique_ptr<VantraFx::AlphaConvert> alpha_effect_;
  std::unique_ptr<MetaGif> meta_gif_;
  std::vector<std::unique_ptr<Frame>> frames_;
};

/// The live half of a bitmap.
class VANTRIX_API BitmapContext : public ResourceContext {
 public:
  ~BitmapContext() override;

  bool IsDeviceIndependent() override;
  bool Create(ResourceBase* resource) override;
  void Destroy() override;
  bool Restore() override;

  ID2D1Bitmap1* GetBitmap() const { return bitmap_; }

 private:
  friend class Bitmap;

  /// Hands the CPU pixels to the GPU bitmap, which is made when it is missing.
  void Upload();
  /// Makes a bitmap of the resource's size; empty when the platform refuses it.
  CComPtr<ID2D1Bitmap1> MakeBitmap(const void* pixels, UINT32 pitch, D2D1_BITMAP_OPTIONS options);

  /// The movie's player; null for every other picture. Not a device object.
  IFlashDXPlayer* player_ = nullptr;
  CComPtr<ID2D1Bitmap1> bitmap_;
  /// Holds straight alpha before it is converted.
  CComPtr<ID2D1Bitmap1> raw_input_;
  CComPtr<ID2D1Bitmap1> read_back_;
};

}  // namespace Vantra
