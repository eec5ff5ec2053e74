#include <cstring>
#include <functional>

#include "tests/harness/device_fixture.h"

namespace Vantra::Platform {
namespace {

constexpr D3D11_TEXTURE2D_DESC kDynamic = {
    .Width = 4,
    .Height = 2,
    .MipLevels = 1,
    .ArraySize = 1,
    .Format = DXGI_FORMAT_R8_UNORM,
    .SampleDesc = {1, 0},
    .Usage = D3D11_USAGE_DYNAMIC,
    .BindFlags = D3D11_BIND_SHADER_RESOURCE,
    .CPUAccessFlags = D3D11_CPU_ACCESS_WRITE,
    .MiscFlags = 0,
};
constexpr D3D11_BUFFER_DESC kConstants = {
    16, D3D11_USAGE_DYNAMIC, D3D11_BIND_CONSTANT_BUFFER, D3D11_CPU_ACCESS_WRITE, 0, 0};
constexpr D3D11_BUFFER_DESC kStructured = {
    64, D3D11_USAGE_DEFAULT, D3D11_BIND_UNORDERED_ACCESS, 0, D3D11_RESOURCE_MISC_BUFFER_STRUCTURED,
    4};
constexpr D3D11_BUFFER_DESC kStaging = {64, D3D11_USAGE_STAGING, 0, D3D11_CPU_ACCESS_READ, 0, 4};

class Direct3D : public Testing::DeviceFixture {
 protected:
  ID3D11Device* D3D() { return device_.GetD3D11Device(); }
  ID3D11DeviceContext* Immediate() { return device_.GetContext()->GetImmediateContext(); }

