// The factory, the streams and the format converter.

#include <algorithm>
#include <cmath>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/com/com_object.h"
#include "platform/com/utf8.h"
#include "platform/imaging/pixels.h"
#include "platform/imaging/test_pictures.h"

namespace Vantra::Platform {
namespace {

TEST(ImagingFactory, IsMadeByItsClassAlone) {
  void* object = &object;
  EXPECT_EQ(CoCreateInstance(GUID_NULL, nullptr, CLSCTX_INPROC_SERVER,
                             __uuidof(IWICImagingFactory2), &object),
            CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(CoCreateInstance(CLSID_WICImagingFactory2, nullptr, 0, __uuidof(IUnknown), &object),
            CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER,
                             __uuidof(IWICStream), &object),
            E_NOINTERFACE);
  EXPECT_EQ(CoCreateInstance(CLSID_WICImagingFactory2, MakeFactory(), CLSCTX_INPROC_SERVER,
                             __uuidof(IUnknown), &object),
            E_INVALIDARG);
  EXPECT_EQ(CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER,
                             __uuidof(IUnknown), nullptr),
            E_POINTER);
}

TEST(ImagingFactory, OpensFilesByNamesOfEitherPlatform) {
  char pattern[] = "/tmp/vantrix-XXXXXX";
  const std::filesystem::path folder = mkdtemp(pattern);
  const Bytes file = EncodePng(MakePng(PngColour::kRgb, 8, 2, 2, false, false));
  const auto write = [&](const std::filesystem::path& name) {
    std::ofstream(name, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.data()),
               static_cast<std::streamsize>(file.size()));
  };
  std::filesystem::create_directory(folder / "sub");
  write(folder / "sub" / "\xC3\xA4.png");
  write(folder / "back\\slash.png");
  std::ofstream(folder / "empty.png") << "";
  mkfifo((folder / "pipe").c_str(), 0600);

