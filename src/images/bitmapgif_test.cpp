#include <vantrix/device/dexception.h>

#include <map>
#include <variant>

#include "images/bitmap_access.h"
#include "platform/imaging/metadata_value.h"
#include "platform/imaging/test_gifs.h"
#include "tests/harness/file_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;
using Platform::ComObject;
using Platform::GifPatch;
using Platform::GifPicture;
using Platform::Implements;

class Gifs : public FileFixture {
 protected:
  void Load(const GifPicture& gif, int width = 0, int height = 0,
            const Bitmap::MultipleOptions* options = nullptr) {
    const Bytes file = EncodeGif(gif);
    bitmap_.LoadMemory(file.data(), file.size(), width, height, options);
  }

  const Bitmap::Frame& Frame(std::size_t index) { return *bitmap_.GetFrames()[index]; }
  const Bitmap::MetaGif& Meta() { return *bitmap_.GetMetaGif(); }
};

GifPicture MakeScreen(unsigned width, unsigned height) {
  GifPicture gif;
  gif.width = width;
  gif.height = height;
  gif.palette = Platform::MakeGifPalette(16, 3);
  gif.frames.push_back(Platform::MakeGifPatch(16, 5, 4, false));
  return gif;
}

TEST_F(Gifs, AGifGivesItsFramesAndATransparentPictureOfItsScreen) {
  GifPicture gif = MakeScreen(30, 20);
  gif.background = 3;
  gif.palette[3] = {255, 51, 0};
  GifPatch second = Platform::MakeGifPatch(16, 7, 9, true);
  second.left = 11;
  second.top = 6;
  second.transparent = BYTE{5};
  second.delay = 12u;
  second.disposal = 2u;
  gif.frames.push_back(second);
  const Bitmap::MultipleOptions split = {.layout = 0, .count = 2, .delay = 1};
  Load(gif, 100, 50, &split);
  EXPECT_EQ(bitmap_.GetFileFormat(), Bitmap::FileFormat::kGif);
  EXPECT_EQ(bitmap_.GetFrameCount(), 2);
  EXPECT_EQ(bitmap_.GetWidth(), 30);
  EXPECT_EQ(bitmap_.GetStride(), 120);
  for (const Pixel& pixel : Read(bitmap_).pixels) ASSERT_EQ(pixel, Pixel{});

  ASSERT_EQ(bitmap_.GetFrames().size(), 2u);
  EXPECT_EQ(Frame(0).delay, 90u);
  EXPECT_EQ(Frame(0).disposal, 0u);
  EXPECT_FALSE(Frame(0).transparent);
  EXPECT_EQ(Frame(0).rect.right, 5.0f);
  const Bitmap::Frame& frame = Frame(1);
  EXPECT_TRUE(frame.transparent);
  EXPECT_EQ(frame.delay, 120u);
  EXPECT_EQ(frame.disposal, 2u);
  EXPECT_EQ(frame.rect.left, 11.0f);
  EXPECT_EQ(frame.rect.top, 6.0f);
  EXPECT_EQ(frame.rect.right, 18.0f);
  EXPECT_EQ(frame.rect.bottom, 15.0f);
  ASSERT_EQ(frame.width, 7u);
  const Bytes expected = ExpectedRgba(gif, second);
  for (std::size_t i = 0; i < expected.size(); i += 4) {
    const auto* pixel = reinterpret_cast<const unsigned char*>(&frame.pixels[i]);
    ASSERT_EQ((Pixel{pixel[0], pixel[1], pixel[2], pixel[3]}),
              (Pixel{expected[i + 2], expected[i + 1], expected[i], expected[i + 3]}))
        << i;
  }
  // A part of the colour is what the GIF says.
  ASSERT_NE(bitmap_.GetChromaKey(), nullptr);
  EXPECT_EQ(bitmap_.GetChromaKey()->r, 1.0f);
  EXPECT_EQ(bitmap_.GetChromaKey()->g, 51 / 255.0f);
  EXPECT_EQ(bitmap_.GetChromaKey()->a, 1.0f);
  EXPECT_EQ(Meta().background_color.g, 51 / 255.0f);
  // Only a renderer moves it on.
  bitmap_.StartAnimation(0, true);
  bitmap_.Animation(1000);
  EXPECT_EQ(Read(bitmap_).At(0, 0), Pixel{});
  bitmap_.Cleanup();
  EXPECT_EQ(bitmap_.GetMetaGif(), nullptr);
  EXPECT_EQ(bitmap_.GetChromaKey(), nullptr);
}

