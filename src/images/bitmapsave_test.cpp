#include <vantrix/device/dexception.h>

#include <limits>

#include "platform/com/com_object.h"
#include "tests/harness/file_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;
using Platform::Bytes;
using Platform::ComObject;
using Platform::DecodedPicture;
using Platform::DecodePicture;
using Platform::Implements;

class BitmapSaving : public FileFixture {
 protected:
  // What a file holds, premultiplied again.
  Picture Load(const std::string& name) {
    Bitmap loaded;
    loaded.Create(&device_);
    loaded.LoadFile(Path(name));
    return Read(loaded, name);
  }

  // Fails unless `save` reports.
  template <class Save>
  static void ExpectReport(Save save, const std::string& text) {
    try {
      save();
      ADD_FAILURE() << "no report: " << text;
    } catch (const DException& exception) {
      EXPECT_EQ(exception.GetError(), 1004);
      const std::string report = exception.what();
      EXPECT_NE(report.find("[function] Vantra::Bitmap::SaveImage\n"), std::string::npos) << report;
      EXPECT_TRUE(report.ends_with("[error] 1004\n" + text)) << report;
    }
  }
};

TEST_F(BitmapSaving, WhatWasDrawnIsSavedWithItsAlpha) {
  const Picture picture = DrawSceneWithAlpha(37, 21);
  Upload(bitmap_, picture);
  std::memset(bitmap_.GetBits(), 0, 100);
  bitmap_.SaveFile(Path("a.png"), GUID_ContainerFormatPng);
  EXPECT_EQ(Load("a.png").pixels, picture.pixels);
  bitmap_.SaveFile(Path("a.bmp"), GUID_ContainerFormatBmp);
  EXPECT_EQ(ReadFile("a.bmp").size(), 54u + 37 * 21 * 4);
  // In the middle of a session, which goes on.
  device_.BeginDraw(&bitmap_, {0, 0, 1, 1});
  bitmap_.SaveFile(Path("blue.png"), GUID_ContainerFormatPng);
  device_.Clear({0, 1, 0, 1});
  device_.EndDrawNoCallback();
  EXPECT_EQ(Load("blue.png").At(36, 20), (Pixel{255, 0, 0, 255}));
  EXPECT_EQ(Read(bitmap_).At(36, 20), (Pixel{0, 255, 0, 255}));
}

TEST_F(BitmapSaving, ARectangleIsMovedIntoThePictureAndCut) {
  const Picture picture = DrawSceneWithAlpha(20, 10);
  Upload(bitmap_, picture);
  constexpr LONG kLeast = std::numeric_limits<LONG>::min();
  constexpr LONG kMost = std::numeric_limits<LONG>::max();
  struct Case {
    RECT asked;
    RECT saved;
  };
  constexpr Case kCases[] = {
      {{3, 2, 8, 7}, {3, 2, 8, 7}},
      {{0, 0, 20, 10}, {0, 0, 20, 10}},
      {{15, 5, 99, 99}, {15, 5, 20, 10}},
      // The corner is moved, and the size asked for stays.
      {{-4, -3, 6, 2}, {0, 0, 10, 5}},
      {{20, 10, 25, 13}, {0, 0, 5, 3}},
      {{25, 4, 30, 6}, {0, 4, 5, 6}},
      {{kLeast, kLeast, kMost, kMost}, {0, 0, 20, 10}},
      // Without pixels, the whole picture.
      {{5, 5, 5, 9}, {0, 0, 20, 10}},
      {{8, 7, 3, 2}, {0, 0, 20, 10}},
      {{kMost, 0, kLeast, 5}, {0, 0, 20, 10}},
  };
  for (const Case& c : kCases) {
    bitmap_.SaveFile(Path("a.png"), GUID_ContainerFormatPng, &c.asked);
    const Picture saved = Load("a.png");
    const std::string where = std::to_string(c.asked.left) + "," + std::to_string(c.asked.top);
    ASSERT_EQ(saved.width, c.saved.right - c.saved.left) << where;
    ASSERT_EQ(saved.height, c.saved.bottom - c.saved.top) << where;
    for (int y = 0; y < saved.height; ++y) {
      for (int x = 0; x < saved.width; ++x) {
        ASSERT_EQ(saved.At(x, y), picture.At(c.saved.left + x, c.saved.top + y)) << where;
      }
    }
  }
}

