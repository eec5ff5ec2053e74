#include <vantrix/device/dexception.h>

#include "tests/harness/file_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;

class DeviceFiles : public FileFixture {
 protected:
  // What `LoadFile` gives, or a picture without pixels.
  Picture Load(const char* name, int width, int height) {
    CComPtr<IWICBitmapSource> source;
    EXPECT_EQ(device_.LoadFile(Path(name).c_str(), width, height, &source), S_OK);
    UINT w = 0;
    UINT h = 0;
    if (source) {
      EXPECT_EQ(source->GetSize(&w, &h), S_OK);
    }
    Picture picture(name, static_cast<int>(w), static_cast<int>(h));
    if (!source) return picture;
    GUID format{};
    EXPECT_EQ(source->GetPixelFormat(&format), S_OK);
    EXPECT_EQ(format, GUID_WICPixelFormat32bppPBGRA);
    EXPECT_EQ(source->CopyPixels(nullptr, w * 4, w * h * 4, picture.pixels.data()->data()), S_OK);
    return picture;
  }
};

// The mean of the part of `source` that pixel (x, y) covers when the rectangle from (left, top) is
// reduced by whole factors.
Formula Reduced(const Picture& source, int left, int top, int across, int down) {
  return [&source, left, top, across, down](const Picture&, int x, int y) {
    Color mean{};
    for (int j = 0; j < down; ++j) {
      for (int i = 0; i < across; ++i) {
        const Pixel& pixel = source.At(left + x * across + i, top + y * down + j);
        for (std::size_t c = 0; c < 4; ++c) mean[c] += pixel[c] / 255.0 / (across * down);
      }
    }
    return mean;
  };
}

TEST_F(DeviceFiles, APictureKeepsItsSizeUnlessBothSidesAreAskedForAndDiffer) {
  const Picture picture = Make("a.png", 400, 200);
  for (const auto& [width, height] :
       {std::pair{0, 0}, {0, 50}, {100, 0}, {-5, -5}, {400, 100}, {100, 200}, {400, 200}}) {
    const Picture loaded = Load("a.png", width, height);
    EXPECT_EQ(loaded.width, 400);
    EXPECT_EQ(loaded.pixels, picture.pixels) << width << " by " << height;
  }
}

TEST_F(DeviceFiles, APictureIsScaledToFillAndCutEquallyOnBothSides) {
  const Picture wide = Make("a.png", 400, 200);
  const Picture square = Load("a.png", 100, 100);
  ASSERT_EQ(square.width, 100);
  ASSERT_EQ(square.height, 100);
  auto difference = Compare(square, square, Reduced(wide, 100, 0, 2, 2));
  EXPECT_FALSE(difference) << *difference;

  const Picture high = Make("b.png", 90, 301);
  // The larger ratio is 30 / 90; 20 rows of that are 60 of the source, 120.5 from the top.
  const Picture flat = Load("b.png", 30, 20);
  ASSERT_EQ(flat.height, 20);
  difference = Compare(flat, flat, Reduced(high, 0, 120, 3, 3));
  EXPECT_FALSE(difference) << *difference;

  // In proportion nothing is cut, also when the picture grows.
  const Picture grown = Load("b.png", 180, 602);
  EXPECT_EQ(grown.width, 180);
  EXPECT_EQ(grown.At(0, 0), high.At(0, 0));
  EXPECT_EQ(grown.At(179, 601), high.At(89, 300));
}

