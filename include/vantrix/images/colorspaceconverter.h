#pragma once

/// Video frames of the host, turned into BGRA on the device.

#include <vantrix/device/resourcebase.h>
#include <vantrix/export.h>
#include <vantrix/platform/d3d11.h>

#include <array>

namespace Vantra {

/// Turns a video frame in system memory into rows of blue, green, red, alpha bytes in system
/// memory, in one synchronous call. Colours follow BT.601 of limited range, each cut to a whole
/// step.
///
/// | format | layout | pixels |
/// | --- | --- | --- |
/// | `DXGI_FORMAT_NV12` | rows of Y; then half as many rows of U, V pairs, of the same stride | a
/// block of 2 by 2 shares U and V | | `DXGI_FORMAT_420_OPAQUE` | rows of Y; then, whatever the
/// stride, U from byte `width * height` on and V from `width * height / 4` bytes further on, rows
/// of `width / 2` without padding | the same | | `DXGI_FORMAT_YUY2` | bytes Y, U, Y, V for two
/// pixels | both take U, V and the first Y | | `DXGI_FORMAT_AYUV` | bytes V, U, Y, A for each pixel
/// | alpha is kept, and colours are not multiplied by it | | `DXGI_FORMAT_R8_UNORM` | one byte for
/// each pixel | grey as it is, without expansion of its range |
///
/// Halves are rounded down: what lies in a last odd column or row of NV12, planar or YUY2 frames
/// without chroma of its own takes what the device holds there, 0 after a change of the size.
class VANTRIX_API ColorSpaceConverter final : public ResourceBase {
 public:
  ColorSpaceConverter() = default;
  ~ColorSpaceConverter() override;

  /// Converts a frame of `width` by `height` pixels, whose rows lie `stride` bytes apart from
  /// `source` on, and writes `height` rows of `width * 4` bytes, `destination_stride` bytes apart,
  /// to `destination`. All other bytes there stay. Buffers are kept for the next frame of the same
  /// size and format.
  ///
  /// Nothing is written for a null pointer, a size below 1, a stride shorter than its row, another
  /// format, before `Create`, and when the device fails. Throws `DException::kTexture` when the
  /// device refuses a texture, as it does for a size beyond its limit.
  void Apply(const unsigned char* source, int width, int height, int stride,
             unsigned char* destination, int destination_stride, DXGI_FORMAT format);

 protected:
  Context* OnCreate() override;
  void OnDestroy() override;
};

/// The live half of a converter.
class VANTRIX_API ColorSpaceConverterContext : public ResourceContext {
 public:
  ~ColorSpaceConverterContext() override;

  bool IsDeviceIndependent() override;
  bool Create(ResourceBase* resource) override;
  /// The objects that depend on a frame come back with the next one.
  void Destroy() override;
  bool Restore() override;

 private:
  friend class ColorSpaceConverter;

  void Apply(const unsigned char* source, int width, int height, int stride,
             unsigned char* destination, int destination_stride, DXGI_FORMAT format);
  /// Makes all that depends on the size and the format of a frame.
  void Prepare(int width, int height, DXGI_FORMAT format);
  void ReleaseFrameObjects();
  void CreateOutput();
  void CreateLuminanceTexture(DXGI_FORMAT format);
  /// The second plane, and the third where `extra_format` names one.
  void CreateChrominanceTexture(DXGI_FORMAT format, DXGI_FORMAT extra_format);
  HRESULT CreateTexture(int width, int height, DXGI_FORMAT format, ID3D11Texture2D** texture,
                        ID3D11ShaderResourceView** view);
  void FillTextures(const unsigned char* source, int stride);
  /// Writes `rows` rows of `row_bytes` bytes to a texture; a failure leaves it as it was.
  void Fill(ID3D11Texture2D* texture, const unsigned char* source, int stride, int row_bytes,
            int rows);
  void Dispatch(ID3D11ComputeShader* shader);
  void ReadBack(unsigned char* destination, int destination_stride);

  DXGI_FORMAT format_ = DXGI_FORMAT_NV12;
  int width_ = 0;
  int height_ = 0;
  // Rounded up to whole groups of the compute programs.
  int aligned_width_ = 0;
  int aligned_height_ = 0;
  // For NV12, YUY2, AYUV, planar and grey frames.
  std::array<CComPtr<ID3D11ComputeShader>, 5> shaders_;
  CComPtr<ID3D11Texture2D> luminance_;
  CComPtr<ID3D11ShaderResourceView> luminance_view_;
  CComPtr<ID3D11Texture2D> chrominance_;
  CComPtr<ID3D11ShaderResourceView> chrominance_view_;
  CComPtr<ID3D11Texture2D> luminance_extra_;
  CComPtr<ID3D11ShaderResourceView> luminance_extra_view_;
  CComPtr<ID3D11Buffer> output_;
  CComPtr<ID3D11UnorderedAccessView> output_view_;
  CComPtr<ID3D11Buffer> read_back_;
  CComPtr<ID3D11Buffer> constants_;
};

}  // namespace Vantra