TEST_F(Gifs, AFrameStaysNinetyMillisecondsAtLeast) {
  for (const auto& [stated, delay] :
       {std::pair{0u, 90u}, {5, 90}, {9, 90}, {10, 100}, {65535, 655350}}) {
    GifPicture gif = MakeScreen(5, 4);
    gif.frames[0].delay = stated;
    Load(gif);
    EXPECT_EQ(Frame(0).delay, delay);
  }
}

TEST_F(Gifs, PixelsThatAreNotSquareShortenTheSideThatTheyMakeTooLong) {
  struct Case {
    unsigned width, height;
    BYTE aspect;
    unsigned pixel_width, pixel_height;
  };
  for (const Case& c : {Case{100, 100, 0, 100, 100},
                        {100, 100, 49, 100, 100},
                        {100, 100, 113, 100, 50},
                        {100, 100, 1, 25, 100},
                        {7, 9, 48, 6, 9},
                        {7, 9, 50, 7, 8},
                        {100, 3, 255, 100, 0}}) {
    GifPicture gif = MakeScreen(c.width, c.height);
    gif.aspect = c.aspect;
    Load(gif);
    EXPECT_EQ(Meta().logical_width, c.width);
    EXPECT_EQ(Meta().logical_height, c.height);
    EXPECT_EQ(Meta().pixel_width, c.pixel_width) << int{c.aspect};
    EXPECT_EQ(Meta().pixel_height, c.pixel_height) << int{c.aspect};
    EXPECT_EQ(Frame(0).rect.right, 5.0f);
    if (c.pixel_height > 0) {
      EXPECT_EQ(bitmap_.GetWidth(), long{c.pixel_width});
      EXPECT_EQ(bitmap_.GetHeight(), long{c.pixel_height});
    } else {
      // Without a size of its own, it is a still picture.
      EXPECT_EQ(bitmap_.GetWidth(), 5);
      EXPECT_EQ(bitmap_.GetHeight(), 4);
      EXPECT_EQ(std::memcmp(bitmap_.GetBits(), Frame(0).pixels.get(), 5 * 4 * 4), 0);
    }
  }
}

TEST_F(Gifs, RepetitionsAreReadFromEitherExtension) {
  struct Case {
    const char* name;
    Bytes data;
    unsigned count;
  };
  for (const Case& c : {Case{"NETSCAPE2.0", {1, 5, 0}, 5},
                        {"ANIMEXTS1.0", {1, 1, 2}, 513},
                        {"NETSCAPE2.0", {1, 0, 0}, 0},
                        {"NETSCAPE2.0", {2, 5, 0}, 0},
                        {"NETSCAPE2.1", {1, 5, 0}, 0},
                        {"NETSCAPE2.0", {1, 5}, 0},
                        {"NETSCAPE2.0", {}, 0}}) {
    GifPicture gif = MakeScreen(5, 4);
    gif.before_frames = Platform::MakeGifApplication(c.name, c.data);
    Load(gif);
    EXPECT_EQ(Meta().loop_count, c.count) << c.name;
    EXPECT_EQ(Meta().has_loop, c.count > 0) << c.name;
  }
}

TEST_F(Gifs, WithoutGlobalColoursThereIsNoBackground) {
  GifPicture gif = MakeScreen(5, 4);
  std::swap(gif.palette, gif.frames[0].palette);
  Load(gif);
  EXPECT_EQ(bitmap_.GetChromaKey(), nullptr);
  EXPECT_EQ(Meta().background_color.a, 0.0f);
  // One beyond the colours is read, and has no colour.
  gif = MakeScreen(5, 4);
  gif.background = 16;
  Load(gif);
  ASSERT_NE(bitmap_.GetChromaKey(), nullptr);
  EXPECT_EQ(bitmap_.GetChromaKey()->a, 0.0f);
}

// A GIF whose every answer can be chosen.

struct FakeFile {
  using Values = std::map<std::wstring, std::variant<bool, BYTE, WORD, Platform::Bytes>>;
  struct FakeFrame {
    HRESULT opened = S_OK;
    GUID format = GUID_WICPixelFormat32bppPBGRA;
    HRESULT metadata = S_OK;
    Values values;
    UINT width = 2;
    UINT height = 1;
  };
  HRESULT metadata = S_OK;
  Values values;
  HRESULT palette = S_OK;
  std::vector<WICColor> colors = {0xFF000000};
  std::vector<FakeFrame> frames;
};