  const auto open = [&](const std::wstring& name) {
    CComPtr<IWICBitmapDecoder> decoder;
    return MakeFactory()->CreateDecoderFromFilename(name.c_str(), nullptr, GENERIC_READ,
                                                    WICDecodeMetadataCacheOnDemand, &decoder);
  };
  const std::wstring start = *FromUtf8(folder.string());
  std::wstring backward = start + L"/sub/\u00e4.png";
  EXPECT_EQ(open(backward), S_OK);
  EXPECT_EQ(open(L"\\\\?\\" + backward), S_OK);
  std::replace(backward.begin(), backward.end(), L'/', L'\\');
  EXPECT_EQ(open(backward), S_OK);
  EXPECT_EQ(open(L"\\\\?\\" + backward), S_OK);
  EXPECT_EQ(open(start + L"/back\\slash.png"), S_OK);
  EXPECT_EQ(open(start + L"/sub\\none.png"), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(open(L""), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(open(start + L"/sub"), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
  EXPECT_EQ(open(start + L"/pipe"), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
  EXPECT_EQ(open(start + L"/empty.png"), WINCODEC_ERR_UNKNOWNIMAGEFORMAT);

  CComPtr<IWICBitmapDecoder> decoder;
  const auto factory = MakeFactory();
  const auto options = WICDecodeMetadataCacheOnDemand;
  EXPECT_EQ(factory->CreateDecoderFromFilename(L"x", nullptr, GENERIC_WRITE, options, &decoder),
            E_INVALIDARG);
  EXPECT_EQ(factory->CreateDecoderFromFilename(nullptr, nullptr, GENERIC_READ, options, &decoder),
            E_INVALIDARG);
  EXPECT_EQ(factory->CreateDecoderFromFilename(L"x", nullptr, GENERIC_READ, options, nullptr),
            E_POINTER);
  std::filesystem::remove_all(folder);
}

TEST(MemoryStream, ReadsAndSeeksWithinItsBytesAndNowhereElse) {
  CComPtr<IWICStream> stream;
  ASSERT_EQ(MakeFactory()->CreateStream(&stream), S_OK);
  BYTE bytes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  BYTE out[10] = {};
  ULONG read = 99;
  EXPECT_EQ(stream->Read(out, 1, &read), WINCODEC_ERR_NOTINITIALIZED);
  EXPECT_EQ(read, 0u);
  EXPECT_EQ(stream->Seek({0}, STREAM_SEEK_SET, nullptr), WINCODEC_ERR_NOTINITIALIZED);
  EXPECT_EQ(stream->InitializeFromMemory(nullptr, 10), E_INVALIDARG);
  EXPECT_EQ(stream->InitializeFromMemory(bytes, sizeof bytes), S_OK);
  EXPECT_EQ(stream->InitializeFromMemory(bytes, sizeof bytes), WINCODEC_ERR_WRONGSTATE);

  EXPECT_EQ(stream->Read(out, 4, nullptr), S_OK);
  EXPECT_EQ(out[3], 3);
  ULARGE_INTEGER position{};
  EXPECT_EQ(stream->Seek({2}, STREAM_SEEK_CUR, &position), S_OK);
  EXPECT_EQ(position.QuadPart, 6u);
  EXPECT_EQ(stream->Read(out, 10, &read), S_FALSE);
  EXPECT_EQ(read, 4u);
  EXPECT_EQ(out[3], 9);
  EXPECT_EQ(stream->Seek({-1}, STREAM_SEEK_END, &position), S_OK);
  EXPECT_EQ(position.QuadPart, 9u);
  for (const auto& [move, origin] : {std::pair<std::int64_t, DWORD>(-1, STREAM_SEEK_SET),
                                     {-11, STREAM_SEEK_END},
                                     {INT64_MAX, STREAM_SEEK_CUR},
                                     {INT64_MIN, STREAM_SEEK_CUR},
                                     {0, 3}}) {
    EXPECT_EQ(stream->Seek({move}, origin, nullptr), STG_E_INVALIDFUNCTION);
  }
  EXPECT_EQ(stream->Read(out, 1, &read), S_OK) << "a refused move changes nothing";
  EXPECT_EQ(out[0], 9);
  EXPECT_EQ(stream->Seek({INT64_MAX}, STREAM_SEEK_SET, nullptr), S_OK);
  EXPECT_EQ(stream->Read(out, 1, &read), S_FALSE);
  EXPECT_EQ(read, 0u);

  STATSTG statistics{};
  EXPECT_EQ(stream->Stat(&statistics, STATFLAG_NONAME), S_OK);
  EXPECT_EQ(statistics.cbSize.QuadPart, 10u);
  EXPECT_EQ(stream->Seek({8}, STREAM_SEEK_SET, nullptr), S_OK);
  EXPECT_EQ(stream->Write("ABC", 3, &read), STG_E_MEDIUMFULL);
  EXPECT_EQ(read, 2u);
  EXPECT_EQ(bytes[9], 'B');
  EXPECT_EQ(stream->Write(nullptr, 3, &read), E_POINTER);
  EXPECT_EQ(stream->SetSize({5}), STG_E_ACCESSDENIED);
  CComPtr<ISequentialStream> sequential;
  EXPECT_EQ(stream.QueryInterface(&sequential), S_OK);
}

// A source of given pixels.
class Source final : public ComObject<IWICBitmapSource> {
 public:
  Source(const Bytes* pixels, UINT width, UINT height, GUID format)
      : pixels_(pixels), width_(width), height_(height), format_(format) {}
  HRESULT GetSize(UINT* width, UINT* height) override {
    *width = width_;
    *height = height_;
    return S_OK;
  }
  HRESULT GetPixelFormat(WICPixelFormatGUID* format) override {
    *format = format_;
    return S_OK;
  }
  HRESULT CopyPixels(const WICRect*, UINT, UINT size, BYTE* buffer) override {
    std::copy_n(pixels_->begin(), size, buffer);
    return result;
  }

  HRESULT result = S_OK;

 private:
  const Bytes* pixels_;
  UINT width_;
  UINT height_;
  GUID format_;
};

const GUID kFormats[] = {GUID_WICPixelFormat32bppBGRA, GUID_WICPixelFormat32bppPBGRA,
                         GUID_WICPixelFormat32bppRGBA, GUID_WICPixelFormat32bppPRGBA};

HRESULT Initialize(IWICFormatConverter* converter, IWICBitmapSource* source, const GUID& format) {
  return converter->Initialize(source, format, WICBitmapDitherTypeNone, nullptr, 0.5,
                               WICBitmapPaletteTypeCustom);
}

TEST(FormatConverter, ConvertsEveryColourAndAlphaBetweenAllFormatsToTheByte) {
  // All pairs of colour and alpha, with different values in the three channels.
  Bytes pixels;
  for (int alpha = 0; alpha < 256; ++alpha) {
    for (int colour = 0; colour < 256; ++colour) {
      pixels.insert(pixels.end(), {static_cast<BYTE>(colour), static_cast<BYTE>(255 - colour),
                                   static_cast<BYTE>(colour ^ 0x5A), static_cast<BYTE>(alpha)});
    }
  }
  for (int from = 0; from < 4; ++from) {
    for (int to = 0; to < 4; ++to) {
      const auto source = MakeCom<Source>(&pixels, 256u, 256u, kFormats[from]);
      CComPtr<IWICFormatConverter> converter;
      ASSERT_EQ(MakeFactory()->CreateFormatConverter(&converter), S_OK);
      ASSERT_EQ(Initialize(converter, source, kFormats[to]), S_OK);
      Bytes out(pixels.size());
      ASSERT_EQ(converter->CopyPixels(nullptr, 1024, static_cast<UINT>(out.size()), out.data()),
                S_OK);
      for (std::size_t i = 0; i < pixels.size(); i += 4) {
        const int alpha = pixels[i + 3];
        for (int channel = 0; channel < 3; ++channel) {
          const bool swapped = (from < 2) != (to < 2);
          const int colour = pixels[i + (swapped ? 2 - channel : channel)];
          double expected = colour;
          if (from % 2 == 0 && to % 2 == 1) expected = colour * alpha / 255.0;
          if (from % 2 == 1 && to % 2 == 0) {
            expected = alpha == 0 ? 0 : std::min(255.0, colour * 255.0 / alpha);
          }
          ASSERT_EQ(out[i + channel], std::lround(expected))
              << from << " to " << to << ", colour " << colour << " alpha " << alpha;
        }
        ASSERT_EQ(out[i + 3], alpha);
      }
    }
  }
}

TEST(FormatConverter, KeepsItsStatesAndPassesOnAFailureWithThePixelsThatThereAre) {
  const Bytes pixels = {200, 100, 50, 128};
  const auto source = MakeCom<Source>(&pixels, 1u, 1u, kFormats[2]);
  CComPtr<IWICFormatConverter> converter;
  ASSERT_EQ(MakeFactory()->CreateFormatConverter(&converter), S_OK);
  Bytes out(4);
  UINT side = 0;
  GUID format{};
  EXPECT_EQ(converter->CopyPixels(nullptr, 4, 4, out.data()), WINCODEC_ERR_NOTINITIALIZED);
  EXPECT_EQ(converter->GetSize(&side, &side), WINCODEC_ERR_NOTINITIALIZED);
  EXPECT_EQ(converter->GetPixelFormat(&format), WINCODEC_ERR_NOTINITIALIZED);

  const auto palette = reinterpret_cast<IWICPalette*>(out.data());
  EXPECT_EQ(Initialize(converter, nullptr, kFormats[1]), E_INVALIDARG);
  EXPECT_EQ(converter->Initialize(source, kFormats[1], WICBitmapDitherTypeNone, palette, 0,
                                  WICBitmapPaletteTypeCustom),
            E_INVALIDARG);
  EXPECT_EQ(converter->Initialize(source, kFormats[1], static_cast<WICBitmapDitherType>(1), nullptr,
                                  0, WICBitmapPaletteTypeCustom),
            E_INVALIDARG);
  EXPECT_EQ(Initialize(converter, source, GUID_NULL), WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
  const auto foreign = MakeCom<Source>(&pixels, 1u, 1u, GUID_NULL);
  EXPECT_EQ(Initialize(converter, foreign, kFormats[1]), WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
  EXPECT_EQ(Initialize(converter, source, kFormats[1]), S_OK);
  EXPECT_EQ(Initialize(converter, source, kFormats[1]), WINCODEC_ERR_WRONGSTATE);

  EXPECT_EQ(converter->GetPixelFormat(&format), S_OK);
  EXPECT_EQ(format, kFormats[1]);
  EXPECT_EQ(converter->CopyPixels(nullptr, 3, 4, out.data()), E_INVALIDARG);
  EXPECT_EQ(converter->CopyPixels(nullptr, 4, 3, out.data()), WINCODEC_ERR_INSUFFICIENTBUFFER);
  source->result = WINCODEC_ERR_BADIMAGE;
  EXPECT_EQ(converter->CopyPixels(nullptr, 4, 4, out.data()), WINCODEC_ERR_BADIMAGE);
  EXPECT_EQ(out, (Bytes{25, 50, 100, 128}));
}

}  // namespace
}  // namespace Vantra::Platform
