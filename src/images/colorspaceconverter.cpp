#include <vantrix/device/device.h>
#include <vantrix/device/dexception.h>
#include <vantrix/images/colorspaceconverter.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>

#include "platform/d3d11/host_compute.h"

namespace Vantra {
namespace {

constexpr int kGroupWidth = 32;
constexpr int kGroupHeight = 16;
constexpr int kBytesPerPixel = 4;

// Constants of the compute programs.
struct Constants {
  std::uint32_t texture_width = 0;
  std::uint32_t texture_height = 0;
  std::uint32_t reserved[2] = {};
};

// The planes of a video format: plane 0 of the frame's size, planes 1 and 2 of half of it.
struct Layout {
  DXGI_FORMAT format;
  const wchar_t* program;
  DXGI_FORMAT luminance;
  DXGI_FORMAT chrominance;
  DXGI_FORMAT luminance_extra;
  int bytes_per_pixel;  // of plane 0
};

constexpr DXGI_FORMAT kNone = DXGI_FORMAT_UNKNOWN;
// In the order of the context's programs.
constexpr std::array<Layout, 5> kLayouts = {{
    {DXGI_FORMAT_NV12, L"IDR_CS_CVT_NV12", DXGI_FORMAT_R8_UNORM, DXGI_FORMAT_R8G8_UNORM, kNone, 1},
    {DXGI_FORMAT_YUY2, L"IDR_CS_CVT_YUY2", DXGI_FORMAT_R8G8_B8G8_UNORM, kNone, kNone, 2},
    {DXGI_FORMAT_AYUV, L"IDR_CS_CVT_AYUV", DXGI_FORMAT_R8G8B8A8_UNORM, kNone, kNone, 4},
    {DXGI_FORMAT_420_OPAQUE, L"IDR_CS_CVT_YUV420P", DXGI_FORMAT_R8_UNORM, DXGI_FORMAT_R8_UNORM,
     DXGI_FORMAT_R8_UNORM, 1},
    {DXGI_FORMAT_R8_UNORM, L"IDR_CS_CVT_GRAY", DXGI_FORMAT_R8_UNORM, kNone, kNone, 1},
}};

const Layout* FindLayout(DXGI_FORMAT format) {
  const auto* found =
      std::find_if(kLayouts.begin(), kLayouts.end(),
                   [format](const Layout& layout) { return layout.format == format; });
  return found == kLayouts.end() ? nullptr : found;
}

// `size` rounded up to a multiple of `step`, a power of two, or down to one that an int can hold.
int Align(int size, int step) {
  const std::int64_t aligned = (std::int64_t{size} + step - 1) & -std::int64_t{step};
  const std::int64_t largest = std::numeric_limits<int>::max() & -step;
  return static_cast<int>(std::min(aligned, largest));
}

std::size_t Bytes(int count) { return static_cast<std::size_t>(count); }

// Rows of a frame that lie `stride` bytes apart.
struct Plane {
  const unsigned char* data = nullptr;
  int stride = 0;
  int row_bytes = 0;
  int rows = 0;
};
using Planes = std::array<Plane, 3>;

Planes FindPlanes(const Layout& layout, const unsigned char* source, int width, int height,
                  int stride) {
  const std::size_t luminance_bytes = Bytes(width) * Bytes(height);
  const int half_width = width / 2;
  const int half_height = height / 2;
  Planes planes = {{{source, stride, width * layout.bytes_per_pixel, height}}};
  switch (layout.format) {
    case DXGI_FORMAT_NV12:
      planes[1] = {source + Bytes(stride) * Bytes(height), stride, width, half_height};
      break;
    case DXGI_FORMAT_420_OPAQUE:
      // The chroma planes are packed whatever the stride.
      planes[1] = {source + luminance_bytes, half_width, half_width, half_height};
      planes[2] = {source + luminance_bytes + luminance_bytes / 4, half_width, half_width,
                   half_height};
      break;
    default:
      break;
  }
  return planes;
}

// Whether a plane has bytes from `begin` up to `end`.
bool Overlaps(const Plane& plane, const unsigned char* begin, const unsigned char* end) {
  if (plane.rows == 0) return false;
  const unsigned char* const plane_end =
      plane.data + Bytes(plane.stride) * Bytes(plane.rows - 1) + plane.row_bytes;
  const std::less<> before;
  return before(plane.data, end) && before(begin, plane_end);
}

// Converts from the host's memory to the host's memory. False, with nothing written, when the
// engine cannot, and when the frame and the result overlap.
bool ConvertOnHost(ID3D11ComputeShader* shader, const Planes& planes, int width, int height,
                   unsigned char* destination, int destination_stride) {
  const unsigned char* const end =
      destination + Bytes(destination_stride) * Bytes(height - 1) + Bytes(width) * kBytesPerPixel;
  Render::HostComputation computation = {
      .output = reinterpret_cast<std::byte*>(destination),
      .output_pitch = Bytes(destination_stride),
      .width = width,
      .height = height,
  };
  for (std::size_t i = 0; i < planes.size(); ++i) {
    const Plane& plane = planes[i];
    if (Overlaps(plane, destination, end)) return false;
    computation.planes[i] = {reinterpret_cast<const std::byte*>(plane.data), Bytes(plane.stride),
                             Bytes(plane.row_bytes), plane.rows};
  }
  return Platform::DispatchOnHost(shader, computation);
}

}  // namespace

ColorSpaceConverter::~ColorSpaceConverter() = default;

Context* ColorSpaceConverter::OnCreate() { return new ColorSpaceConverterContext; }

void ColorSpaceConverter::OnDestroy() {}

void ColorSpaceConverter::Apply(const unsigned char* source, int width, int height, int stride,
                                unsigned char* destination, int destination_stride,
                                DXGI_FORMAT format) {
  auto* context = dynamic_cast<ColorSpaceConverterContext*>(GetContext());
  if (!context) return;
  context->Apply(source, width, height, stride, destination, destination_stride, format);
}

ColorSpaceConverterContext::~ColorSpaceConverterContext() = default;

bool ColorSpaceConverterContext::IsDeviceIndependent() { return false; }

bool ColorSpaceConverterContext::Create(ResourceBase* resource) {
  Link(resource);
  return Restore();
}

void ColorSpaceConverterContext::Destroy() {
  ReleaseFrameObjects();
  constants_.Release();
  for (CComPtr<ID3D11ComputeShader>& shader : shaders_) shader.Release();
  width_ = 0;
  height_ = 0;
  aligned_width_ = 0;
  aligned_height_ = 0;
}

bool ColorSpaceConverterContext::Restore() {
  ID3D11Device* device = GetDeviceContext() ? GetDeviceContext()->GetD3D11Device() : nullptr;
  if (!device) return true;
  for (std::size_t i = 0; i < kLayouts.size(); ++i) {
    shaders_[i].Release();
    HRSRC resource = FindResourceW(nullptr, kLayouts[i].program, RT_RCDATA);
    const void* bytes = LockResource(LoadResource(nullptr, resource));
    if (!bytes) continue;
    device->CreateComputeShader(bytes, SizeofResource(nullptr, resource), nullptr, &shaders_[i]);
  }
  const D3D11_BUFFER_DESC description = {
      .ByteWidth = sizeof(Constants),
      .Usage = D3D11_USAGE_DYNAMIC,
      .BindFlags = D3D11_BIND_CONSTANT_BUFFER,
      .CPUAccessFlags = D3D11_CPU_ACCESS_WRITE,
      .MiscFlags = 0,
      .StructureByteStride = 0,
  };
  constants_.Release();
  device->CreateBuffer(&description, nullptr, &constants_);
  return true;
}

void ColorSpaceConverterContext::Apply(const unsigned char* source, int width, int height,
                                       int stride, unsigned char* destination,
                                       int destination_stride, DXGI_FORMAT format) {
  if (!GetDeviceContext() || !GetDeviceContext()->GetImmediateContext()) return;
  if (width != width_ || height != height_ || format != format_) Prepare(width, height, format);

  const Layout* layout = FindLayout(format);
  if (!layout || !source || !destination || width < 1 || height < 1 ||
      stride < std::int64_t{width} * layout->bytes_per_pixel ||
      destination_stride < std::int64_t{width} * kBytesPerPixel) {
    return;
  }
  ID3D11ComputeShader* shader = shaders_[Bytes(static_cast<int>(layout - kLayouts.data()))];
  if (!shader || !constants_ || !luminance_view_ || !output_view_ ||
      (layout->chrominance != kNone && !chrominance_view_)) {
    return;
  }
  if (ConvertOnHost(shader, FindPlanes(*layout, source, width, height, stride), width, height,
                    destination, destination_stride)) {
    return;
  }
  FillTextures(source, stride);
  Dispatch(shader);
  ReadBack(destination, destination_stride);
}

void ColorSpaceConverterContext::Prepare(int width, int height, DXGI_FORMAT format) {
  ReleaseFrameObjects();
  width_ = width;
  height_ = height;
  format_ = format;
  aligned_width_ = Align(width, kGroupWidth);
  aligned_height_ = Align(height, kGroupHeight);

  ID3D11DeviceContext* context = GetDeviceContext()->GetImmediateContext();
  D3D11_MAPPED_SUBRESOURCE mapped;
  if (constants_ && SUCCEEDED(context->Map(constants_, 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped))) {
    const Constants constants = {.texture_width = static_cast<std::uint32_t>(aligned_width_),
                                 .texture_height = static_cast<std::uint32_t>(aligned_height_)};
    std::memcpy(mapped.pData, &constants, sizeof(constants));
    context->Unmap(constants_, 0);
  }
  if (aligned_width_ <= 0 || aligned_height_ <= 0) return;
  CreateOutput();
  const Layout* layout = FindLayout(format);
  if (!layout) return;
  if (layout->chrominance != kNone) {
    CreateChrominanceTexture(layout->chrominance, layout->luminance_extra);
  }
  CreateLuminanceTexture(layout->luminance);
}

void ColorSpaceConverterContext::ReleaseFrameObjects() {
  read_back_.Release();
  output_view_.Release();
  output_.Release();
  luminance_view_.Release();
  luminance_.Release();
  chrominance_view_.Release();
  chrominance_.Release();
  luminance_extra_view_.Release();
  luminance_extra_.Release();
}

void ColorSpaceConverterContext::CreateOutput() {
  const std::uint64_t bytes = static_cast<std::uint64_t>(aligned_width_) *
                              static_cast<std::uint64_t>(aligned_height_) * kBytesPerPixel;
  if (bytes > std::numeric_limits<UINT>::max()) return;
  ID3D11Device* device = GetDeviceContext()->GetD3D11Device();
  D3D11_BUFFER_DESC description = {
      .ByteWidth = static_cast<UINT>(bytes),
      .Usage = D3D11_USAGE_DEFAULT,
      .BindFlags = D3D11_BIND_UNORDERED_ACCESS | D3D11_BIND_SHADER_RESOURCE,
      .CPUAccessFlags = 0,
      .MiscFlags = D3D11_RESOURCE_MISC_BUFFER_STRUCTURED,
      .StructureByteStride = kBytesPerPixel,
  };
  if (FAILED(device->CreateBuffer(&description, nullptr, &output_))) return;
  const D3D11_UNORDERED_ACCESS_VIEW_DESC view = {
      .Format = DXGI_FORMAT_UNKNOWN,
      .ViewDimension = D3D11_UAV_DIMENSION_BUFFER,
      .Buffer = {0, description.ByteWidth / description.StructureByteStride, 0},
  };
  device->CreateUnorderedAccessView(output_, &view, &output_view_);
  description.Usage = D3D11_USAGE_STAGING;
  description.BindFlags = 0;
  description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  description.MiscFlags = 0;
  device->CreateBuffer(&description, nullptr, &read_back_);
}

void ColorSpaceConverterContext::CreateLuminanceTexture(DXGI_FORMAT format) {
  const HRESULT result =
      CreateTexture(aligned_width_, aligned_height_, format, &luminance_, &luminance_view_);
  if (FAILED(result)) {
    ThrowDException(__FILE__, "Vantra::ColorSpaceConverterContext::CreateLuminanceTexture",
                    __LINE__, DException::kTexture, "Create luminance texture failed: 0x%x",
                    static_cast<unsigned>(result));
  }
}

void ColorSpaceConverterContext::CreateChrominanceTexture(DXGI_FORMAT format,
                                                          DXGI_FORMAT extra_format) {
  constexpr const char* kFunction = "Vantra::ColorSpaceConverterContext::CreateChrominanceTexture";
  HRESULT result = CreateTexture(aligned_width_ / 2, aligned_height_ / 2, format, &chrominance_,
                                 &chrominance_view_);
  if (FAILED(result)) {
    // The text is that of the luminance: the function's name tells the two apart.
    ThrowDException(__FILE__, kFunction, __LINE__, DException::kTexture,
                    "Create luminance texture failed: 0x%x", static_cast<unsigned>(result));
  }
  if (extra_format == kNone) return;
  result = CreateTexture(aligned_width_ / 2, aligned_height_ / 2, extra_format, &luminance_extra_,
                         &luminance_extra_view_);
  if (FAILED(result)) {
    ThrowDException(__FILE__, kFunction, __LINE__, DException::kTexture,
                    "Create luminance extra texture failed: 0x%x", static_cast<unsigned>(result));
  }
}

HRESULT ColorSpaceConverterContext::CreateTexture(int width, int height, DXGI_FORMAT format,
                                                  ID3D11Texture2D** texture,
                                                  ID3D11ShaderResourceView** view) {
  ID3D11Device* device = GetDeviceContext()->GetD3D11Device();
  const D3D11_TEXTURE2D_DESC description = {
      .Width = static_cast<UINT>(width),
      .Height = static_cast<UINT>(height),
      .MipLevels = 1,
      .ArraySize = 1,
      .Format = format,
      .SampleDesc = {1, 0},
      .Usage = D3D11_USAGE_DYNAMIC,
      .BindFlags = D3D11_BIND_SHADER_RESOURCE,
      .CPUAccessFlags = D3D11_CPU_ACCESS_WRITE,
      .MiscFlags = 0,
  };
  const HRESULT result = device->CreateTexture2D(&description, nullptr, texture);
  if (FAILED(result)) return result;
  const D3D11_SHADER_RESOURCE_VIEW_DESC view_description = {
      .Format = format,
      .ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D,
      .Texture2D = {.MostDetailedMip = 0, .MipLevels = 1},
  };
  device->CreateShaderResourceView(*texture, &view_description, view);
  return result;
}

void ColorSpaceConverterContext::FillTextures(const unsigned char* source, int stride) {
  const Planes planes = FindPlanes(*FindLayout(format_), source, width_, height_, stride);
  ID3D11Texture2D* const textures[] = {luminance_, chrominance_, luminance_extra_};
  for (std::size_t i = 0; i < planes.size(); ++i) {
    const Plane& plane = planes[i];
    if (plane.data) Fill(textures[i], plane.data, plane.stride, plane.row_bytes, plane.rows);
  }
}

void ColorSpaceConverterContext::Fill(ID3D11Texture2D* texture, const unsigned char* source,
                                      int stride, int row_bytes, int rows) {
  ID3D11DeviceContext* context = GetDeviceContext()->GetImmediateContext();
  D3D11_MAPPED_SUBRESOURCE mapped;
  if (!texture || FAILED(context->Map(texture, 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped))) return;
  auto* row = static_cast<unsigned char*>(mapped.pData);
  for (int y = 0; y < rows; ++y, row += mapped.RowPitch, source += stride) {
    std::memcpy(row, source, Bytes(row_bytes));
  }
  context->Unmap(texture, 0);
}

void ColorSpaceConverterContext::Dispatch(ID3D11ComputeShader* shader) {
  ID3D11DeviceContext* context = GetDeviceContext()->GetImmediateContext();
  ID3D11ShaderResourceView* const views[] = {luminance_view_, chrominance_view_,
                                             luminance_extra_view_};
  ID3D11UnorderedAccessView* const output = output_view_;
  ID3D11Buffer* const constants = constants_;
  context->CSSetShader(shader, nullptr, 0);
  context->CSSetShaderResources(0, 3, views);
  context->CSSetUnorderedAccessViews(0, 1, &output, nullptr);
  context->CSSetConstantBuffers(0, 1, &constants);
  context->Dispatch(static_cast<UINT>(aligned_width_ / kGroupWidth),
                    static_cast<UINT>(aligned_height_ / kGroupHeight), 1);

  ID3D11ShaderResourceView* const no_views[3] = {};
  ID3D11UnorderedAccessView* const no_output = nullptr;
  context->CSSetShader(nullptr, nullptr, 0);
  context->CSSetUnorderedAccessViews(0, 1, &no_output, nullptr);
  context->CSSetShaderResources(0, 3, no_views);
}

void ColorSpaceConverterContext::ReadBack(unsigned char* destination, int destination_stride) {
  ID3D11DeviceContext* context = GetDeviceContext()->GetImmediateContext();
  if (!read_back_) return;
  context->CopyResource(read_back_, output_);
  D3D11_MAPPED_SUBRESOURCE mapped;
  if (FAILED(context->Map(read_back_, 0, D3D11_MAP_READ, 0, &mapped))) return;
  const auto* row = static_cast<const unsigned char*>(mapped.pData);
  const std::size_t pitch = Bytes(aligned_width_) * kBytesPerPixel;
  for (int y = 0; y < height_; ++y, row += pitch, destination += destination_stride) {
    std::memcpy(destination, row, Bytes(width_) * kBytesPerPixel);
  }
  context->Unmap(read_back_, 0);
}

}  // namespace Vantra