TEST_F(BitmapSaving, WhatCannotBeSavedIsReportedAndCostsNothing) {
  Write("old.png", {'o', 'l', 'd'});
  const RECT rect = {0, 0, 1, 1};
  ExpectReport([&] { bitmap_.SaveFile(Path("old.png"), GUID_ContainerFormatPng, &rect); },
               "Create GPU Bitmap Failed: 0x80070057");
  Upload(bitmap_, DrawScene(8, 8));
  ExpectReport([&] { bitmap_.SaveFile(Path("old.png"), GUID_NULL); },
               "Create GPU Bitmap Failed: 0x88982f50");
  ExpectReport([&] { bitmap_.SaveFile(Path("no/a.png"), GUID_ContainerFormatPng); },
               "Create GPU Bitmap Failed: 0x80070002");
  Bitmap idle;
  ExpectReport([&] { idle.SaveFile(Path("old.png"), GUID_ContainerFormatPng); },
               "Create GPU Bitmap Failed: 0x80004003");
  Platform::InjectDeviceLoss(device_.GetD3D11Device());
  ExpectReport([&] { bitmap_.SaveFile(Path("old.png"), GUID_ContainerFormatPng); },
               "Create GPU Bitmap Failed: 0x8899000c");
  EXPECT_EQ(ReadFile("old.png"), (Bytes{'o', 'l', 'd'}));
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(BitmapSaving, AStreamHoldsTheEncodedPictureAndItsMemory) {
  const Picture picture = DrawSceneWithAlpha(64, 48);
  Upload(bitmap_, picture);
  CComPtr<IWICStream> stream = bitmap_.SaveStream(GUID_ContainerFormatPng);
  ULARGE_INTEGER end{};
  ASSERT_EQ(stream->Seek({0}, STREAM_SEEK_CUR, &end), S_OK);
  ASSERT_GT(end.QuadPart, 100u);
  ASSERT_LT(end.QuadPart, 64u * 48 * 4);
  STATSTG statistics{};
  ASSERT_EQ(stream->Stat(&statistics, STATFLAG_NONAME), S_OK);
  EXPECT_EQ(statistics.cbSize.QuadPart, 64u * 48 * 4);
  CComPtr<IStream> same;
  ASSERT_EQ(stream.QueryInterface(&same), S_OK);
  stream.Release();
  Bytes file(end.QuadPart);
  ASSERT_EQ(same->Seek({0}, STREAM_SEEK_SET, nullptr), S_OK);
  ASSERT_EQ(same->Read(file.data(), static_cast<ULONG>(file.size()), nullptr), S_OK);
  bitmap_.LoadMemory(file.data(), file.size());
  EXPECT_EQ(Read(bitmap_).pixels, picture.pixels);
  ASSERT_EQ(same->Seek({0}, STREAM_SEEK_SET, nullptr), S_OK);
  bitmap_.LoadStream(same);
  EXPECT_EQ(Read(bitmap_).pixels, picture.pixels);

  // There is room for the pixels, and for no header beside them.
  ExpectReport([&] { bitmap_.SaveStream(GUID_ContainerFormatBmp); },
               "Create GPU Bitmap Failed: 0x80030070");
  bitmap_.Cleanup();
  ExpectReport([&] { bitmap_.SaveStream(GUID_ContainerFormatPng); },
               "Create GPU Bitmap Failed: 0x80070057");
}

// A texture of any format, which is more than the layer makes itself.
class FakeTexture final : public ComObject<Implements<ID3D11Texture2D, ID3D11Resource>> {
 public:
  explicit FakeTexture(DXGI_FORMAT format) : format_(format) {}

  void GetDesc(D3D11_TEXTURE2D_DESC* description) override {
    *description = {};
    description->Width = 1;
    description->Height = 2;
    description->Format = format_;
  }

 private:
  DXGI_FORMAT format_;
};

class FakeContext final : public ComObject<ID3D11DeviceContext> {
 public:
  explicit FakeContext(Bytes pixels) : pixels_(std::move(pixels)) {}

  HRESULT Map(ID3D11Resource*, UINT, D3D11_MAP, UINT, D3D11_MAPPED_SUBRESOURCE* mapped) override {
    *mapped = {pixels_.data(), static_cast<UINT>(pixels_.size() / 2), 0};
    return S_OK;
  }
  void Unmap(ID3D11Resource*, UINT) override { ++unmapped; }

  void CSSetShader(ID3D11ComputeShader*, ID3D11ClassInstance* const*, UINT) override {}
  void CSSetShaderResources(UINT, UINT, ID3D11ShaderResourceView* const*) override {}
  void CSSetUnorderedAccessViews(UINT, UINT, ID3D11UnorderedAccessView* const*,
                                 const UINT*) override {}
  void CSSetConstantBuffers(UINT, UINT, ID3D11Buffer* const*) override {}
  void Dispatch(UINT, UINT, UINT) override {}
  void CopyResource(ID3D11Resource*, ID3D11Resource*) override {}

  int unmapped = 0;

 private:
  Bytes pixels_;
};

TEST_F(BitmapSaving, TexturesOfAllFormatsAreRead) {
  // One pixel of each, whose channels tell every other reading of it apart, and red, green, blue,
  // alpha of it.
  struct Case {
    UINT format;
    Bytes pixel;
    Bytes expected;
  };
  const std::vector<Case> cases = {
      {2, {0, 0, 0x80, 0x3F, 0, 0, 0, 0, 0, 0, 0, 0x3F, 0, 0, 0x80, 0x3F}, {255, 0, 128, 255}},
      {10, {0, 0x3C, 0, 0, 0, 0x38, 0, 0x3C}, {255, 0, 128, 255}},
      {11, {0xFF, 0xFF, 0, 0, 0x80, 0x80, 0xFF, 0xFF}, {255, 0, 128, 255}},
      {24, {0xFF, 0x03, 0, 0xC0}, {255, 0, 0, 255}},
      {28, {10, 20, 30, 40}, {10, 20, 30, 40}},
      {29, {10, 20, 30, 40}, {10, 20, 30, 40}},
      {41, {0, 0, 0, 0x3F}, {128, 128, 128, 255}},
      {54, {0, 0x38}, {128, 128, 128, 255}},
      {56, {0x34, 0x80}, {128, 128, 128, 255}},
      {61, {77}, {77, 77, 77, 255}},
      {67, {128, 64, 0, 128}, {128, 64, 0, 255}},
      {85, {0x1F, 0xF8}, {255, 0, 255, 255}},
      {86, {0x00, 0xFC}, {255, 0, 0, 255}},
      {87, {10, 20, 30, 40}, {30, 20, 10, 40}},
      {91, {10, 20, 30, 40}, {30, 20, 10, 40}},
      {88, {10, 20, 30, 40}, {30, 20, 10, 255}},
      {93, {10, 20, 30, 40}, {30, 20, 10, 255}},
      // 894, 384, 384 and 3.
      {89, {0x7E, 0x03, 0x06, 0xD8}, {255, 0, 0, 255}},
      {49, {10, 20, 30, 40}, {10, 20, 30, 255}},
  };
  for (const Case& c : cases) {
    Bytes rows = c.pixel;
    rows.resize(c.pixel.size() + 4);
    rows.insert(rows.end(), c.pixel.begin(), c.pixel.end());
    rows.resize(rows.size() + 4);
    const CComPtr<FakeContext> context = Platform::MakeCom<FakeContext>(rows);
    const CComPtr<FakeTexture> texture =
        Platform::MakeCom<FakeTexture>(static_cast<DXGI_FORMAT>(c.format));
    Bitmap::SaveImage(Path("a.png").c_str(), context, device_.GetWicImagingFactory(), texture,
                      GUID_ContainerFormatPng);
    EXPECT_EQ(context->unmapped, 1);
    const DecodedPicture read = DecodePicture(ReadFile("a.png"));
    ASSERT_TRUE(read.Succeeded()) << c.format;
    Bytes expected = c.expected;
    expected.insert(expected.end(), c.expected.begin(), c.expected.end());
    EXPECT_EQ(read.pixels, expected) << c.format;
  }
  // Alpha alone: what colour it has, a reader cannot tell.
  const CComPtr<FakeContext> context = Platform::MakeCom<FakeContext>(Bytes{9, 200});
  const CComPtr<FakeTexture> texture = Platform::MakeCom<FakeTexture>(DXGI_FORMAT_A8_UNORM);
  Bitmap::SaveImage(Path("a.png").c_str(), context, device_.GetWicImagingFactory(), texture,
                    GUID_ContainerFormatPng);
  const DecodedPicture read = DecodePicture(ReadFile("a.png"));
  EXPECT_EQ(read.pixels[3], 9);
  EXPECT_EQ(read.pixels[7], 200);

  ExpectReport(
      [&] {
        Bitmap::SaveImage(Path("a.png").c_str(), context, device_.GetWicImagingFactory(), texture,
                          GUID_NULL);
      },
      "Create encoder Failed: 0x88982f50");
}

}  // namespace
}  // namespace Vantra