  CComPtr<ID3D11Texture2D> Texture(const D3D11_TEXTURE2D_DESC& description,
                                   HRESULT expected = S_OK) {
    CComPtr<ID3D11Texture2D> texture;
    EXPECT_EQ(D3D()->CreateTexture2D(&description, nullptr, &texture), expected);
    EXPECT_EQ(texture != nullptr, expected == S_OK);
    return texture;
  }
  CComPtr<ID3D11Buffer> Buffer(const D3D11_BUFFER_DESC& description, HRESULT expected = S_OK) {
    CComPtr<ID3D11Buffer> buffer;
    EXPECT_EQ(D3D()->CreateBuffer(&description, nullptr, &buffer), expected);
    EXPECT_EQ(buffer != nullptr, expected == S_OK);
    return buffer;
  }
};

TEST_F(Direct3D, DescriptionsThatTheLayerDoesNotHaveAreRefused) {
  const std::function<void(D3D11_TEXTURE2D_DESC&)> textures[] = {
      [](auto& d) { d.MipLevels = 2; },
      [](auto& d) { d.CPUAccessFlags = D3D11_CPU_ACCESS_READ; },
      [](auto& d) { d.BindFlags |= D3D11_BIND_RENDER_TARGET; },
      [](auto& d) { d.Format = DXGI_FORMAT_NV12; },
      [](auto& d) { d.Format = DXGI_FORMAT_UNKNOWN; },
      [](auto& d) { d.Format = DXGI_FORMAT_R8G8_B8G8_UNORM, d.Width = 3; },
      [](auto& d) { d.Usage = D3D11_USAGE_DEFAULT, d.CPUAccessFlags = 0; },
      [](auto& d) { d.Width = 0; },
  };
  for (const auto& fault : textures) {
    D3D11_TEXTURE2D_DESC description = kDynamic;
    fault(description);
    Texture(description, E_INVALIDARG);
  }
  const std::pair<D3D11_BUFFER_DESC, std::function<void(D3D11_BUFFER_DESC&)>> buffers[] = {
      {kConstants, [](auto& d) { d.ByteWidth = 0; }},
      {kConstants, [](auto& d) { d.ByteWidth = 24; }},
      {kConstants, [](auto& d) { d.ByteWidth = 4112; }},
      {kConstants, [](auto& d) { d.Usage = D3D11_USAGE_DEFAULT; }},
      {kStructured, [](auto& d) { d.StructureByteStride = 0; }},
      {kStructured, [](auto& d) { d.StructureByteStride = 6; }},
      {kStructured, [](auto& d) { d.ByteWidth = 62; }},
      {kStructured, [](auto& d) { d.ByteWidth = 0; }},
      {kStructured, [](auto& d) { d.MiscFlags = 0; }},
      {kStructured, [](auto& d) { d.BindFlags = D3D11_BIND_SHADER_RESOURCE; }},
      {kStaging, [](auto& d) { d.BindFlags = D3D11_BIND_UNORDERED_ACCESS; }},
      {kStaging, [](auto& d) { d.CPUAccessFlags = D3D11_CPU_ACCESS_WRITE; }},
  };
  for (const auto& [good, fault] : buffers) {
    D3D11_BUFFER_DESC description = good;
    fault(description);
    Buffer(description, E_INVALIDARG);
    Buffer(good);
  }
}

TEST_F(Direct3D, ViewsNameTheWholeOfAResourceThatIsBoundForThem) {
  const auto texture = Texture(kDynamic);
  const auto buffer = Buffer(kStructured);
  CComPtr<ID3D11ShaderResourceView> view;
  CComPtr<ID3D11UnorderedAccessView> output;
  EXPECT_EQ(D3D()->CreateShaderResourceView(buffer, nullptr, &view), E_INVALIDARG);
  EXPECT_EQ(D3D()->CreateUnorderedAccessView(texture, nullptr, &output), E_INVALIDARG);
  EXPECT_EQ(D3D()->CreateUnorderedAccessView(Buffer(kStaging), nullptr, &output), E_INVALIDARG);
  EXPECT_EQ(D3D()->CreateShaderResourceView(nullptr, nullptr, &view), E_INVALIDARG);
  D3D11_SHADER_RESOURCE_VIEW_DESC other = {
      DXGI_FORMAT_R8G8_UNORM, D3D11_SRV_DIMENSION_TEXTURE2D, {{0, 1}}};
  EXPECT_EQ(D3D()->CreateShaderResourceView(texture, &other, &view), E_INVALIDARG);
  const D3D11_UNORDERED_ACCESS_VIEW_DESC part = {
      DXGI_FORMAT_UNKNOWN, D3D11_UAV_DIMENSION_BUFFER, {{0, 15, 0}}};
  EXPECT_EQ(D3D()->CreateUnorderedAccessView(buffer, &part, &output), E_INVALIDARG);

  ASSERT_EQ(D3D()->CreateShaderResourceView(texture, nullptr, &view), S_OK);
  ASSERT_EQ(D3D()->CreateUnorderedAccessView(buffer, nullptr, &output), S_OK);
  D3D11_UNORDERED_ACCESS_VIEW_DESC described;
  output->GetDesc(&described);
  EXPECT_EQ(described.Buffer.NumElements, 16u);
  CComPtr<ID3D11Resource> resource;
  view->GetResource(&resource);
  EXPECT_EQ(resource.p, static_cast<ID3D11Resource*>(texture.p));
  CComPtr<ID3D11View> base;
  EXPECT_EQ(output.QueryInterface(&base), S_OK);

  const std::array<std::uint32_t, 8> junk = {};
  CComPtr<ID3D11ComputeShader> shader;
  EXPECT_EQ(D3D()->CreateComputeShader(junk.data(), sizeof(junk), nullptr, &shader), E_INVALIDARG);
  EXPECT_EQ(D3D()->CreateComputeShader(nullptr, 32, nullptr, &shader), E_INVALIDARG);
}

TEST_F(Direct3D, MappingFollowsTheUsage) {
  D3D11_TEXTURE2D_DESC pairs = kDynamic;
  pairs.Format = DXGI_FORMAT_R8G8_B8G8_UNORM;
  const auto texture = Texture(pairs);
  const auto constants = Buffer(kConstants);
  const auto staging = Buffer(kStaging);
  D3D11_MAPPED_SUBRESOURCE mapped;
  EXPECT_EQ(Immediate()->Map(texture, 0, D3D11_MAP_READ, 0, &mapped), E_INVALIDARG);
  EXPECT_EQ(Immediate()->Map(constants, 0, D3D11_MAP_READ, 0, &mapped), E_INVALIDARG);
  EXPECT_EQ(Immediate()->Map(staging, 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped), E_INVALIDARG);
  EXPECT_EQ(Immediate()->Map(nullptr, 0, D3D11_MAP_READ, 0, &mapped), E_INVALIDARG);
  EXPECT_EQ(Immediate()->Map(texture, 1, D3D11_MAP_WRITE_DISCARD, 0, &mapped), E_INVALIDARG);

  ASSERT_EQ(Immediate()->Map(texture, 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped), S_OK);
  EXPECT_EQ(mapped.RowPitch, 8u);
  EXPECT_EQ(mapped.DepthPitch, 16u);
  std::memset(mapped.pData, 7, 16);
  EXPECT_EQ(Immediate()->Map(texture, 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped), E_INVALIDARG);
  Immediate()->Unmap(texture, 0);
  ASSERT_EQ(Immediate()->Map(staging, 0, D3D11_MAP_READ, 0, &mapped), S_OK);
  EXPECT_EQ(mapped.RowPitch, 64u);
  Immediate()->Unmap(staging, 0);

  // A texture of video data is no picture to draw on.
  CComPtr<IDXGISurface> surface;
  ASSERT_EQ(texture.QueryInterface(&surface), S_OK);
  const D2D1_RENDER_TARGET_PROPERTIES properties = {
      .type = D2D1_RENDER_TARGET_TYPE_DEFAULT,
      .pixelFormat = {DXGI_FORMAT_UNKNOWN, D2D1_ALPHA_MODE_PREMULTIPLIED},
      .dpiX = 96,
      .dpiY = 96,
      .usage = D2D1_RENDER_TARGET_USAGE_NONE,
      .minLevel = D2D1_FEATURE_LEVEL_DEFAULT,
  };
  CComPtr<ID2D1RenderTarget> target;
  EXPECT_EQ(device_.GetD2DFactory()->CreateDxgiSurfaceRenderTarget(surface, &properties, &target),
            E_INVALIDARG);

  InjectDeviceLoss(D3D());
  Immediate()->CopyResource(staging, Buffer(kStructured, DXGI_ERROR_DEVICE_REMOVED));
  EXPECT_EQ(Immediate()->Map(texture, 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped),
            DXGI_ERROR_DEVICE_REMOVED);
  EXPECT_EQ(Immediate()->Map(staging, 0, D3D11_MAP_READ, 0, &mapped), DXGI_ERROR_DEVICE_REMOVED);
  Buffer(kConstants, DXGI_ERROR_DEVICE_REMOVED);
}

TEST_F(Direct3D, ADispatchWithoutProgramOrOutputOrOnForeignObjectsDoesNothing) {
  Device other;
  other.Intialize(nullptr);
  CComPtr<ID3D11Buffer> foreign;
  ASSERT_EQ(other.GetD3D11Device()->CreateBuffer(&kStructured, nullptr, &foreign), S_OK);
  CComPtr<ID3D11UnorderedAccessView> foreign_view;
  EXPECT_EQ(D3D()->CreateUnorderedAccessView(foreign, nullptr, &foreign_view), E_INVALIDARG);
  ASSERT_EQ(other.GetD3D11Device()->CreateUnorderedAccessView(foreign, nullptr, &foreign_view),
            S_OK);

  HRSRC resource = FindResourceW(nullptr, L"IDR_CS_CVT_GRAY", RT_RCDATA);
  ASSERT_NE(resource, nullptr);
  CComPtr<ID3D11ComputeShader> shader;
  ASSERT_EQ(D3D()->CreateComputeShader(LockResource(LoadResource(nullptr, resource)),
                                       SizeofResource(nullptr, resource), nullptr, &shader),
            S_OK);
  const std::uint64_t before = Engine().CallCount();
  ID3D11UnorderedAccessView* const output = foreign_view;
  Immediate()->Dispatch(1, 1, 1);
  Immediate()->CSSetShader(shader, nullptr, 0);
  Immediate()->CSSetUnorderedAccessViews(0, 1, &output, nullptr);
  Immediate()->Dispatch(1, 1, 1);
  Immediate()->CSSetShaderResources(5, 1, nullptr);
  Immediate()->CSSetConstantBuffers(0, 1, nullptr);
  EXPECT_EQ(Engine().CallCount(), before);
  const auto staging = Buffer(kStaging);
  Immediate()->CopyResource(staging, foreign);
  EXPECT_EQ(Engine().CallCount(), before + 1) << "only the staging buffer was made";
}

}  // namespace
}  // namespace Vantra::Platform