TEST_F(DeviceFiles, WhatCannotBeLoadedLeavesNoSource) {
  Make("a.png", 1000, 1);
  Write("text.png", {'t', 'e', 'x', 't'});
  CComPtr<IWICBitmapSource> source;
  const auto load = [&](const char* name, int width, int height) {
    source.p = reinterpret_cast<IWICBitmapSource*>(&source);
    const HRESULT result = device_.LoadFile(Path(name).c_str(), width, height, &source);
    EXPECT_EQ(source.p, nullptr);
    source.p = nullptr;
    return result;
  };
  EXPECT_EQ(load("none.png", 0, 0), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(load("text.png", 0, 0), WINCODEC_ERR_UNKNOWNIMAGEFORMAT);
  // Half a column would be left.
  EXPECT_EQ(load("a.png", 1, 1000), E_INVALIDARG);
  Device idle;
  EXPECT_EQ(idle.LoadFile(L"a.png", 0, 0, &source), E_FAIL);
  EXPECT_FALSE(idle.SaveFile(L"a.png", L"b.png", 0, 0));
  // No picture is that large, but it can be asked for.
  Make("b.png", 3, 3);
  ASSERT_EQ(device_.LoadFile(Path("b.png").c_str(), INT32_MAX, INT32_MAX, &source), S_OK);
  BYTE pixel[4];
  EXPECT_LT(source->CopyPixels(nullptr, 4, 4, pixel), 0);
}

TEST_F(DeviceFiles, AReencodedPictureHoldsThePixelsThatLoadFileGives) {
  const Picture picture = Make("a.png", 37, 21);
  const std::wstring out = Path("out.png");
  ASSERT_TRUE(device_.SaveFile(Path("a.png"), out, 0, 0));
  const Bytes first = ReadFile("out.png");
  EXPECT_EQ(Load("out.png", 0, 0).pixels, picture.pixels);
  // In place.
  ASSERT_TRUE(device_.SaveFile(Path("a.png"), Path("a.png"), 12, 9));
  EXPECT_EQ(Load("a.png", 0, 0).height, 9);

  EXPECT_FALSE(device_.SaveFile(Path("none.png"), out, 0, 0));
  EXPECT_FALSE(device_.SaveFile(out, Path("no/b.png"), 0, 0));
  EXPECT_EQ(ReadFile("out.png"), first);
  // A source that ends too early costs nothing that is there.
  Bytes cut = first;
  cut.resize(cut.size() / 2);
  Write("cut.png", cut);
  EXPECT_TRUE(device_.SaveFile(Path("cut.png"), out, 0, 0));
  EXPECT_EQ(ReadFile("out.png"), first);
  EXPECT_EQ(FileCount(), 3);
}

TEST_F(DeviceFiles, ATextureIsWrittenAsABmpWhateverTheName) {
  device_.Resize(33, 17);
  device_.SetRenderCallback([](void*, unsigned, unsigned, unsigned) {});
  device_.BeginDraw(nullptr, {1, 0.8f, 0.4f, 0.5f});
  device_.EndDrawCallback();
  const std::wstring out = Path("out.png");
  device_.SaveFile(out.c_str(), device_.GetContext()->GetReadBackTexture());
  const Bytes file = ReadFile("out.png");
  ASSERT_EQ(file.size(), 54u + 33 * 17 * 4);
  EXPECT_EQ(file[0], 'B');
  // Blue, green, red, alpha as in the texture, premultiplied.
  EXPECT_EQ(Bytes(file.begin() + 54, file.begin() + 58), (Bytes{51, 102, 128, 128}));
  const auto read = Platform::DecodePicture(file);
  ASSERT_TRUE(read.Succeeded());
  EXPECT_EQ(read.width, 33u);
  EXPECT_EQ(Bytes(read.pixels.end() - 4, read.pixels.end()), (Bytes{128, 102, 51, 255}));

  // The render texture cannot be read: nothing is written, and nothing reported.
  EXPECT_NO_THROW(device_.SaveFile(out.c_str(), device_.GetContext()->GetRenderTexture()));
  EXPECT_EQ(ReadFile("out.png"), file);
  try {
    device_.SaveFile(Path("no/a.bmp").c_str(), device_.GetContext()->GetReadBackTexture());
    FAIL() << "no report";
  } catch (const DException& exception) {
    EXPECT_EQ(exception.GetError(), DException::kSave);
    const std::string text = exception.what();
    EXPECT_NE(text.find("[function] Vantra::Bitmap::SaveImage\n"), std::string::npos);
    EXPECT_NE(text.find("Create stream Failed: 0x80070002"), std::string::npos) << text;
  }
}

}  // namespace
}  // namespace Vantra