class FakeReader final : public ComObject<IWICMetadataQueryReader> {
 public:
  explicit FakeReader(const FakeFile::Values& values) : values_(values) {}

  HRESULT GetMetadataByName(LPCWSTR name, PROPVARIANT* value) override {
    const auto found = values_.find(name);
    if (found == values_.end()) return WINCODEC_ERR_PROPERTYNOTFOUND;
    *value = std::visit(
        [](const auto& held) {
          using Held = std::decay_t<decltype(held)>;
          if constexpr (std::is_same_v<Held, bool>) return Platform::MakeBoolValue(held);
          if constexpr (std::is_same_v<Held, BYTE>) return Platform::MakeByteValue(held);
          if constexpr (std::is_same_v<Held, WORD>) return Platform::MakeWordValue(held);
          if constexpr (std::is_same_v<Held, Platform::Bytes>) {
            return Platform::MakeBytesValue(held);
          }
        },
        found->second);
    return S_OK;
  }

 private:
  const FakeFile::Values& values_;
};

HRESULT MakeReader(HRESULT result, const FakeFile::Values& values,
                   IWICMetadataQueryReader** reader) {
  if (SUCCEEDED(result)) *reader = Platform::MakeCom<FakeReader>(values).Detach();
  return result;
}

class FakePicture final : public ComObject<Implements<IWICBitmapFrameDecode, IWICBitmapSource>> {
 public:
  explicit FakePicture(const FakeFile::FakeFrame& frame) : frame_(frame) {}

  HRESULT GetSize(UINT* width, UINT* height) override {
    *width = frame_.width;
    *height = frame_.height;
    return S_OK;
  }
  HRESULT GetPixelFormat(WICPixelFormatGUID* format) override {
    *format = frame_.format;
    return S_OK;
  }
  HRESULT CopyPixels(const WICRect*, UINT, UINT size, BYTE* buffer) override {
    std::memset(buffer, 7, size);
    return S_OK;
  }
  HRESULT CopyPalette(IWICPalette*) override { return E_NOTIMPL; }
  HRESULT GetMetadataQueryReader(IWICMetadataQueryReader** reader) override {
    return MakeReader(frame_.metadata, frame_.values, reader);
  }

 private:
  const FakeFile::FakeFrame& frame_;
};

class FakeDecoder final : public ComObject<IWICBitmapDecoder> {
 public:
  explicit FakeDecoder(const FakeFile& file) : file_(file) {}

  HRESULT GetContainerFormat(GUID* format) override {
    *format = GUID_ContainerFormatGif;
    return S_OK;
  }
  HRESULT GetFrameCount(UINT* count) override {
    *count = static_cast<UINT>(file_.frames.size());
    return S_OK;
  }
  HRESULT GetFrame(UINT index, IWICBitmapFrameDecode** frame) override {
    if (index >= file_.frames.size()) return WINCODEC_ERR_FRAMEMISSING;
    const FakeFile::FakeFrame& chosen = file_.frames[index];
    if (SUCCEEDED(chosen.opened)) *frame = Platform::MakeCom<FakePicture>(chosen).Detach();
    return chosen.opened;
  }
  HRESULT CopyPalette(IWICPalette* palette) override {
    if (FAILED(file_.palette)) return file_.palette;
    std::vector<WICColor> colors = file_.colors;
    return palette->InitializeCustom(colors.data(), static_cast<UINT>(colors.size()));
  }
  HRESULT GetMetadataQueryReader(IWICMetadataQueryReader** reader) override {
    return MakeReader(file_.metadata, file_.values, reader);
  }

 private:
  const FakeFile& file_;
};

class FakeGifs : public Gifs {
 protected:
  void Decode(const FakeFile& file) {
    bitmap_.Cleanup();
    const CComPtr<FakeDecoder> decoder = Platform::MakeCom<FakeDecoder>(file);
    BitmapAccess::Decode(bitmap_, device_.GetWicImagingFactory(), decoder);
  }

  static FakeFile MakeFile(std::size_t frames) {
    FakeFile file;
    file.values = {{L"/logscrdesc/Width", WORD{8}},
                   {L"/logscrdesc/Height", WORD{6}},
                   {L"/logscrdesc/PixelAspectRatio", BYTE{0}},
                   {L"/logscrdesc/GlobalColorTableFlag", true},
                   {L"/logscrdesc/BackgroundColorIndex", BYTE{0}}};
    file.frames.resize(frames);
    return file;
  }
};

TEST_F(FakeGifs, AFrameThatCannotBeReadIsLoggedAndCostsOnlyItself) {
  FakeFile file = MakeFile(5);
  file.frames[0].opened = WINCODEC_ERR_BADHEADER;
  file.frames[1].format = GUID_NULL;
  file.frames[2].metadata = E_FAIL;
  file.frames[3].width = 0;
  file.frames[4].values = {{L"/imgdesc/Left", WORD{3}}, {L"/imgdesc/Height", WORD{2}}};
  LogWatch log;
  Decode(file);
  EXPECT_EQ(log.messages,
            (std::vector<std::string>{"Can't get frame of GIF: 0",
                                      "Can't initialize format converter for GIF frame: 1",
                                      "Can't get meta query reader for GIF frame: 2"}));
  EXPECT_EQ(log.places, std::vector<std::string>(3, "4 Vantra::Bitmap::GetGifFrame"));
  EXPECT_EQ(bitmap_.GetFrameCount(), 5);
  ASSERT_EQ(bitmap_.GetFrames().size(), 1u);
  // What is not told stays 0, also where it would be added to.
  EXPECT_EQ(Frame(0).rect.left, 3.0f);
  EXPECT_EQ(Frame(0).rect.right, 0.0f);
  EXPECT_EQ(Frame(0).rect.bottom, 2.0f);
  EXPECT_EQ(Frame(0).pixels[7], 7);
  EXPECT_EQ(bitmap_.GetWidth(), 8);
}

TEST_F(FakeGifs, AValueOfAnotherTypeCountsAsMissing) {
  FakeFile file = MakeFile(1);
  file.values[L"/logscrdesc/BackgroundColorIndex"] = WORD{0};
  file.values[L"/logscrdesc/Width"] = BYTE{8};
  file.values[L"/appext/application"] = true;
  file.frames[0].values = {{L"/grctlext/Delay", BYTE{50}},
                           {L"/grctlext/Disposal", WORD{2}},
                           {L"/grctlext/TransparencyFlag", BYTE{1}}};
  Decode(file);
  EXPECT_EQ(bitmap_.GetChromaKey(), nullptr);
  EXPECT_EQ(Meta().logical_width, 0u);
  EXPECT_EQ(Meta().logical_height, 6u);
  EXPECT_FALSE(Meta().has_loop);
  EXPECT_EQ(Frame(0).delay, 90u);
  EXPECT_EQ(Frame(0).disposal, 0u);
  EXPECT_FALSE(Frame(0).transparent);
  // Without a screen it is a still picture.
  EXPECT_EQ(bitmap_.GetWidth(), 2);
}

TEST_F(FakeGifs, AFileThatTellsNothingIsAStillPicture) {
  FakeFile file = MakeFile(3);
  file.metadata = WINCODEC_ERR_UNSUPPORTEDOPERATION;
  Decode(file);
  EXPECT_EQ(bitmap_.GetFrameCount(), 3);
  EXPECT_TRUE(bitmap_.GetFrames().empty());
  EXPECT_EQ(bitmap_.GetWidth(), 2);
  EXPECT_EQ(bitmap_.GetBits()[0], 7);

  file = MakeFile(1);
  file.palette = WINCODEC_ERR_PALETTEUNAVAILABLE;
  Decode(file);
  EXPECT_EQ(bitmap_.GetChromaKey(), nullptr);
  file = MakeFile(1);
  file.values.erase(L"/logscrdesc/PixelAspectRatio");
  Decode(file);
  EXPECT_EQ(Meta().logical_width, 8u);
  EXPECT_EQ(Meta().pixel_width, 0u);
  EXPECT_EQ(bitmap_.GetWidth(), 2);

  // A still picture that cannot be read is a failure all the same, and leaves nothing of the rest.
  file.frames.resize(2);
  file.frames[0].opened = WINCODEC_ERR_BADHEADER;
  LogWatch log;
  try {
    Decode(file);
    ADD_FAILURE() << "no report";
  } catch (const DException& exception) {
    EXPECT_NE(std::string(exception.what()).find("Get Frame Failed: 0x88982f61"),
              std::string::npos);
  }
  EXPECT_EQ(bitmap_.GetMetaGif(), nullptr);
  EXPECT_EQ(bitmap_.GetChromaKey(), nullptr);
  EXPECT_TRUE(bitmap_.GetFrames().empty());
  EXPECT_EQ(bitmap_.GetFrameCount(), 2);
  EXPECT_EQ(bitmap_.GetWidth(), 0);
}

}  // namespace
}  // namespace Vantra
